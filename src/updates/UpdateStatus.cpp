#include "UpdateStatus.h"

#include <QCoreApplication>

HubSelfUpdateState HubSelfUpdateState::current()
{
    const QString version = QCoreApplication::applicationVersion();
    return {version.isEmpty() ? QStringLiteral("0.0.0") : version, std::nullopt, UpdateStatus::upToDate()};
}
