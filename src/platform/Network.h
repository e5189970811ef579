#pragma once

#include <QUrl>

class QNetworkAccessManager;

namespace platform {

// The one network access manager of the process. Redirects are followed
// but never from https to http.
QNetworkAccessManager &sharedNetwork();

} // namespace platform
