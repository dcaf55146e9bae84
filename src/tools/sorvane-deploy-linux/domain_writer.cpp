#include "domain_writer.h"

#include "child_process.h"
#include "package_places.h"

namespace selfdeploy {

namespace {

// dconf's complaint as one line.
std::string complaint(const ChildResult& result) {
    std::string text;
    for (const char c : result.err) {
        if (c == '\n' || c == '\r') {
            if (!text.empty() && text.back() != ' ')
                text += ' ';
        } else {
            text += c;
        }
    }
    while (!text.empty() && text.back() == ' ')
        text.pop_back();
    if (text.empty())
        text = result.status < 0 ? "it could not run" : "it failed";
    return text;
}

} // namespace

DomainWriter::DomainWriter(std::string dconf, const HomeWriter& home)
    : dconf_(std::move(dconf))
    , home_(home) {}

bool DomainWriter::write(const std::string& domain, const std::string& text,
                         std::string* error) const {
    std::string why;
    bool written = false;
    if (const auto keyfile = PackagePlaces::flatpakKeyfileOf(domain)) {
        written = home_.write(*keyfile, text, &why);
    } else {
        const std::string directory = PackagePlaces::dconfDirectoryOf(domain);
        if (directory.empty())
            why = "not a dconf domain";
        else if (dconf_.empty())
            why = "the dconf program is not installed";
        else
            written = loadIntoDconf(directory, text, &why);
    }
    if (!written && error)
        *error = why;
    return written;
}

bool DomainWriter::loadIntoDconf(const std::string& directory, const std::string& text,
                                 std::string* why) const {
    // dump reads the database file directly; reset and load go through the
    // service, and reset is what tells whether the service can be reached.
    const ChildResult before = ChildProcess::run(dconf_, {"dump", directory});
    if (before.status != 0) {
        *why = "dconf dump: " + complaint(before);
        return false;
    }
    const ChildResult reset = ChildProcess::run(dconf_, {"reset", "-f", directory});
    if (reset.status != 0) {
        *why = "dconf reset: " + complaint(reset);
        return false;
    }
    const ChildResult load = ChildProcess::run(dconf_, {"load", directory}, text);
    if (load.status == 0)
        return true;
    *why = "dconf load: " + complaint(load);
    const ChildResult restore = ChildProcess::run(dconf_, {"load", directory}, before.out);
    *why += restore.status == 0 ? " (its former settings were put back)"
                                : " (its former settings could not be put back)";
    return false;
}

} // namespace selfdeploy
