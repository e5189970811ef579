#pragma once

#include "catalog/Product.h"

#include <QMap>
#include <QObject>
#include <QString>

#include <optional>

// The three update situations, as the views compare them.
namespace UpdateStatusNs {
Q_NAMESPACE
enum Kind { UpdateAvailable, UpToDate, NotInstalled };
Q_ENUM_NS(Kind)
} // namespace UpdateStatusNs

// A product's update situation.
struct UpdateStatus
{
    using Kind = UpdateStatusNs::Kind;
    using enum UpdateStatusNs::Kind;

    Kind kind = NotInstalled;
    // Only meaningful for UpdateAvailable.
    QString latestVersion;
    QString downloadURL;

    static UpdateStatus updateAvailable(const QString &latestVersion, const QString &downloadURL)
    {
        return {UpdateAvailable, latestVersion, downloadURL};
    }
    static UpdateStatus upToDate() { return {UpToDate, {}, {}}; }
    static UpdateStatus notInstalled() { return {NotInstalled, {}, {}}; }

    bool isUpdateAvailable() const { return kind == UpdateAvailable; }

    friend bool operator==(const UpdateStatus &a, const UpdateStatus &b)
    {
        return a.kind == b.kind
            && (a.kind != UpdateAvailable || (a.latestVersion == b.latestVersion && a.downloadURL == b.downloadURL));
    }
};

// One catalogue product as the update manager sees it.
struct ProductUpdateState
{
    Product product;
    QMap<QString, QString> installedVersions;
    std::optional<QString> latestVersion;
    std::optional<QString> downloadURL;
    // What the same feed record says about its installer.
    std::optional<QString> releaseNotes;
    std::optional<QString> expectedSha256;
    std::optional<qint64> expectedSize;
    UpdateStatus status;

    friend bool operator==(const ProductUpdateState &, const ProductUpdateState &) = default;
};

// The hub's own version against the newest one the feed publishes.
struct HubSelfUpdateState
{
    QString installedVersion;
    std::optional<QString> latestVersion;
    UpdateStatus status = UpdateStatus::upToDate();

    // The running application's version ("0.0.0" when it has none).
    static HubSelfUpdateState current();

    friend bool operator==(const HubSelfUpdateState &, const HubSelfUpdateState &) = default;
};
