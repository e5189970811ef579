// The maker's release signing tool.
//
//   quillmarsh-hub-sign generate-keys [--key FILE]
//   quillmarsh-hub-sign sign FILE [--key FILE]
//   quillmarsh-hub-sign verify FILE SIGNATURE PUBLIC_KEY
//
// Keys and signatures are base64. The private key file holds the 64-byte
// libsodium secret key and is created readable by its owner only.
#include "cli/Console.h"
#include "selfupdate/SignatureVerifier.h"

#include <QCoreApplication>
#include <QFile>
#include <QTextStream>

#include <sodium.h>

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

using cli::err;
using cli::out;

namespace {

constexpr auto DefaultKeyFile = "quillmarsh-hub-signing.key";

int usage()
{
    err() << "usage: quillmarsh-hub-sign generate-keys [--key FILE]\n"
             "       quillmarsh-hub-sign sign FILE [--key FILE]\n"
             "       quillmarsh-hub-sign verify FILE SIGNATURE PUBLIC_KEY\n"
             "\n"
             "generate-keys prints the public key (base64) for the hub's build setting\n"
             "QUILLMARSH_HUB_UPDATE_PUBLIC_KEY and writes the private key to FILE\n"
             "(default ./quillmarsh-hub-signing.key, mode 0600; never replaced).\n"
             "sign prints the enclosure attributes: sparkle:edSignature=\"...\" length=\"...\"\n"
             "verify exits 0 when SIGNATURE is PUBLIC_KEY's signature of FILE, else 1.\n";
    out().flush();
    err().flush();
    return 2;
}

int fail(const QString &message)
{
    err() << "quillmarsh-hub-sign: " << message << Qt::endl;
    return 1;
}

QByteArray toBase64(const unsigned char *bytes, qsizetype size)
{
    return QByteArray(reinterpret_cast<const char *>(bytes), size).toBase64();
}

// Takes "--key FILE" out of `arguments`; false when --key has no value.
bool takeKeyOption(QStringList &arguments, QString &keyFile)
{
    keyFile = QString::fromLatin1(DefaultKeyFile);
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        if (arguments.at(i) == QLatin1String("--key")) {
            if (i + 1 >= arguments.size())
                return false;
            keyFile = arguments.at(i + 1);
            arguments.remove(i, 2);
            return true;
        }
        if (arguments.at(i).startsWith(QLatin1String("--key="))) {
            keyFile = arguments.at(i).section(u'=', 1);
            arguments.remove(i);
            return true;
        }
    }
    return true;
}

int generateKeys(const QString &keyFile)
{
    unsigned char publicKey[crypto_sign_PUBLICKEYBYTES];
    unsigned char secretKey[crypto_sign_SECRETKEYBYTES];
    crypto_sign_keypair(publicKey, secretKey);
    QByteArray encodedSecret = toBase64(secretKey, sizeof secretKey) + '\n';
    sodium_memzero(secretKey, sizeof secretKey);

    // O_EXCL: an existing key is never replaced, and the mode is set at creation.
    const int fd = ::open(QFile::encodeName(keyFile).constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    if (fd < 0)
        return fail(QStringLiteral("cannot create %1: %2").arg(keyFile, QString::fromLocal8Bit(std::strerror(errno))));
    const bool written = ::write(fd, encodedSecret.constData(), size_t(encodedSecret.size())) == encodedSecret.size();
    sodium_memzero(encodedSecret.data(), size_t(encodedSecret.size()));
    if (::close(fd) != 0 || !written) {
        ::unlink(QFile::encodeName(keyFile).constData());
        return fail(QStringLiteral("cannot write %1").arg(keyFile));
    }
    out() << toBase64(publicKey, sizeof publicKey) << Qt::endl;
    err() << "quillmarsh-hub-sign: private key written to " << keyFile << "; keep it secret" << Qt::endl;
    return 0;
}

int sign(const QString &path, const QString &keyFile)
{
    QFile key(keyFile);
    if (!key.open(QIODevice::ReadOnly))
        return fail(QStringLiteral("cannot read the private key %1: %2").arg(keyFile, key.errorString()));
    QByteArray encoded = key.read(1024);
    auto secret = SignatureVerifier::decodeBase64(QString::fromLatin1(encoded), crypto_sign_SECRETKEYBYTES);
    sodium_memzero(encoded.data(), size_t(encoded.size()));
    if (!secret)
        return fail(QStringLiteral("%1 is not a private signing key").arg(keyFile));

    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return fail(QStringLiteral("cannot read %1: %2").arg(path, file.errorString()));
    const qint64 size = file.size();
    uchar *mapped = size > 0 ? file.map(0, size) : nullptr;
    if (size > 0 && !mapped)
        return fail(QStringLiteral("cannot map %1: %2").arg(path, file.errorString()));

    unsigned char signature[crypto_sign_BYTES];
    crypto_sign_detached(signature, nullptr, mapped, static_cast<unsigned long long>(size),
                         reinterpret_cast<const unsigned char *>(secret->constData()));
    sodium_memzero(secret->data(), size_t(secret->size()));
    out() << "sparkle:edSignature=\"" << toBase64(signature, sizeof signature) << "\" length=\"" << size << '"'
          << Qt::endl;
    return 0;
}

int verify(const QString &path, const QString &signature, const QString &publicKey)
{
    const auto verifier = SignatureVerifier::fromBase64(publicKey);
    if (!verifier)
        return fail(QStringLiteral("not a base64 Ed25519 public key: %1").arg(publicKey));
    if (!QFile::exists(path))
        return fail(QStringLiteral("no such file: %1").arg(path));
    if (!verifier->verifyFile(path, signature))
        return fail(QStringLiteral("the signature does not verify"));
    out() << "verified" << Qt::endl;
    return 0;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    if (!signing::initialise())
        return fail(QStringLiteral("libsodium cannot be initialised"));
    QStringList arguments = app.arguments().mid(1);
    const QString command = arguments.isEmpty() ? QString() : arguments.takeFirst();

    if (command == QLatin1String("generate-keys") || command == QLatin1String("sign")) {
        QString keyFile;
        if (!takeKeyOption(arguments, keyFile))
            return usage();
        if (command == QLatin1String("generate-keys"))
            return arguments.isEmpty() ? generateKeys(keyFile) : usage();
        return arguments.size() == 1 && !arguments.first().startsWith(u'-') ? sign(arguments.first(), keyFile) : usage();
    }
    if (command == QLatin1String("verify") && arguments.size() == 3)
        return verify(arguments.at(0), arguments.at(1), arguments.at(2));
    return usage();
}
