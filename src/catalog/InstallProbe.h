#pragma once

#include "Product.h"

#include <QByteArray>
#include <QList>
#include <QString>

#include <span>
#include <vector>

#include <sys/types.h>

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
    // The type bits (S_IFMT) of what is at the entry's `index`th install
    // path, or 0 when nothing is.
    mode_t type(qsizetype entry, size_t index);

private:
    const InstallPaths &m_paths;
    std::vector<mode_t> m_types; // Unknown until looked at
};
