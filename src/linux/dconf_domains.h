#pragma once

#include <QMap>
#include <QString>
#include <QStringList>

#include <optional>

// The user's dconf settings as the Linux desktop's domains. A domain is a
// dconf directory with its whole subtree, named in dotted form:
// "/org/gnome/TextEditor/" is "org.gnome.TextEditor". Only user values count:
// what the system databases provide is never listed, read, written or reset
// here (DconfSystemDatabases answers for those).
//
// A path component may itself hold a "." (extension folders named after an
// e-mail address do): such a dot is written "%2E" in the domain name, and a
// "%" is written "%25", so every directory has exactly one name and every
// name one directory. The root directory "/" is no domain: keys set directly
// in it belong to no application.
//
// Reads go straight to the database files through the dconf client library;
// every change goes through the user's dconf service on the session bus.
// libdconf connects to the session bus once per process and keeps that
// connection, or the failure to make it, for the life of the process.
class DconfDomains {
public:
    // "org.gnome.TextEditor" -> "/org/gnome/TextEditor/"; empty when the name
    // is not a domain (empty, an empty component, "/" in a component, a "%"
    // that is not one of the two escapes).
    static QString pathOfDomain(const QString& domain);
    // "/org/gnome/TextEditor/" -> "org.gnome.TextEditor"; empty for "/" and
    // for anything that is not a dconf directory path.
    static QString domainOfPath(const QString& path);

    // The domains that the pattern names, in the order given. A domain
    // matches when it, or a domain it lies below, matches the pattern
    // case-insensitively with "*" and "?" as wildcards (as defaults-domain
    // patterns do), either as written or loosely: dashes and underscores
    // dropped (so CamelCase "SoundJuicer" meets "sound-juicer") and a
    // trailing version number dropped from every component ("Rhythmbox3"
    // meets "rhythmbox"). A longer name is never taken for a shorter one:
    // "org.gnome.TextEditor" does not name "org.gnome.TextEditorPlugins"
    // unless a wildcard says so.
    static QStringList matches(const QStringList& domains, const QString& pattern);

    // Every directory that directly holds a user value, as domains, sorted.
    // Nothing when dconf cannot be read (its profile or the user database
    // cannot be opened).
    std::optional<QStringList> userDomains() const;

    // The domain's user values, subtree included, as the key-file text that
    // "dconf dump <path>" prints when only user values are present: groups
    // "[/]" and "[sub/dir]", keys sorted, values in GVariant text with their
    // types. Empty text for a domain without user values; nothing for a name
    // that is not a domain or when dconf cannot be read.
    std::optional<QString> read(const QString& domain) const;

    // Replaces the domain with the values of a key-file text in the form read
    // returns (and "dconf load" takes): the text's values are set and every
    // other user value of the subtree is reset, in one change, so that readers
    // see either the old domain or the new one. A text that cannot be parsed
    // writes nothing; the error names the line, group and key.
    bool write(const QString& domain, const QString& text, QString* error) const;

    // The values of a key-file text in the form read returns, by key path
    // relative to the domain ("sub/dir/key"), each in GVariant text with its
    // type. Nothing when the text would not be written.
    static std::optional<QMap<QString, QString>> valuesOfText(const QString& text);

    // Resets the domain's subtree.
    bool remove(const QString& domain, QString* error) const;
};
