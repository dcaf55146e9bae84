#pragma once

#include <QString>
#include <QStringList>

#include <optional>

// A Flatpak application's own GSettings store: inside its sandbox GLib keeps
// the settings in ~/.var/app/<id>/config/glib-2.0/settings/keyfile rather
// than in the host's dconf. Sorvane treats that file as one more domain of
// the application, named "flatpak:<id>", with the verbs of the dconf domains.
// Its text is the key file itself: groups are dconf paths without their outer
// slashes ("[org/gnome/TextEditor]"), values GVariant text with their types.
class FlatpakSettingsKeyfile {
public:
    static inline const QString prefix = QStringLiteral("flatpak:");

    static bool isDomain(const QString& name);
    static QString domainOf(const QString& flatpakId);
    // The file behind a domain; empty when the name is not one.
    static QString pathOf(const QString& domain);

    // The domains of every Flatpak application whose store holds a value, sorted.
    static QStringList userDomains();
    // The file's text; empty for an absent or empty store, nothing when it
    // cannot be read.
    static std::optional<QString> read(const QString& domain);
    // Replaces the store with the text, which must be a key file whose every
    // value parses; the file is replaced whole, so a reader sees the old or
    // the new one.
    static bool write(const QString& domain, const QString& text, QString* error);
    static bool remove(const QString& domain, QString* error);
};
