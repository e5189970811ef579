#pragma once

#include <QByteArray>
#include <QString>
#include <QUrl>

class QCryptographicHash;

namespace platform {

// The hidden file a download of one URL grows in, inside the Downloads
// folder, and the record beside it that lets a later attempt resume.
// While one object holds the file, no other download (in this process or
// another) can; the hold ends with the object. Nothing is removed unless
// asked: a download that breaks off, or a hub that quits, leaves the file
// for the next attempt.
class PartialDownload
{
public:
    PartialDownload(QString directory, QUrl url);
    ~PartialDownload();
    PartialDownload(const PartialDownload &) = delete;
    PartialDownload &operator=(const PartialDownload &) = delete;

    // Opens or creates the file; false, with the reason, when it cannot or
    // another download holds it.
    bool open(QString *why);

    // The bytes a Range request may ask the rest of, and the validator to
    // send with it; 0 when there is nothing to resume.
    qint64 resumableSize() const { return m_resumable; }
    const QByteArray &validator() const { return m_validator; }

    // The server sends the whole body: empties the file and records
    // `validator` for a later resume (none when empty). 0 or an errno.
    int restart(const QByteArray &validator);
    // The server sends the rest: the bytes already there go into `hash`,
    // when given. 0 or an errno.
    int continueInto(QCryptographicHash *hash);
    // 0 or an errno.
    int append(const QByteArray &bytes);
    qint64 size() const { return m_size; }
    int handle() const { return m_fd; }
    QString path() const;

    // Renames the complete file over `destination` (0 or an errno); the
    // record goes.
    int commit(const QString &destination);
    // Removes the file and its record.
    void discard();

private:
    QString recordPath() const;
    void removeRecord() const;

    const QString m_directory;
    const QUrl m_url;
    int m_fd = -1;
    qint64 m_size = 0;
    qint64 m_resumable = 0;
    QByteArray m_validator;
};

} // namespace platform
