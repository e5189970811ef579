#include "platform/Notifier.h"
#include "support/TestSandbox.h"

#include <QCoroTask>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QGuiApplication>
#include <QtTest>

namespace {

const QString Service = QStringLiteral("org.freedesktop.Notifications");
const QString Path = QStringLiteral("/org/freedesktop/Notifications");

// The desktop's notification service as far as the hub uses it, on a bus
// connection of its own: records what it is asked to show and sends the
// signals a user's clicks would.
class FakeNotificationService : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

public:
    QDBusConnection bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, QStringLiteral("fake-notifications"));
    QVariantList lastNotify;
    uint lastId = 0;

    bool start()
    {
        return bus.registerObject(Path, this, QDBusConnection::ExportAllSlots) && bus.registerService(Service);
    }
    void send(const QString &signal, uint id, const QVariant &detail)
    {
        QDBusMessage message = QDBusMessage::createSignal(Path, Service, signal);
        message << id << detail;
        bus.send(message);
    }

public slots:
    QStringList GetCapabilities() { return {QStringLiteral("actions"), QStringLiteral("body"), QStringLiteral("body-markup")}; }
    uint Notify(const QString &appName, uint replacesId, const QString &appIcon, const QString &summary,
                const QString &body, const QStringList &actions, const QVariantMap &hints, int timeout)
    {
        lastNotify = {appName, replacesId, appIcon, summary, body, actions, hints, timeout};
        return lastId += 7;
    }
};

} // namespace

// The notifier against a notification service on the private session bus
// that dbus-run-session gives this test.
class NotifierTest : public QObject
{
    Q_OBJECT

    platform::DBusNotifier notifier;

    bool notify() { return QCoro::waitFor(notifier.notify("2 updates available", "Bass & Drums, Keys", "Show Updates")); }

private slots:
    void initTestCase()
    {
        if (!QDBusConnection::sessionBus().isConnected())
            QSKIP("needs a session bus (ctest runs this under dbus-run-session)");
        if (QDBusConnection::sessionBus().interface()->isServiceRegistered(Service))
            QSKIP("the desktop's own notifications are on this bus; ctest gives the test a private one");
        QGuiApplication::setDesktopFileName("example.quillmarsh.Hub");
    }

    // Nothing on the bus shows notifications: the answer is no, at once.
    void noService()
    {
        QElapsedTimer timer;
        timer.start();
        QVERIFY(!notify());
        QCOMPARE_LT(timer.elapsed(), 1000);
    }

    // The hub names itself, its desktop entry and two actions; a click on
    // one of its notifications, and only on those, activates it, until the
    // notification is closed.
    void showsAndFollows()
    {
        FakeNotificationService service;
        QVERIFY(service.start());
        QVERIFY(notify());
        const QVariantList call = service.lastNotify;
        QCOMPARE(call.value(0).toString(), "Quillmarsh Hub");
        QCOMPARE(call.value(2).toString(), "example.quillmarsh.Hub");
        QCOMPARE(call.value(3).toString(), "2 updates available");
        QCOMPARE(call.value(4).toString(), "Bass &amp; Drums, Keys"); // the service reads markup
        const QStringList actions = call.value(5).toStringList();
        QCOMPARE(actions.size(), 4);
        QCOMPARE(actions[0], "default");
        QCOMPARE(actions[3], "Show Updates");
        QCOMPARE(call.value(6).toMap().value("desktop-entry").toString(), "example.quillmarsh.Hub");

        QSignalSpy activated(&notifier, &platform::Notifier::activated);
        const uint ours = service.lastId;
        service.send("ActionInvoked", ours + 1, "default"); // another application's
        service.send("ActionInvoked", ours, actions[2]);
        QVERIFY(activated.wait(2000));
        service.send("NotificationClosed", ours, 2u);
        service.send("ActionInvoked", ours, "default");
        QTest::qWait(200);
        QCOMPARE(activated.size(), 1);
    }
};

HUB_TEST_MAIN(NotifierTest)
#include "tst_notifier.moc"
