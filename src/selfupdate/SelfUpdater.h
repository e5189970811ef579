#pragma once

#include "Appcast.h"
#include "SelfUpdateConfig.h"
#include "UpdateProblem.h"
#include "l10n/StringKey.h"

#include <QCoro/QCoroTask>
#include <QDateTime>
#include <QObject>
#include <QPointer>
#include <QUrl>

#include <chrono>
#include <optional>

class L10n;

namespace platform {
class DownloadControl;
struct Host;
}

// The hub's own updater, created and started at launch and alive for the
// whole run. "Check for Updates..." and the hub row's Update button both
// call checkForUpdates(); the update dialogs follow `state`.
//
// Checking is shown only while `userInitiated`; every other state but Idle
// is entered only when it is to be shown: an automatic check that finds
// nothing, or fails, goes back to Idle without passing through UpToDate or
// Failed.
class SelfUpdater : public QObject
{
    Q_OBJECT
    Q_PROPERTY(State state READ state NOTIFY stateChanged)
    Q_PROPERTY(bool userInitiated READ userInitiated NOTIFY userInitiatedChanged)
    // Whether the session's window should show the state: anything on offer
    // or under way always, checks and their endings only when asked for.
    Q_PROPERTY(bool worthShowing READ isWorthShowing NOTIFY worthShowingChanged)
    Q_PROPERTY(QString currentVersion READ currentVersion CONSTANT)
    Q_PROPERTY(bool automaticChecks READ automaticChecks CONSTANT)

    Q_PROPERTY(bool hasOffer READ hasOffer NOTIFY offerChanged)
    Q_PROPERTY(QString offeredVersion READ offeredVersion NOTIFY offerChanged)
    Q_PROPERTY(QString offeredShortVersion READ offeredShortVersion NOTIFY offerChanged)
    Q_PROPERTY(QString offeredDisplayVersion READ offeredDisplayVersion NOTIFY offerChanged)
    Q_PROPERTY(QString offeredTitle READ offeredTitle NOTIFY offerChanged)
    Q_PROPERTY(QDateTime offeredDate READ offeredDate NOTIFY offerChanged)
    Q_PROPERTY(bool critical READ isCritical NOTIFY offerChanged)
    Q_PROPERTY(QString releaseNotesHtml READ releaseNotesHtml NOTIFY releaseNotesChanged)
    Q_PROPERTY(QUrl releaseNotesLink READ releaseNotesLink NOTIFY offerChanged)
    Q_PROPERTY(bool hasReleaseNotesLink READ hasReleaseNotesLink NOTIFY offerChanged)
    Q_PROPERTY(bool informational READ isInformational NOTIFY offerChanged)
    Q_PROPERTY(QUrl offeredPage READ offeredPage NOTIFY offerChanged)
    Q_PROPERTY(bool hasOfferedPage READ hasOfferedPage NOTIFY offerChanged)

    // Numbers in QML are doubles, exact for any size a package has.
    Q_PROPERTY(double receivedBytes READ receivedBytes NOTIFY progressChanged)
    Q_PROPERTY(double totalBytes READ totalBytes NOTIFY progressChanged)
    Q_PROPERTY(double progress READ progress NOTIFY progressChanged)
    Q_PROPERTY(QString downloadedFilePath READ downloadedFilePath NOTIFY downloadedFileChanged)
    Q_PROPERTY(bool needsManualInstall READ needsManualInstall NOTIFY manualInstallChanged)

    Q_PROPERTY(StringKey error READ error NOTIFY errorChanged)
    Q_PROPERTY(QString errorMessage READ errorMessage NOTIFY errorChanged)
    Q_PROPERTY(QString errorDetail READ errorDetail NOTIFY errorChanged)

    Q_PROPERTY(QString skippedVersion READ skippedVersion NOTIFY skippedVersionChanged)
    Q_PROPERTY(QDateTime lastCheck READ lastCheck NOTIFY lastCheckChanged)

public:
    enum State { Idle, Checking, UpToDate, UpdateAvailable, Downloading, ReadyToInstall, Failed };
    Q_ENUM(State)

    static constexpr auto LastCheckKey = "selfupdate/lastCheck";
    static constexpr auto SkippedVersionKey = "selfupdate/skippedVersion";
    // Release channels the user takes part in besides the default one (a
    // list; none unless set), and the phased-rollout group of this computer.
    static constexpr auto ChannelsKey = "selfupdate/channels";
    static constexpr auto RolloutGroupKey = "selfupdate/rolloutGroup";

    // Messages follow `l10n`'s language.
    SelfUpdater(platform::Host &host, SelfUpdateConfig config, L10n &l10n, QObject *parent = nullptr);
    ~SelfUpdater() override;

    // Starts the automatic checks when the configuration enables them: one
    // now if the last check is older than the interval, then one every
    // interval on the boot clock. Runs once.
    void start();

    State state() const { return m_state; }
    bool userInitiated() const { return m_userInitiated; }
    bool isWorthShowing() const;
    QString currentVersion() const { return m_currentVersion; }
    bool automaticChecks() const { return m_config.automaticChecks; }
    const SelfUpdateConfig &config() const { return m_config; }

    const std::optional<AppcastItem> &offer() const { return m_offer; }
    bool hasOffer() const { return m_offer.has_value(); }
    QString offeredVersion() const { return m_offer ? m_offer->version : QString(); }
    QString offeredShortVersion() const { return m_offer ? m_offer->shortVersionString : QString(); }
    // The short version string when the release has one, else its version.
    QString offeredDisplayVersion() const { return m_offer ? m_offer->comparableVersion() : QString(); }
    QString offeredTitle() const { return m_offer ? m_offer->title : QString(); }
    QDateTime offeredDate() const { return m_offer ? m_offer->publicationDate : QDateTime(); }
    bool isCritical() const { return m_offer && m_offer->isCriticalFor(m_currentVersion); }
    // Sanitised; from the appcast, or from the notes link once fetched.
    QString releaseNotesHtml() const { return m_releaseNotesHtml; }
    QUrl releaseNotesLink() const;
    bool hasReleaseNotesLink() const { return !releaseNotesLink().isEmpty(); }
    // A release to read about on its page, not to install.
    bool isInformational() const { return m_offer && m_offer->isInformationalFor(m_currentVersion); }
    QUrl offeredPage() const { return m_offer ? m_offer->link : QUrl(); }
    bool hasOfferedPage() const { return !offeredPage().isEmpty(); }

    qint64 receivedBytes() const { return m_received; }
    qint64 totalBytes() const { return m_total; }
    // 0 to 1.
    double progress() const { return m_total > 0 ? double(m_received) / double(m_total) : 0.0; }
    QString downloadedFilePath() const { return m_downloadedFilePath; }
    // No installer took the package: the window says where it is and how
    // to install it by hand, and the hub stays open.
    bool needsManualInstall() const { return m_needsManualInstall; }

    UpdateProblem problem() const { return m_problem; }
    StringKey error() const { return userMessage(m_problem); }
    QString errorMessage() const;
    // The technical reason, in English.
    QString errorDetail() const { return m_errorDetail; }

    QString skippedVersion() const;
    QDateTime lastCheck() const;

    // A check the user asked for. While a check, an offer or a download is
    // under way, it brings that one forward (raiseRequested) instead.
    Q_INVOKABLE void checkForUpdates();
    // UpdateAvailable, or Failed after a download: downloads and verifies
    // the offered release into Downloads, then ReadyToInstall (or Failed).
    Q_INVOKABLE void install();
    // Checking or Downloading: stops, leaves nothing behind, back to Idle.
    Q_INVOKABLE void cancel();
    // UpdateAvailable: closes the offer; the next check offers it again.
    Q_INVOKABLE void remindLater();
    // UpdateAvailable: automatic checks no longer offer this version (a
    // check the user asks for still does). A critical update is not skipped,
    // only put off.
    Q_INVOKABLE void skipThisVersion();
    // ReadyToInstall: hands the verified package to the desktop's software
    // installer, and asks the application to quit once one has taken it so
    // it can replace the hub. When none does, the hub stays, shows where the
    // package is and how to install it, and reveals it in the file manager.
    Q_INVOKABLE void quitAndInstall();
    // Closes whatever is shown: an offer is put off, a check or a download
    // cancelled.
    Q_INVOKABLE void dismiss();

    // One check; `userInitiated` decides what is shown. Returns when done.
    QCoro::Task<> check(bool userInitiated);

signals:
    void stateChanged();
    void userInitiatedChanged();
    void worthShowingChanged();
    void offerChanged();
    void releaseNotesChanged();
    void progressChanged();
    void downloadedFileChanged();
    void errorChanged();
    void skippedVersionChanged();
    void lastCheckChanged();
    // The dialog of the running session should come to the front.
    void raiseRequested();
    void manualInstallChanged();
    // An installer took the package; the application should end.
    void quitRequested();

private:
    QString language() const;
    OfferRules offerRules() const;
    bool packageIsThere();
    QCoro::Task<> handOver(quint64 session);
    void setNeedsManualInstall(bool needed);
    void setState(State state);
    void setUserInitiated(bool userInitiated);
    void setOffer(std::optional<AppcastItem> offer);
    void setReleaseNotes(const QString &html);
    void setProgress(qint64 received, qint64 total);
    void setDownloadedFile(const QString &path);
    void setProblem(UpdateProblem problem, const QString &detail);
    // Fails visibly when the user asked, silently otherwise.
    void finishWithProblem(const UpdateOutcome &outcome);
    void recordCheck();
    bool isBusy() const;
    void closeSession();
    QCoro::Task<> fetchReleaseNotes(QUrl link, quint64 session);
    QCoro::Task<> runInstall(quint64 session);

    platform::Host &m_host;
    const SelfUpdateConfig m_config;
    L10n &m_l10n;
    const QString m_currentVersion;
    State m_state = Idle;
    bool m_userInitiated = false;
    bool m_started = false;
    // Bumped whenever a session ends, so late results of a cancelled check
    // or download are dropped.
    quint64 m_session = 0;
    std::optional<AppcastItem> m_offer;
    QString m_releaseNotesHtml;
    qint64 m_received = 0;
    qint64 m_total = 0;
    QString m_downloadedFilePath;
    bool m_needsManualInstall = false;
    UpdateProblem m_problem = UpdateProblem::None;
    QString m_errorDetail;
    QPointer<platform::DownloadControl> m_download;
};
