#pragma once

#include "support/ViewFixture.h"

// The main window against a local service: a catalogue long enough to
// scroll, led by an installed product with an update, a coupon and every
// badge at its longest; a hub update; a slow installer for that product.
class MainWindowFixture : public ViewFixture
{
protected:
    QQuickWindow *main = nullptr;
    QSizeF firstContent;
    QStringList cardOrder; // product ids as the list shows them

    static QJsonObject installed(const QString &id)
    {
        return fixtures::product(id, QmlHarness::installBundles(id, {{"VST3", "1.0"}}));
    }

    // Serves the catalogue, opens the window and waits for its first
    // catalogue and check.
    bool open()
    {
        // The window binds the catalogue itself, so no start().
        if (!service.listen())
            return false;
        QJsonObject crowded = installed("a");
        crowded.insert("display_name", "Marsh Reverb Convolution Suite");
        crowded.insert("badge_label", "ORCHESTRAL");
        crowded.insert("coupon_code", "PIANO-LAUNCH");
        crowded.insert("coupon_label", "Launch price");
        QJsonArray products{crowded, fixtures::product("b")};
        for (int i = 0; i < 24; ++i)
            products << fixtures::product(QString("c%1").arg(i, 2, 10, QChar('0')));
        serve(products, {fixtures::version("a", "2.0", installerUrl().toString()), fixtures::version("hub", "9.0")});
        service.setRoute(installerUrl().path(), Route{.body = "installer", .delay = std::chrono::milliseconds(800)});
        harness = std::make_unique<QmlHarness>(service.baseUrl());
        main = harness->openMainWindow();
        if (!main || !QTest::qWaitForWindowExposed(main))
            return false;
        AppState &state = harness->state;
        if (!QTest::qWaitFor([&] { return state.catalog()->revision() >= 1 && !state.catalog()->isLoading(); })
            || !QTest::qWaitFor([&] { return state.updateManager()->hasLastChecked(); }))
            return false;
        firstContent = content()->size();
        for (int row = 0; row < harness->productList.rowCount(); ++row)
            cardOrder << harness->productList.index(row).data(ProductListModel::ProductIdRole).toString();
        return true;
    }

    QUrl installerUrl() const { return service.url("/files/a.deb"); }
    QQuickItem *content() { return quick::child(main, "splitView"); }
    // The selected tab's view.
    QObject *tabView() { return quick::child(main, "detail")->property("item").value<QObject *>(); }

    void showTab(AppTab tab)
    {
        harness->state.setSelectedTab(tab);
        QCoreApplication::processEvents();
        main->grabWindow(); // lays out and draws the new tab, as its first frame would

    }

    // The window once two frames in a row are alike: list delegates beyond
    // the edge are made while the event loop is idle, and land in view later.
    QImage settledFrame()
    {
        QImage frame = main->grabWindow();
        for (int tries = 0; tries < 50; ++tries) {
            QTest::qWait(20);
            QImage next = main->grabWindow();
            if (next == frame)
                break;
            frame = std::move(next);
        }
        return frame;
    }

    static QRectF sceneRect(QQuickItem *item) { return item->mapRectToScene(QRectF(0, 0, item->width(), item->height())); }

    static bool overlap(QQuickItem *a, QQuickItem *b)
    {
        const QRectF shared = sceneRect(a).intersected(sceneRect(b));
        return shared.width() > 0.5 && shared.height() > 0.5;
    }
};
