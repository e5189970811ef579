#include "Product.h"

#include <QFileInfo>

#include <algorithm>

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

bool Product::isInstalled(const QString &homePath) const
{
    const FormatPaths paths = resolvedPaths(homePath);
    return std::any_of(paths.cbegin(), paths.cend(),
                       [](const QString &path) { return QFileInfo::exists(path); });
}
