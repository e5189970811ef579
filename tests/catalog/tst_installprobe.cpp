#include "catalog/Product.h"
#include "support/PropertyListWriter.h"
#include "support/TestSandbox.h"
#include "updates/UpdateManager.h"

#include <QtTest>

using plistwriter::Format;

static Product withFormats(const Product::FormatPaths &formats)
{
    Product p;
    p.installFormats = formats;
    return p;
}

static QVariantMap info(const QVariant &version)
{
    return {{"CFBundleIdentifier", "example.bundle"}, {"CFBundleShortVersionString", version}};
}

class InstallProbeTest : public QObject
{
    Q_OBJECT

    QString home() const { return TestSandbox::current().home(); }

private slots:
    void resolvedPaths_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        QTest::newRow("relative") << "Library/Example/Product.bundle" << "%1/Library/Example/Product.bundle";
        QTest::newRow("absolute") << "/opt/x/Product.vst3" << "/opt/x/Product.vst3";
        QTest::newRow("tilde not expanded") << "~/Plug.vst3" << "%1/~/Plug.vst3";
    }
    void resolvedPaths()
    {
        QFETCH(QString, text);
        QFETCH(QString, expected);
        QCOMPARE(withFormats({{"VST3", text}}).resolvedPaths().value("VST3"), expected.arg(home()));
    }

    void installedWhenAnyPathExists()
    {
        QDir(home()).mkpath("Plugins/Exists.vst3");
        QVERIFY(withFormats({{"A", "Plugins/missing"}, {"B", "Plugins/Exists.vst3"}}).isInstalled());
        QVERIFY(!withFormats({{"A", "~/Plugins/Exists.vst3"}}).isInstalled());
        QVERIFY(!withFormats({}).isInstalled());
    }

    // Versions are taken exactly as written; a folder without Info.plist or a
    // version that is not text gives none.
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
        QVERIFY(plistwriter::writeBundle(home() + "/" + dir + "Old.vst3", info(" 1.0 beta "), format));
        QVERIFY(plistwriter::writeBundle(home() + "/" + dir + "Numeric.aaxplugin", info(3), format));
        QDir(home()).mkpath(dir + "Bare.app");
        const Product product = withFormats({{"VST3", dir + "Old.vst3"}, {"AAX", dir + "Numeric.aaxplugin"}, {"APP", dir + "Bare.app"}});
        QVERIFY(product.isInstalled());
        QCOMPARE(UpdateManager::installedVersions(product), (QMap<QString, QString>{{"VST3", " 1.0 beta "}}));
    }
};

HUB_TEST_MAIN(InstallProbeTest)
#include "tst_installprobe.moc"
