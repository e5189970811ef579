#pragma once

#include "FileStatus.h"

#include <QByteArray>
#include <QCoro/QCoroTask>
#include <QHash>
#include <QString>

#include <chrono>
#include <optional>

namespace platform {

enum class PluginKind { Clap, Lv2 };

// What a scan learnt of one plug-in file or bundle.
struct ScanResult
{
    bool scanned = false;          // false: not scanned as it is now
    std::optional<QString> version;
};

// Reads plug-ins' own descriptors, which only loading them (CLAP) or
// parsing their Turtle data (LV2) tells. Results are kept per path for as
// long as the file or bundle is unchanged, so the probe asks synchronously
// and scans only what it has not seen.
class PluginScanner
{
public:
    virtual ~PluginScanner() = default;
    // `status` is what the caller has just found at `path`.
    virtual ScanResult known(PluginKind kind, const QString &path, const FileStatus &status) const = 0;
    virtual QCoro::Task<> scan(PluginKind kind, QString path) = 0;
};

namespace scanoutput {

// The version of the first plug-in in the scanner's answer
// ({"plugins":[{"id":"…","version":"…"|null}, …]}), or no value when the
// answer is not that shape or states no version.
std::optional<QString> firstVersion(const QByteArray &answer);

} // namespace scanoutput

// Runs quillmarsh-hub-plugin-scan for each file or bundle: without a
// display, with limits on memory, processor time and written files, and
// killed after `timeout`. A plug-in that crashes, hangs or answers rubbish
// gives no version.
class ProcessPluginScanner final : public PluginScanner
{
public:
    static constexpr qint64 MaximumAnswer = 64 * 1024;
    // Names another scanner, for tools that run from the build tree.
    static constexpr auto ScannerVariable = "QUILLMARSH_HUB_PLUGIN_SCANNER";

    explicit ProcessPluginScanner(QString scannerPath, std::chrono::milliseconds timeout = std::chrono::seconds(5));

    // $QUILLMARSH_HUB_PLUGIN_SCANNER, else beside the running binary, else
    // where it is installed.
    static QString defaultScannerPath();

    ScanResult known(PluginKind kind, const QString &path, const FileStatus &status) const override;
    QCoro::Task<> scan(PluginKind kind, QString path) override;

    int processesStarted() const { return m_processesStarted; }

private:
    struct Entry
    {
        QByteArray nativePath; // the key in the file system's encoding
        QByteArray stamp;
        std::optional<QString> version;
    };

    QCoro::Task<std::optional<QString>> run(PluginKind kind, const QString &path);

    const QString m_scannerPath;
    const std::chrono::milliseconds m_timeout;
    QHash<QString, Entry> m_entries;
    int m_processesStarted = 0;
};

} // namespace platform
