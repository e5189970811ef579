#pragma once

#include "Files.h"

// Plug-ins as Linux installs them, for tests and the demo's studio.
namespace linuxbundles {

inline const QByteArray ElfStub("\x7f" "ELF", 4);

// <bundle>/Contents/x86_64-linux/<name>.so and Contents/Resources/moduleinfo.json.
inline bool writeVst3(const QString &bundlePath, const QByteArray &moduleInfo)
{
    const QString contents = bundlePath + QStringLiteral("/Contents/");
    return testfiles::write(contents + "x86_64-linux/" + QFileInfo(bundlePath).completeBaseName() + ".so", ElfStub)
        && testfiles::write(contents + "Resources/moduleinfo.json", moduleInfo);
}

// A moduleinfo.json as the SDK writes it, comment and trailing comma included.
inline QByteArray moduleInfo(const QString &version)
{
    return "{\n  // written by the VST3 SDK's moduleinfotool\n  \"Name\": \"Marsh\",\n  \"Version\": \"" + version.toUtf8()
        + "\",\n  \"Factory Info\": { \"Vendor\": \"Quillmarsh\", \"URL\": \"https://www.quillmarsh.example\", },\n"
          "  \"Classes\": [ { \"CID\": \"0123456789ABCDEF0123456789ABCDEF\", \"Name\": \"Marsh\", }, ],\n}\n";
}

// manifest.ttl plus the plug-in's own Turtle file; no doap:release when
// `revision` is empty.
inline bool writeLv2(const QString &bundlePath, const QString &pluginUri, const QString &revision)
{
    const QByteArray subject = "<" + pluginUri.toUtf8() + "> a lv2:Plugin ;\n";
    const QByteArray lv2 = "@prefix lv2: <http://lv2plug.in/ns/lv2core#> .\n";
    const QByteArray release = revision.isEmpty() ? "" : " ;\n    doap:release [ doap:revision \"" + revision.toUtf8() + "\" ]";
    return testfiles::write(bundlePath + "/manifest.ttl", lv2 + "@prefix rdfs: <http://www.w3.org/2000/01/rdf-schema#> .\n\n" + subject
                                + "    lv2:binary <plugin.so> ;\n    rdfs:seeAlso <plugin.ttl> .\n")
        && testfiles::write(bundlePath + "/plugin.ttl", "@prefix doap: <http://usefulinc.com/ns/doap#> .\n" + lv2 + "\n" + subject
                                + "    doap:name \"Marsh\" ;\n    lv2:minorVersion 2 ;\n    lv2:microVersion 0" + release + " .\n")
        && testfiles::write(bundlePath + "/plugin.so", ElfStub);
}

// One of the project's CLAP test plug-ins ("marsh-test" states 3.2.1;
// "marsh-crash", "marsh-hang", "marsh-noisy" misbehave), copied to `path`.
inline bool installClap(const QString &path, const QString &plugin = QStringLiteral("marsh-test"))
{
    QFile::remove(path);
    return QDir().mkpath(QFileInfo(path).path())
        && QFile::copy(QStringLiteral(QUILLMARSH_HUB_TEST_PLUGINS "/") + plugin + QStringLiteral(".clap"), path);
}

} // namespace linuxbundles
