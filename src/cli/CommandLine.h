#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace cli {

// What the user asked for on the command line.
struct Invocation
{
    enum class Action { Window, Status, Download, SelfUpdate, Help, Version, UsageError };

    Action action = Action::Window;
    bool json = false;
    bool reveal = false;
    bool checkOnly = false;
    bool all = false; // download: every available update
    QString pluginId;
    std::optional<QString> serviceUrl;
    QString usageError;
};

Invocation parse(const QStringList &arguments);
QString usage();

// Runs a headless command; returns the process exit status. Needs a
// QCoreApplication.
int run(const Invocation &invocation);

} // namespace cli
