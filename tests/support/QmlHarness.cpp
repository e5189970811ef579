#include "QmlHarness.h"

#include "app/HubUi.h"

#include <QQmlComponent>
#include <QQuickItem>
#include <QQmlExtensionPlugin>
#include <QtTest>

Q_IMPORT_QML_PLUGIN(Quillmarsh_HubPlugin)

namespace {

// The hub's appcast on the test service, checked only when a test asks;
// the update key can come from QUILLMARSH_HUB_UPDATE_PUBLIC_KEY.
SelfUpdateConfig harnessSelfUpdateConfig(const QUrl &serviceBase)
{
    SelfUpdateConfig config = SelfUpdateConfig::fromEnvironment();
    config.appcastUrl = serviceBase.resolved(QUrl(QStringLiteral("/hub/appcast.xml")));
    config.automaticChecks = false;
    return config;
}

} // namespace

QmlHarness::QmlHarness(const QUrl &serviceBase)
    : state(host.host, ServiceAddress(serviceBase))
    , links(host.urlOpener)
    , productList(state)
    , updateRows(state)
    , selfUpdater(host.host, harnessSelfUpdateConfig(serviceBase), l10n)
{
    hubui::registerSingletons({state, l10n, links, productList, updateRows, selfUpdater});
    hubui::prepareEngine(engine);
}

QmlHarness::~QmlHarness() = default;

QQuickItem *QmlHarness::create(const QString &typeName, const QVariantMap &properties, QSize size)
{
    auto window = std::make_unique<QQuickWindow>();
    window->resize(size);
    QQmlComponent component(&engine);
    component.setData("import QtQuick\nimport Quillmarsh.Hub\n" + typeName.toUtf8() + " {}", QUrl("qrc:/harness.qml"));
    QObject *object = component.createWithInitialProperties(properties);
    if (!object) {
        qWarning() << component.errors();
        return nullptr;
    }
    auto *item = qobject_cast<QQuickItem *>(object);
    item->setParentItem(window->contentItem());
    item->setParent(window.get());
    if (item->width() <= 0)
        item->setWidth(size.width());
    if (item->height() <= 0)
        item->setHeight(size.height());
    window->show();
    QTest::qWaitForWindowExposed(window.get());
    m_windows.push_back(std::move(window));
    return item;
}

QObject *QmlHarness::createWindow(const QString &typeName, const QVariantMap &properties)
{
    QQmlComponent component(&engine);
    component.setData("import QtQuick\nimport Quillmarsh.Hub\n" + typeName.toUtf8() + " {}", QUrl("qrc:/harness.qml"));
    QObject *object = component.createWithInitialProperties(properties);
    if (!object) {
        qWarning() << component.errors();
        return nullptr;
    }
    m_windows.emplace_back(object);
    return object;
}

QList<QObject *> QmlHarness::findAll(QObject *root, const QString &objectName)
{
    QList<QObject *> found;
    if (!root)
        return found;
    if (root->objectName() == objectName)
        found << root;
    QObjectList children = root->children();
    if (auto *item = qobject_cast<QQuickItem *>(root)) {
        for (QQuickItem *child : item->childItems())
            if (!children.contains(child))
                children << child;
    }
    for (QObject *child : children)
        found << findAll(child, objectName);
    return found;
}

QObject *QmlHarness::find(QObject *root, const QString &objectName)
{
    const QList<QObject *> all = findAll(root, objectName);
    return all.isEmpty() ? nullptr : all.first();
}

QStringList QmlHarness::visibleTexts(QQuickItem *root)
{
    QStringList texts;
    if (!root || !root->isVisible())
        return texts;
    const QVariant text = root->property("text");
    if (text.isValid() && root->inherits("QQuickText") && !text.toString().isEmpty())
        texts << text.toString();
    for (QQuickItem *child : root->childItems())
        texts << visibleTexts(child);
    return texts;
}
