#pragma once

#include "Outcome.h"
#include "TransferLimits.h"

#include <QCoro/QCoroTask>
#include <QObject>
#include <QString>
#include <QUrl>

#include <functional>
#include <optional>

class QNetworkAccessManager;

namespace platform {

struct DownloadResult
{
    Outcome outcome;
    QString savedPath;
    bool tooLarge = false; // failed because the body passed the size limit
};

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
    TransferLimits limits;
    // Runs on the complete, closed temporary file before it is moved into
    // place; a failure deletes the file and fails the download.
    std::function<Outcome(const QString &temporaryPath)> check;
    // What the publisher says the file is; a file that differs is refused.
    std::optional<qint64> expectedSize;
    std::optional<QByteArray> expectedSha256; // the 32 bytes of the digest
};

// Streams `url` into a hidden partial file inside `directory`, then
// renames it over `<directory>/<fileName>` in one step. Whatever the server
// answers is saved, whatever its status; a transfer that fails in any way
// (transport, decompression, size, time, writing, verification) leaves the
// destination as it was. A transfer that breaks off keeps its partial file,
// hidden, when the server named a validator, and the next download of the
// same URL asks for the rest (Range with If-Range); any other failure
// leaves nothing behind. Files are saved as served: the request asks for
// no compression and refuses any.
QCoro::Task<DownloadResult> download(QNetworkAccessManager &network, QUrl url, QString fileName, QString directory,
                                     DownloadOptions options = {});

} // namespace platform
