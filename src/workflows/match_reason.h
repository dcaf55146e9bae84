#pragma once

#include <QString>

// Why the application search took one domain or file: the rule that matched
// and what it matched with. The search fills these beside its results when a
// caller asks (sorvanectl explains every item), from the same code that
// finds the items, so the explanation can never disagree with the finding.
struct MatchReason {
    enum class Kind {
        Identifier,           // the bundle identifier (a domain, or an entry's whole name)
        Name,                 // the application's name, compared without regard to case
        SuffixWord,           // the application's name less a suffix word ("se", "le"…)
        SavedState,           // <identifier>.savedState in a saved-state folder
        CataloguePath,        // a fixed path of the known-applications catalogue
        CatalogueSearch,      // a search expression of that catalogue
        CatalogueDomain,      // an extra domain of that catalogue
        ApplicationId,        // a Linux application's ID (desktop-file or Flatpak ID)
        RcFile,               // a KDE configuration file of the name: "<name>rc", "<name>-*rc"
        NotificationSettings, // the desktop's notification settings of the application
        FlatpakSettings,      // a Flatpak application's own GSettings store
    };

    Kind kind = Kind::Identifier;
    // The identifier, the lower-case name, the suffix word, or the
    // catalogue's path, expression or domain as it is written there.
    QString detail;
    // Found in the application's container (~/Library/Containers/<id>, or
    // a Flatpak's ~/.var/app/<id> or a Snap's ~/snap/<name>).
    bool inContainer = false;

    bool operator==(const MatchReason&) const = default;

    // How the reason reads: "KDE configuration file of \"kate\"", with
    // ", in the application's container" where it applies.
    QString text() const;
    // The kind's name in sorvanectl's JSON: "identifier", "rcFile"...
    static QString kindName(Kind kind);
};
