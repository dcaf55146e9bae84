#pragma once

#include <optional>
#include <string>

namespace selfdeploy {

// The package this program carries: the bytes appended to its own file,
// before the trailer that says how many there are.
class EmbeddedPackage {
public:
    // The package appended to the file at path; nothing with *problem when
    // the file carries none or cannot be read.
    static std::optional<std::string> readFrom(const std::string& path, std::string* problem);
};

} // namespace selfdeploy
