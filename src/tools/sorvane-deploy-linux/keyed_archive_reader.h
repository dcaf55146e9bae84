#pragma once

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace selfdeploy {

struct ArchivedValue;
// Objects are shared as the archive shares them: an object referenced from
// many places is decoded once.
using ArchivedRef = std::shared_ptr<const ArchivedValue>;

// One object of a package's keyed archive, as the package's own classes hold
// it: strings (UTF-8), data, arrays, dictionaries and images (whose pictures
// the self-deploying program never shows, so they carry nothing).
struct ArchivedValue {
    enum class Kind { String, Data, Array, Dictionary, Image };

    Kind kind = Kind::String;
    std::string bytes;
    std::vector<ArchivedRef> items;
    std::map<std::string, ArchivedRef> entries;

    // The value under a key of a dictionary; null when absent.
    const ArchivedValue* find(const std::string& key) const;
};

// Unarchives a package: the standard keyed-archive layout ($archiver,
// $version, $top with its root, $objects opening with "$null", UIDs for
// references) over a binary property list, allowing only the classes a
// package holds, as Sorvane itself reads packages.
class KeyedArchiveReader {
public:
    static constexpr int maxDepth = 64;

    // The root object; null with *error for anything else.
    static ArchivedRef read(std::string_view data, std::string* error);
};

} // namespace selfdeploy
