#include "app/AppState.h"
#include "catalog/Product.h"
#include "support/Files.h"
#include "support/Fixtures.h"
#include "support/Json.h"
#include "support/LinuxBundles.h"
#include "support/PropertyListWriter.h"
#include "support/TestHost.h"
#include "support/TestSandbox.h"
#include "updates/UpdateManager.h"

#include <QCoroTask>
#include <QtTest>

#include <sys/stat.h>

using plistwriter::Format;
Q_DECLARE_METATYPE(HubInstallState)

namespace {

const QByteArray VersionKey = "CFBundleShortVersionString";

// A binary property list built object by object, for shapes no writer makes.
// References and offsets are four bytes wide.
struct BinaryList
{
    QList<QByteArray> objects;

    static QByteArray be32(quint32 value) { return QByteArray::fromHex(QByteArray::number(value, 16).rightJustified(8, '0')); }
    static QByteArray marker(int type, qsizetype count)
    {
        if (count < 15)
            return QByteArray(1, char((type << 4) | int(count)));
        return QByteArray(1, char((type << 4) | 0xF)) + char(0x12) + be32(quint32(count));
    }
    int add(const QByteArray &object) { objects << object; return int(objects.size() - 1); }
    int ascii(const QByteArray &text) { return add(marker(0x5, text.size()) + text); }
    int utf16(const QString &text)
    {
        QByteArray units;
        for (const QChar c : text)
            units += char(c.unicode() >> 8), units += char(c.unicode() & 0xFF);
        return add(marker(0x6, text.size()) + units);
    }
    int container(int type, const QList<int> &refs)
    {
        QByteArray object = marker(type, type == 0xD ? refs.size() / 2 : refs.size());
        for (const int ref : refs)
            object += be32(quint32(ref));
        return add(object);
    }
    QByteArray bytes(int root) const
    {
        QByteArray out = "bplist00";
        QList<quint32> offsets;
        for (const QByteArray &object : objects)
            offsets << quint32(out.size()), out += object;
        const quint32 table = quint32(out.size());
        for (const quint32 offset : offsets)
            out += be32(offset);
        out += QByteArray(6, 0) + char(4) + char(4);
        return out + QByteArray(4, 0) + be32(quint32(objects.size())) + QByteArray(4, 0) + be32(quint32(root))
            + QByteArray(4, 0) + be32(table);
    }
};

// A dictionary with the version and, under "x", `nested` levels of arrays
// (or, when `shared`, arrays that each hold the next one twice).
QByteArray binaryNested(int levels, bool shared)
{
    BinaryList list;
    int inner = list.container(0xA, {});
    for (int i = 1; i < levels; ++i)
        inner = list.container(0xA, shared ? QList<int>{inner, inner} : QList<int>{inner});
    const int key = list.ascii(VersionKey), version = list.ascii("1.0"), x = list.ascii("x");
    return list.bytes(list.container(0xD, {key, x, version, inner}));
}

QByteArray xmlDict(int levels)
{
    return "<dict><key>" + VersionKey + "</key><string>1.0</string><key>x</key>" + QByteArray("<array>").repeated(levels)
        + QByteArray("</array>").repeated(levels) + "</dict>";
}

QByteArray xmlNested(int levels)
{
    return "<?xml version=\"1.0\"?><plist version=\"1.0\">" + xmlDict(levels) + "</plist>";
}

} // namespace

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

    TestHost host;

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
        QCOMPARE(withFormats({{"VST3", text}}).resolvedPaths(home()).value("VST3"), expected.arg(home()));
    }

    // A product is installed when any of its paths exists; of two catalogue
    // entries with one id, the first decides.
    void installStates_data()
    {
        QTest::addColumn<QJsonArray>("catalog");
        QTest::addColumn<HubInstallState>("expected");
        const QJsonObject exists{{"A", "Plugins/missing"}, {"B", "Plugins/Exists.vst3"}};
        const QJsonObject missing{{"A", "~/Plugins/Exists.vst3"}};
        QTest::newRow("any path exists") << QJsonArray{fixtures::product("p", exists)} << HubInstallState::Installed;
        QTest::newRow("no path exists") << QJsonArray{fixtures::product("p", missing)} << HubInstallState::NotInstalled;
        QTest::newRow("no paths") << QJsonArray{fixtures::product("p")} << HubInstallState::NotInstalled;
        QTest::newRow("same id, first installed")
            << QJsonArray{fixtures::product("p", exists), fixtures::product("p", missing)} << HubInstallState::Installed;
        QTest::newRow("same id, second installed")
            << QJsonArray{fixtures::product("p", missing), fixtures::product("p", exists)} << HubInstallState::NotInstalled;
    }
    void installStates()
    {
        QFETCH(QJsonArray, catalog);
        QDir(home()).mkpath("Plugins/Exists.vst3");
        QVERIFY(testfiles::write(TestSandbox::current().hubDirectory() + "/product_catalog.json", fixtures::document(catalog)));
        AppState state(host.host, ServiceAddress());
        state.refreshAllStates();
        QCOMPARE(state.productStates().keys(), QStringList{"p"});
        QTEST(state.productStates().value("p"), "expected");
    }

    // The version is taken exactly as written, from XML or binary lists; a
    // version that is not text gives none. No Info.plist can hang, crash or
    // flood the probe: special files, files over the limit, nesting past the
    // limit (XML or binary, plain or shared objects), strings holding U+0000.
    void infoPlists_data()
    {
        QTest::addColumn<QByteArray>("content"); // "none", "fifo", "device", "folder": that instead of a file
        QTest::addColumn<QString>("expected");   // null: no version
        QTest::newRow("xml") << plistwriter::serialize(info(" 1.0 beta "), Format::Xml) << " 1.0 beta ";
        QTest::newRow("binary") << plistwriter::serialize(info(" 1.0 beta "), Format::Binary) << " 1.0 beta ";
        QTest::newRow("number") << plistwriter::serialize(info(3), Format::Binary) << QString();
        QTest::newRow("no Info.plist") << QByteArray("none") << QString();
        QTest::newRow("fifo") << QByteArray("fifo") << QString();
        QTest::newRow("link to /dev/zero") << QByteArray("device") << QString();
        QTest::newRow("folder") << QByteArray("folder") << QString();
        QTest::newRow("over the limit") << plistwriter::serialize({{VersionKey, "1.0"}, {"pad", QString(1100 * 1024, 'x')}}, Format::Xml) << QString();
        QTest::newRow("xml nested 100") << xmlNested(100) << "1.0";
        QTest::newRow("xml nested 60,000") << xmlNested(60000) << QString();
        // libplist reads XML as UTF-8 whatever the declaration says, so a
        // declared encoding must not hide nesting from the depth check. In
        // ISO-2022-JP, ESC $ B turns the bytes up to ESC ( B into kanji:
        // decoded that way, the nesting is one comment.
        QTest::newRow("xml nesting in a declared encoding")
            << "<?xml version=\"1.0\" encoding=\"ISO-2022-JP\"?><plist><!--\x1b$B-->" + xmlDict(200) + "<!--\x1b(B--></plist>"
            << QString();
        QTest::newRow("xml not well-formed") << QByteArray("<plist><dict><key>") + VersionKey + "</key><string>1.0</string></plist>" << QString();
        QTest::newRow("binary nested 100") << binaryNested(100, false) << "1.0";
        QTest::newRow("binary nested 100,000") << binaryNested(100000, false) << QString();
        QTest::newRow("binary shared 2^40") << binaryNested(40, true) << QString();
        BinaryList zeroValue;
        const int nulVersion = zeroValue.utf16(QString("1.0") + QChar(0) + "x");
        QTest::newRow("utf-16 value with U+0000")
            << zeroValue.bytes(zeroValue.container(0xD, {zeroValue.ascii(VersionKey), nulVersion}))
            << QString("1.0") + QChar(0) + "x";
        BinaryList zeroKey;
        const int keyA = zeroKey.utf16(QString("a") + QChar(0)), keyB = zeroKey.ascii(VersionKey);
        const int valueA = zeroKey.ascii("9"), valueB = zeroKey.ascii("2.0");
        QTest::newRow("utf-16 key with U+0000") << zeroKey.bytes(zeroKey.container(0xD, {keyA, keyB, valueA, valueB})) << "2.0";
        BinaryList cycle;
        cycle.container(0xA, {0});
        QTest::newRow("array inside itself") << cycle.bytes(0) << QString();
    }
    void infoPlists()
    {
        QFETCH(QByteArray, content);
        QFETCH(QString, expected);
        const QString bundle = home() + "/Hostile/" + QTest::currentDataTag() + ".vst3";
        const QString info = bundle + "/Contents/Info.plist";
        QVERIFY(QDir().mkpath(bundle + "/Contents"));
        if (content == "fifo")
            QCOMPARE(::mkfifo(QFile::encodeName(info).constData(), 0600), 0);
        else if (content == "device")
            QVERIFY(QFile::link("/dev/zero", info));
        else if (content == "folder")
            QVERIFY(QDir().mkpath(info));
        else if (content != "none")
            QVERIFY(testfiles::write(info, content));
        const auto versions = UpdateManager::installedVersions(withFormats({{"VST3", bundle}}), host.host);
        QCOMPARE(versions.value("VST3"), expected);
        QCOMPARE(versions.contains("VST3"), !expected.isNull());
    }

    // Linux plug-ins carry their version in their own metadata, read only
    // when Info.plist gives none, and chosen by what is at the path.
    void linuxBundles_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<QString>("expected"); // null: no version
        QTest::newRow("vst3") << "vst3" << "2.1.0";
        QTest::newRow("vst3, Info.plist wins") << "vst3+plist" << "9.9";
        QTest::newRow("vst3 without moduleinfo") << "vst3-none" << QString();
        QTest::newRow("vst3, version not text") << "vst3-number" << QString();
        QTest::newRow("vst3, comment left open") << "vst3-open" << QString();
        QTest::newRow("vst3, over the limit") << "vst3-large" << QString();
        QTest::newRow("vst3, moduleinfo a fifo") << "vst3-fifo" << QString();
        QTest::newRow("lv2") << "lv2" << "1.4.0";
        QTest::newRow("lv2, minor and micro only") << "lv2-none" << QString();
        QTest::newRow("lv2, manifest a fifo") << "lv2-fifo" << QString();
        QTest::newRow("clap") << "marsh-test" << "3.2.1";
        QTest::newRow("clap that crashes") << "marsh-crash" << QString();
        QTest::newRow("clap that hangs") << "marsh-hang" << QString();
        QTest::newRow("clap that prints") << "marsh-noisy" << "2.0.0";
        QTest::newRow("clap that is no library") << "clap-text" << QString();
        QTest::newRow("plain file") << "file" << QString();
    }
    void linuxBundles()
    {
        QFETCH(QString, kind);
        QFETCH(QString, expected);
        const QString base = home() + "/Linux/" + QTest::currentDataTag();
        QString path = base + ".vst3";
        const QString moduleInfo = path + "/Contents/Resources/moduleinfo.json";
        if (kind.startsWith("vst3"))
            QVERIFY(linuxbundles::writeVst3(path, linuxbundles::moduleInfo("2.1.0")));
        if (kind == "vst3+plist")
            QVERIFY(plistwriter::writeBundle(path, info("9.9"), Format::Binary));
        else if (kind == "vst3-none")
            QVERIFY(QFile::remove(moduleInfo));
        else if (kind == "vst3-number")
            QVERIFY(testfiles::write(moduleInfo, "{\"Version\": 2,}"));
        else if (kind == "vst3-open")
            QVERIFY(testfiles::write(moduleInfo, "{\"Version\": \"2.1.0\" /* ,}"));
        else if (kind == "vst3-large")
            QVERIFY(testfiles::write(moduleInfo, linuxbundles::moduleInfo("2.1.0") + QByteArray(2 << 20, ' ')));
        else if (kind == "vst3-fifo")
            QVERIFY(QFile::remove(moduleInfo) && ::mkfifo(QFile::encodeName(moduleInfo).constData(), 0600) == 0);
        if (kind.startsWith("lv2")) {
            path = base + ".lv2";
            QVERIFY(linuxbundles::writeLv2(path, "http://quillmarsh.example/plugins/marsh", kind == "lv2" ? "1.4.0" : ""));
        }
        if (kind == "lv2-fifo")
            QVERIFY(QFile::remove(path + "/manifest.ttl") && ::mkfifo(QFile::encodeName(path + "/manifest.ttl").constData(), 0600) == 0);
        if (kind.startsWith("marsh-")) {
            path = base + ".clap";
            QVERIFY(linuxbundles::installClap(path, kind));
        } else if (kind == "clap-text" || kind == "file") {
            path = base + (kind == "file" ? ".so" : ".clap");
            QVERIFY(testfiles::write(path, "not a library"));
        }

        const Product product = withFormats({{"Format", path}});
        QList<UpdateManager::PendingScan> pending;
        UpdateManager::installedVersions(product, host.host, &pending);
        for (const auto &scan : std::as_const(pending))
            QCoro::waitFor(host.pluginScanner.scan(scan.kind, scan.path));
        pending.clear();
        const auto versions = UpdateManager::installedVersions(product, host.host, &pending);
        QVERIFY(pending.isEmpty());
        QCOMPARE(versions.value("Format"), expected);
        QCOMPARE(versions.contains("Format"), !expected.isNull());
    }

    // The scanner's answer is read only in its one shape.
    void scannerAnswers_data()
    {
        QTest::addColumn<QByteArray>("answer");
        QTest::addColumn<QString>("expected");
        QTest::newRow("first plug-in") << json("{'plugins':[{'id':'a','version':'1.2'},{'id':'b','version':'9'}]}") << "1.2";
        QTest::newRow("no version") << json("{'plugins':[{'id':'a','version':null}]}") << QString();
        QTest::newRow("no plug-ins") << json("{'plugins':[]}") << QString();
        QTest::newRow("rubbish") << QByteArray("Segmentation fault") << QString();
        QTest::newRow("too long") << json("{'plugins':[{'version':'1','id':'") + QByteArray(70000, 'x') + "\"}]}" << QString();
    }
    void scannerAnswers()
    {
        QFETCH(QByteArray, answer);
        QTEST(platform::scanoutput::firstVersion(answer).value_or(QString()), "expected");
    }
};

HUB_TEST_MAIN(InstallProbeTest)
#include "tst_installprobe.moc"
