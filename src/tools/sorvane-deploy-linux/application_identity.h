#pragma once

#include <string>
#include <vector>

namespace selfdeploy {

// What tells that a packaged application runs on this desktop: the file names
// of the programs its desktop entry starts (Exec and TryExec, after wrappers
// such as "env VAR=1"; launchers such as "flatpak" or "sh" name nothing of
// the application's own) and its Flatpak ID (X-Flatpak, else the identifier
// itself, which is the Flatpak ID of a Flatpak application).
struct ApplicationIdentity {
    std::vector<std::string> programs;
    std::string flatpakId;

    // Reads "<identifier>.desktop" from the applications folder of
    // XDG_DATA_HOME, then of each XDG_DATA_DIRS folder; the first found
    // counts. An application without an entry here has only its Flatpak ID.
    static ApplicationIdentity ofIdentifier(const std::string& identifier);
    // The identity a desktop entry's text gives.
    static ApplicationIdentity ofEntryText(const std::string& text, const std::string& identifier);
    // The file name of the program an Exec line starts; empty for none.
    static std::string programOfExec(const std::string& exec);
};

} // namespace selfdeploy
