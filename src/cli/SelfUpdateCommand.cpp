#include "SelfUpdateCommand.h"

#include "Console.h"
#include "platform/Clock.h"
#include "platform/Host.h"
#include "platform/HostPaths.h"
#include "platform/Settings.h"
#include "selfupdate/AppcastFetch.h"
#include "selfupdate/ReleaseDownload.h"
#include "selfupdate/SelfUpdateConfig.h"
#include "selfupdate/SelfUpdater.h"
#include "selfupdate/SignatureVerifier.h"
#include "updates/UpdateStatus.h"

#include <QCoro/QCoroTask>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTextStream>

namespace cli {
namespace {

struct Report
{
    QString runningVersion;
    std::optional<AppcastItem> newest;
    std::optional<AppcastItem> offered;
    QString savedPath;
    QString error;
};

QJsonValue orNull(const QString &text)
{
    return text.isEmpty() ? QJsonValue(QJsonValue::Null) : QJsonValue(text);
}

QByteArray json(const Report &report)
{
    QJsonObject object{
        {"runningVersion", report.runningVersion},
        {"newestVersion", report.newest ? QJsonValue(report.newest->comparableVersion()) : QJsonValue(QJsonValue::Null)},
        {"updateAvailable", report.offered.has_value()},
        {"savedPath", orNull(report.savedPath)},
        {"error", orNull(report.error)},
    };
    if (report.offered) {
        object.insert("release", QJsonObject{
            {"version", report.offered->version},
            {"shortVersion", orNull(report.offered->shortVersionString)},
            {"title", report.offered->title},
            {"url", report.offered->url.toString()},
            {"length", report.offered->length},
            {"critical", report.offered->isCriticalFor(report.runningVersion)},
        });
    } else {
        object.insert("release", QJsonValue::Null);
    }
    return QJsonDocument(object).toJson(QJsonDocument::Indented);
}

QString text(const Report &report, bool checkOnly)
{
    QString lines = QStringLiteral("Running version: %1\n").arg(report.runningVersion);
    if (report.error.isEmpty() || report.newest)
        lines += QStringLiteral("Newest version: %1\n").arg(report.newest ? oneLine(report.newest->comparableVersion())
                                                                           : QStringLiteral("none"));
    if (!report.error.isEmpty())
        return lines;
    if (!report.offered)
        lines += QStringLiteral("Up to date.\n");
    else if (checkOnly)
        lines += QStringLiteral("Update available: %1\n").arg(oneLine(report.offered->comparableVersion()));
    else if (report.offered->isInformationalFor(report.runningVersion))
        lines += QStringLiteral("Update available: %1, to read about at %2; nothing to download\n")
                     .arg(oneLine(report.offered->comparableVersion()),
                          oneLine(report.offered->link.toString()));
    else
        lines += oneLine(report.savedPath) + u'\n';
    return lines;
}

QCoro::Task<int> selfUpdate(bool checkOnly, Report &report)
{
    const SelfUpdateConfig config = SelfUpdateConfig::fromEnvironment();
    if (const Outcome valid = config.validate(); !valid.ok()) {
        report.error = valid.error;
        co_return 1;
    }
    platform::Host &host = platform::Host::system();
    const selfupdate::FetchedAppcast fetched = co_await selfupdate::fetchAppcast(host.network, config.appcastUrl, host.limits.appcast);
    if (!fetched.outcome.ok()) {
        report.error = fetched.outcome.outcome.error;
        co_return 1;
    }
    report.newest = fetched.appcast->newest();
    // The user's own command: no rollout phases, channels as chosen.
    const OfferRules rules{platform::hubSettings().value(QLatin1String(SelfUpdater::ChannelsKey)).toStringList(), false,
                           host.clock.now(), 0};
    report.offered = fetched.appcast->offerFor(report.runningVersion, rules);
    if (!report.offered || checkOnly || report.offered->isInformationalFor(report.runningVersion))
        co_return 0;

    const auto verifier = SignatureVerifier::fromBase64(config.publicKey);
    const selfupdate::VerifiedDownload download = co_await selfupdate::downloadRelease(
        host.network, *report.offered, host.paths.downloadsDirectory(), *verifier, host.limits.installer);
    if (!download.outcome.ok()) {
        report.error = QStringLiteral("the release was not saved: ") + download.outcome.outcome.error;
        co_return 1;
    }
    report.savedPath = download.savedPath;
    co_return 0;
}

} // namespace

int runSelfUpdate(bool checkOnly, bool asJson)
{
    Report report;
    report.runningVersion = HubSelfUpdateState::current().installedVersion;
    const int status = QCoro::waitFor(selfUpdate(checkOnly, report));

    out() << (asJson ? QString::fromUtf8(json(report)) : text(report, checkOnly));
    out().flush();
    if (!report.error.isEmpty())
        complain(QStringLiteral("self-update: ") + report.error);
    return status;
}

} // namespace cli
