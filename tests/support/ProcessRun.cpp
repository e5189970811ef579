#include "ProcessRun.h"

#include <QCoroProcess>
#include <QCoroTask>
#include <QProcess>

ProcessRun runProcess(const QString &program, const QStringList &arguments, const QProcessEnvironment &environment)
{
    QProcess process;
    process.setProcessEnvironment(environment);
    return QCoro::waitFor([&]() -> QCoro::Task<ProcessRun> {
        co_await qCoro(process).start(program, arguments);
        co_await qCoro(process).waitForFinished(30000);
        co_return ProcessRun{process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
    }());
}

QProcessEnvironment headlessHubEnvironment()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    environment.remove(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"));
    return environment;
}
