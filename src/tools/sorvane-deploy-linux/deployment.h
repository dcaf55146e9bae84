#pragma once

#include "domain_writer.h"
#include "home_writer.h"
#include "package_contents.h"

#include <optional>
#include <string>
#include <vector>

namespace selfdeploy {

// What deploying a package means, step by step: what is refused before
// anything is written, what the user is shown, and the writing itself, which
// goes on past a failed domain or file and reports each one.
class Deployment {
public:
    struct Report {
        std::vector<std::string> lines; // one per domain and file
        std::size_t written = 0;
        std::size_t failed = 0;
    };

    explicit Deployment(const PackageContents& contents);

    // Why the package cannot be deployed anywhere (a file path that could
    // leave the home folder, a domain that is neither a dconf domain nor a
    // Flatpak store, settings that are not dconf's text); nothing when it can.
    std::optional<std::string> refusal() const;
    // Whether any domain is a dconf domain, which needs the dconf program.
    bool needsDconf() const;
    // The names of the packaged applications that run now.
    std::vector<std::string> runningApplications() const;
    // Everything the package holds, as the user sees it before deciding.
    std::string summary(const std::string& home) const;
    Report deploy(const DomainWriter& domains, const HomeWriter& files) const;

private:
    const PackageContents& contents_;
};

} // namespace selfdeploy
