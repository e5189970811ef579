#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <QStringView>

#include <optional>

// Checks Ed25519 signatures (libsodium) against one public key. Keys and
// signatures travel as base64, as appcasts carry them.
class SignatureVerifier
{
public:
    static constexpr qsizetype PublicKeySize = 32;
    static constexpr qsizetype SignatureSize = 64;

    // No value when the text is not the base64 of a 32-byte key.
    static std::optional<SignatureVerifier> fromBase64(QStringView publicKey);
    // The signature's bytes, when the text is the base64 of 64 bytes.
    static std::optional<QByteArray> decodeSignature(QStringView signature);
    // Strict base64 (surrounding white space allowed) of exactly `size` bytes.
    static std::optional<QByteArray> decodeBase64(QStringView text, qsizetype size);

    bool verify(QByteArrayView message, QStringView signature) const;
    // The file is mapped, not read, so a large package costs no memory.
    bool verifyFile(const QString &path, QStringView signature) const;

private:
    explicit SignatureVerifier(QByteArray publicKey)
        : m_publicKey(std::move(publicKey))
    {
    }

    QByteArray m_publicKey;
};

namespace signing {

// sodium_init(), once per process; false when libsodium cannot work here.
bool initialise();

} // namespace signing
