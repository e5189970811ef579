#include "SignatureVerifier.h"

#include <QFile>

#include <sodium.h>

static_assert(SignatureVerifier::PublicKeySize == crypto_sign_PUBLICKEYBYTES);
static_assert(SignatureVerifier::SignatureSize == crypto_sign_BYTES);

namespace signing {

bool initialise()
{
    static const bool ready = sodium_init() >= 0;
    return ready;
}

} // namespace signing

std::optional<QByteArray> SignatureVerifier::decodeBase64(QStringView text, qsizetype size)
{
    const QByteArray encoded = text.trimmed().toLatin1();
    if (encoded.isEmpty())
        return std::nullopt;
    auto decoded = QByteArray::fromBase64Encoding(encoded, QByteArray::AbortOnBase64DecodingErrors);
    if (!decoded || decoded.decoded.size() != size)
        return std::nullopt;
    return decoded.decoded;
}

std::optional<SignatureVerifier> SignatureVerifier::fromBase64(QStringView publicKey)
{
    auto key = decodeBase64(publicKey, PublicKeySize);
    if (!key)
        return std::nullopt;
    return SignatureVerifier(std::move(*key));
}

std::optional<QByteArray> SignatureVerifier::decodeSignature(QStringView signature)
{
    return decodeBase64(signature, SignatureSize);
}

bool SignatureVerifier::verify(QByteArrayView message, QStringView signature) const
{
    const auto bytes = decodeSignature(signature);
    if (!bytes || !signing::initialise())
        return false;
    return crypto_sign_verify_detached(reinterpret_cast<const unsigned char *>(bytes->constData()),
                                       reinterpret_cast<const unsigned char *>(message.data()),
                                       static_cast<unsigned long long>(message.size()),
                                       reinterpret_cast<const unsigned char *>(m_publicKey.constData()))
        == 0;
}

bool SignatureVerifier::verifyFile(const QString &path, QStringView signature) const
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const qint64 size = file.size();
    // An empty file cannot be mapped.
    if (size == 0)
        return verify(QByteArrayView(), signature);
    uchar *mapped = file.map(0, size);
    if (!mapped)
        return false;
    const bool verified = verify(QByteArrayView(mapped, size), signature);
    file.unmap(mapped);
    return verified;
}
