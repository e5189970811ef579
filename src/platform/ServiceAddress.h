#pragma once

#include <QString>
#include <QUrl>

#include <optional>

// The maker's web service and its two endpoints.
class ServiceAddress
{
public:
    static constexpr auto EnvironmentVariable = "QUILLMARSH_HUB_SERVICE_URL";
    static QUrl defaultBase() { return QUrl(QStringLiteral("https://api.quillmarsh.example")); }

    ServiceAddress() = default;
    explicit ServiceAddress(QUrl base)
        : m_base(std::move(base))
    {
    }

    // A usable base address: https, or http for a loopback host only.
    // No value, and a reason in `error`, otherwise.
    static std::optional<ServiceAddress> parse(const QString &text, QString *error = nullptr);
    // The command-line option if given, else the environment, else the default.
    static std::optional<ServiceAddress> resolve(const std::optional<QString> &option, QString *error = nullptr);

    QUrl base() const { return m_base; }
    QUrl catalogURL() const { return endpoint(QStringLiteral("/api/hub/products")); }
    QUrl versionsURL() const { return endpoint(QStringLiteral("/api/plugin-versions")); }

private:
    QUrl endpoint(const QString &path) const;

    QUrl m_base = defaultBase();
};

namespace links {

// https anywhere; plain http only to this machine.
bool isTrustedTransport(const QUrl &url);

} // namespace links
