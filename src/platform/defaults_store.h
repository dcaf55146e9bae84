#pragma once

#include "platform/plist_value.h"

#include <QString>
#include <QStringList>

#include <string>
#include <vector>

// The defaults database of one home folder: every domain is a property-list
// file `<home>/Library/Preferences/<domain>.plist`, the global domain
// (`NSGlobalDomain`) is `.GlobalPreferences.plist`. Reads take binary, XML and
// text files; writes are always binary, atomic (a temporary file in the same
// folder, flushed to disk, renamed over the old one) and private (mode 0600),
// so that a writer killed half-way leaves the old domain or the new one, never
// a damaged or missing one.
class DefaultsStore {
public:
    static inline const QString globalDomain = QStringLiteral("NSGlobalDomain");

    explicit DefaultsStore(QString homeFolder);

    QString preferencesFolder() const;
    // The file of a domain, or an empty string for a name that is refused
    // (empty, holding "/" or "..").
    QString pathForDomain(const QString& domain) const;
    static bool isValidDomainName(const QString& domain);

    // Sorted domain names; hidden files (the global domain, temporary files) are not domains.
    QStringList domains() const;
    // The same names as UTF-8 bytes, for callers that print thousands of them.
    std::vector<std::string> domainsUtf8() const;
    bool domainExists(const QString& domain) const;
    // The domain's dictionary; an invalid value and *error when it is missing or unreadable.
    PlistValue readDomain(const QString& domain, QString* error) const;
    // Replaces the whole domain; the value must be a dictionary.
    bool writeDomain(const QString& domain, const PlistValue& dictionary, QString* error) const;
    bool deleteDomain(const QString& domain, QString* error) const;

private:
    QString m_homeFolder;
};
