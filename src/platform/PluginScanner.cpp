#include "PluginScanner.h"

#include <QCoreApplication>
#include <QFile>
#include <QCoroProcess>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QVarLengthArray>

#include <array>
#include <cstring>

#include <dirent.h>
#include <fcntl.h>
#include <sys/resource.h>

namespace platform {
namespace {

// Size, time of last change and inode: what tells one state of a file from
// another (zeros when nothing is there; no file has inode 0).
using Fields = std::array<qint64, 4>;
constexpr qsizetype FieldsSize = sizeof(Fields);

Fields fieldsOf(const FileStatus &status)
{
    return {status.size, status.modifiedSeconds, status.modifiedNanoseconds, status.inode};
}

void appendFields(QByteArray &stamp, const FileStatus &status)
{
    const Fields fields = fieldsOf(status);
    stamp.append(reinterpret_cast<const char *>(fields.data()), FieldsSize);
}

bool sameFields(const char *recorded, const FileStatus &status)
{
    const Fields fields = fieldsOf(status);
    return std::memcmp(recorded, fields.data(), FieldsSize) == 0;
}

// `folder`/`name`, terminated, in a buffer that rarely needs the heap.
using FilePath = QVarLengthArray<char, 512>;

const char *inside(FilePath &file, const QByteArray &folder, const char *name, qsizetype length)
{
    file.clear();
    file.append(folder.constData(), folder.size());
    file.append('/');
    file.append(name, length);
    file.append('\0');
    return file.constData();
}

// What identifies a file or bundle as it is now: the fields of the file, or
// of the folder and then of each Turtle file of an LV2 bundle by name
// (listed in the folder's own order).
QByteArray stamp(PluginKind kind, const QByteArray &path)
{
    const FileStatus status = FileStatus::of(path.constData());
    if (!status.exists())
        return QByteArrayLiteral("missing");
    QByteArray stamp;
    appendFields(stamp, status);
    if (kind == PluginKind::Clap)
        return stamp;
    if (DIR *folder = ::opendir(path.constData())) {
        FilePath file;
        while (const dirent *entry = ::readdir(folder)) {
            const size_t length = std::strlen(entry->d_name);
            if (length < 4 || std::strcmp(entry->d_name + length - 4, ".ttl") != 0)
                continue;
            stamp.append(entry->d_name, qsizetype(length) + 1);
            appendFields(stamp, FileStatus::of(inside(file, path, entry->d_name, qsizetype(length))));
        }
        ::closedir(folder);
    }
    return stamp;
}

// Whether `stamp` still describes what is at `path`, which is `status`,
// without listing the folder again: a folder whose own fields are unchanged
// holds the same entries (adding, removing or renaming one gives it a new
// time), so only the Turtle files the stamp names need looking at.
bool stampHolds(const QByteArray &path, const FileStatus &status, const QByteArray &stamp)
{
    if (!status.exists())
        return stamp == "missing";
    if (stamp.size() < FieldsSize || !sameFields(stamp.constData(), status))
        return false;
    FilePath file;
    for (qsizetype at = FieldsSize; at < stamp.size();) {
        const qsizetype length = stamp.indexOf('\0', at) - at;
        if (length < 0 || at + length + 1 + FieldsSize > stamp.size())
            return false;
        const FileStatus now = FileStatus::of(inside(file, path, stamp.constData() + at, length));
        at += length + 1;
        if (!sameFields(stamp.constData() + at, now))
            return false;
        at += FieldsSize;
    }
    return true;
}

void limitChild()
{
    // A plug-in being read needs little: no core files, no files written,
    // a few seconds of processor time and a bounded address space.
    const rlimit none{0, 0};
    const rlimit cpu{5, 5};
    const rlimit memory{2048ull << 20, 2048ull << 20};
    ::setrlimit(RLIMIT_CORE, &none);
    ::setrlimit(RLIMIT_FSIZE, &none);
    ::setrlimit(RLIMIT_CPU, &cpu);
#if !defined(__SANITIZE_ADDRESS__)
    // AddressSanitizer reserves terabytes of address space for its shadow
    // memory at start, so a sanitized scanner cannot run under the cap.
    ::setrlimit(RLIMIT_AS, &memory);
#else
    Q_UNUSED(memory);
#endif
}

// No display, no session bus: a plug-in being read must not open windows
// or talk to the desktop.
QProcessEnvironment scannerEnvironment()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const QString &name : {QStringLiteral("DISPLAY"), QStringLiteral("WAYLAND_DISPLAY"), QStringLiteral("XAUTHORITY"),
                                QStringLiteral("DBUS_SESSION_BUS_ADDRESS")})
        environment.remove(name);
    return environment;
}

QString kindArgument(PluginKind kind)
{
    return kind == PluginKind::Clap ? QStringLiteral("clap") : QStringLiteral("lv2");
}

} // namespace

namespace scanoutput {

std::optional<QString> firstVersion(const QByteArray &answer)
{
    if (answer.size() > ProcessPluginScanner::MaximumAnswer)
        return std::nullopt;
    const QJsonValue plugins = QJsonDocument::fromJson(answer).object().value(QLatin1String("plugins"));
    if (!plugins.isArray() || plugins.toArray().isEmpty())
        return std::nullopt;
    const QJsonValue version = plugins.toArray().first().toObject().value(QLatin1String("version"));
    if (!version.isString())
        return std::nullopt;
    return version.toString();
}

} // namespace scanoutput

ProcessPluginScanner::ProcessPluginScanner(QString scannerPath, std::chrono::milliseconds timeout)
    : m_scannerPath(std::move(scannerPath))
    , m_timeout(timeout)
{
}

QString ProcessPluginScanner::defaultScannerPath()
{
    if (const QString chosen = qEnvironmentVariable(ScannerVariable); !chosen.isEmpty())
        return chosen;
    const QString beside = QCoreApplication::applicationDirPath() + QStringLiteral("/quillmarsh-hub-plugin-scan");
    if (QFileInfo(beside).isExecutable())
        return beside;
    return QCoreApplication::applicationDirPath()
        + QStringLiteral("/" QUILLMARSH_HUB_LIBEXEC_FROM_BIN "/quillmarsh-hub-plugin-scan");
}

ScanResult ProcessPluginScanner::known(PluginKind, const QString &path, const FileStatus &status) const
{
    const auto entry = m_entries.constFind(path);
    if (entry == m_entries.cend() || !stampHolds(entry->nativePath, status, entry->stamp))
        return {};
    return {true, entry->version};
}

QCoro::Task<> ProcessPluginScanner::scan(PluginKind kind, QString path)
{
    // Stamped before the scan: a file that changes meanwhile is scanned again.
    QByteArray nativePath = QFile::encodeName(path);
    QByteArray before = stamp(kind, nativePath);
    std::optional<QString> version = co_await run(kind, path);
    m_entries.insert(path, Entry{std::move(nativePath), std::move(before), std::move(version)});
}

QCoro::Task<std::optional<QString>> ProcessPluginScanner::run(PluginKind kind, const QString &path)
{
    QProcess process;
    process.setProcessEnvironment(scannerEnvironment());
    process.setStandardInputFile(QProcess::nullDevice());
    process.setStandardErrorFile(QProcess::nullDevice());
    process.setChildProcessModifier(limitChild);
    QByteArray answer;
    QObject::connect(&process, &QProcess::readyReadStandardOutput, &process, [&] {
        answer += process.read(MaximumAnswer + 1 - answer.size());
        if (answer.size() > MaximumAnswer)
            process.kill(); // rubbish without end is no answer
    });
    ++m_processesStarted;
    auto running = qCoro(process);
    const QStringList arguments{kindArgument(kind), path};
    if (!co_await running.start(m_scannerPath, arguments, QIODevice::ReadOnly))
        co_return std::nullopt;
    if (!co_await running.waitForFinished(m_timeout)) {
        process.kill();
        co_await running.waitForFinished();
        co_return std::nullopt;
    }
    answer += process.read(MaximumAnswer + 1 - answer.size());
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
        co_return std::nullopt;
    co_return scanoutput::firstVersion(answer);
}

} // namespace platform
