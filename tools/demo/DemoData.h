#pragma once

#include <QString>

class LocalHttpService;

// The demo's web service content and the sandboxed home it runs against.
namespace demo {

// Serves the catalogue, the version feed and small installer files.
void serveCatalogue(LocalHttpService &service);
// Writes installed bundles into `home`: up to date, outdated, two formats
// at different versions, XML and binary Info.plist, a folder without one.
bool makeHome(const QString &home);

} // namespace demo
