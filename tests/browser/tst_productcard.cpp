#include "support/Fixtures.h"
#include "support/LocalHttpService.h"
#include "support/PropertyListWriter.h"
#include "support/QmlHarness.h"

#include <QAccessible>
#include <QCoroTask>
#include <QQmlComponent>
#include <QtTest>

using Route = LocalHttpService::Route;
using VersionMap = QMap<QString, QString>;

namespace {

QString home() { return TestSandbox::current().home(); }

constexpr int Installed = int(HubInstallState::Installed);
constexpr int NotInstalled = int(HubInstallState::NotInstalled);
constexpr int Loading = int(HubInstallState::Loading);
constexpr int Unchanged = -1;

// One bundle per format at its version, as an installer would leave them.
QJsonObject installBundles(const QString &id, const VersionMap &formatVersions)
{
    QJsonObject formats;
    const QString folder = QString("Plugins/%1").arg(id);
    QDir(home() + "/" + folder).removeRecursively();
    for (auto it = formatVersions.cbegin(); it != formatVersions.cend(); ++it) {
        const QString path = QString("%1/%2.bundle").arg(folder, it.key());
        plistwriter::writeBundle(home() + "/" + path, {{"CFBundleShortVersionString", it.value()}},
                                 plistwriter::Format::Xml);
        formats.insert(it.key(), path);
    }
    return formats;
}

QQuickItem *child(QQuickItem *root, const QString &name)
{
    return qobject_cast<QQuickItem *>(QmlHarness::find(root, name));
}

// Also finds non-item parts such as tooltips.
QString textOf(QObject *root, const QString &name)
{
    QObject *part = QmlHarness::find(root, name);
    return part ? part->property("text").toString() : QStringLiteral("<missing %1>").arg(name);
}

bool shown(QQuickItem *root, const QString &name)
{
    QQuickItem *item = child(root, name);
    return item && item->isVisible();
}

QColor colorOf(QQuickItem *item) { return item->property("color").value<QColor>(); }

// Equal to the 8-bit precision the scene is drawn with.
bool sameColor(const QColor &a, const QColor &b)
{
    return qAbs(a.red() - b.red()) <= 1 && qAbs(a.green() - b.green()) <= 1 && qAbs(a.blue() - b.blue()) <= 1
        && qAbs(a.alpha() - b.alpha()) <= 1;
}

QString accessibleName(QObject *object)
{
    QAccessibleInterface *accessible = QAccessible::queryAccessibleInterface(object);
    return accessible ? accessible->text(QAccessible::Name) : QStringLiteral("<not accessible>");
}

} // namespace

// A card built from the model's row for a product of a real catalogue, with
// real install probes and a real version feed behind it.
class ProductCardTest : public QObject
{
    Q_OBJECT

    LocalHttpService service;
    std::unique_ptr<QmlHarness> harness;

    QColor palette(const char *name)
    {
        QQmlComponent component(&harness->engine);
        component.setData("import QtQuick\nimport Quillmarsh.Hub\nQtObject { property var colors: HubColors }", QUrl());
        std::unique_ptr<QObject> probe(component.create());
        return probe->property("colors").value<QObject *>()->property(name).value<QColor>();
    }

    // Serves `products` and `feed`, then settles the engine as the window
    // does after its first download: states probed, feed applied.
    void load(const QJsonArray &products, const QJsonArray &feed = {}, bool probe = true, bool rebuild = true)
    {
        service.setRoute("/api/hub/products", Route{.body = fixtures::document(products)});
        service.setRoute("/api/plugin-versions", Route{.body = fixtures::document(feed)});
        QVERIFY(QCoro::waitFor(harness->state.catalog()->fetchCatalog()).ok());
        if (probe)
            harness->state.refreshAllStates();
        if (rebuild) {
            harness->state.updateManager()->rebuildStates();
            QVERIFY(QCoro::waitFor(harness->state.updateManager()->checkForUpdates()).ok());
        }
        QCoreApplication::processEvents();
    }

    // The card the list would create for this product's row.
    QQuickItem *card(const QString &productId, const QVariantMap &overrides = {})
    {
        const ProductListModel &model = harness->productList;
        const QHash<int, QByteArray> roles = model.roleNames();
        for (int row = 0; row < model.rowCount(); ++row) {
            const QModelIndex index = model.index(row);
            if (model.data(index, ProductListModel::ProductIdRole) != productId)
                continue;
            QVariantMap properties;
            for (auto it = roles.cbegin(); it != roles.cend(); ++it)
                properties.insert(QString::fromUtf8(it.value()), model.data(index, it.key()));
            // The list's own roles, not the card's.
            for (const char *listRole : {"sectionKey", "sectionTitle", "isLastInSection"})
                properties.remove(listRole);
            for (auto it = overrides.cbegin(); it != overrides.cend(); ++it)
                properties.insert(it.key(), it.value());
            return harness->create("ProductCard", properties, {900, 80});
        }
        qWarning() << "no row for" << productId;
        return nullptr;
    }

    void click(QQuickItem *item)
    {
        QTest::mouseClick(item->window(), Qt::LeftButton, {},
                          item->mapToScene(QPointF(item->width() / 2, item->height() / 2)).toPoint());
    }

private slots:
    void initTestCase()
    {
        QVERIFY(service.listen());
        harness = std::make_unique<QmlHarness>(service.baseUrl());
        harness->state.updateManager()->bindCatalog(harness->state.catalog());
    }

    void init() { harness->l10n.setLanguage(AppLanguage::En); }

    void versionLine_data()
    {
        QTest::addColumn<VersionMap>("installed");
        QTest::addColumn<bool>("rebuild");
        QTest::addColumn<QString>("expected");
        QTest::newRow("one format") << VersionMap{{"VST3", "2.0"}} << true << "v2.0";
        QTest::newRow("two formats, one version") << VersionMap{{"au", "1.0"}, {"vst3", "1.0"}} << true << "v1.0 (AU + VST3)";
        QTest::newRow("two versions") << VersionMap{{"au", "1.0"}, {"vst3", "1.1"}} << true << "AU 1.0 / VST3 1.1";
        QTest::newRow("names sorted") << VersionMap{{"vst3", "1.0"}, {"aax", "1.1"}} << true << "AAX 1.1 / VST3 1.0";
        QTest::newRow("nothing installed") << VersionMap{} << true << "";
        QTest::newRow("no update state yet") << VersionMap{{"VST3", "2.0"}} << false << "";
    }
    void versionLine()
    {
        QFETCH(VersionMap, installed);
        QFETCH(bool, rebuild);
        QFETCH(QString, expected);
        // A fresh id per row, so no earlier state carries over.
        const QString id = QString("ver-%1").arg(QTest::currentDataTag()).replace(' ', '-');
        load({fixtures::product(id, installBundles(id, installed))}, {}, true, rebuild);
        QQuickItem *item = card(id);
        QVERIFY(item);
        QCOMPARE(textOf(item, "versionLine"), expected);
        QCOMPARE(shown(item, "versionLine"), !expected.isEmpty());
    }

    // What the right side shows and does for each install and update state.
    void rightSide_data()
    {
        QTest::addColumn<bool>("installed");
        QTest::addColumn<QString>("published");   // "" = no record in the feed
        QTest::addColumn<bool>("probe");
        QTest::addColumn<int>("stateOverride");   // a probe cannot be caught half-way
        QTest::addColumn<QString>("stateText");
        QTest::addColumn<QString>("button");      // "" = no button
        QTest::addColumn<QString>("buttonType");
        QTest::addColumn<QString>("opens");       // "download" = starts the product's download
        QTest::addColumn<bool>("update");

        const QString page = "https://quillmarsh.example/en/p";
        const QString support = "https://www.quillmarsh.example/en/support";
        QTest::newRow("not installed") << false << "2.0" << true << Unchanged << "Not Installed" << "Learn More"
                                       << "HubButton" << page << false;
        QTest::newRow("never probed") << false << "" << false << Unchanged << "Not Installed" << "Learn More"
                                      << "HubButton" << page + "-unprobed" << false;
        QTest::newRow("installed, no record") << true << "" << true << Unchanged << "Installed" << "Support"
                                              << "SupportButton" << support << false;
        QTest::newRow("installed, up to date") << true << "1.0" << true << Unchanged << "Installed" << "Support"
                                               << "SupportButton" << support << false;
        QTest::newRow("installed, update") << true << "2.0" << true << Unchanged << "Installed" << "Update"
                                           << "HubButton" << "download" << true;
        QTest::newRow("checking") << true << "1.0" << true << Loading << "Checking..." << "" << "" << "" << false;
        QTest::newRow("checking, update") << true << "2.0" << true << Loading << "Checking..." << "Update"
                                          << "HubButton" << "download" << true;
    }
    void rightSide()
    {
        QFETCH(bool, installed);
        QFETCH(QString, published);
        QFETCH(bool, probe);
        QFETCH(int, stateOverride);
        QFETCH(QString, stateText);
        QFETCH(QString, button);
        QFETCH(QString, buttonType);
        QFETCH(QString, opens);
        QFETCH(bool, update);

        // Each row starts from nothing installed and no state at all.
        harness->host.urlOpener.opened.clear();
        const QString id = "p";
        const QString downloadUrl = service.url("/files/p.deb").toString();
        service.setRoute("/files/p.deb", Route{.body = "installer", .delay = std::chrono::milliseconds(200)});
        QJsonArray feed;
        if (!published.isEmpty())
            feed << fixtures::version(id, published, downloadUrl);
        const QJsonObject formats = installBundles(id, installed ? VersionMap{{"VST3", "1.0"}} : VersionMap{});
        QJsonObject product = fixtures::product(id, formats);
        if (!probe) // a new id has no install state until the next probe
            product.insert("plugin_id", "p-unprobed");
        load({product}, feed, probe);
        QVariantMap overrides;
        if (stateOverride != Unchanged)
            overrides.insert("installState", stateOverride);
        QQuickItem *item = card(product.value("plugin_id").toString(), overrides);
        QVERIFY(item);

        QCOMPARE(textOf(item, "stateBadgeText"), stateText);
        QColor stateColor = palette(stateText == "Installed" ? "accent" : "textSecondary");
        if (stateText == "Installed")
            stateColor.setAlphaF(0.85f);
        QVERIFY(sameColor(colorOf(child(item, "stateBadgeText")), stateColor));
        QCOMPARE(shown(item, "updateBadge"), update);
        QCOMPARE(colorOf(item).alphaF() > 0, update);

        QQuickItem *action = child(item, "actionButton");
        if (button.isEmpty()) {
            QVERIFY(!action || !action->isVisible());
            return;
        }
        QVERIFY(action && action->isVisible());
        QCOMPARE(action->property("text").toString(), button);
        QVERIFY2(QString(action->metaObject()->className()).startsWith(buttonType), action->metaObject()->className());
        QCOMPARE(accessibleName(action), button);
        // The button keeps the card's right padding.
        QCOMPARE(action->mapToItem(item, QPointF(action->width(), 0)).x(), item->width() - 24);

        click(action);
        if (opens == "download") {
            QVERIFY(harness->host.urlOpener.opened.isEmpty());
            QVERIFY(harness->state.updateManager()->downloadingIds().contains(id));
            QTRY_VERIFY(harness->state.updateManager()->downloadingIds().isEmpty());
            QCOMPARE(harness->host.revealer.revealed.last(), TestSandbox::current().downloads() + "/p.deb");
        } else {
            QCOMPARE(harness->host.urlOpener.opened, QList<QUrl>{QUrl(opens)});
        }
    }

    // While the download runs: the spinner and "...", no clicks, and the
    // update marks stay.
    void downloadingButton()
    {
        load({fixtures::product("d", installBundles("d", {{"VST3", "1.0"}}))},
             {fixtures::version("d", "2.0", service.url("/files/d.deb").toString())});
        QQuickItem *item = card("d", {{"downloading", true}});
        QVERIFY(item);
        QQuickItem *action = child(item, "actionButton");
        QVERIFY(action);
        QCOMPARE(action->property("text").toString(), QString("..."));
        QVERIFY(QmlHarness::visibleTexts(action).contains("..."));
        QVERIFY(!action->isEnabled());
        QQuickItem *spinner = child(item, "downloadSpinner");
        QVERIFY(spinner && spinner->isVisible());
        QVERIFY(spinner->property("running").toBool());
        QVERIFY(shown(item, "updateBadge"));
        QVERIFY(colorOf(item).alphaF() > 0);
        // Disabled, yet drawn like the others.
        QCOMPARE(action->opacity(), 1.0);

        click(action);
        QVERIFY(harness->state.updateManager()->downloadingIds().isEmpty());

        harness->l10n.setLanguage(AppLanguage::Ja);
        QCOMPARE(action->property("text").toString(), QString("..."));
        QCOMPARE(textOf(item, "stateBadgeText"), QString("インストール済"));
    }

    void couponBadge_data()
    {
        QTest::addColumn<QJsonObject>("coupon");
        QTest::addColumn<bool>("shown");
        QTest::addColumn<QString>("label");
        QTest::addColumn<QString>("code");
        QTest::addColumn<QString>("opens");
        const QString page = "https://quillmarsh.example/en/c";
        const QString campaign = "https://quillmarsh.example/spring";
        QTest::newRow("no coupon") << QJsonObject{} << false << "" << "" << "";
        QTest::newRow("code only") << QJsonObject{{"coupon_code", "SPRING"}} << true << "Coupon Active" << "SPRING"
                                   << page;
        QTest::newRow("label") << QJsonObject{{"coupon_code", "SPRING"}, {"coupon_label", "20% OFF"}} << true
                               << "20% OFF" << "SPRING" << page;
        QTest::newRow("empty code") << QJsonObject{{"coupon_code", ""}} << true << "Coupon Active" << "" << page;
        QTest::newRow("campaign page") << QJsonObject{{"coupon_code", "S"}, {"coupon_url", campaign}} << true
                                       << "Coupon Active" << "S" << campaign;
        QTest::newRow("empty campaign page") << QJsonObject{{"coupon_code", "S"}, {"coupon_url", ""}} << true
                                             << "Coupon Active" << "S" << page;
        QTest::newRow("broken campaign page") << QJsonObject{{"coupon_code", "S"}, {"coupon_url", "spring sale"}}
                                              << true << "Coupon Active" << "S" << page;
        QTest::newRow("own product page") << QJsonObject{{"coupon_code", "S"}, {"product_page_url", "https://x.example/c"}}
                                          << true << "Coupon Active" << "S" << "https://x.example/c";
    }
    void couponBadge()
    {
        QFETCH(QJsonObject, coupon);
        QFETCH(bool, shown);
        QFETCH(QString, label);
        QFETCH(QString, code);
        QFETCH(QString, opens);
        harness->host.urlOpener.opened.clear();
        QJsonObject product = fixtures::product("c");
        for (auto it = coupon.constBegin(); it != coupon.constEnd(); ++it)
            product.insert(it.key(), it.value());
        load({product});
        QQuickItem *item = card("c");
        QVERIFY(item);
        QQuickItem *badge = child(item, "couponBadge");
        QCOMPARE(badge && badge->isVisible(), shown);
        if (!shown)
            return;
        QCOMPARE(textOf(badge, "couponLabel"), label);
        QCOMPARE(textOf(badge, "couponCode"), code);
        QObject *tooltip = QmlHarness::find(badge, "couponTooltip");
        QCOMPARE(tooltip->property("text").toString(), QString("Click to open the campaign page"));
        QVERIFY(!tooltip->property("visible").toBool());
        // A move to where the pointer already is would not count.
        QTest::mouseMove(badge->window(), QPoint(1, 1));
        QTest::mouseMove(badge->window(), badge->mapToScene(QPointF(badge->width() / 2, badge->height() / 2)).toPoint());
        QTRY_VERIFY(tooltip->property("visible").toBool());
        click(badge);
        QCOMPARE(harness->host.urlOpener.opened, QList<QUrl>{QUrl(opens)});
    }

    // Name, category, UPDATE and coupon, left to right; the category badge
    // stays even when its label is empty.
    void nameRowOrder_data()
    {
        QTest::addColumn<QString>("badgeLabel");
        QTest::newRow("label") << "EQ";
        QTest::newRow("empty label") << "";
    }
    void nameRowOrder()
    {
        QFETCH(QString, badgeLabel);
        QJsonObject product = fixtures::product("n", installBundles("n", {{"VST3", "1.0"}}));
        product.insert("badge_label", badgeLabel);
        product.insert("coupon_code", "X");
        load({product}, {fixtures::version("n", "2.0")});
        QQuickItem *item = card("n");
        QVERIFY(item);
        QList<qreal> xs;
        for (const char *name : {"productName", "categoryBadge", "updateBadge", "couponBadge"}) {
            QQuickItem *part = child(item, name);
            QVERIFY2(part && part->isVisible(), name);
            xs << part->mapToItem(item, QPointF()).x();
        }
        QVERIFY2(std::is_sorted(xs.cbegin(), xs.cend()) && xs.size() == 4, qPrintable(QDebug::toString(xs)));
        QVERIFY(xs[1] > xs[0] && xs[2] > xs[1] && xs[3] > xs[2]);
        QCOMPARE(child(item, "categoryBadge")->property("label").toString(), badgeLabel);
        QVERIFY(child(item, "categoryBadge")->width() >= 10);
    }

    void initialsTile_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("tile");
        QTest::newRow("two words") << "Marsh Verb" << "Ma";
        QTest::newRow("one character") << "X" << "X";
        QTest::newRow("emoji first") << "🥁 Drums" << "🥁 ";
        QTest::newRow("flag") << "🇯🇵 Koto" << "🇯🇵 ";
        QTest::newRow("japanese") << "鷺ピアノ" << "鷺ピ";
    }
    void initialsTile()
    {
        QFETCH(QString, name);
        QFETCH(QString, tile);
        QJsonObject product = fixtures::product("i");
        product.insert("display_name", name);
        load({product});
        QQuickItem *item = card("i");
        QVERIFY(item);
        QCOMPARE(textOf(item, "initialsText"), tile);
        QCOMPARE(textOf(item, "productName"), name);
        // Plenty of room: the whole name, not a pixel short of it.
        QVERIFY(!child(item, "productName")->property("truncated").toBool());
        QQuickItem *square = child(item, "initialsTile");
        QCOMPARE(QSizeF(square->width(), square->height()), QSizeF(38, 38));
        QCOMPARE(square->mapToItem(item, QPointF()).x(), 24.0);
        QVERIFY(sameColor(colorOf(child(item, "initialsText")), palette("accent")));
    }

    // The coupon and the action are reached with Tab and work from the keyboard.
    void keyboard()
    {
        harness->host.urlOpener.opened.clear();
        QJsonObject product = fixtures::product("k");
        product.insert("coupon_code", "K");
        load({product});
        QQuickItem *item = card("k");
        QVERIFY(item);
        QQuickItem *badge = child(item, "couponBadge");
        QQuickItem *action = child(item, "actionButton");
        badge->forceActiveFocus(Qt::TabFocusReason);
        QTest::keyClick(item->window(), Qt::Key_Space);
        QTest::keyClick(item->window(), Qt::Key_Tab);
        QVERIFY(action->hasActiveFocus());
        QTest::keyClick(item->window(), Qt::Key_Return);
        QCOMPARE(harness->host.urlOpener.opened,
                 (QList<QUrl>{QUrl("https://quillmarsh.example/en/k"), QUrl("https://quillmarsh.example/en/k")}));
        QCOMPARE(accessibleName(badge), QString("Coupon Active K"));
    }

    // State and button follow the language at once; the fixed English
    // words do not.
    void languageSwitch_data()
    {
        QTest::addColumn<int>("state");
        QTest::addColumn<bool>("update");
        QTest::addColumn<QStringList>("english");
        QTest::addColumn<QStringList>("japanese");
        QTest::newRow("installed") << Installed << false << QStringList{"Installed", "Support"}
                                   << QStringList{"インストール済", "サポート"};
        QTest::newRow("not installed") << NotInstalled << false << QStringList{"Not Installed", "Learn More"}
                                       << QStringList{"未インストール", "詳細"};
        QTest::newRow("checking") << Loading << false << QStringList{"Checking...", ""}
                                  << QStringList{"確認中...", ""};
        QTest::newRow("update") << Installed << true << QStringList{"Installed", "Update"}
                                << QStringList{"インストール済", "アップデート"};
    }
    void languageSwitch()
    {
        QFETCH(int, state);
        QFETCH(bool, update);
        QFETCH(QStringList, english);
        QFETCH(QStringList, japanese);
        QJsonObject product = fixtures::product("l", installBundles("l", {{"VST3", "1.0"}}));
        product.insert("coupon_code", "SPRING");
        load({product}, {fixtures::version("l", "2.0")});
        QQuickItem *item = card("l", {{"installState", state}, {"updateAvailable", update}});
        QVERIFY(item);
        auto shownTexts = [&] {
            QQuickItem *action = child(item, "actionButton");
            return QStringList{textOf(item, "stateBadgeText"),
                               action && action->isVisible() ? action->property("text").toString() : QString()};
        };
        QCOMPARE(shownTexts(), english);
        harness->l10n.setLanguage(AppLanguage::Ja);
        QCOMPARE(shownTexts(), japanese);
        QCOMPARE(accessibleName(child(item, "stateBadge")), japanese[0]);
        if (!japanese[1].isEmpty())
            QCOMPARE(accessibleName(child(item, "actionButton")), japanese[1]);
        QCOMPARE(shown(item, "updateBadge"), update);
        const QStringList texts = QmlHarness::visibleTexts(item);
        QCOMPARE(texts.contains("UPDATE"), update);
        QVERIFY(texts.contains("Coupon Active"));
        QCOMPARE(textOf(item, "couponTooltip"), QString("Click to open the campaign page"));
        harness->l10n.setLanguage(AppLanguage::En);
        QCOMPARE(shownTexts(), english);
    }
};

HUB_QUICK_TEST_MAIN(ProductCardTest)
#include "tst_productcard.moc"
