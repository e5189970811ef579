#pragma once

#include "platform/Outcome.h"
#include "platform/TransferLimits.h"

#include <QCoro/QCoroTask>
#include <QObject>
#include <QString>
#include <QUrl>

#include <functional>
#include <optional>

class QNetworkAccessManager;

namespace installers {

struct DownloadResult
{
    Outcome outcome;
    QString savedPath;
    bool tooLarge = false; // failed because the body passed the size limit
};

// The name an installer is saved under: the URL's last path component,
// percent-decoded, or `<pluginId>.dmg` when that cannot name a single file.
// No value when neither can.
std::optional<QString> fileName(const QUrl &url, const QString &pluginId);

// Whether `name` names one file directly inside a folder.
bool isSafeFileName(const QString &name);

// Lets whoever started a download follow it and stop it.
class DownloadControl : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;
    bool isCancelled() const { return m_cancelled; }

public slots:
    // Aborts the transfer; the download then fails and leaves nothing behind.
    void cancel()
    {
        m_cancelled = true;
        emit cancelRequested();
    }

signals:
    // `total` is -1 while the server has not announced a length.
    void progress(qint64 received, qint64 total);
    void cancelRequested();

private:
    bool m_cancelled = false;
};

struct DownloadOptions
{
    // Progress and cancellation; may be null.
    DownloadControl *control = nullptr;
    // Size and time; the defaults bound nothing but a stall.
    platform::TransferLimits limits;
    // Runs on the complete, closed temporary file before it is moved into
    // place; a failure deletes the file and fails the download.
    std::function<Outcome(const QString &temporaryPath)> check;
};

// Streams `url` into a hidden temporary file inside `downloadsDirectory`,
// then renames it over `<downloadsDirectory>/<fileName>` in one step.
// Whatever the server answers is saved, whatever its status; a transfer
// that fails in any way (transport, decompression, size, time, writing)
// leaves the destination as it was and no temporary file behind.
QCoro::Task<DownloadResult> download(QNetworkAccessManager &network, QUrl url, QString fileName,
                                     QString downloadsDirectory, DownloadOptions options = {});

} // namespace installers
