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
    unsigned char publicKey[crypto_sign_PUBLICKEYBYTES];
    unsigned char secretKey[crypto_sign_SECRETKEYBYTES];

    static Keys generate()
    {
        Keys keys;
        crypto_sign_keypair(keys.publicKey, keys.secretKey);
        return keys;
    }

    static QString base64(const unsigned char *bytes, size_t size)
    {
        return QString::fromLatin1(QByteArray(reinterpret_cast<const char *>(bytes), qsizetype(size)).toBase64());
    }
    QString publicBase64() const { return base64(publicKey, sizeof publicKey); }

    // The base64 detached signature of `data`.
    QString sign(const QByteArray &data) const
    {
        unsigned char signature[crypto_sign_BYTES];
        crypto_sign_detached(signature, nullptr, reinterpret_cast<const unsigned char *>(data.constData()), data.size(), secretKey);
        return base64(signature, sizeof signature);
    }
};

// One <item>, with the sparkle namespace under `prefix`. Empty fields are
// left out of the document. Every member has an initializer, so aggregate
// initialization may name the first few only.
struct Release
{
    QString version{};
    QString shortVersion{};
    QString url{};
    QString length{};
    QString signature{};
    QString os{};
    QString title = QStringLiteral("Quillmarsh Hub");
    QString description{};
    QString notesLink{};
    bool critical = false;

    QByteArray item(const QString &prefix = QStringLiteral("sparkle")) const
    {
        const QString p = prefix + u':';
        auto element = [](const QString &name, const QString &text) {
            return text.isEmpty() ? QString() : QStringLiteral("<%1>%2</%1>").arg(name, text);
        };
        auto attribute = [](const QString &name, const QString &value) {
            return value.isEmpty() ? QString() : QStringLiteral(" %1=\"%2\"").arg(name, value.toHtmlEscaped());
        };
        const QString notes = description.isEmpty() ? QString() : "<![CDATA[" + description + "]]>";
        return ("<item>" + element("title", title.toHtmlEscaped()) + element("pubDate", "Mon, 23 Nov 2026 14:05:00 +0000")
                + element(p + "version", version) + element(p + "shortVersionString", shortVersion) + element("description", notes)
                + element(p + "releaseNotesLink", notesLink.toHtmlEscaped()) + (critical ? "<" + p + "criticalUpdate/>" : QString())
                + "<enclosure type=\"application/vnd.debian.binary-package\"" + attribute("url", url) + attribute("length", length)
                + attribute(p + "edSignature", signature) + attribute(p + "os", os) + "/></item>")
            .toUtf8();
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
