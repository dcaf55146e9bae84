#pragma once

#include "application_identity.h"

#include <string>

namespace selfdeploy {

// Whether an application runs now: a process whose executable, or whose first
// argument, has one of the identity's program names, or a live Flatpak
// sandbox of its Flatpak ID ($XDG_RUNTIME_DIR/.flatpak/<instance>/info names
// the application, its pid file the sandbox's process). Read from /proc, so
// only processes this user may inspect are seen; interpreters running the
// application as a script are not recognised.
class RunningProcesses {
public:
    // procRoot stands for /proc and runtimeDir for $XDG_RUNTIME_DIR.
    static bool runs(const ApplicationIdentity& identity, const std::string& procRoot,
                     const std::string& runtimeDir);
    // The same with /proc and this session's runtime folder.
    static bool runs(const ApplicationIdentity& identity);
};

} // namespace selfdeploy
