#pragma once

#include <QByteArray>
#include <QString>

// Sorvane's own reading of key files: desktop entries, mimeapps.list, .ini
// files and KDE's rc files. It accepts both dialects, GLib's and KDE's:
// groups, KDE's nested groups "[Group][Sub]" and "$" flags such as "[$i]",
// keys with locales ("Name[de_DE]") and KDE flags ("Key[$e]",
// "Key[de][$i]"), entries before the first group (KDE's default group),
// comments opened by '#' or ';', blank lines, any backslash escape, a UTF-8
// byte-order mark. It refuses what marks a damaged file: a NUL byte, bytes
// that are not UTF-8 (GLib will not read such a value as a string), an
// unterminated or empty group header, an entry without a key, and a line
// that is none of these.
class KeyFileChecker {
public:
    // The fault reads "<what> at line L, column C".
    static bool validate(const QByteArray& data, QString* error);
};
