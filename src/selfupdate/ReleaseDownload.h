#pragma once

#include "Appcast.h"
#include "UpdateProblem.h"
#include "platform/TransferLimits.h"

#include <QCoro/QCoroTask>
#include <QString>

class QNetworkAccessManager;
class SignatureVerifier;

namespace platform {
class DownloadControl;
}

namespace selfupdate {

struct VerifiedDownload
{
    UpdateOutcome outcome;
    QString savedPath; // set only when verified
};

// The name a release is saved under: the enclosure URL's last path
// component, or QuillmarshHub-<version> when that cannot name a file.
QString releaseFileName(const AppcastItem &item);

// Streams the item's enclosure into Downloads, and lets it into its place
// only once its length equals the appcast's and its signature verifies
// against `verifier`. Anything that
// fails (or is cancelled through `control`) leaves no file behind.
QCoro::Task<VerifiedDownload> downloadRelease(QNetworkAccessManager &network, AppcastItem item,
                                              QString downloadsDirectory, const SignatureVerifier &verifier,
                                              platform::TransferLimits limits,
                                              platform::DownloadControl *control = nullptr);

} // namespace selfupdate
