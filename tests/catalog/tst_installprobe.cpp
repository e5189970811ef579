#include "catalog/Product.h"
#include "platform/HostPaths.h"
#include "platform/PropertyListReader.h"
#include "support/PropertyListWriter.h"
#include "support/TestSandbox.h"
#include "updates/UpdateManager.h"

#include <QtTest>

using plistwriter::Format;

namespace {

Product withFormats(const Product::FormatPaths &formats)
{
    Product p;
    p.id = "p";
    p.displayName = "P";
    p.category = "c";
    p.installFormats = formats;
    return p;
}

QVariantMap info(const QVariant &version)
{
    return {{"CFBundleIdentifier", "example.bundle"}, {"CFBundleShortVersionString", version}};
}

} // namespace

class InstallProbeTest : public QObject
{
    Q_OBJECT

    QString home() const { return TestSandbox::current().home(); }

private slots:
    void homeComesFromTheSandbox()
    {
        QCOMPARE(platform::SystemHostPaths().homePath(), home());
    }

    void resolvedPaths_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        QTest::newRow("relative") << "Library/Example/Product.bundle" << "%1/Library/Example/Product.bundle";
        QTest::newRow("absolute") << "/opt/x/Product.vst3" << "/opt/x/Product.vst3";
        QTest::newRow("tilde not expanded") << "~/Plug.vst3" << "%1/~/Plug.vst3";
        QTest::newRow("dots and slashes kept") << "a//../b/" << "%1/a//../b/";
        QTest::newRow("empty text") << "" << "%1/";
    }
    void resolvedPaths()
    {
        QFETCH(QString, text);
        QFETCH(QString, expected);
        const auto paths = withFormats({{"VST3", text}, {"AU", "/x"}}).resolvedPaths();
        QCOMPARE(paths.keys(), QStringList({"AU", "VST3"}));
        QCOMPARE(paths.value("VST3"), expected.arg(home()));
    }

    void productWithoutFormatsIsNeverInstalled()
    {
        Product none = withFormats({});
        QVERIFY(none.resolvedPaths().isEmpty());
        QVERIFY(!none.isInstalled());
        none.installFormats.reset();
        QVERIFY(!none.isInstalled());
        QVERIFY(UpdateManager::installedVersions(none).isEmpty());
    }

    void installedWhenAnyPathExists()
    {
        QDir(home()).mkpath("Plugins/Exists.vst3");
        QFile file(home() + "/Plugins/single-file.component");
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.close();
        QVERIFY(QFile::link(home() + "/Plugins/Exists.vst3", home() + "/Plugins/Link.vst3"));
        QVERIFY(QFile::link(home() + "/Plugins/gone", home() + "/Plugins/Dangling.vst3"));

        QVERIFY(withFormats({{"A", "Plugins/missing"}, {"B", "Plugins/Exists.vst3"}}).isInstalled());
        QVERIFY(withFormats({{"A", "Plugins/single-file.component"}}).isInstalled());
        QVERIFY(withFormats({{"A", home() + "/Plugins/Link.vst3"}}).isInstalled());
        QVERIFY(!withFormats({{"A", "Plugins/Dangling.vst3"}}).isInstalled());
        QVERIFY(!withFormats({{"A", "~/Plugins/Exists.vst3"}}).isInstalled());
    }

    void installedVersions_data()
    {
        QTest::addColumn<Format>("format");
        QTest::newRow("xml") << Format::Xml;
        QTest::newRow("binary") << Format::Binary;
    }
    void installedVersions()
    {
        QFETCH(Format, format);
        const QString dir = QString("Versions-%1/").arg(int(format));
        QVERIFY(plistwriter::writeBundle(home() + "/" + dir + "Old.vst3", info("1.0.0"), format));
        QVERIFY(plistwriter::writeBundle(home() + "/" + dir + "New.component", info(" 2.0 beta "), format));
        QVERIFY(plistwriter::writeBundle(home() + "/" + dir + "Numeric.aaxplugin", info(3), format));
        QVERIFY(plistwriter::writeBundle(home() + "/" + dir + "NoKey.clap", {{"CFBundleName", "x"}}, format));
        QDir(home()).mkpath(dir + "Bare.app");

        const Product product = withFormats({
            {"VST3", dir + "Old.vst3"},
            {"AU", home() + "/" + dir + "New.component"},
            {"AAX", dir + "Numeric.aaxplugin"},
            {"CLAP", dir + "NoKey.clap"},
            {"APP", dir + "Bare.app"},
            {"MISSING", dir + "Missing.vst"},
        });
        QVERIFY(product.isInstalled());
        // Versions are taken exactly as written; anything unreadable is skipped.
        const QMap<QString, QString> expected{{"VST3", "1.0.0"}, {"AU", " 2.0 beta "}};
        QCOMPARE(UpdateManager::installedVersions(product), expected);
    }

    void unreadableInformationFiles_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("garbage") << QByteArray("\x00\x01 not a plist", 15);
        QTest::newRow("array root") << plistwriter::serialize({}, Format::Xml).replace("<dict/>", "<array><string>1.0</string></array>");
        QTest::newRow("truncated binary") << plistwriter::serialize(info("1.0"), Format::Binary).left(20);
        QTest::newRow("truncated xml") << plistwriter::serialize(info("1.0"), Format::Xml).left(120);
    }
    void unreadableInformationFiles()
    {
        QFETCH(QByteArray, contents);
        const QString bundle = home() + "/Broken/" + QTest::currentDataTag() + ".vst3";
        QVERIFY(QDir().mkpath(bundle + "/Contents"));
        QFile file(bundle + "/Contents/Info.plist");
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(contents);
        file.close();
        QVERIFY(!platform::LibPlistReader().readDictionary(file.fileName()));
        const Product product = withFormats({{"VST3", bundle}});
        QVERIFY(product.isInstalled());
        QVERIFY(UpdateManager::installedVersions(product).isEmpty());
    }
};

HUB_TEST_MAIN(InstallProbeTest)
#include "tst_installprobe.moc"
