#include "support/ViewFixture.h"

using VersionMap = QMap<QString, QString>;
using namespace quick;

constexpr int Unchanged = -1;

// A card built from the model's row for a product of a real catalogue, with
// real install probes and a real version feed behind it.
class ProductCardTest : public ViewFixture
{
    Q_OBJECT

    // Serves and settles, then creates the card the list would create for this product's row.
    QQuickItem *card(const QJsonArray &products, const QJsonArray &feed, const QVariantMap &overrides = {})
    {
        serve(products, feed);
        if (!harness->refresh())
            return nullptr;
        const QString productId = products.first()["plugin_id"].toString();
        const ProductListModel &model = harness->productList;
        const QHash<int, QByteArray> roles = model.roleNames();
        for (int row = 0; row < model.rowCount(); ++row) {
            const QModelIndex index = model.index(row);
            if (model.data(index, ProductListModel::ProductIdRole) != productId)
                continue;
            QVariantMap properties;
            for (auto it = roles.cbegin(); it != roles.cend(); ++it)
                properties.insert(QString::fromUtf8(it.value()), model.data(index, it.key()));
            for (const char *listRole : {"sectionKey", "sectionTitle", "isLastInSection"})
                properties.remove(listRole);
            properties.insert(overrides);
            return harness->create("ProductCard", properties, {900, 80});
        }
        return nullptr;
    }

private slots:
    void initTestCase() { QVERIFY(start()); }
    void init()
    {
        harness->l10n.setLanguage(AppLanguage::En);
        harness->host.urlOpener.opened.clear();
    }

    // The state and the action for each install and update state, and their
    // accessible names in both languages.
    void rightSide_data()
    {
        QTest::addColumn<bool>("installed");
        QTest::addColumn<QString>("published");  // "" = no record in the feed
        QTest::addColumn<int>("stateOverride");
        QTest::addColumn<QStringList>("names");  // state, button ("" = none); then in Japanese
        QTest::addColumn<QString>("opens");      // "download" = starts the product's download
        QTest::newRow("installed, no record") << true << "" << Unchanged << QStringList{"Installed", "Support", "インストール済", "サポート"}
                                              << "https://www.quillmarsh.example/en/support";
        QTest::newRow("not installed") << false << "2.0" << Unchanged << QStringList{"Not Installed", "Learn More", "未インストール", "詳細"}
                                       << "https://quillmarsh.example/en/p";
        QTest::newRow("installed, update") << true << "2.0" << Unchanged << QStringList{"Installed", "Update", "インストール済", "アップデート"}
                                           << "download";
        QTest::newRow("checking") << true << "1.0" << int(HubInstallState::Loading) << QStringList{"Checking...", "", "確認中...", ""} << "";
    }
    void rightSide()
    {
        QFETCH(bool, installed);
        QFETCH(QString, published);
        QFETCH(int, stateOverride);
        QFETCH(QStringList, names);
        QFETCH(QString, opens);
        service.setRoute("/files/p.deb", Route{.body = "installer", .delay = std::chrono::milliseconds(200)});
        const QJsonArray feed = published.isEmpty() ? QJsonArray{} : QJsonArray{fixtures::version("p", published, service.url("/files/p.deb").toString())};
        QQuickItem *item = card({fixtures::product("p", QmlHarness::installBundles("p", installed ? VersionMap{{"VST3", "1.0"}} : VersionMap{}))},
                                feed, stateOverride == Unchanged ? QVariantMap{} : QVariantMap{{"installState", stateOverride}});
        QVERIFY(item);
        QQuickItem *action = child(item, "actionButton");
        QCOMPARE(shown(item, "updateBadge"), opens == "download");
        QCOMPARE(action && action->isVisible(), !names[1].isEmpty());
        for (int ja : {0, 2}) {
            harness->l10n.setLanguage(ja ? AppLanguage::Ja : AppLanguage::En);
            QCOMPARE(accessibleName(child(item, "stateBadge")), names[ja]);
            if (!names[1].isEmpty())
                QCOMPARE(accessibleName(action), names[ja + 1]);
        }
        if (names[1].isEmpty())
            return;
        click(action);
        if (opens == "download") {
            QVERIFY(harness->state.updateManager()->downloadingIds().contains("p"));
            QTRY_VERIFY(harness->state.updateManager()->downloadingIds().isEmpty());
        } else {
            QCOMPARE(harness->host.urlOpener.opened, QList<QUrl>{QUrl(opens)});
        }
    }

    // While the download runs the button reads "..." and takes no clicks.
    void downloadingButton()
    {
        QQuickItem *item = card({fixtures::product("d", QmlHarness::installBundles("d", {{"VST3", "1.0"}}))},
                                {fixtures::version("d", "2.0")}, {{"downloading", true}});
        QQuickItem *action = item ? child(item, "actionButton") : nullptr;
        QVERIFY(action);
        QCOMPARE(action->property("text").toString(), QString("..."));
        QVERIFY(!action->isEnabled());
        click(action);
        QVERIFY(harness->state.updateManager()->downloadingIds().isEmpty());
    }

    void couponBadge_data()
    {
        QTest::addColumn<QJsonObject>("coupon");
        QTest::addColumn<QString>("label"); // "" = no badge
        QTest::addColumn<QString>("opens");
        const QString page = "https://quillmarsh.example/en/c";
        QTest::newRow("no coupon") << QJsonObject{} << "" << "";
        QTest::newRow("label, campaign page") << QJsonObject{{"coupon_code", "S"}, {"coupon_label", "20% OFF"}, {"coupon_url", page + "/spring"}}
                                              << "20% OFF" << page + "/spring";
        QTest::newRow("broken campaign page") << QJsonObject{{"coupon_code", "S"}, {"coupon_url", "spring sale"}}
                                              << "Coupon Active" << page;
    }
    void couponBadge()
    {
        QFETCH(QJsonObject, coupon);
        QFETCH(QString, label);
        QFETCH(QString, opens);
        QJsonObject product = fixtures::product("c");
        for (auto it = coupon.constBegin(); it != coupon.constEnd(); ++it)
            product.insert(it.key(), it.value());
        QQuickItem *item = card({product}, {});
        QVERIFY(item);
        QCOMPARE(shown(item, "couponBadge"), !label.isEmpty());
        if (label.isEmpty())
            return;
        QCOMPARE(textOf(item, "couponLabel"), label);
        click(child(item, "couponBadge"));
        QCOMPARE(harness->host.urlOpener.opened, QList<QUrl>{QUrl(opens)});
    }

    // The tile shows whole grapheme clusters; the badges all show.
    void nameRow()
    {
        QJsonObject product = fixtures::product("n", QmlHarness::installBundles("n", {{"VST3", "1.0"}}));
        product.insert("display_name", "🇯🇵 Koto");
        product.insert("coupon_code", "X");
        QQuickItem *item = card({product}, {fixtures::version("n", "2.0")});
        QVERIFY(item);
        QCOMPARE(textOf(item, "initialsText"), QString("🇯🇵 "));
        for (const char *part : {"categoryBadge", "updateBadge", "couponBadge"})
            QVERIFY2(shown(item, part), part);
    }
};

HUB_QUICK_TEST_MAIN(ProductCardTest)
#include "tst_productcard.moc"
