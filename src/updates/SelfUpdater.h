#pragma once

#include <QObject>

// The hub's own updater, created at start and alive for the whole run.
// "Check for Updates..." and the hub row's Update button both reach it.
class SelfUpdater : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    // A check the user asked for.
    Q_INVOKABLE void checkForUpdates();

signals:
    void userCheckRequested();
};
