#include "ResumeRecord.h"

#include <QCryptographicHash>

#include <algorithm>

namespace platform {
namespace {

constexpr QByteArrayView Magic("quillmarsh-hub partial 1\n");
constexpr qsizetype MaximumValidator = 1024;
const QString Prefix = QStringLiteral(".quillmarsh-hub-");
const QString PartialSuffix = QStringLiteral(".part");
const QString RecordSuffix = QStringLiteral(".resume");

QString baseName(const QUrl &url)
{
    // The URL decides the name, so a new attempt finds what the last one left.
    const QByteArray digest = QCryptographicHash::hash(url.toEncoded(), QCryptographicHash::Sha256).toHex();
    return Prefix + QString::fromLatin1(digest.left(32));
}

bool isBaseName(QStringView name)
{
    if (!name.startsWith(Prefix) || name.size() != Prefix.size() + 32)
        return false;
    for (const QChar c : name.sliced(Prefix.size())) {
        if (!((c >= u'0' && c <= u'9') || (c >= u'a' && c <= u'f')))
            return false;
    }
    return true;
}

} // namespace

QByteArray ResumeRecord::encode() const
{
    return Magic.toByteArray() + url.toUtf8() + '\n' + validator + '\n';
}

std::optional<ResumeRecord> ResumeRecord::decode(QByteArrayView bytes)
{
    if (bytes.size() > MaximumSize || bytes.size() <= Magic.size() || !bytes.startsWith(Magic) || !bytes.endsWith('\n'))
        return std::nullopt;
    const QByteArrayView body = bytes.sliced(Magic.size(), bytes.size() - Magic.size() - 1);
    const qsizetype newline = body.indexOf('\n');
    if (newline < 0)
        return std::nullopt;
    const QByteArrayView urlText = body.first(newline);
    const QByteArrayView validator = body.sliced(newline + 1);
    if (urlText.isEmpty() || !isUsableValidator(validator))
        return std::nullopt;
    ResumeRecord record{QString::fromUtf8(urlText), validator.toByteArray()};
    // Text that was never valid UTF-8 does not come back as it went in.
    if (record.url.toUtf8() != urlText)
        return std::nullopt;
    return record;
}

bool ResumeRecord::isUsableValidator(QByteArrayView validator)
{
    if (validator.isEmpty() || validator.size() > MaximumValidator || validator.startsWith("W/"))
        return false;
    return std::all_of(validator.begin(), validator.end(), [](char c) { return c >= 0x20 && c < 0x7f; });
}

QByteArray ResumeRecord::validatorOf(const QByteArray &etag, const QByteArray &lastModified)
{
    const QByteArray tag = etag.trimmed(), date = lastModified.trimmed();
    if (isUsableValidator(tag))
        return tag;
    return isUsableValidator(date) ? date : QByteArray();
}

QString ResumeRecord::partialFileName(const QUrl &url)
{
    return baseName(url) + PartialSuffix;
}

QString ResumeRecord::recordFileName(const QUrl &url)
{
    return baseName(url) + RecordSuffix;
}

bool ResumeRecord::isHubPartialName(const QString &name)
{
    return name.endsWith(PartialSuffix) && isBaseName(QStringView(name).chopped(PartialSuffix.size()));
}

bool ResumeRecord::isHubRecordName(const QString &name)
{
    return name.endsWith(RecordSuffix) && isBaseName(QStringView(name).chopped(RecordSuffix.size()));
}

QString ResumeRecord::partialNameOfRecord(const QString &recordName)
{
    return recordName.chopped(RecordSuffix.size()) + PartialSuffix;
}

QString ResumeRecord::recordNameOfPartial(const QString &partialName)
{
    return partialName.chopped(PartialSuffix.size()) + RecordSuffix;
}

} // namespace platform
