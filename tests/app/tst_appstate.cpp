#include "app/AppState.h"
#include "support/Fixtures.h"
#include "support/LocalHttpService.h"
#include "support/TestHost.h"
#include "support/TestSandbox.h"

#include <QCoroTask>
#include <QtTest>

using namespace std::chrono_literals;
using Route = LocalHttpService::Route;
using enum HubInstallState;

static QString home() { return TestSandbox::current().home(); }
static QJsonObject at(const QString &path) { return QJsonObject{{"VST3", path}}; }

class AppStateTest : public QObject
{
    Q_OBJECT

    LocalHttpService service;
    TestHost host;

    std::unique_ptr<AppState> makeState(const Schedule &schedule = {})
    {
        return std::make_unique<AppState>(host.host, ServiceAddress(service.baseUrl()), schedule);
    }

private slots:
    void initTestCase() { QVERIFY(service.listen()); QDir().mkpath(home() + "/Plugins/Installed.vst3"); }

    void init()
    {
        QDir(TestSandbox::current().hubDirectory()).removeRecursively();
        service.setRoute("/api/hub/products", Route{.body = fixtures::document({
            fixtures::product("in", {{"AU", "Plugins/Missing.vst3"}, {"VST3", "Plugins/Installed.vst3"}}),
            fixtures::product("out", at("Plugins/Missing.vst3")),
            fixtures::product("tilde", at("~/Plugins/Installed.vst3")),
            fixtures::product("bare"),
            fixtures::product("dup", at("Plugins/Missing.vst3")),
            fixtures::product("dup", at("Plugins/Installed.vst3")),
            fixtures::product("dup2", at("Plugins/Installed.vst3")),
            fixtures::product("dup2", at("Plugins/Missing.vst3")),
        })});
        service.setRoute("/api/plugin-versions", Route{.body = "[]"});
    }

    void setsUpOnce()
    {
        auto state = makeState();
        QCOMPARE(service.totalRequests(), 0);
        state->setup();
        QTRY_COMPARE(state->catalog()->revision(), 1);
        QTRY_VERIFY(!state->updateManager()->isChecking());
        state->setup(); // the window shown again starts nothing new
        QVERIFY(!state->catalog()->isLoading() && !state->updateManager()->isChecking());
        QCOMPARE(service.requestCount("/api/hub/products"), 1);
        QCOMPARE(service.requestCount("/api/plugin-versions"), 1);
    }

    // Loading for every product first, then the results: installed when
    // any path exists below home (no "~" expansion); of entries sharing an
    // id, the first decides.
    void refreshRunsTwoPasses()
    {
        auto state = makeState();
        QVERIFY(QCoro::waitFor(state->catalog()->fetchCatalog()).ok());
        QList<QHash<QString, HubInstallState>> seen;
        connect(state.get(), &AppState::productStatesChanged, this, [&] { seen << state->productStates(); });
        state->refreshAllStates();
        QCOMPARE(seen.size(), 16);
        QCOMPARE(seen[7].value("in"), Loading);
        QCOMPARE(state->productStates(), (QHash<QString, HubInstallState>{
            {"in", Installed}, {"out", NotInstalled}, {"tilde", NotInstalled}, {"bare", NotInstalled}, {"dup", NotInstalled}, {"dup2", Installed}}));
    }

    void hourlyRefreshSeesNewInstalls()
    {
        auto state = makeState(Schedule{1h, 40ms, 1h});
        state->setup();
        QTRY_COMPARE(state->catalog()->revision(), 1);
        state->refreshAllStates();
        QCOMPARE(state->productStates().value("out"), NotInstalled);
        QDir().mkpath(home() + "/Plugins/Missing.vst3");
        QTRY_COMPARE(state->productStates().value("out"), Installed);
        QDir(home() + "/Plugins/Missing.vst3").removeRecursively();
    }
};

HUB_TEST_MAIN(AppStateTest)
#include "tst_appstate.moc"
