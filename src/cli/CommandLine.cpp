#include "CommandLine.h"

#include "Console.h"
#include "ProgressBar.h"
#include "SelfUpdateCommand.h"
#include "StatusReport.h"
#include "app/AppState.h"
#include "platform/Host.h"

#include <QCoreApplication>
#include <QCoro/QCoroTask>
#include <QTextStream>

#include <memory>

namespace cli {
namespace {

Invocation usageError(const QString &why)
{
    Invocation invocation;
    invocation.action = Invocation::Action::UsageError;
    invocation.usageError = why;
    return invocation;
}

// The engine's one refresh pass; lists what failed, in plain words.
QCoro::Task<QStringList> refreshEverything(AppState &state)
{
    const AppState::RefreshOutcome outcome = co_await state.refreshEverything();
    QStringList failures;
    if (!outcome.catalogue.ok())
        failures << QStringLiteral("catalogue download failed: ") + outcome.catalogue.error;
    if (!outcome.check.ok())
        failures << QStringLiteral("update check failed: ") + outcome.check.error;
    co_return failures;
}

QCoro::Task<int> runStatus(const Invocation &invocation, AppState &state)
{
    const QStringList failures = co_await refreshEverything(state);
    const StatusReport report(state);
    out() << (invocation.json ? report.json() : report.text());
    out().flush();
    for (const QString &failure : failures)
        complain(failure);
    co_return failures.isEmpty() ? 0 : 1;
}

QCoro::Task<int> runDownload(const Invocation &invocation, AppState &state)
{
    const QStringList failures = co_await refreshEverything(state);
    for (const QString &failure : failures)
        complain(failure);

    const auto entry = state.updateManager()->states().constFind(invocation.pluginId);
    if (entry == state.updateManager()->states().cend()) {
        complain(QStringLiteral("no product with the id %1 in the catalogue").arg(invocation.pluginId));
        co_return 1;
    }
    if (!entry->status.isUpdateAvailable()) {
        complain(QStringLiteral("no update is available for %1").arg(invocation.pluginId));
        co_return 1;
    }
    auto bar = std::make_unique<ProgressBar>(*state.updateManager(), QStringList{invocation.pluginId});
    const auto result = co_await state.updateManager()->download(invocation.pluginId, entry->status.downloadURL,
                                                                invocation.reveal);
    bar.reset();
    if (!result.outcome.ok()) {
        complain(QStringLiteral("download failed: ") + result.outcome.error);
        co_return 1;
    }
    out() << oneLine(result.savedPath) << Qt::endl;
    co_return 0;
}

QCoro::Task<int> runDownloadAll(const Invocation &invocation, AppState &state)
{
    QStringList failures = co_await refreshEverything(state);
    UpdateManager &manager = *state.updateManager();
    const QStringList ids = manager.outdatedProducts();
    auto bar = std::make_unique<ProgressBar>(manager, ids);
    const QList<platform::DownloadResult> results = co_await manager.downloadAll(invocation.reveal);
    bar.reset();
    for (qsizetype i = 0; i < results.size(); ++i) {
        if (results[i].outcome.ok())
            out() << oneLine(results[i].savedPath) << Qt::endl;
        else
            failures << QStringLiteral("download of %1 failed: %2").arg(ids[i], results[i].outcome.error);
    }
    for (const QString &failure : failures)
        complain(failure);
    if (ids.isEmpty() && failures.isEmpty())
        complain(QStringLiteral("no update is available"));
    co_return failures.isEmpty() ? 0 : 1;
}

} // namespace

Invocation parse(const QStringList &arguments)
{
    Invocation invocation;
    QStringList positional;
    for (qsizetype i = 1; i < arguments.size(); ++i) {
        const QString &argument = arguments.at(i);
        if (argument == QLatin1String("--help") || argument == QLatin1String("-h")) {
            invocation.action = Invocation::Action::Help;
            return invocation;
        } else if (argument == QLatin1String("--version")) {
            invocation.action = Invocation::Action::Version;
            return invocation;
        } else if (argument == QLatin1String("--json")) {
            invocation.json = true;
        } else if (argument == QLatin1String("--reveal")) {
            invocation.reveal = true;
        } else if (argument == QLatin1String("--all")) {
            invocation.all = true;
        } else if (argument == QLatin1String("--check-only")) {
            invocation.checkOnly = true;
        } else if (argument == QLatin1String("--service-url")) {
            if (++i >= arguments.size())
                return usageError(QStringLiteral("--service-url needs an address"));
            invocation.serviceUrl = arguments.at(i);
        } else if (argument.startsWith(QLatin1String("--service-url="))) {
            invocation.serviceUrl = argument.section(u'=', 1);
        } else if (argument.startsWith(u'-') && argument.size() > 1) {
            return usageError(QStringLiteral("unknown option %1").arg(argument));
        } else {
            positional << argument;
        }
    }

    if (positional.isEmpty()) {
        if (invocation.json || invocation.reveal || invocation.checkOnly || invocation.all)
            return usageError(QStringLiteral("--json, --reveal, --all and --check-only go with a command"));
        return invocation;
    }
    const QString command = positional.takeFirst();
    if (invocation.checkOnly && command != QLatin1String("self-update"))
        return usageError(QStringLiteral("--check-only goes with self-update"));
    if (invocation.all && command != QLatin1String("download"))
        return usageError(QStringLiteral("--all goes with download"));
    if (command == QLatin1String("status")) {
        if (!positional.isEmpty() || invocation.reveal)
            return usageError(QStringLiteral("status takes no arguments but --json"));
        invocation.action = Invocation::Action::Status;
    } else if (command == QLatin1String("download")) {
        if (positional.size() != (invocation.all ? 0 : 1) || invocation.json)
            return usageError(QStringLiteral("download takes one PLUGIN_ID or --all, and optionally --reveal"));
        invocation.action = Invocation::Action::Download;
        invocation.pluginId = positional.value(0);
    } else if (command == QLatin1String("self-update")) {
        if (!positional.isEmpty() || invocation.reveal)
            return usageError(QStringLiteral("self-update takes no arguments but --check-only and --json"));
        invocation.action = Invocation::Action::SelfUpdate;
    } else {
        return usageError(QStringLiteral("unknown command %1").arg(command));
    }
    return invocation;
}

QString usage()
{
    return QStringLiteral(
        "Usage: quillmarsh-hub [--service-url URL] [COMMAND]\n"
        "\n"
        "Without a command the hub's window opens.\n"
        "\n"
        "Commands:\n"
        "  status [--json]             fetch the catalogue, check for updates and list every product\n"
        "  download PLUGIN_ID [--reveal]\n"
        "                              download that product's available update into Downloads\n"
        "  download --all [--reveal]   download every available update, two at a time, and\n"
        "                              print each saved path\n"
        "  self-update [--check-only] [--json]\n"
        "                              show the running and newest hub versions; without\n"
        "                              --check-only, download and verify the newest release\n"
        "                              into Downloads and print its path\n"
        "\n"
        "Options:\n"
        "  --service-url URL           the web service to use (also QUILLMARSH_HUB_SERVICE_URL);\n"
        "                              https, or http for a loopback host only\n"
        "  --help                      show this help\n"
        "  --version                   show the hub's version\n"
        "\n"
        "Environment: QUILLMARSH_HUB_APPCAST_URL and QUILLMARSH_HUB_UPDATE_PUBLIC_KEY replace\n"
        "the built-in appcast address and update key.\n"
        "\n"
        "Exit status: 0 success, 1 a download, check or verification failed, 2 usage error.\n");
}

int run(const Invocation &invocation)
{
    switch (invocation.action) {
    case Invocation::Action::Help:
        out() << usage();
        return 0;
    case Invocation::Action::Version:
        out() << "quillmarsh-hub " << QCoreApplication::applicationVersion() << Qt::endl;
        return 0;
    case Invocation::Action::UsageError:
        err() << "quillmarsh-hub: " << invocation.usageError << "\n\n" << usage();
        return 2;
    case Invocation::Action::Window:
        return 2;
    case Invocation::Action::SelfUpdate:
        return runSelfUpdate(invocation.checkOnly, invocation.json);
    case Invocation::Action::Status:
    case Invocation::Action::Download:
        break;
    }

    QString error;
    const auto service = ServiceAddress::resolve(invocation.serviceUrl, &error);
    if (!service) {
        complain(error);
        return 2;
    }
    AppState state(platform::Host::system(), *service);
    if (invocation.action == Invocation::Action::Status)
        return QCoro::waitFor(runStatus(invocation, state));
    return QCoro::waitFor(invocation.all ? runDownloadAll(invocation, state) : runDownload(invocation, state));
}

} // namespace cli
