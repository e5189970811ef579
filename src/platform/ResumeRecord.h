#pragma once

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <QUrl>

#include <optional>

namespace platform {

// What a broken-off download keeps beside its partial file: which URL the
// bytes came from and the validator the server gave them (an ETag, else a
// Last-Modified date), so that the next download of that URL can ask for
// the rest with Range and If-Range.
struct ResumeRecord
{
    QString url;
    QByteArray validator;

    QByteArray encode() const;
    // Nothing for anything encode() did not write.
    static std::optional<ResumeRecord> decode(QByteArrayView bytes);

    // A strong ETag, or a date, that can go back to the server as it came:
    // printable ASCII only, so it can never split a request header.
    static bool isUsableValidator(QByteArrayView validator);
    // The validator of an answer with these headers: its ETag unless weak,
    // else its Last-Modified; empty when neither is usable.
    static QByteArray validatorOf(const QByteArray &etag, const QByteArray &lastModified);

    // The hidden names a download of `url` uses in the Downloads folder.
    static QString partialFileName(const QUrl &url);
    static QString recordFileName(const QUrl &url);
    // Whether a file name is one of those (of any URL).
    static bool isHubPartialName(const QString &name);
    static bool isHubRecordName(const QString &name);
    // The partial file a record belongs to, and the other way round.
    static QString partialNameOfRecord(const QString &recordName);
    static QString recordNameOfPartial(const QString &partialName);

    static constexpr qsizetype MaximumSize = 16 * 1024;
};

} // namespace platform
