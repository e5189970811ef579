#include "SelfUpdater.h"

#include "AppcastFetch.h"
#include "ReleaseDownload.h"
#include "ReleaseNotes.h"
#include "SignatureVerifier.h"
#include "l10n/L10n.h"
#include "platform/Clock.h"
#include "platform/Desktop.h"
#include "platform/Host.h"
#include "platform/HostPaths.h"
#include "platform/Settings.h"
#include "platform/Transfer.h"
#include "platform/TransferLimits.h"
#include "platform/Schedule.h"
#include "platform/Download.h"
#include "updates/UpdateManager.h"
#include "updates/UpdateStatus.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QRandomGenerator>

SelfUpdater::SelfUpdater(platform::Host &host, SelfUpdateConfig config, L10n &l10n, QObject *parent)
    : QObject(parent)
    , m_host(host)
    , m_config(std::move(config))
    , m_l10n(l10n)
    , m_currentVersion(HubSelfUpdateState::current().installedVersion)
{
    connect(&m_l10n, &L10n::languageChanged, this, &SelfUpdater::errorChanged);
}

SelfUpdater::~SelfUpdater() = default;

void SelfUpdater::start()
{
    if (m_started || !m_config.automaticChecks || m_config.checkInterval.count() <= 0)
        return;
    m_started = true;
    // A check at start only when the last one is older than the interval;
    // otherwise the first waits for the rest of it. A last check in the
    // future (the clock was set back) does not hold checks off.
    std::chrono::milliseconds firstWait{0};
    const QDateTime last = lastCheck();
    if (last.isValid()) {
        const qint64 elapsed = last.msecsTo(m_host.clock.now());
        if (elapsed >= 0 && elapsed < m_config.checkInterval.count())
            firstWait = m_config.checkInterval - std::chrono::milliseconds(elapsed);
    }
    platform::repeatWhileAlive(QPointer(this), m_host.sleeper, firstWait, m_config.checkInterval,
                               [](SelfUpdater &updater) -> QCoro::Task<> {
                                   // Nothing interrupts what the user is looking at.
                                   if (updater.m_state == Idle)
                                       co_await updater.check(false);
                               });
}

QString SelfUpdater::errorMessage() const
{
    return m_l10n.string(error());
}

QString SelfUpdater::skippedVersion() const
{
    return platform::hubSettings().value(SkippedVersionKey).toString();
}

QDateTime SelfUpdater::lastCheck() const
{
    return platform::hubSettings().value(LastCheckKey).toDateTime();
}

bool SelfUpdater::isBusy() const
{
    return m_state == Checking || m_state == UpdateAvailable || m_state == Downloading || m_state == ReadyToInstall;
}

void SelfUpdater::checkForUpdates()
{
    check(true);
}

QCoro::Task<> SelfUpdater::check(bool userInitiated)
{
    if (isBusy()) {
        if (userInitiated) {
            // The running session now answers to the user, whatever started it.
            setUserInitiated(true);
            emit raiseRequested();
        }
        co_return;
    }
    QPointer self(this);
    closeSession();
    const quint64 session = m_session;
    setUserInitiated(userInitiated);
    setState(Checking);

    if (const Outcome valid = m_config.validate(); !valid.ok()) {
        finishWithProblem(UpdateOutcome::failure(UpdateProblem::Configuration, valid.error));
        co_return;
    }
    const selfupdate::FetchedAppcast fetched = co_await selfupdate::fetchAppcast(m_host.network, m_config.appcastUrl, m_host.limits.appcast);
    if (!self || session != m_session)
        co_return;
    recordCheck();
    if (!fetched.outcome.ok()) {
        finishWithProblem(fetched.outcome);
        co_return;
    }

    std::optional<AppcastItem> candidate = fetched.appcast->offerFor(m_currentVersion, offerRules());
    const QString skipped = skippedVersion();
    if (candidate && !m_userInitiated && !skipped.isEmpty() && !candidate->isCriticalFor(m_currentVersion)
        && !UpdateManager::isNewer(candidate->comparableVersion(), skipped))
        candidate.reset();
    if (!candidate) {
        setState(m_userInitiated ? UpToDate : Idle);
        co_return;
    }
    const QString notes = candidate->descriptionFor(language());
    const QUrl notesLink = candidate->releaseNotesLinkFor(language());
    setOffer(std::move(candidate));
    setReleaseNotes(releasenotes::sanitize(notes));
    setState(UpdateAvailable);
    if (notes.isEmpty() && notesLink.isValid())
        fetchReleaseNotes(notesLink, session);
}

QCoro::Task<> SelfUpdater::fetchReleaseNotes(QUrl link, quint64 session)
{
    QPointer self(this);
    const platform::FetchedBody fetched
        = co_await platform::fetchBody(m_host.network, QNetworkRequest(link), m_host.limits.appcast);
    if (!self || session != m_session || !fetched.outcome.ok())
        co_return;
    setReleaseNotes(releasenotes::sanitize(QString::fromUtf8(fetched.body)));
}

void SelfUpdater::install()
{
    // Failed with an offer still held is a failed download: trying again is
    // allowed. An informational release is read about, never installed.
    if (!m_offer || (m_state != UpdateAvailable && m_state != Failed) || isInformational())
        return;
    setProblem(UpdateProblem::None, {});
    runInstall(m_session);
}

QCoro::Task<> SelfUpdater::runInstall(quint64 session)
{
    QPointer self(this);
    const auto verifier = SignatureVerifier::fromBase64(m_config.publicKey);
    if (!verifier) {
        setProblem(UpdateProblem::Configuration, QStringLiteral("the update public key is not a base64 Ed25519 key"));
        setState(Failed);
        co_return;
    }
    auto *control = new platform::DownloadControl(this);
    m_download = control;
    connect(control, &platform::DownloadControl::progress, this,
            [this](qint64 received, qint64 total) { setProgress(received, total); });
    setProgress(0, m_offer->length);
    setState(Downloading);

    const selfupdate::VerifiedDownload result = co_await selfupdate::downloadRelease(
        m_host.network, *m_offer, m_host.paths.downloadsDirectory(), *verifier, m_host.limits.installer, control);
    if (!self)
        co_return;
    control->deleteLater();
    if (session != m_session)
        co_return;
    if (result.outcome.problem == UpdateProblem::Cancelled) {
        closeSession();
        setState(Idle);
    } else if (!result.outcome.ok()) {
        setProblem(result.outcome.problem, result.outcome.outcome.error);
        setState(Failed);
    } else {
        setDownloadedFile(result.savedPath);
        setState(ReadyToInstall);
    }
}

void SelfUpdater::cancel()
{
    if (m_state == Checking) {
        closeSession();
        setState(Idle);
    } else if (m_state == Downloading && m_download) {
        // The download ends, removes its file and brings us back to Idle.
        m_download->cancel();
    }
}

void SelfUpdater::remindLater()
{
    if (m_state != UpdateAvailable)
        return;
    closeSession();
    setState(Idle);
}

void SelfUpdater::skipThisVersion()
{
    if (m_state != UpdateAvailable || !m_offer)
        return;
    if (!isCritical()) {
        platform::hubSettings().setValue(SkippedVersionKey, m_offer->comparableVersion());
        emit skippedVersionChanged();
    }
    closeSession();
    setState(Idle);
}

QString SelfUpdater::language() const
{
    return m_l10n.isJapanese() ? QStringLiteral("ja") : QStringLiteral("en");
}

QUrl SelfUpdater::releaseNotesLink() const
{
    return m_offer ? m_offer->releaseNotesLinkFor(language()) : QUrl();
}

OfferRules SelfUpdater::offerRules() const
{
    QSettings &settings = platform::hubSettings();
    int group = settings.value(QLatin1String(RolloutGroupKey), -1).toInt();
    if (group < 0 || group > 6) {
        // Fixed once per installation, so a phased release reaches each
        // computer on one day of its rollout.
        group = int(QRandomGenerator::global()->bounded(7));
        settings.setValue(QLatin1String(RolloutGroupKey), group);
    }
    return {settings.value(QLatin1String(ChannelsKey)).toStringList(), !m_userInitiated, m_host.clock.now(), group};
}

bool SelfUpdater::packageIsThere()
{
    if (QFileInfo(m_downloadedFilePath).isFile())
        return true;
    setProblem(UpdateProblem::PackageMissing, QStringLiteral("%1 is gone").arg(m_downloadedFilePath));
    setState(Failed);
    return false;
}

void SelfUpdater::quitAndInstall()
{
    if (m_state == ReadyToInstall && packageIsThere())
        handOver(m_session);
}

QCoro::Task<> SelfUpdater::handOver(quint64 session)
{
    QPointer self(this);
    const QString package = m_downloadedFilePath;
    const bool taken = co_await m_host.packageInstaller.install(package);
    if (!self || session != m_session)
        co_return;
    if (taken) {
        emit quitRequested();
        co_return;
    }
    setNeedsManualInstall(true);
    m_host.revealer.reveal({package});
}

void SelfUpdater::setNeedsManualInstall(bool needed)
{
    if (needed == m_needsManualInstall)
        return;
    m_needsManualInstall = needed;
    emit manualInstallChanged();
}

void SelfUpdater::dismiss()
{
    switch (m_state) {
    case Idle:
        return;
    case Downloading:
        cancel();
        return;
    case Checking:
    case UpToDate:
    case UpdateAvailable:
    case ReadyToInstall:
    case Failed:
        closeSession();
        setState(Idle);
        return;
    }
}

void SelfUpdater::finishWithProblem(const UpdateOutcome &outcome)
{
    if (!m_userInitiated) {
        setState(Idle);
        return;
    }
    setProblem(outcome.problem, outcome.outcome.error);
    setState(Failed);
}

void SelfUpdater::recordCheck()
{
    platform::hubSettings().setValue(LastCheckKey, m_host.clock.now());
    emit lastCheckChanged();
}

void SelfUpdater::closeSession()
{
    ++m_session;
    setOffer(std::nullopt);
    setReleaseNotes({});
    setProgress(0, 0);
    setDownloadedFile({});
    setNeedsManualInstall(false);
    setProblem(UpdateProblem::None, {});
}

bool SelfUpdater::isWorthShowing() const
{
    switch (m_state) {
    case UpdateAvailable:
    case Downloading:
    case ReadyToInstall:
        return true;
    case Checking:
    case UpToDate:
    case Failed:
        return m_userInitiated;
    case Idle:
        break;
    }
    return false;
}

void SelfUpdater::setState(State state)
{
    if (state == m_state)
        return;
    const bool wasWorthShowing = isWorthShowing();
    m_state = state;
    emit stateChanged();
    if (isWorthShowing() != wasWorthShowing)
        emit worthShowingChanged();
}

void SelfUpdater::setUserInitiated(bool userInitiated)
{
    if (userInitiated == m_userInitiated)
        return;
    const bool wasWorthShowing = isWorthShowing();
    m_userInitiated = userInitiated;
    emit userInitiatedChanged();
    if (isWorthShowing() != wasWorthShowing)
        emit worthShowingChanged();
}

void SelfUpdater::setOffer(std::optional<AppcastItem> offer)
{
    if (!offer && !m_offer)
        return;
    m_offer = std::move(offer);
    emit offerChanged();
}

void SelfUpdater::setReleaseNotes(const QString &html)
{
    if (html == m_releaseNotesHtml)
        return;
    m_releaseNotesHtml = html;
    emit releaseNotesChanged();
}

void SelfUpdater::setProgress(qint64 received, qint64 total)
{
    if (received == m_received && total == m_total)
        return;
    m_received = received;
    m_total = total;
    emit progressChanged();
}

void SelfUpdater::setDownloadedFile(const QString &path)
{
    if (path == m_downloadedFilePath)
        return;
    m_downloadedFilePath = path;
    emit downloadedFileChanged();
}

void SelfUpdater::setProblem(UpdateProblem problem, const QString &detail)
{
    if (problem == m_problem && detail == m_errorDetail)
        return;
    m_problem = problem;
    m_errorDetail = detail;
    emit errorChanged();
}
