#pragma once

#include <string>
#include <vector>

// Text helpers without Qt, for the parts of Sorvane that run without it
// (dconf-defaults, the self-deploying package program).
namespace sv::plain {

// The parts between separators; an empty text is one empty part.
inline std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::string::size_type start = 0;
    while (true) {
        const std::string::size_type end = text.find(separator, start);
        parts.push_back(text.substr(start, end - start));
        if (end == std::string::npos)
            return parts;
        start = end + 1;
    }
}

// Without blanks (spaces, tabs, carriage returns) at either end.
inline std::string trimmed(const std::string& text) {
    const auto begin = text.find_first_not_of(" \t\r");
    if (begin == std::string::npos)
        return {};
    return text.substr(begin, text.find_last_not_of(" \t\r") - begin + 1);
}

} // namespace sv::plain
