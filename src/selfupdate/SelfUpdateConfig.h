#pragma once

#include "platform/Outcome.h"

#include <QString>
#include <QUrl>

#include <chrono>

// Where the hub looks for its own releases and whose signature it trusts.
// The values come from the build (CMake cache variables); the appcast and
// the key can be replaced through the environment for staging, tests and
// the demo.
struct SelfUpdateConfig
{
    static constexpr auto AppcastEnvironmentVariable = "QUILLMARSH_HUB_APPCAST_URL";
    static constexpr auto PublicKeyEnvironmentVariable = "QUILLMARSH_HUB_UPDATE_PUBLIC_KEY";

    QUrl appcastUrl;
    QString publicKey; // base64 of the maker's Ed25519 public key
    bool automaticChecks = true;
    std::chrono::milliseconds checkInterval = std::chrono::hours(24);

    // The build's own settings.
    static SelfUpdateConfig builtIn();
    // The build's settings with the environment's replacements.
    static SelfUpdateConfig fromEnvironment();

    // Fails when the appcast is not an absolute https address (or http to a
    // loopback host) or the key is not an Ed25519 public key.
    Outcome validate() const;
};
