#pragma once

#include "support/Fixtures.h"
#include "support/LocalHttpService.h"
#include "support/QmlHarness.h"
#include "support/QuickItems.h"

#include <QtTest>

// The base of the view tests that serve a catalogue and a version feed from a
// local service and create views against them. Slots stay in the test class.
class ViewFixture : public QObject
{
protected:
    using Route = LocalHttpService::Route;
    static inline const QString CatalogPath = QStringLiteral("/api/hub/products");
    static inline const QString FeedPath = QStringLiteral("/api/plugin-versions");

    LocalHttpService service;
    std::unique_ptr<QmlHarness> harness;

    // Listens and builds the harness.
    bool start()
    {
        if (!service.listen())
            return false;
        harness = std::make_unique<QmlHarness>(service.baseUrl());
        return true;
    }
    void serve(const QJsonArray &products, const QJsonArray &feed = {})
    {
        service.setRoute(CatalogPath, Route{.body = fixtures::document(products)});
        service.setRoute(FeedPath, Route{.body = fixtures::document(feed)});
    }
    // Creates the view type and lets it lay out.
    QQuickItem *view(const QString &type, QSize size = {900, 600})
    {
        QQuickItem *root = harness->create(type, {}, size);
        QCoreApplication::processEvents();
        return root;
    }
};
