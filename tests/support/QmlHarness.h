#pragma once

#include "TestHost.h"
#include "TestSandbox.h"
#include "app/HubSession.h"
#include "app/HubUi.h"
#include "l10n/L10n.h"

#include <QColor>
#include <QJsonObject>
#include <QMap>
#include <QQmlApplicationEngine>
#include <QQuickItem>
#include <QQuickWindow>

#include <memory>

// Loads the hub's QML views offscreen against a real AppState that runs on
// test doubles, so view tests can inspect the items the views create.
// One per test process: the singletons are registered process-wide.
class QmlHarness
{
public:
    explicit QmlHarness(const QUrl &serviceBase);
    ~QmlHarness();

    TestHost host;
    L10n l10n;
    HubSession session;
    AppState &state = session.state;
    DesktopLinks &links = session.links;
    ProductListModel &productList = session.productList;
    UpdateRowsModel &updateRows = session.updateRows;
    SelfUpdater &selfUpdater = session.selfUpdater;
    QQmlApplicationEngine engine;

    // Creates the module's `typeName` (e.g. "ProductCard") with `properties`
    // inside a fresh window of `size`, shown offscreen. The window owns it.
    QQuickItem *create(const QString &typeName, const QVariantMap &properties = {}, QSize size = {900, 600});
    // Loads a whole window type (e.g. "SelfUpdateWindow"); returns its root object.
    QObject *createWindow(const QString &typeName, const QVariantMap &properties = {});
    // The main window as the application opens it, engine started.
    QQuickWindow *openMainWindow();
    // The HubColors entry `name` (e.g. "accent"), as the views draw it.
    QColor hubColor(const char *name);
    // The engine's refresh pass (catalogue, installs, update states, feed),
    // awaited. False when the download or the check fails.
    bool refresh();

    // Writes one bundle per format at its version under the sandbox home, as
    // an installer leaves them, and returns them as `install_formats`.
    static QJsonObject installBundles(const QString &productId, const QMap<QString, QString> &formatVersions);

    // Every descendant (items, and child objects such as windows) with this objectName.
    static QList<QObject *> findAll(QObject *root, const QString &objectName);
    static QObject *find(QObject *root, const QString &objectName);
    // Every visible text of Text/Label items under root, in tree order.
    static QStringList visibleTexts(QQuickItem *root);

private:
    // Instantiates `body` below the QtQuick and hub module imports; the caller
    // owns the result, which is null (with the errors logged) when it fails.
    std::unique_ptr<QObject> createFromQml(const QByteArray &body, const QVariantMap &properties = {});

    std::vector<std::unique_ptr<QObject>> m_windows;
};

// Like QTEST_MAIN for QML view tests, inside a sandboxed home.
#define HUB_QUICK_TEST_MAIN(TestObject)           \
    int main(int argc, char *argv[])              \
    {                                             \
        TestSandbox sandbox;                      \
        qputenv("QT_QPA_PLATFORM", "offscreen");  \
        QGuiApplication app(argc, argv);          \
        app.setOrganizationName("Quillmarsh");    \
        app.setApplicationName("Quillmarsh Hub"); \
        app.setApplicationVersion("1.0.0");       \
        hubui::applyLook();                       \
        TestObject tc;                            \
        QTEST_SET_MAIN_SOURCE_PATH                \
        return QTest::qExec(&tc, argc, argv);     \
    }
