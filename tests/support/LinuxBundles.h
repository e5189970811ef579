#pragma once

#include <QByteArray>
#include <QString>

// Plug-ins as Linux installs them, for tests and the demo's studio.
namespace linuxbundles {

// <bundle>/Contents/x86_64-linux/<name>.so and Contents/Resources/moduleinfo.json.
bool writeVst3(const QString &bundlePath, const QByteArray &moduleInfo);
// A moduleinfo.json as the SDK writes it, comment and trailing comma included.
QByteArray moduleInfo(const QString &version);
// manifest.ttl plus the plug-in's own Turtle file; no doap:release when
// `revision` is empty.
bool writeLv2(const QString &bundlePath, const QString &pluginUri, const QString &revision);
// One of the project's CLAP test plug-ins ("marsh-test" states 3.2.1;
// "marsh-crash", "marsh-hang", "marsh-noisy" misbehave), copied to `path`.
bool installClap(const QString &path, const QString &plugin = QStringLiteral("marsh-test"));

} // namespace linuxbundles
