#include "SelfUpdateConfig.h"

#include "SignatureVerifier.h"
#include "platform/ServiceAddress.h"

#ifndef QUILLMARSH_HUB_DEFAULT_APPCAST_URL
#error "the build passes the self-update settings as compile definitions"
#endif

SelfUpdateConfig SelfUpdateConfig::builtIn()
{
    SelfUpdateConfig config;
    config.appcastUrl = QUrl(QStringLiteral(QUILLMARSH_HUB_DEFAULT_APPCAST_URL), QUrl::StrictMode);
    config.publicKey = QStringLiteral(QUILLMARSH_HUB_DEFAULT_UPDATE_PUBLIC_KEY);
    config.automaticChecks = QUILLMARSH_HUB_DEFAULT_AUTOMATIC_CHECKS;
    config.checkInterval = std::chrono::seconds(QUILLMARSH_HUB_DEFAULT_CHECK_INTERVAL);
    return config;
}

SelfUpdateConfig SelfUpdateConfig::fromEnvironment()
{
    SelfUpdateConfig config = builtIn();
    const QString appcast = qEnvironmentVariable(AppcastEnvironmentVariable).trimmed();
    if (!appcast.isEmpty())
        config.appcastUrl = QUrl(appcast, QUrl::StrictMode);
    const QString key = qEnvironmentVariable(PublicKeyEnvironmentVariable).trimmed();
    if (!key.isEmpty())
        config.publicKey = key;
    return config;
}

Outcome SelfUpdateConfig::validate() const
{
    if (!appcastUrl.isValid() || appcastUrl.isRelative() || !links::isTrustedTransport(appcastUrl))
        return Outcome::failure(
            QStringLiteral("refusing the appcast address %1: use https, or http only for a loopback host")
                .arg(appcastUrl.toString()));
    if (!SignatureVerifier::fromBase64(publicKey))
        return Outcome::failure(QStringLiteral("the update public key is not a base64 Ed25519 key"));
    if (checkInterval.count() <= 0)
        return Outcome::failure(QStringLiteral("the automatic check interval must be positive"));
    return Outcome::success();
}
