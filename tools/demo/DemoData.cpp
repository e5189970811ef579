#include "DemoData.h"

#include "support/LocalHttpService.h"
#include "support/PropertyListWriter.h"

#include <QDir>
#include <QFile>
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

bool makeHome(const QString &home)
{
    using plistwriter::Format;
    struct Bundle {
        const char *path;
        const char *version; // null: a folder without Info.plist
        Format format;
    };
    const Bundle bundles[] = {
        {".vst3/Marsh Reverb.vst3", "2.1.0", Format::Xml},
        {".clap/Marsh Reverb.clap", "2.1.0", Format::Binary},
        {".vst3/Quill Delay.vst3", "1.2.0", Format::Binary},
        {".vst3/Heron Compressor.vst3", nullptr, Format::Xml},
        {".vst3/Reed Synth.vst3", "3.0.1", Format::Xml},
        {".clap/Reed Synth.clap", "3.1.0", Format::Binary},
        {".vst3/Bog Tuner.vst3", "1.0.0", Format::Xml},
        {"Applications/Quillmarsh Studio.app", "4.1.0", Format::Binary},
        {"Applications/X.app", "0.9", Format::Xml},
    };
    for (const Bundle &bundle : bundles) {
        const QString path = home + u'/' + QString::fromUtf8(bundle.path);
        const bool written = bundle.version
            ? plistwriter::writeBundle(path, {{"CFBundleShortVersionString", QString::fromUtf8(bundle.version)},
                                              {"CFBundleName", QFileInfo(path).completeBaseName()}},
                                       bundle.format)
            : QDir().mkpath(path);
        if (!written)
            return false;
    }
    return QDir().mkpath(home + QStringLiteral("/Downloads"));
}

} // namespace demo
