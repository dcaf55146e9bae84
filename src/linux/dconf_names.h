#pragma once

#include <string>

// How a dconf directory is named as a domain, in one place for every program
// that needs it (Sorvane, its defaults program, the self-deploying package
// program, which has nothing but the C++ library): "/org/gnome/TextEditor/"
// is "org.gnome.TextEditor"; a "." inside a path component is written "%2E"
// and a "%" is written "%25", so every directory has exactly one name.
class DconfNames {
public:
    // Empty when the name is not a domain (empty, an empty component, "/" in
    // a component, a "%" that is not one of the two escapes).
    static std::string pathOfDomain(const std::string& domain);
    // Empty for "/" and for anything that is not a dconf directory path.
    static std::string domainOfPath(const std::string& path);
};
