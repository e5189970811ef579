#pragma once

#include "Product.h"
#include "platform/FileStatus.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <span>
#include <vector>

// Where a catalogue's products install, made absolute against home and put
// in the file system's encoding once per catalogue and home rather than on
// every probe.
class InstallPaths
{
public:
    struct Location
    {
        QString format;
        QString path;      // as Product::resolvedPaths gives it
        QByteArray native; // the same encoded; null when no file can have that name
    };

    // Works the paths out again only when `products` is not the list of
    // the last call (or a copy of it) or `home` has changed.
    void update(const QList<Product> &products, const QString &home);
    const QList<Product> &products() const { return m_products; }
    // Catalogue entry `entry`'s install paths, in format order.
    std::span<const Location> of(qsizetype entry) const;
    size_t size() const { return m_locations.size(); }

private:
    friend class InstallProbe;

    QList<Product> m_products; // also keeps its data alive, so its address identifies it
    QString m_home;
    bool m_current = false;
    std::vector<Location> m_locations;
    std::vector<size_t> m_starts; // entry i's locations: m_starts[i] to m_starts[i + 1]
};

// One look at the install paths: each is stat()ed at most once, following
// symbolic links, so the install states and the installed versions that one
// pass works out cost one look at each path.
class InstallProbe
{
public:
    explicit InstallProbe(const InstallPaths &paths);

    const InstallPaths &paths() const { return m_paths; }
    // Whether any of the entry's install paths exists, looking at them in
    // order until one does.
    bool isInstalled(qsizetype entry);
    // What is at the entry's `index`th install path.
    const platform::FileStatus &status(qsizetype entry, size_t index);
    // Whether that path was looked at yet.
    bool looked(qsizetype entry, size_t index) const { return m_looked[at(entry, index)]; }
    // Whether one of the entry's install paths was found.
    bool foundAny(qsizetype entry) const;

private:
    size_t at(qsizetype entry, size_t index) const { return m_paths.m_starts[size_t(entry)] + index; }

    const InstallPaths &m_paths;
    std::vector<platform::FileStatus> m_status;
    std::vector<bool> m_looked;
};
