#include "deployment.h"

#include "package_places.h"
#include "running_processes.h"

namespace selfdeploy {

namespace {

std::string counted(std::size_t count, const std::string& singular, const std::string& plural) {
    return std::to_string(count) + ' ' + (count == 1 ? singular : plural);
}

std::optional<std::string> domainRefusal(const PackagedDomain& domain) {
    const bool known = PackagePlaces::flatpakKeyfileOf(domain.name) ||
                       !PackagePlaces::dconfDirectoryOf(domain.name).empty();
    if (!known)
        return "\"" + domain.name + "\" is neither a dconf domain nor a Flatpak settings store";
    if (!PackagePlaces::isKeyFileText(domain.text))
        return "the settings of " + domain.name +
               " are not Linux desktop settings (dconf key-file text)";
    return std::nullopt;
}

} // namespace

Deployment::Deployment(const PackageContents& contents)
    : contents_(contents) {}

std::optional<std::string> Deployment::refusal() const {
    for (const PackagedItem& item : contents_.items) {
        for (const PackagedDomain& domain : item.domains) {
            if (auto why = domainRefusal(domain))
                return why;
        }
        for (const PackagedFile& file : item.files) {
            if (!PackagePlaces::homeComponents(file.storedPath))
                return "the file path \"" + file.storedPath +
                       "\" does not lead into the home folder";
        }
    }
    return std::nullopt;
}

bool Deployment::needsDconf() const {
    for (const PackagedItem& item : contents_.items) {
        for (const PackagedDomain& domain : item.domains) {
            if (!PackagePlaces::flatpakKeyfileOf(domain.name))
                return true;
        }
    }
    return false;
}

std::vector<std::string> Deployment::runningApplications() const {
    std::vector<std::string> running;
    for (const PackagedItem& item : contents_.items) {
        if (item.application && !item.identifier.empty() &&
            RunningProcesses::runs(ApplicationIdentity::ofIdentifier(item.identifier)))
            running.push_back(item.name);
    }
    return running;
}

std::string Deployment::summary(const std::string& home) const {
    std::string text = "This file holds Sorvane settings: " +
                       counted(contents_.componentCount(), "component", "components") + ", " +
                       counted(contents_.applicationCount(), "application", "applications") + ", " +
                       counted(contents_.domainCount(), "settings domain", "settings domains") +
                       ", " + counted(contents_.fileCount(), "file", "files") + ".\n" +
                       "Deploying writes them into your settings and your home folder " + home +
                       ".\n";
    for (const PackagedItem& item : contents_.items) {
        text += '\n';
        if (item.application)
            text += "Application " + item.name + " (" + item.identifier + ")\n";
        else
            text += "Component " + item.name +
                    (item.description.empty() ? "" : " — " + item.description) + '\n';
        for (const PackagedDomain& domain : item.domains)
            text += "    settings " + domain.name + "  (" +
                    counted(PackagePlaces::keyCount(domain.text), "key", "keys") + ")\n";
        for (const PackagedFile& file : item.files)
            text += "    file " + file.storedPath + "  (" +
                    counted(file.bytes.size(), "byte", "bytes") + ")\n";
    }
    return text + "\nEach domain's settings replace what the domain holds now; each file "
                  "replaces the file of its name.";
}

Deployment::Report Deployment::deploy(const DomainWriter& domains, const HomeWriter& files) const {
    Report report;
    const auto record = [&report](bool written, const std::string& what, const std::string& why) {
        report.lines.push_back(written ? "written      " + what
                                       : "NOT WRITTEN  " + what + ": " + why);
        ++(written ? report.written : report.failed);
    };
    for (const PackagedItem& item : contents_.items) {
        for (const PackagedDomain& domain : item.domains) {
            std::string error;
            record(domains.write(domain.name, domain.text, &error), "settings " + domain.name,
                   error);
        }
        for (const PackagedFile& file : item.files) {
            std::string error;
            const auto components = PackagePlaces::homeComponents(file.storedPath);
            const bool written = components && files.write(*components, file.bytes, &error);
            record(written, "file " + file.storedPath, error);
        }
    }
    return report;
}

} // namespace selfdeploy
