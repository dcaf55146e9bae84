#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

// The user's dconf settings by domain, without Qt: Sorvane's defaults program
// for the Linux desktop is built on this alone, so that it starts as fast as
// dconf's own tool. DconfDomains gives the rest of Sorvane the same with Qt's
// types; DconfNames names the domains; the, reading and writing rules are documented there. Strings
// are UTF-8; a problem is one line of text.
class DconfStore {
public:
    static std::optional<std::vector<std::string>> userDomains(std::string* problem);
    static std::optional<std::string> read(const std::string& domain, std::string* problem);
    static bool write(const std::string& domain, const std::string& text, std::string* error);
    static bool remove(const std::string& domain, std::string* error);
    // Key path below the domain -> GVariant text with its type.
    static std::optional<std::map<std::string, std::string>> valuesOfText(const std::string& text);
};
