#pragma once

#include <QObject>
#include <QUrl>

namespace platform {
class UrlOpener;
}

// The maker's fixed addresses, and opening links in the user's browser.
class DesktopLinks : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString makerDomain READ makerDomain CONSTANT)
    Q_PROPERTY(QString supportPageText READ supportPageText CONSTANT)
    Q_PROPERTY(QString supportEmail READ supportEmail CONSTANT)

public:
    static QUrl makerSite() { return QUrl(QStringLiteral("https://www.quillmarsh.example/")); }
    static QUrl supportCenter() { return QUrl(QStringLiteral("https://www.quillmarsh.example/en/support")); }

    explicit DesktopLinks(platform::UrlOpener &opener, QObject *parent = nullptr);

    QString makerDomain() const { return QStringLiteral("quillmarsh.example"); }
    QString supportPageText() const { return QStringLiteral("quillmarsh.example/en/support"); }
    QString supportEmail() const { return QStringLiteral("support@quillmarsh.example"); }

    // Invalid or empty addresses are ignored.
    Q_INVOKABLE void openUrl(const QUrl &url);
    Q_INVOKABLE void openSupportCenter() { openUrl(supportCenter()); }
    Q_INVOKABLE void openMakerSite() { openUrl(makerSite()); }

private:
    platform::UrlOpener &m_opener;
};
