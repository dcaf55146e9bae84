#pragma once

#include <QString>
#include <QStringList>

#include <optional>

// One application of the Linux desktop, as its desktop entry describes it:
// what it is called, how it is known (desktop-file ID, Flatpak ID, snap name)
// and the names its settings files may carry. An entry is read once, with
// one key-file parse, and is a plain value afterwards.
class DesktopEntry {
public:
    // The entry at path, known by the given desktop-file ID
    // ("org.gnome.TextEditor.desktop"). Nothing when the file is not a
    // readable desktop entry of Type=Application with a [Desktop Entry] group
    // and a Name.
    static std::optional<DesktopEntry> read(const QString& path, const QString& desktopFileId);

    // The arguments of an Exec value whose general escapes ("\\s", "\\\\")
    // are already undone: words separated by blanks, double-quoted words with
    // their backslash escapes removed.
    static QStringList splitExec(const QString& exec);
    // The file name of the program an Exec value starts, past a leading "env"
    // and its VAR=value words; empty for Flatpak's launcher and when only
    // field codes are left.
    static QString programOfExec(const QString& exec);

    QString path() const { return path_; }
    QString desktopFileId() const { return desktopFileId_; }
    // The X-Flatpak value where there is one, else the desktop-file ID
    // without ".desktop".
    QString identifier() const;
    // Name, localised for the current locale.
    QString name() const { return name_; }
    // Icon as written (a theme's name or an absolute path); may be empty.
    QString iconName() const { return iconName_; }
    QString execProgram() const { return execProgram_; }
    QString tryExecProgram() const { return tryExecProgram_; }
    QString startupWmClass() const { return startupWmClass_; }
    QString flatpakId() const { return flatpakId_; }
    // X-SnapInstanceName, else the instance name that snapd's file name
    // (".../snapd/desktop/applications/<snap>_<app>.desktop") carries.
    QString snapName() const { return snapName_; }
    bool noDisplay() const { return noDisplay_; }
    bool hidden() const { return hidden_; }
    // The lower-case names the application's files may carry, without
    // duplicates: the identifier's last dot-separated part, the Exec program,
    // the TryExec program, StartupWMClass.
    QStringList fileNames() const;

private:
    DesktopEntry() = default;

    QString path_;
    QString desktopFileId_;
    QString name_;
    QString iconName_;
    QString execProgram_;
    QString tryExecProgram_;
    QString startupWmClass_;
    QString flatpakId_;
    QString snapName_;
    bool noDisplay_ = false;
    bool hidden_ = false;
};
