#include "support/ViewFixture.h"

using VersionMap = QMap<QString, QString>;
using namespace quick;

constexpr int Loading = int(HubInstallState::Loading);
constexpr int Unchanged = -1;

// A card built from the model's row for a product of a real catalogue, with
// real install probes and a real version feed behind it.
class ProductCardTest : public ViewFixture
{
    Q_OBJECT

    // Serves `products` and `feed`, then settles as the window does after its first download.
    void load(const QJsonArray &products, const QJsonArray &feed = {}, bool probe = true, bool rebuild = true)
    {
        serve(products, feed);
        QVERIFY(harness->settle(probe, rebuild));
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

private slots:
    void initTestCase() { QVERIFY(start()); }
    void init()
    {
        harness->l10n.setLanguage(AppLanguage::En);
        harness->host.urlOpener.opened.clear();
    }

    // The line's forms themselves are checked in tst_viewlabels; here, that
    // the card shows it, and hides it when there is nothing to say.
    void versionLine_data()
    {
        QTest::addColumn<VersionMap>("installed");
        QTest::addColumn<bool>("rebuild");
        QTest::addColumn<QString>("expected");
        QTest::newRow("one version") << VersionMap{{"au", "1.0"}, {"vst3", "1.0"}} << true << "v1.0 (AU + VST3)";
        QTest::newRow("two versions") << VersionMap{{"au", "1.0"}, {"vst3", "1.1"}} << true << "AU 1.0 / VST3 1.1";
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
        load({fixtures::product(id, QmlHarness::installBundles(id, installed))}, {}, true, rebuild);
        QQuickItem *item = card(id);
        QVERIFY(item);
        QCOMPARE(textOf(item, "versionLine"), expected);
        QCOMPARE(shown(item, "versionLine"), !expected.isEmpty());
    }

    // What the right side shows and does for each install and update state;
    // its words follow the language at once, UPDATE stays English.
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
        QTest::addColumn<QStringList>("japanese"); // state, button

        const QString page = "https://quillmarsh.example/en/p";
        const QString support = "https://www.quillmarsh.example/en/support";
        QTest::newRow("not installed") << false << "2.0" << true << Unchanged << "Not Installed" << "Learn More"
                                       << "HubButton" << page << QStringList{"未インストール", "詳細"};
        QTest::newRow("never probed") << false << "" << false << Unchanged << "Not Installed" << "Learn More"
                                      << "HubButton" << page + "-unprobed" << QStringList{"未インストール", "詳細"};
        QTest::newRow("installed, no record") << true << "" << true << Unchanged << "Installed" << "Support"
                                              << "SupportButton" << support << QStringList{"インストール済", "サポート"};
        QTest::newRow("installed, update") << true << "2.0" << true << Unchanged << "Installed" << "Update"
                                           << "HubButton" << "download" << QStringList{"インストール済", "アップデート"};
        QTest::newRow("checking") << true << "1.0" << true << Loading << "Checking..." << "" << "" << "" << QStringList{"確認中...", ""};
        QTest::newRow("checking, update") << true << "2.0" << true << Loading << "Checking..." << "Update"
                                          << "HubButton" << "download" << QStringList{"確認中...", "アップデート"};
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
        QFETCH(QStringList, japanese);
        const bool update = opens == "download";

        const QString downloadUrl = service.url("/files/p.deb").toString();
        service.setRoute("/files/p.deb", Route{.body = "installer", .delay = std::chrono::milliseconds(200)});
        QJsonArray feed;
        if (!published.isEmpty())
            feed << fixtures::version("p", published, downloadUrl);
        QJsonObject product = fixtures::product("p", QmlHarness::installBundles("p", installed ? VersionMap{{"VST3", "1.0"}} : VersionMap{}));
        if (!probe) // a new id has no install state until the next probe
            product.insert("plugin_id", "p-unprobed");
        load({product}, feed, probe);
        QVariantMap overrides;
        if (stateOverride != Unchanged)
            overrides.insert("installState", stateOverride);
        QQuickItem *item = card(product.value("plugin_id").toString(), overrides);
        QVERIFY(item);

        QCOMPARE(textOf(item, "stateBadgeText"), stateText);
        QColor stateColor = harness->hubColor(stateText == "Installed" ? "accent" : "textSecondary");
        if (stateText == "Installed")
            stateColor.setAlphaF(0.85f);
        QVERIFY(sameColor(colorOf(child(item, "stateBadgeText")), stateColor));
        QCOMPARE(shown(item, "updateBadge"), update);
        QCOMPARE(colorOf(item).alphaF() > 0, update);

        QQuickItem *action = child(item, "actionButton");
        QCOMPARE(action && action->isVisible(), !button.isEmpty());
        harness->l10n.setLanguage(AppLanguage::Ja);
        QCOMPARE(textOf(item, "stateBadgeText"), japanese[0]);
        QCOMPARE(accessibleName(child(item, "stateBadge")), japanese[0]);
        QCOMPARE(QmlHarness::visibleTexts(item).contains("UPDATE"), update);
        if (action && action->isVisible())
            QCOMPARE(accessibleName(action), japanese[1]);
        harness->l10n.setLanguage(AppLanguage::En);
        if (button.isEmpty())
            return;
        QCOMPARE(action->property("text").toString(), button);
        QVERIFY2(QString(action->metaObject()->className()).startsWith(buttonType), action->metaObject()->className());
        QCOMPARE(accessibleName(action), button);

        click(action);
        if (update) {
            QVERIFY(harness->host.urlOpener.opened.isEmpty());
            QVERIFY(harness->state.updateManager()->downloadingIds().contains("p"));
            QTRY_VERIFY(harness->state.updateManager()->downloadingIds().isEmpty());
            QCOMPARE(harness->host.revealer.revealed.last(), TestSandbox::current().downloads() + "/p.deb");
        } else {
            QCOMPARE(harness->host.urlOpener.opened, QList<QUrl>{QUrl(opens)});
        }
    }

    // While the download runs: the spinner and "...", in every language; no
    // clicks, and the update marks stay.
    void downloadingButton()
    {
        load({fixtures::product("d", QmlHarness::installBundles("d", {{"VST3", "1.0"}}))},
             {fixtures::version("d", "2.0", service.url("/files/d.deb").toString())});
        QQuickItem *item = card("d", {{"downloading", true}});
        QVERIFY(item);
        QQuickItem *action = child(item, "actionButton");
        QVERIFY(action);
        QCOMPARE(action->property("text").toString(), QString("..."));
        QVERIFY(!action->isEnabled());
        QCOMPARE(action->opacity(), 1.0); // disabled, yet drawn like the others
        QQuickItem *spinner = child(item, "downloadSpinner");
        QVERIFY(spinner && spinner->isVisible() && spinner->property("running").toBool());
        QVERIFY(shown(item, "updateBadge"));
        QVERIFY(colorOf(item).alphaF() > 0);

        click(action);
        QVERIFY(harness->state.updateManager()->downloadingIds().isEmpty());
        harness->l10n.setLanguage(AppLanguage::Ja);
        QCOMPARE(action->property("text").toString(), QString("..."));
    }

    void couponBadge_data()
    {
        QTest::addColumn<QJsonObject>("coupon");
        QTest::addColumn<QString>("label"); // "" = no badge
        QTest::addColumn<QString>("code");
        QTest::addColumn<QString>("opens");
        const QString page = "https://quillmarsh.example/en/c";
        const QString campaign = "https://quillmarsh.example/spring";
        QTest::newRow("no coupon") << QJsonObject{} << "" << "" << "";
        QTest::newRow("code only") << QJsonObject{{"coupon_code", "SPRING"}} << "Coupon Active" << "SPRING" << page;
        QTest::newRow("label") << QJsonObject{{"coupon_code", "SPRING"}, {"coupon_label", "20% OFF"}} << "20% OFF"
                               << "SPRING" << page;
        QTest::newRow("empty code") << QJsonObject{{"coupon_code", ""}} << "Coupon Active" << "" << page;
        QTest::newRow("campaign page") << QJsonObject{{"coupon_code", "S"}, {"coupon_url", campaign}}
                                       << "Coupon Active" << "S" << campaign;
        QTest::newRow("broken campaign page") << QJsonObject{{"coupon_code", "S"}, {"coupon_url", "spring sale"}}
                                              << "Coupon Active" << "S" << page;
        QTest::newRow("own product page") << QJsonObject{{"coupon_code", "S"}, {"product_page_url", "https://x.example/c"}}
                                          << "Coupon Active" << "S" << "https://x.example/c";
    }
    void couponBadge()
    {
        QFETCH(QJsonObject, coupon);
        QFETCH(QString, label);
        QFETCH(QString, code);
        QFETCH(QString, opens);
        QJsonObject product = fixtures::product("c");
        for (auto it = coupon.constBegin(); it != coupon.constEnd(); ++it)
            product.insert(it.key(), it.value());
        load({product});
        QQuickItem *item = card("c");
        QVERIFY(item);
        QQuickItem *badge = child(item, "couponBadge");
        QCOMPARE(badge && badge->isVisible(), !label.isEmpty());
        if (label.isEmpty())
            return;
        QCOMPARE(textOf(badge, "couponLabel"), label);
        QCOMPARE(textOf(badge, "couponCode"), code);
        QObject *tooltip = QmlHarness::find(badge, "couponTooltip");
        QCOMPARE(tooltip->property("text").toString(), QString("Click to open the campaign page"));
        QVERIFY(!tooltip->property("visible").toBool());
        // A move to where the pointer already is would not count.
        QTest::mouseMove(badge->window(), QPoint(1, 1));
        QTest::mouseMove(badge->window(), centreOf(badge));
        QTRY_VERIFY(tooltip->property("visible").toBool());
        click(badge);
        QCOMPARE(harness->host.urlOpener.opened, QList<QUrl>{QUrl(opens)});
        // The coupon's words are fixed.
        harness->l10n.setLanguage(AppLanguage::Ja);
        QCOMPARE(textOf(badge, "couponLabel"), label);
        QCOMPARE(tooltip->property("text").toString(), QString("Click to open the campaign page"));
    }

    // Name, category, UPDATE and coupon, left to right: the name in full, the
    // category badge even with an empty label. The tile shows whole grapheme
    // clusters (their rules: tst_viewlabels).
    void nameRow_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("tile");
        QTest::addColumn<QString>("badgeLabel");
        QTest::newRow("two words") << "Marsh Verb" << "Ma" << "EQ";
        QTest::newRow("one character, empty label") << "X" << "X" << "";
        QTest::newRow("emoji first") << "🥁 Drums" << "🥁 " << "EQ";
        QTest::newRow("flag") << "🇯🇵 Koto" << "🇯🇵 " << "EQ";
    }
    void nameRow()
    {
        QFETCH(QString, name);
        QFETCH(QString, tile);
        QFETCH(QString, badgeLabel);
        QJsonObject product = fixtures::product("n", QmlHarness::installBundles("n", {{"VST3", "1.0"}}));
        product.insert("display_name", name);
        product.insert("badge_label", badgeLabel);
        product.insert("coupon_code", "X");
        load({product}, {fixtures::version("n", "2.0")});
        QQuickItem *item = card("n");
        QVERIFY(item);
        QCOMPARE(textOf(item, "initialsText"), tile);
        QVERIFY(sameColor(colorOf(child(item, "initialsText")), harness->hubColor("accent")));
        QCOMPARE(textOf(item, "productName"), name);
        QVERIFY(!child(item, "productName")->property("truncated").toBool());
        qreal previous = -1;
        for (const char *part : {"productName", "categoryBadge", "updateBadge", "couponBadge"}) {
            QVERIFY2(shown(item, part), part);
            QVERIFY2(child(item, part)->mapToItem(item, QPointF()).x() > previous, part);
            previous = child(item, part)->mapToItem(item, QPointF()).x();
        }
        QCOMPARE(child(item, "categoryBadge")->property("label").toString(), badgeLabel);
        QVERIFY(child(item, "categoryBadge")->width() >= 10);
    }

    // The coupon and the action are reached with Tab and work from the keyboard.
    void keyboard()
    {
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
};

HUB_QUICK_TEST_MAIN(ProductCardTest)
#include "tst_productcard.moc"
