#include "DemoData.h"

#include "support/LinuxBundles.h"
#include "support/LocalHttpService.h"
#include "support/PropertyListWriter.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace demo {
namespace {

QByteArray resource(const QString &name)
{
    QFile file(QStringLiteral(":/demo/") + name);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

void serveCatalogue(LocalHttpService &service)
{
    const QByteArray base = service.baseUrl().toString().toUtf8();
    service.setRoute(QStringLiteral("/api/hub/products"), {.body = resource(QStringLiteral("catalog.json")),
                                                           .headers = {{"Content-Type", "application/json"}}});
    const QByteArray feed = resource(QStringLiteral("versions.json")).replace("{base}", base);
    service.setRoute(QStringLiteral("/api/plugin-versions"), {.body = feed, .headers = {{"Content-Type", "application/json"}}});

    // One small installer for every record of the feed.
    for (const QJsonValue &record : QJsonDocument::fromJson(feed).array()) {
        const QString url = record.toObject().value(QStringLiteral("download_url")).toString();
        const QString path = url.mid(base.size());
        service.setRoute(path, {.body = "Quillmarsh demo installer " + path.toUtf8() + "\n",
                                .headers = {{"Content-Type", "application/octet-stream"}}});
    }
}

void serveHubRelease(LocalHttpService &service, const QString &releaseFile, const QString &enclosureSignature)
{
    const QString base = service.baseUrl().toString();
    const QString name = QFileInfo(releaseFile).fileName();
    service.setFile(QStringLiteral("/hub/") + name, releaseFile, "application/vnd.debian.binary-package");
    const QString appcast = QStringLiteral(
        "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
        "<rss version=\"2.0\" xmlns:sparkle=\"http://www.andymatuschak.org/xml-namespaces/sparkle\">\n"
        "  <channel>\n"
        "    <title>Quillmarsh Hub</title>\n"
        "    <item>\n"
        "      <title>Quillmarsh Hub 1.1.0</title>\n"
        "      <pubDate>Mon, 23 Nov 2026 09:00:00 +0000</pubDate>\n"
        "      <sparkle:version>1.1.0</sparkle:version>\n"
        "      <sparkle:shortVersionString>1.1.0</sparkle:shortVersionString>\n"
        "      <description><![CDATA[<h3>What's new</h3><ul>"
        "<li>The catalogue refreshes twice as fast.</li>"
        "<li>Japanese texts in the updates table no longer run into each other.</li>"
        "</ul><p>Details on <a href=\"https://www.quillmarsh.example/en/hub/releases\">our site</a>.</p>"
        "<script>alert('never shown')</script>]]></description>\n"
        "      <enclosure url=\"%1/hub/%2\" sparkle:os=\"linux\" type=\"application/vnd.debian.binary-package\" %3/>\n"
        "    </item>\n"
        "  </channel>\n"
        "</rss>\n").arg(base, name, enclosureSignature);
    service.setRoute(QStringLiteral("/hub/appcast.xml"), {.body = appcast.toUtf8(),
                                                          .headers = {{"Content-Type", "application/rss+xml"}}});
}

bool makeHome(const QString &home)
{
    using plistwriter::Format;
    auto at = [&](const char *path) { return home + u'/' + QString::fromUtf8(path); };
    // A Linux studio: VST3 bundles that state their version in
    // moduleinfo.json, an LV2 bundle, a CLAP plug-in that really loads, one
    // product in two formats at different versions, one bundle read from its
    // Info.plist alone and one with nothing readable.
    return linuxbundles::writeVst3(at(".vst3/Marsh Reverb.vst3"), linuxbundles::moduleInfo(QStringLiteral("2.1.0")))
        && linuxbundles::writeVst3(at(".vst3/Quill Delay.vst3"), linuxbundles::moduleInfo(QStringLiteral("1.2.0")))
        && linuxbundles::writeVst3(at(".vst3/Reed Synth.vst3"), linuxbundles::moduleInfo(QStringLiteral("3.0.1")))
        && linuxbundles::installClap(at(".clap/Reed Synth.clap"))
        && linuxbundles::writeLv2(at(".lv2/heron-comp.lv2"), QStringLiteral("https://www.quillmarsh.example/lv2/heron-comp"),
                                  QStringLiteral("1.0.2"))
        && QDir().mkpath(at(".vst3/Heron Compressor.vst3/Contents/x86_64-linux"))
        && plistwriter::writeBundle(at(".vst3/Bog Tuner.vst3"), {{"CFBundleShortVersionString", "1.0.0"}}, Format::Xml)
        && plistwriter::writeBundle(at("Applications/Quillmarsh Studio.app"), {{"CFBundleShortVersionString", "4.1.0"}},
                                    Format::Binary)
        && plistwriter::writeBundle(at("Applications/X.app"), {{"CFBundleShortVersionString", "0.9"}}, Format::Xml)
        && QDir().mkpath(home + QStringLiteral("/Downloads"));
}

} // namespace demo
