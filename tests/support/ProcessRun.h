#pragma once

#include <QCoroProcess>
#include <QCoroTask>
#include <QProcess>

// One finished run of a program, for tests of the command-line tools.
struct ProcessRun
{
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

// Runs `program` to its end (30 s at most) on the event loop, so local
// services keep answering it.
inline ProcessRun runProcess(const QString &program, const QStringList &arguments, const QProcessEnvironment &environment)
{
    QProcess process;
    process.setProcessEnvironment(environment);
    return QCoro::waitFor([&]() -> QCoro::Task<ProcessRun> {
        co_await qCoro(process).start(program, arguments);
        co_await qCoro(process).waitForFinished(30000);
        co_return ProcessRun{process.exitCode(), process.readAllStandardOutput(), process.readAllStandardError()};
    }());
}

// The system environment for a hub process: no display, and no session
// bus, so no file manager is bothered.
inline QProcessEnvironment headlessHubEnvironment()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_QPA_PLATFORM"), QStringLiteral("offscreen"));
    environment.remove(QStringLiteral("DBUS_SESSION_BUS_ADDRESS"));
    return environment;
}
