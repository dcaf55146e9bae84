#include "linux/dconf_names.h"

#include <optional>
#include <vector>

namespace {

std::vector<std::string> split(const std::string& text, char separator) {
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

std::string escapeComponent(const std::string& component) {
    std::string escaped;
    for (const char c : component) {
        if (c == '%')
            escaped += "%25";
        else if (c == '.')
            escaped += "%2E";
        else
            escaped += c;
    }
    return escaped;
}

// Undoes escapeComponent; nothing for a "%" that is not one of its escapes.
std::optional<std::string> unescapeComponent(const std::string& component) {
    std::string plain;
    for (std::string::size_type i = 0; i < component.size(); ++i) {
        if (component[i] != '%') {
            plain += component[i];
            continue;
        }
        const std::string code = component.substr(i + 1, 2);
        if (code == "25")
            plain += '%';
        else if (code == "2E" || code == "2e")
            plain += '.';
        else
            return std::nullopt;
        i += 2;
    }
    return plain;
}

} // namespace

std::string DconfNames::pathOfDomain(const std::string& domain) {
    if (domain.empty())
        return {};
    std::string path = "/";
    for (const std::string& component : split(domain, '.')) {
        const std::optional<std::string> plain = unescapeComponent(component);
        if (!plain || plain->empty() || plain->find('/') != std::string::npos)
            return {};
        path += *plain + '/';
    }
    return path;
}

std::string DconfNames::domainOfPath(const std::string& path) {
    if (path.size() < 3 || path.front() != '/' || path.back() != '/')
        return {};
    std::string domain;
    for (const std::string& component : split(path.substr(1, path.size() - 2), '/')) {
        if (component.empty())
            return {};
        if (!domain.empty())
            domain += '.';
        domain += escapeComponent(component);
    }
    return domain;
}
