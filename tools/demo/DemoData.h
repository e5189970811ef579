#pragma once

#include <QString>

class LocalHttpService;

// The demo's web service content and the sandboxed home it runs against.
namespace demo {

// Serves the catalogue, the version feed and small installer files.
void serveCatalogue(LocalHttpService &service);
// Serves /hub/appcast.xml offering `releaseFile` as the hub's next
// release; `enclosureSignature` is what the signing tool printed for it.
void serveHubRelease(LocalHttpService &service, const QString &releaseFile, const QString &enclosureSignature);
// Writes installed bundles into `home`: up to date, outdated, two formats
// at different versions, XML and binary Info.plist, a folder without one.
bool makeHome(const QString &home);

} // namespace demo
