#include "catalog/Product.h"
#include "support/Fixtures.h"
#include "support/LinuxBundles.h"
#include "support/PropertyListWriter.h"
#include "support/TestHost.h"
#include "updates/UpdateManager.h"

#include <QCoroTask>
#include <QtTest>

#include <sys/stat.h>

using plistwriter::Format;
Q_DECLARE_METATYPE(Product)

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

// A catalogue of one element with the required keys, and `extra` ones.
QByteArray catalog(const QByteArray &extra = {})
{
    return json("[{'plugin_id':'p1','display_name':'Plug One','category':'fx'") + extra + "}]";
}

Product make(const QString &id, const QString &category, qint64 sortOrder = 0, qint64 categorySortOrder = 0, const QString &title = {})
{
    return {.id = id, .category = category, .sectionTitle = title, .sortOrder = sortOrder, .categorySortOrder = categorySortOrder};
}

} // namespace

// What the catalogue says of a product, and what is installed of it.
class CatalogTest : public QObject
{
    Q_OBJECT

    TestHost host;

private slots:
    // Null counts as absent; unknown keys are ignored.
    void decodesEveryKey()
    {
        const Product minimal{.id = "p1", .displayName = "Plug One", .category = "fx"};
        QCOMPARE(Product::decodeCatalog(catalog(json(",'badge_label':null,'product_page_url':null,'install_formats':null,"
                                                     "'sort_order':null,'coupon_code':null,'future':{'x':[1,2]},'id':7"))),
                 QList<Product>{minimal});
        const Product full{.id = "p1", .displayName = "Plug One", .category = "fx", .badgeLabel = "FX", .sectionTitle = "Effects",
                           .supportURLString = "s", .installFormats = Product::FormatPaths{{"VST3", "/a"}, {"AU", "Library/b"}},
                           .sortOrder = 7, .categorySortOrder = std::numeric_limits<qint64>::min(), .couponCode = "SAVE",
                           .couponLabel = "20%", .couponURLString = "c"};
        QCOMPARE(Product::decodeCatalog(catalog(json(",'badge_label':'FX','section_title':'Effects','support_url':'s',"
                                                     "'install_formats':{'VST3':'/a','AU':'Library/b'},'sort_order':7.0,"
                                                     "'category_sort_order':-9223372036854775808,'coupon_code':'SAVE',"
                                                     "'coupon_label':'20%','coupon_url':'c'"))),
                 QList<Product>{full});
    }

    // One bad element rejects the whole document, however good the rest is.
    void rejectsWholeDocument_data()
    {
        QTest::addColumn<QByteArray>("document");
        const QByteArray good = catalog().chopped(1);
        auto withBad = [&](const QByteArray &bad) { return good + "," + bad + "]"; };
        QTest::newRow("missing plugin_id") << withBad(json("{'display_name':'A','category':'c'}"));
        QTest::newRow("null display_name") << withBad(json("{'plugin_id':'a','display_name':null,'category':'c'}"));
        QTest::newRow("sort_order as string") << catalog(json(",'sort_order':'3'"));
        QTest::newRow("fractional sort_order") << catalog(json(",'sort_order':1.5"));
        QTest::newRow("sort_order beyond 64 bits") << catalog(json(",'sort_order':9223372036854775808"));
        QTest::newRow("install_formats non-string member") << catalog(json(",'install_formats':{'AU':1}"));
        QTest::newRow("element not an object") << withBad("\"p2\"");
        QTest::newRow("top level object") << good.mid(1);
    }
    void rejectsWholeDocument()
    {
        QFETCH(QByteArray, document);
        QVERIFY(!Product::decodeCatalog(document));
    }

    // Forms the parser refuses or reads otherwise by itself, read as the hub
    // always has. An empty list: rejected.
    void readsEarlierForms_data()
    {
        QTest::addColumn<QByteArray>("document");
        QTest::addColumn<QList<Product>>("expected");
        const Product minimal{.id = "p1", .displayName = "Plug One", .category = "fx"};
        auto with = [&](auto change) {
            Product product = minimal;
            change(product);
            return QList<Product>{product};
        };
        QTest::newRow("byte order mark") << "\xEF\xBB\xBF" + catalog() << QList<Product>{minimal};
        QTest::newRow("ignored integers beyond 64 bits")
            << catalog(json(",'x':[123456789012345678901234567890,-99999999999999999999]")) << QList<Product>{minimal};
        QTest::newRow("sort_order integer beyond 64 bits") << catalog(json(",'sort_order':18446744073709551616")) << QList<Product>{};
        QTest::newRow("repeated keys: the last counts")
            << catalog(json(",'sort_order':'3','sort_order':3,'badge_label':'FX','badge_label':null,"
                            "'install_formats':{'AU':1,'AU':'a'}"))
            << with([](Product &p) { p.sortOrder = 3, p.installFormats = Product::FormatPaths{{"AU", "a"}}; });
        QTest::newRow("repeated format, last not a string") << catalog(json(",'install_formats':{'AU':'a','AU':1}")) << QList<Product>{};
        QTest::newRow("unpaired surrogate escapes")
            << catalog(json(",'x':'\\udc00','badge_label':'\\ud83d!\\ud83d\\ude00'"))
            << with([](Product &p) { p.badgeLabel = QString::fromUtf8("\xEF\xBF\xBD!\xF0\x9F\x98\x80"); });
    }
    void readsEarlierForms()
    {
        QFETCH(QByteArray, document);
        QFETCH(QList<Product>, expected);
        QCOMPARE(Product::decodeCatalog(document).value_or(QList<Product>()), expected);
    }

    // Links the catalogue gives win when they parse as absolute URLs; the
    // maker's pages stand in for the rest.
    void links_data()
    {
        QTest::addColumn<Product>("product");
        QTest::addColumn<QUrl>("productPage");
        QTest::addColumn<QUrl>("support");
        const QUrl supportFallback("https://www.quillmarsh.example/en/support");
        QTest::newRow("given") << Product{.id = "abc", .productPageURLString = "https://a.example/p", .supportURLString = "mailto:s@a.example"}
                               << QUrl("https://a.example/p") << QUrl("mailto:s@a.example");
        QTest::newRow("empty or not a url") << Product{.id = "abc", .productPageURLString = "", .supportURLString = "no scheme"}
                                            << QUrl("https://quillmarsh.example/en/abc") << supportFallback;
        QTest::newRow("id needing escapes") << Product{.id = "a b/c?d#é"} << QUrl("https://quillmarsh.example/en/a%20b%2Fc%3Fd%23%C3%A9")
                                            << supportFallback;
    }
    void links()
    {
        QFETCH(Product, product);
        QTEST(product.productPageURL(), "productPage");
        QTEST(product.supportURL(), "support");
    }

    // Sections in the order of their first product's category key, equal
    // keys in order of appearance; one section per category, whatever the
    // titles; the title from the first product; products stably by sort_order.
    void sections_data()
    {
        QTest::addColumn<QList<Product>>("catalog");
        QTest::addColumn<QStringList>("expected"); // category/title:ids
        QTest::newRow("title from the first, stable sort")
            << QList<Product>{make("A", "fx", 5, 0, "Effects"), make("C", "fx", 1, 0, ""), make("B", "fx", 1)} << QStringList{"fx/Effects:CBA"};
        QTest::newRow("first product's category order")
            << QList<Product>{make("f1", "fx", 0, 2, "FX"), make("i1", "inst", 0, 1, "Inst"), make("f2", "fx", 0, -10, "ignored"), make("i2", "inst", 0, 99)}
            << QStringList{"inst/Inst:i1i2", "fx/FX:f1f2"};
        QTest::newRow("equal keys keep first appearance")
            << QList<Product>{make("z1", "z", 0, 0, "Z"), make("a1", "a", 0, 0, "A"), make("a2", "a")} << QStringList{"z/Z:z1", "a/A:a1a2"};
        QTest::newRow("same title, two sections")
            << QList<Product>{make("1", "a", 0, 0, "Same"), make("2", "b", 0, 1, "Same")} << QStringList{"a/Same:1", "b/Same:2"};
    }
    void sections()
    {
        QFETCH(QList<Product>, catalog);
        QStringList described;
        for (const ProductSection &section : Product::sections(catalog)) {
            described << section.id + '/' + section.title + ':';
            for (const Product &product : section.products)
                described.last() += product.id;
        }
        QTEST(described, "expected");
    }

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
        QTest::newRow("xml text by hand") << "" << plist
            << xmlHead + "<!-- c --><dict><key>x</key><string>9</string><key>CFBundle&#83;hortVersionString</key><string>1.0 &amp;"
               " <![CDATA[<b>]]><!-- x -->&#x3b2;\r\n</string></dict></plist>\n" << "1.0 & <b>\u03b2\r\n";
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
        const Product product{.installFormats = Product::FormatPaths{{"Format", path}}};
        QList<UpdateManager::PendingScan> pending;
        UpdateManager::installedVersions(product, host.host, &pending);
        for (const auto &scan : std::as_const(pending))
            QCoro::waitFor(host.pluginScanner.scan(scan.kind, scan.path));
        pending.clear();
        const auto versions = UpdateManager::installedVersions(product, host.host, &pending);
        QVERIFY(pending.isEmpty());
        QCOMPARE(versions, (expected.isNull() ? QMap<QString, QString>() : QMap<QString, QString>{{"Format", expected}}));
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

HUB_TEST_MAIN(CatalogTest)
#include "tst_catalog.moc"
