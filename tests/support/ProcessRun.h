#pragma once

#include <QByteArray>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

// One finished run of a program, for tests of the command-line tools.
struct ProcessRun
{
    int exitCode = -1;
    QByteArray out;
    QByteArray err;
};

// Runs `program` to its end (30 s at most) on the event loop.
ProcessRun runProcess(const QString &program, const QStringList &arguments, const QProcessEnvironment &environment);

// The system environment for a hub process: no display, and no session
// bus, so no file manager is bothered.
QProcessEnvironment headlessHubEnvironment();
