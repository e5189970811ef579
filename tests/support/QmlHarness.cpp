#include "QmlHarness.h"

#include "app/HubUi.h"
#include "PropertyListWriter.h"

#include <QCoroTask>
#include <QDir>

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
    : session(host.host, ServiceAddress(serviceBase), harnessSelfUpdateConfig(serviceBase), l10n)
{
    hubui::prepareEngine(engine);
}

QmlHarness::~QmlHarness() = default;

std::unique_ptr<QObject> QmlHarness::createFromQml(const QByteArray &body, const QVariantMap &properties)
{
    QQmlComponent component(&engine);
    component.setData("import QtQuick\nimport Quillmarsh.Hub\n" + body, QUrl("qrc:/harness.qml"));
    std::unique_ptr<QObject> object(component.createWithInitialProperties(properties));
    if (!object)
        qWarning() << component.errors();
    return object;
}

QQuickItem *QmlHarness::create(const QString &typeName, const QVariantMap &properties, QSize size)
{
    auto window = std::make_unique<QQuickWindow>();
    window->resize(size);
    std::unique_ptr<QObject> object = createFromQml(typeName.toUtf8() + " {}", properties);
    auto *item = qobject_cast<QQuickItem *>(object.get());
    if (!item) {
        if (object)
            qWarning() << typeName << "is not an item";
        return nullptr;
    }
    item->setParentItem(window->contentItem());
    item->setParent(window.get());
    object.release(); // the window owns it now
    if (item->width() <= 0)
        item->setWidth(size.width());
    if (item->height() <= 0)
        item->setHeight(size.height());
    window->show();
    if (!QTest::qWaitForWindowExposed(window.get())) {
        qWarning() << "The window for" << typeName << "was not exposed";
        return nullptr;
    }
    m_windows.push_back(std::move(window));
    return item;
}

QObject *QmlHarness::createWindow(const QString &typeName, const QVariantMap &properties)
{
    std::unique_ptr<QObject> object = createFromQml(typeName.toUtf8() + " {}", properties);
    if (!object)
        return nullptr;
    m_windows.push_back(std::move(object));
    return m_windows.back().get();
}

QQuickWindow *QmlHarness::openMainWindow()
{
    return hubui::openMainWindow(engine, session);
}

QColor QmlHarness::hubColor(const char *name)
{
    std::unique_ptr<QObject> probe = createFromQml("QtObject { property var colors: HubColors }");
    if (!probe)
        return {};
    auto *colors = probe->property("colors").value<QObject *>();
    if (!colors) {
        qWarning() << "HubColors is not available";
        return {};
    }
    return colors->property(name).value<QColor>();
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

bool QmlHarness::refresh()
{
    const AppState::RefreshOutcome outcome = QCoro::waitFor(state.refreshEverything());
    QCoreApplication::processEvents();
    return outcome.catalogue.ok() && outcome.check.ok();
}

QJsonObject QmlHarness::installBundles(const QString &productId, const QMap<QString, QString> &formatVersions)
{
    const QString home = TestSandbox::current().home();
    const QString folder = QStringLiteral("Plugins/%1").arg(productId);
    QDir(home + "/" + folder).removeRecursively();
    QJsonObject formats;
    for (auto it = formatVersions.cbegin(); it != formatVersions.cend(); ++it) {
        const QString path = QStringLiteral("%1/%2.bundle").arg(folder, it.key());
        plistwriter::writeBundle(home + "/" + path, {{"CFBundleShortVersionString", it.value()}},
                                 plistwriter::Format::Xml);
        formats.insert(it.key(), path);
    }
    return formats;
}
