#include "app/AppState.h"
#include "support/Fixtures.h"
#include "support/LocalHttpService.h"
#include "support/TestHost.h"
#include "support/TestSandbox.h"

#include <QCoroTask>
#include <QtTest>

using namespace std::chrono_literals;
using Route = LocalHttpService::Route;

namespace {

QString home() { return TestSandbox::current().home(); }

QJsonObject at(const QString &path) { return QJsonObject{{"VST3", path}}; }

} // namespace

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
    void initTestCase()
    {
        QVERIFY(service.listen());
        QDir().mkpath(home() + "/Plugins/Installed.vst3");
    }

    void init()
    {
        QDir(TestSandbox::current().hubDirectory()).removeRecursively();
        service.setRoute("/api/hub/products", Route{.body = fixtures::document({
            fixtures::product("in", at("Plugins/Installed.vst3")),
            fixtures::product("out", at("Plugins/Missing.vst3")),
            fixtures::product("dup", at("Plugins/Missing.vst3")),
            fixtures::product("dup", at("Plugins/Installed.vst3")),
        })});
        service.setRoute("/api/plugin-versions", Route{.body = "[]"});
    }

    void startsIdleAndSetsUpInOrder()
    {
        auto state = makeState();
        QVERIFY(state->productStates().isEmpty());
        QCOMPARE(state->selectedTab(), AppTab::Products);
        QVERIFY(!QDir(TestSandbox::current().hubDirectory()).exists());
        QCOMPARE(service.totalRequests(), 0);

        state->setup();
        QVERIFY(QDir(TestSandbox::current().hubDirectory()).exists());
        QVERIFY(state->catalog()->isLoading());
        QVERIFY(state->updateManager()->isChecking());
        QTRY_COMPARE(state->catalog()->revision(), 1);
        QTRY_VERIFY(QFile::exists(state->catalog()->cacheFilePath()));
        QTRY_VERIFY(!state->updateManager()->isChecking());

        // A second setup (the window shown again) starts nothing new.
        state->setup();
        QTest::qWait(50);
        QCOMPARE(service.requestCount("/api/hub/products"), 1);
        QCOMPARE(service.requestCount("/api/plugin-versions"), 1);
    }

    void refreshRunsTwoPasses()
    {
        auto state = makeState();
        QVERIFY(QCoro::waitFor(state->catalog()->fetchCatalog()).ok());
        QList<QHash<QString, HubInstallState>> seen;
        connect(state.get(), &AppState::productStatesChanged, this, [&] { seen << state->productStates(); });
        state->refreshAllStates();

        // Four loading writes, then four results; the duplicate id follows its first entry.
        QCOMPARE(seen.size(), 8);
        QCOMPARE(seen[3], (QHash<QString, HubInstallState>{{"in", HubInstallState::Loading},
                                                            {"out", HubInstallState::Loading},
                                                            {"dup", HubInstallState::Loading}}));
        const QHash<QString, HubInstallState> expected{{"in", HubInstallState::Installed},
                                                       {"out", HubInstallState::NotInstalled},
                                                       {"dup", HubInstallState::NotInstalled}};
        QCOMPARE(state->productStates(), expected);
        QCOMPARE(state->computeState("dup"), HubInstallState::NotInstalled);
        QCOMPARE(state->computeState("in"), HubInstallState::Installed);
        QCOMPARE(state->computeState("unknown"), HubInstallState::NotInstalled);
    }

    void emptyCatalogueChangesNothing()
    {
        auto state = makeState();
        QSignalSpy spy(state.get(), &AppState::productStatesChanged);
        state->refreshAllStates();
        QCOMPARE(spy.count(), 0);
        QVERIFY(state->productStates().isEmpty());
    }

    void removedProductsKeepTheirLastState()
    {
        auto state = makeState();
        QVERIFY(QCoro::waitFor(state->catalog()->fetchCatalog()).ok());
        state->refreshAllStates();
        service.setRoute("/api/hub/products", Route{.body = fixtures::document({fixtures::product("out")})});
        QVERIFY(QCoro::waitFor(state->catalog()->fetchCatalog()).ok());
        state->refreshAllStates();
        QCOMPARE(state->productStates().value("in"), HubInstallState::Installed);
        QCOMPARE(state->productStates().size(), 3);
    }

    void hourlyRefreshSeesNewInstalls()
    {
        auto state = makeState(Schedule{1h, 40ms, 1h});
        state->setup();
        QTRY_COMPARE(state->catalog()->revision(), 1);
        state->refreshAllStates();
        QCOMPARE(state->productStates().value("out"), HubInstallState::NotInstalled);
        QDir().mkpath(home() + "/Plugins/Missing.vst3");
        QTRY_COMPARE(state->productStates().value("out"), HubInstallState::Installed);
        QDir(home() + "/Plugins/Missing.vst3").removeRecursively();
    }

    void selectedTabNotifiesOnChangeOnly()
    {
        auto state = makeState();
        QSignalSpy spy(state.get(), &AppState::selectedTabChanged);
        state->setSelectedTab(AppTab::Products);
        state->setSelectedTab(AppTab::Updates);
        state->setSelectedTab(AppTab::Updates);
        QCOMPARE(spy.count(), 1);
    }
};

HUB_TEST_MAIN(AppStateTest)
#include "tst_appstate.moc"
