#include "ServiceAddress.h"

#include <QHostAddress>

namespace links {

bool isTrustedTransport(const QUrl &url)
{
    const QString scheme = url.scheme().toLower();
    if (scheme == QLatin1String("https"))
        return !url.host().isEmpty();
    if (scheme != QLatin1String("http"))
        return false;
    const QString host = url.host();
    if (host.compare(QLatin1String("localhost"), Qt::CaseInsensitive) == 0)
        return true;
    const QHostAddress address(host);
    return !address.isNull() && address.isLoopback();
}

} // namespace links

std::optional<ServiceAddress> ServiceAddress::parse(const QString &text, QString *error)
{
    const QUrl url(text.trimmed(), QUrl::StrictMode);
    auto fail = [&](const QString &why) -> std::optional<ServiceAddress> {
        if (error)
            *error = why;
        return std::nullopt;
    };
    if (!url.isValid() || url.isRelative() || url.host().isEmpty())
        return fail(QStringLiteral("not an absolute URL: %1").arg(text));
    if (!links::isTrustedTransport(url))
        return fail(QStringLiteral("refusing %1: use https, or http only for a loopback host").arg(text));
    if (url.hasQuery() || url.hasFragment())
        return fail(QStringLiteral("a service address takes no query or fragment: %1").arg(text));
    return ServiceAddress(url);
}

std::optional<ServiceAddress> ServiceAddress::resolve(const std::optional<QString> &option, QString *error)
{
    if (option)
        return parse(*option, error);
    const QString fromEnvironment = qEnvironmentVariable(EnvironmentVariable);
    if (!fromEnvironment.isEmpty())
        return parse(fromEnvironment, error);
    return ServiceAddress();
}

QUrl ServiceAddress::endpoint(const QString &path) const
{
    QUrl url = m_base;
    QString basePath = url.path();
    while (basePath.endsWith(u'/'))
        basePath.chop(1);
    url.setPath(basePath + path);
    return url;
}
