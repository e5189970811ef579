#include "catalog/Product.h"
#include "support/Json.h"
#include "support/LinuxBundles.h"
#include "support/PropertyListWriter.h"
#include "support/TestHost.h"
#include "updates/UpdateManager.h"

#include <QCoroTask>
#include <QtTest>

#include <sys/stat.h>

using plistwriter::Format;

namespace {

const QByteArray VersionKey = "CFBundleShortVersionString";

// A binary property list built object by object, for shapes no writer
// makes; references and offsets are four bytes wide.
struct BinaryList
{
    QList<QByteArray> objects;

    static QByteArray be32(quint32 value) { return QByteArray::fromHex(QByteArray::number(value, 16).rightJustified(8, '0')); }
    int add(int type, qsizetype count, const QByteArray &payload)
    {
        const QByteArray marker(1, char(type << 4 | int(std::min<qsizetype>(count, 15))));
        objects << marker + (count < 15 ? QByteArray() : char(0x12) + be32(quint32(count))) + payload;
        return int(objects.size() - 1);
    }
    int ascii(const QByteArray &text) { return add(0x5, text.size(), text); }
    int utf16(const QString &text)
    {
        QByteArray units(text.size() * 2, 0);
        qToBigEndian<quint16>(text.utf16(), text.size(), units.data());
        return add(0x6, text.size(), units);
    }
    int container(int type, const QList<int> &refs)
    {
        QByteArray payload;
        for (const int ref : refs)
            payload += be32(quint32(ref));
        return add(type, type == 0xD ? refs.size() / 2 : refs.size(), payload);
    }
    QByteArray bytes(int root) const
    {
        QByteArray out = "bplist00", table;
        for (const QByteArray &object : objects)
            table += be32(quint32(out.size())), out += object;
        const QByteArray zero4(4, 0);
        return out + table + QByteArray(6, 0) + char(4) + char(4) + zero4 + be32(quint32(objects.size())) + zero4
            + be32(quint32(root)) + zero4 + be32(quint32(out.size()));
    }
    // The dictionary {`key`: `value`, CFBundleShortVersionString: `version`}.
    QByteArray dictionary(int key, int value, int version)
    {
        return bytes(container(0xD, {key, ascii(VersionKey), value, version}));
    }
};

// A version and, under "x", `levels` of arrays (or, when `shared`, arrays
// that each hold the next one twice).
QByteArray binaryNested(int levels, bool shared)
{
    BinaryList list;
    int inner = list.container(0xA, {});
    for (int i = 1; i < levels; ++i)
        inner = list.container(0xA, shared ? QList<int>{inner, inner} : QList<int>{inner});
    return list.dictionary(list.ascii("x"), inner, list.ascii("1.0"));
}

QByteArray xmlDict(int levels)
{
    return "<dict><key>" + VersionKey + "</key><string>1.0</string><key>x</key>" + QByteArray("<array>").repeated(levels)
        + QByteArray("</array>").repeated(levels) + "</dict>";
}

QVariantMap info(const QVariant &version)
{
    return {{"CFBundleIdentifier", "example.bundle"}, {VersionKey, version}};
}

// Puts `content` at `path`: "fifo", "device" (a link to /dev/zero), "none"
// (nothing), or these bytes.
bool place(const QString &path, const QByteArray &content)
{
    QFile::remove(path);
    QDir().mkpath(QFileInfo(path).path());
    if (content == "fifo")
        return ::mkfifo(QFile::encodeName(path).constData(), 0600) == 0;
    if (content == "device")
        return QFile::link("/dev/zero", path);
    return content == "none" || testfiles::write(path, content);
}

} // namespace

class InstallProbeTest : public QObject
{
    Q_OBJECT

    TestHost host;

private slots:
    // The version is taken exactly as written, from an Info.plist (XML or
    // binary) before a plug-in's own metadata, which is chosen by what is at
    // the path. Nothing at a path can hang, crash or flood the probe:
    // special files, files over the limit, nesting past the limit (XML or
    // binary, plain or shared objects), strings holding U+0000, plug-ins
    // that crash or hang.
    void versions_data()
    {
        QTest::addColumn<QString>("bundle");     // "vst3", "lv2", "lv2 unreleased", a test CLAP plug-in, or an empty folder
        QTest::addColumn<QString>("file");       // then this file in it (or the path itself) ...
        QTest::addColumn<QByteArray>("content"); // ... made so by place()
        QTest::addColumn<QString>("expected");   // null: no version
        const QString plist = "/Contents/Info.plist", moduleInfo = "/Contents/Resources/moduleinfo.json";
        QTest::newRow("xml") << "" << plist << plistwriter::serialize(info(" 1.0 beta "), Format::Xml) << " 1.0 beta ";
        QTest::newRow("binary") << "" << plist << plistwriter::serialize(info(" 1.0 beta "), Format::Binary) << " 1.0 beta ";
        QTest::newRow("number") << "" << plist << plistwriter::serialize(info(3), Format::Binary) << QString();
        QTest::newRow("fifo") << "" << plist << QByteArray("fifo") << QString();
        QTest::newRow("link to /dev/zero") << "" << plist << QByteArray("device") << QString();
        QTest::newRow("over the limit") << "" << plist << plistwriter::serialize({{VersionKey, "1.0"}, {"pad", QString(1100 * 1024, 'x')}}, Format::Xml) << QString();
        const QByteArray xmlHead = "<?xml version=\"1.0\"?><plist version=\"1.0\">";
        QTest::newRow("xml nested 100") << "" << plist << xmlHead + xmlDict(100) + "</plist>" << "1.0";
        QTest::newRow("xml nested 60,000") << "" << plist << xmlHead + xmlDict(60000) + "</plist>" << QString();
        // libplist reads XML as UTF-8 whatever the declaration says, so a
        // declared encoding must not hide nesting from the depth check. In
        // ISO-2022-JP, ESC $ B turns the bytes up to ESC ( B into kanji:
        // decoded that way, the nesting is one comment.
        QTest::newRow("xml nesting in a declared encoding") << "" << plist
            << "<?xml version=\"1.0\" encoding=\"ISO-2022-JP\"?><plist><!--\x1b$B-->" + xmlDict(200) + "<!--\x1b(B--></plist>" << QString();
        QTest::newRow("xml not well-formed") << "" << plist << "<plist><dict><key>" + VersionKey + "</key><string>1.0</string></plist>" << QString();
        QTest::newRow("binary nested 100") << "" << plist << binaryNested(100, false) << "1.0";
        QTest::newRow("binary nested 100,000") << "" << plist << binaryNested(100000, false) << QString();
        QTest::newRow("binary shared 2^40") << "" << plist << binaryNested(40, true) << QString();
        BinaryList zeroValue;
        QTest::newRow("utf-16 value with U+0000") << "" << plist
            << zeroValue.dictionary(zeroValue.ascii("y"), zeroValue.ascii("9"), zeroValue.utf16(QString("1.0") + QChar(0) + "x"))
            << QString("1.0") + QChar(0) + "x";
        BinaryList zeroKey;
        QTest::newRow("utf-16 key with U+0000") << "" << plist
            << zeroKey.dictionary(zeroKey.utf16(QString("a") + QChar(0)), zeroKey.ascii("9"), zeroKey.ascii("2.0")) << "2.0";
        BinaryList cycle;
        cycle.container(0xA, {0});
        QTest::newRow("array inside itself") << "" << plist << cycle.bytes(0) << QString();

        QTest::newRow("vst3") << "vst3" << "" << QByteArray() << "2.1.0";
        QTest::newRow("vst3, Info.plist wins") << "vst3" << plist << plistwriter::serialize(info("9.9"), Format::Binary) << "9.9";
        QTest::newRow("vst3 without moduleinfo") << "vst3" << moduleInfo << QByteArray("none") << QString();
        QTest::newRow("vst3, version not text") << "vst3" << moduleInfo << QByteArray("{\"Version\": 2,}") << QString();
        QTest::newRow("vst3, comment left open") << "vst3" << moduleInfo << QByteArray("{\"Version\": \"2.1.0\" /* ,}") << QString();
        QTest::newRow("vst3, over the limit") << "vst3" << moduleInfo << linuxbundles::moduleInfo("2.1.0") + QByteArray(2 << 20, ' ') << QString();
        QTest::newRow("vst3, moduleinfo a fifo") << "vst3" << moduleInfo << QByteArray("fifo") << QString();
        QTest::newRow("lv2") << "lv2" << "" << QByteArray() << "1.4.0";
        QTest::newRow("lv2, minor and micro only") << "lv2 unreleased" << "" << QByteArray() << QString();
        QTest::newRow("lv2, manifest a fifo") << "lv2" << "/manifest.ttl" << QByteArray("fifo") << QString();
        QTest::newRow("clap that crashes") << "marsh-crash" << "" << QByteArray() << QString();
        QTest::newRow("clap that hangs") << "marsh-hang" << "" << QByteArray() << QString();
        QTest::newRow("clap that is no library") << ".clap" << "" << QByteArray("not a library") << QString();
        QTest::newRow("plain file") << ".so" << "" << QByteArray("not a library") << QString();
    }
    void versions()
    {
        QFETCH(QString, bundle);
        QFETCH(QString, file);
        QFETCH(QByteArray, content);
        QFETCH(QString, expected);
        QString path = TestSandbox::current().home() + "/Probe/" + QTest::currentDataTag();
        if (bundle == "vst3")
            QVERIFY(linuxbundles::writeVst3(path += ".vst3", linuxbundles::moduleInfo("2.1.0")));
        else if (bundle.startsWith("lv2"))
            QVERIFY(linuxbundles::writeLv2(path += ".lv2", "http://quillmarsh.example/plugins/marsh", bundle == "lv2" ? "1.4.0" : ""));
        else if (bundle.startsWith("marsh-"))
            QVERIFY(linuxbundles::installClap(path += ".clap", bundle));
        else
            path += bundle.isEmpty() ? ".vst3" : bundle;
        if (!content.isNull())
            QVERIFY(place(path + file, content));

        // Read, scan what only a scan can tell, read again.
        Product product;
        product.installFormats = Product::FormatPaths{{"Format", path}};
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
