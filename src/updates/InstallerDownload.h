#pragma once

#include "platform/Outcome.h"

#include <QCoro/QCoroTask>
#include <QString>
#include <QUrl>

#include <optional>

class QNetworkAccessManager;

namespace installers {

struct DownloadResult
{
    Outcome outcome;
    QString savedPath;
};

// The name an installer is saved under: the URL's last path component,
// percent-decoded, or `<pluginId>.dmg` when that cannot name a single file.
// No value when neither can.
std::optional<QString> fileName(const QUrl &url, const QString &pluginId);

// Whether `name` names one file directly inside a folder.
bool isSafeFileName(const QString &name);

// Streams `url` into a hidden temporary file inside `downloadsDirectory`,
// then renames it over `<downloadsDirectory>/<fileName>` in one step.
// Whatever the server answers is saved; the temporary file never outlives
// a download that did not complete.
QCoro::Task<DownloadResult> download(QNetworkAccessManager &network, QUrl url, QString fileName,
                                     QString downloadsDirectory);

} // namespace installers
