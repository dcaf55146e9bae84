#include "linux/dconf_names.h"

#include "util/plain_text.h"

#include <optional>
#include <vector>

namespace {

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
    for (const std::string& component : sv::plain::split(domain, '.')) {
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
    for (const std::string& component : sv::plain::split(path.substr(1, path.size() - 2), '/')) {
        if (component.empty())
            return {};
        if (!domain.empty())
            domain += '.';
        domain += escapeComponent(component);
    }
    return domain;
}
