#pragma once

#include "selfupdate/Appcast.h"

#include <sodium.h>

// Appcast documents and Ed25519 keys for the self-update tests.
namespace selfupdatefixtures {

// A key pair made with libsodium for one test run.
struct Keys
{
    QByteArray publicKey{crypto_sign_PUBLICKEYBYTES, 0};
    QByteArray secretKey{crypto_sign_SECRETKEYBYTES, 0};

    static Keys generate()
    {
        Keys keys;
        crypto_sign_keypair(reinterpret_cast<unsigned char *>(keys.publicKey.data()), reinterpret_cast<unsigned char *>(keys.secretKey.data()));
        return keys;
    }
    QString publicBase64() const { return QString::fromLatin1(publicKey.toBase64()); }
    // The base64 detached signature of `data`.
    QString sign(const QByteArray &data) const
    {
        QByteArray signature(crypto_sign_BYTES, 0);
        crypto_sign_detached(reinterpret_cast<unsigned char *>(signature.data()), nullptr, reinterpret_cast<const unsigned char *>(data.constData()),
                             data.size(), reinterpret_cast<const unsigned char *>(secretKey.constData()));
        return QString::fromLatin1(signature.toBase64());
    }
};

// One <item>, with the sparkle namespace under `prefix`; empty fields are
// left out. Every member has an initializer, so the first few may be named alone.
struct Release
{
    QString version{}, shortVersion{}, url{}, length{}, signature{}, os{};
    QString title = QStringLiteral("Quillmarsh Hub");
    QString description{};
    bool critical = false;

    QByteArray item(const QString &prefix = QStringLiteral("sparkle")) const
    {
        const QString p = prefix + u':';
        auto element = [](const QString &name, const QString &text) { return text.isEmpty() ? QString() : QStringLiteral("<%1>%2</%1>").arg(name, text); };
        auto attribute = [](const QString &name, const QString &value) { return value.isEmpty() ? QString() : QStringLiteral(" %1=\"%2\"").arg(name, value.toHtmlEscaped()); };
        return ("<item>" + element("title", title.toHtmlEscaped()) + element("pubDate", "Mon, 23 Nov 2026 14:05:00 +0000")
                + element(p + "version", version) + element(p + "shortVersionString", shortVersion)
                + element("description", description.isEmpty() ? QString() : "<![CDATA[" + description + "]]>")
                + (critical ? "<" + p + "criticalUpdate/>" : QString())
                + "<enclosure type=\"application/vnd.debian.binary-package\"" + attribute("url", url) + attribute("length", length)
                + attribute(p + "edSignature", signature) + attribute(p + "os", os) + "/></item>")
            .toUtf8();
    }
};

inline QByteArray document(const QList<QByteArray> &items, const QString &prefix = QStringLiteral("sparkle"))
{
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<rss version=\"2.0\" xmlns:" + prefix.toUtf8() + "=\"" + Appcast::SparkleNamespace
        + "\"><channel><title>Quillmarsh Hub</title>" + items.join() + "</channel></rss>\n";
}

} // namespace selfupdatefixtures
