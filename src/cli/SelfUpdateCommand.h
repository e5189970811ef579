#pragma once

namespace cli {

// `self-update [--check-only] [--json]`: reads the appcast, prints the
// running and newest versions and, unless only checking, downloads and
// verifies the newest release into Downloads. Returns the exit status.
int runSelfUpdate(bool checkOnly, bool json);

} // namespace cli
