#include "InstallProbe.h"

#include <QFile>

Product::FormatPaths Product::resolvedPaths(const QString &homePath) const
{
    FormatPaths paths;
    if (!installFormats)
        return paths;
    for (auto it = installFormats->cbegin(); it != installFormats->cend(); ++it) {
        // Taken as written: no tilde expansion, no clean-up of "..".
        const QString &text = it.value();
        paths.insert(it.key(), text.startsWith(u'/') ? text : homePath + u'/' + text);
    }
    return paths;
}

void InstallPaths::update(const QList<Product> &products, const QString &home)
{
    if (m_current && products.constData() == m_products.constData() && products.size() == m_products.size()
        && home == m_home)
        return;
    m_products = products;
    m_home = home;
    m_current = true;
    m_locations.clear();
    m_starts.assign(1, 0);
    for (const Product &product : products) {
        const Product::FormatPaths paths = product.resolvedPaths(home);
        for (auto it = paths.cbegin(); it != paths.cend(); ++it) {
            // A NUL would cut the name short at the system call: such a
            // path names nothing, as it does for QFileInfo.
            QByteArray native = it.value().contains(QChar(0)) ? QByteArray() : QFile::encodeName(it.value());
            m_locations.push_back({it.key(), it.value(), std::move(native)});
        }
        m_starts.push_back(m_locations.size());
    }
}

std::span<const InstallPaths::Location> InstallPaths::of(qsizetype entry) const
{
    return std::span(m_locations).subspan(m_starts[size_t(entry)], m_starts[size_t(entry) + 1] - m_starts[size_t(entry)]);
}

InstallProbe::InstallProbe(const InstallPaths &paths)
    : m_paths(paths)
    , m_status(paths.size())
    , m_looked(paths.size(), false)
{
}

bool InstallProbe::isInstalled(qsizetype entry)
{
    const size_t count = m_paths.of(entry).size();
    for (size_t i = 0; i < count; ++i) {
        if (status(entry, i).exists())
            return true;
    }
    return false;
}

const platform::FileStatus &InstallProbe::status(qsizetype entry, size_t index)
{
    const size_t i = at(entry, index);
    if (!m_looked[i]) {
        m_looked[i] = true;
        const QByteArray &native = m_paths.m_locations[i].native;
        if (!native.isNull())
            m_status[i] = platform::FileStatus::of(native.constData());
    }
    return m_status[i];
}

bool InstallProbe::foundAny(qsizetype entry) const
{
    for (size_t i = at(entry, 0); i < at(entry + 1, 0); ++i) {
        if (m_status[i].exists())
            return true;
    }
    return false;
}
