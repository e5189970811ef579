#include "Network.h"

#include <QNetworkAccessManager>
#include <QNetworkRequest>

namespace platform {

QNetworkAccessManager &sharedNetwork()
{
    static QNetworkAccessManager *manager = [] {
        auto *nam = new QNetworkAccessManager;
        nam->setRedirectPolicy(QNetworkRequest::NoLessSafeRedirectPolicy);
        return nam;
    }();
    return *manager;
}

} // namespace platform
