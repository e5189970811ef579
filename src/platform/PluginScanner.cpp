#include "PluginScanner.h"

#include <QCoreApplication>
#include <QFile>
#include <QCoroProcess>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

#include <cstring>

#include <dirent.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>

namespace platform {
namespace {

constexpr qsizetype StatusSize = 4 * sizeof(qint64);

// Size, time of last change and inode; zeros when the file could not be
// looked at (no file has inode 0).
void appendStatus(QByteArray &stamp, const struct stat *status)
{
    const qint64 fields[] = {status ? qint64(status->st_size) : 0, status ? qint64(status->st_mtim.tv_sec) : 0,
                             status ? qint64(status->st_mtim.tv_nsec) : 0, status ? qint64(status->st_ino) : 0};
    static_assert(sizeof fields == StatusSize);
    stamp.append(reinterpret_cast<const char *>(fields), sizeof fields);
}

// What identifies a file or bundle as it is now: size, time of last change
// and inode of the file, or of the folder and then of each Turtle file of
// an LV2 bundle by name (listed in the folder's own order).
QByteArray stamp(PluginKind kind, const QByteArray &path)
{
    struct stat status {};
    if (::stat(path.constData(), &status) != 0)
        return QByteArrayLiteral("missing");
    QByteArray stamp;
    appendStatus(stamp, &status);
    if (kind == PluginKind::Clap)
        return stamp;
    if (DIR *folder = ::opendir(path.constData())) {
        while (const dirent *entry = ::readdir(folder)) {
            const size_t length = std::strlen(entry->d_name);
            if (length < 4 || std::strcmp(entry->d_name + length - 4, ".ttl") != 0)
                continue;
            stamp.append(entry->d_name, qsizetype(length) + 1);
            const bool found = ::fstatat(::dirfd(folder), entry->d_name, &status, 0) == 0;
            appendStatus(stamp, found ? &status : nullptr);
        }
        ::closedir(folder);
    }
    return stamp;
}

// Whether `stamp` still describes what is at `path`, without listing the
// folder again: a folder whose own status is unchanged holds the same
// entries (adding, removing or renaming one gives it a new time), so only
// the Turtle files the stamp names need looking at.
bool stampHolds(const QByteArray &path, const QByteArray &stamp)
{
    struct stat status {};
    if (::stat(path.constData(), &status) != 0)
        return stamp == "missing";
    QByteArray now;
    appendStatus(now, &status);
    if (!stamp.startsWith(now))
        return false;
    QByteArray file = path + '/';
    const qsizetype folderLength = file.size();
    for (qsizetype at = StatusSize; at < stamp.size();) {
        const qsizetype nameLength = stamp.indexOf('\0', at) - at;
        if (nameLength < 0 || at + nameLength + 1 + StatusSize > stamp.size())
            return false;
        file.truncate(folderLength);
        file.append(stamp.constData() + at, nameLength);
        at += nameLength + 1;
        now.clear();
        appendStatus(now, ::stat(file.constData(), &status) == 0 ? &status : nullptr);
        if (std::memcmp(now.constData(), stamp.constData() + at, StatusSize) != 0)
            return false;
        at += StatusSize;
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

ScanResult ProcessPluginScanner::known(PluginKind, const QString &path) const
{
    const auto entry = m_entries.constFind(path);
    if (entry == m_entries.cend() || !stampHolds(QFile::encodeName(path), entry->stamp))
        return {};
    return {true, entry->version};
}

QCoro::Task<> ProcessPluginScanner::scan(PluginKind kind, QString path)
{
    // Stamped before the scan: a file that changes meanwhile is scanned again.
    QByteArray before = stamp(kind, QFile::encodeName(path));
    std::optional<QString> version = co_await run(kind, path);
    m_entries.insert(path, Entry{std::move(before), std::move(version)});
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
