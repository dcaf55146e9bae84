#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace selfdeploy {

struct PlistNode;
using PlistRef = std::shared_ptr<const PlistNode>;

// One value of a binary property list. Strings are UTF-8 whatever their
// stored encoding; data keeps its bytes in `bytes` too.
struct PlistNode {
    enum class Kind { Boolean, Integer, Real, Date, Data, String, Uid, Array, Dictionary };

    Kind kind = Kind::Boolean;
    bool boolean = false;
    std::int64_t integer = 0;
    std::uint64_t uid = 0;
    std::string bytes;
    std::vector<PlistRef> items;
    std::vector<std::pair<std::string, PlistRef>> entries;

    // The value under a key of a dictionary; null when absent.
    const PlistNode* find(std::string_view key) const;
};

// Reads the binary property lists ("bplist00") that packages are made of,
// without Qt or any property-list library, so that the self-deploying program
// needs nothing on the machine it runs on. Every offset, count and reference
// is checked against the data before it is used: the bytes come from a file
// that anyone may have handed the user.
class BinaryPlist {
public:
    static constexpr int maxDepth = 128;

    // The top object; null with *error for anything malformed.
    static PlistRef parse(std::string_view data, std::string* error);
};

} // namespace selfdeploy
