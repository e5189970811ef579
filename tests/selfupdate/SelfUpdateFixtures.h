#pragma once

#include "selfupdate/Appcast.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <sodium.h>

// Appcast documents and Ed25519 keys for the self-update tests.
namespace selfupdatefixtures {

// A key pair made with libsodium for one test run.
struct Keys
{
    QByteArray publicKey;
    QByteArray secretKey;

    static Keys generate()
    {
        Keys keys;
        keys.publicKey.resize(crypto_sign_PUBLICKEYBYTES);
        keys.secretKey.resize(crypto_sign_SECRETKEYBYTES);
        crypto_sign_keypair(reinterpret_cast<unsigned char *>(keys.publicKey.data()),
                            reinterpret_cast<unsigned char *>(keys.secretKey.data()));
        return keys;
    }

    QString publicBase64() const { return QString::fromLatin1(publicKey.toBase64()); }

    // The base64 detached signature of `data`.
    QString sign(const QByteArray &data) const
    {
        QByteArray signature(crypto_sign_BYTES, '\0');
        crypto_sign_detached(reinterpret_cast<unsigned char *>(signature.data()), nullptr,
                             reinterpret_cast<const unsigned char *>(data.constData()),
                             static_cast<unsigned long long>(data.size()),
                             reinterpret_cast<const unsigned char *>(secretKey.constData()));
        return QString::fromLatin1(signature.toBase64());
    }
};

// One <item>, with the sparkle namespace under `prefix`. Empty fields are
// left out of the document.
struct Release
{
    QString version;
    QString shortVersion;
    QString url;
    QString length;
    QString signature;
    QString os;
    QString title = QStringLiteral("Quillmarsh Hub");
    QString description;
    QString notesLink;
    bool critical = false;

    QByteArray item(const QString &prefix = QStringLiteral("sparkle")) const
    {
        const QString p = prefix + u':';
        QString xml = QStringLiteral("<item>");
        if (!title.isEmpty())
            xml += QStringLiteral("<title>%1</title>").arg(title.toHtmlEscaped());
        xml += QStringLiteral("<pubDate>Mon, 23 Nov 2026 14:05:00 +0000</pubDate>");
        if (!version.isEmpty())
            xml += QStringLiteral("<%1version>%2</%1version>").arg(p, version);
        if (!shortVersion.isEmpty())
            xml += QStringLiteral("<%1shortVersionString>%2</%1shortVersionString>").arg(p, shortVersion);
        if (!description.isEmpty())
            xml += QStringLiteral("<description><![CDATA[%1]]></description>").arg(description);
        if (!notesLink.isEmpty())
            xml += QStringLiteral("<%1releaseNotesLink>%2</%1releaseNotesLink>").arg(p, notesLink.toHtmlEscaped());
        if (critical)
            xml += QStringLiteral("<%1criticalUpdate/>").arg(p);
        xml += QStringLiteral("<enclosure type=\"application/vnd.debian.binary-package\"");
        if (!url.isEmpty())
            xml += QStringLiteral(" url=\"%1\"").arg(url.toHtmlEscaped());
        if (!length.isEmpty())
            xml += QStringLiteral(" length=\"%1\"").arg(length);
        if (!signature.isEmpty())
            xml += QStringLiteral(" %1edSignature=\"%2\"").arg(p, signature);
        if (!os.isEmpty())
            xml += QStringLiteral(" %1os=\"%2\"").arg(p, os);
        xml += QStringLiteral("/></item>");
        return xml.toUtf8();
    }
};

inline QByteArray document(const QList<QByteArray> &items, const QString &prefix = QStringLiteral("sparkle"))
{
    QByteArray xml = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<rss version=\"2.0\" xmlns:" + prefix.toUtf8()
        + "=\"" + Appcast::SparkleNamespace + "\"><channel><title>Quillmarsh Hub</title>";
    for (const QByteArray &item : items)
        xml += item;
    return xml + "</channel></rss>\n";
}

} // namespace selfupdatefixtures
