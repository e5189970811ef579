#include "SelfUpdater.h"

void SelfUpdater::checkForUpdates()
{
    emit userCheckRequested();
}
