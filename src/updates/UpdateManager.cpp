#include "UpdateManager.h"

#include "VersionComparison.h"

UpdateManager::UpdateManager(QObject *parent)
    : QObject(parent)
{
}

bool UpdateManager::isNewer(const QString &candidate, const QString &reference)
{
    return versions::isNewer(candidate, reference);
}
