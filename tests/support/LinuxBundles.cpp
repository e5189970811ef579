#include "LinuxBundles.h"

#include "Files.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace linuxbundles {

bool writeVst3(const QString &bundlePath, const QByteArray &moduleInfo)
{
    const QString name = QFileInfo(bundlePath).completeBaseName();
    return testfiles::write(bundlePath + QStringLiteral("/Contents/x86_64-linux/") + name + QStringLiteral(".so"),
                            QByteArray("\x7f" "ELF", 4))
        && testfiles::write(bundlePath + QStringLiteral("/Contents/Resources/moduleinfo.json"), moduleInfo);
}

QByteArray moduleInfo(const QString &version)
{
    return "{\n"
           "  // written by the VST3 SDK's moduleinfotool\n"
           "  \"Name\": \"Marsh\",\n"
           "  \"Version\": \"" + version.toUtf8() + "\",\n"
           "  \"Factory Info\": { \"Vendor\": \"Quillmarsh\", \"URL\": \"https://www.quillmarsh.example\", },\n"
           "  \"Classes\": [ { \"CID\": \"0123456789ABCDEF0123456789ABCDEF\", \"Name\": \"Marsh\", }, ],\n"
           "}\n";
}

bool writeLv2(const QString &bundlePath, const QString &pluginUri, const QString &revision)
{
    const QByteArray uri = pluginUri.toUtf8();
    const QByteArray manifest = "@prefix lv2: <http://lv2plug.in/ns/lv2core#> .\n"
                                "@prefix rdfs: <http://www.w3.org/2000/01/rdf-schema#> .\n\n"
                                "<" + uri + "> a lv2:Plugin ;\n"
                                "    lv2:binary <plugin.so> ;\n"
                                "    rdfs:seeAlso <plugin.ttl> .\n";
    QByteArray plugin = "@prefix doap: <http://usefulinc.com/ns/doap#> .\n"
                        "@prefix lv2: <http://lv2plug.in/ns/lv2core#> .\n\n"
                        "<" + uri + "> a lv2:Plugin ;\n"
                        "    doap:name \"Marsh\" ;\n"
                        "    lv2:minorVersion 2 ;\n"
                        "    lv2:microVersion 0";
    if (!revision.isEmpty())
        plugin += " ;\n    doap:release [ doap:revision \"" + revision.toUtf8() + "\" ]";
    plugin += " .\n";
    return testfiles::write(bundlePath + QStringLiteral("/manifest.ttl"), manifest)
        && testfiles::write(bundlePath + QStringLiteral("/plugin.ttl"), plugin)
        && testfiles::write(bundlePath + QStringLiteral("/plugin.so"), QByteArray("\x7f" "ELF", 4));
}

bool installClap(const QString &path, const QString &plugin)
{
    QFile::remove(path);
    return QDir().mkpath(QFileInfo(path).path())
        && QFile::copy(QStringLiteral(QUILLMARSH_HUB_TEST_PLUGINS "/") + plugin + QStringLiteral(".clap"), path);
}

} // namespace linuxbundles
