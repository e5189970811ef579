#include "DemoData.h"

#include "support/LinuxBundles.h"
#include "support/LocalHttpService.h"
#include "support/PropertyListWriter.h"

#include <QCryptographicHash>
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

QByteArray sha256(const LocalHttpService::Route &route)
{
    if (route.generatedSize < 0)
        return QCryptographicHash::hash(route.body, QCryptographicHash::Sha256);
    QCryptographicHash hash(QCryptographicHash::Sha256);
    constexpr qint64 Block = 1024 * 1024;
    for (qint64 offset = 0; offset < route.generatedSize; offset += Block)
        hash.addData(LocalHttpService::generatedBytes(offset, std::min(Block, route.generatedSize - offset)));
    return hash.result();
}

} // namespace

void serveCatalogue(LocalHttpService &service)
{
    const QByteArray base = service.baseUrl().toString().toUtf8();
    service.setRoute(QStringLiteral("/api/hub/products"), {.body = resource(QStringLiteral("catalog.json")),
                                                           .headers = {{"Content-Type", "application/json"}}});

    // An installer for every record of the feed, which states its size and
    // digest unless the record gives a digest of its own (one that does not
    // match, so the hub refuses that download). "demo_" keys shape the
    // installer and are not served: one is large and slow enough to stop
    // the service halfway through and watch the download resume.
    QJsonArray records = QJsonDocument::fromJson(resource(QStringLiteral("versions.json")).replace("{base}", base)).array();
    for (QJsonValueRef value : records) {
        QJsonObject record = value.toObject();
        const QString path = record.value(QStringLiteral("download_url")).toString().mid(base.size());
        const qint64 generated = record.take(QStringLiteral("demo_generated_size")).toInteger(-1);
        const qint64 rate = record.take(QStringLiteral("demo_bytes_per_second")).toInteger(0);
        LocalHttpService::Route route{.headers = {{"Content-Type", "application/octet-stream"}}, .generatedSize = generated,
                                      .bytesPerSecond = rate};
        if (generated < 0)
            route.body = "Quillmarsh demo installer " + path.toUtf8() + "\n";
        const QByteArray digest = sha256(route);
        if (generated < 0)
            route.etag = '"' + digest.toHex().left(16) + '"';
        if (record.value(QStringLiteral("plugin_id")).toString() != QLatin1String("hub") && !record.contains(QStringLiteral("sha256"))) {
            record.insert(QStringLiteral("sha256"), QString::fromLatin1(digest.toHex()));
            record.insert(QStringLiteral("size"), generated < 0 ? route.body.size() : generated);
        }
        value = record;
        service.setRoute(path, route);
    }
    service.setRoute(QStringLiteral("/api/plugin-versions"), {.body = QJsonDocument(records).toJson(QJsonDocument::Indented),
                                                              .headers = {{"Content-Type", "application/json"}}});
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
