#include "linux/desktop_entry.h"

#include "util/logging.h"

#include <QFile>

#include <glib.h>

#include <memory>

using namespace Qt::StringLiterals;

namespace {

struct KeyFileDeleter {
    void operator()(GKeyFile* file) const { g_key_file_free(file); }
};
using KeyFile = std::unique_ptr<GKeyFile, KeyFileDeleter>;

const QString kDesktopSuffix = u".desktop"_s;

QString takeString(gchar* value) {
    QString text = QString::fromUtf8(value);
    g_free(value);
    return text;
}

QString stringValue(GKeyFile* file, const char* key) {
    return takeString(g_key_file_get_string(file, G_KEY_FILE_DESKTOP_GROUP, key, nullptr));
}

QString localeStringValue(GKeyFile* file, const char* key) {
    // No locale given: GLib picks the current one from LANGUAGE, LC_ALL,
    // LC_MESSAGES and LANG, as the desktop's own menus do.
    return takeString(
        g_key_file_get_locale_string(file, G_KEY_FILE_DESKTOP_GROUP, key, nullptr, nullptr));
}

bool booleanValue(GKeyFile* file, const char* key) {
    return g_key_file_get_boolean(file, G_KEY_FILE_DESKTOP_GROUP, key, nullptr);
}

KeyFile loadKeyFile(const QString& path) {
    KeyFile file(g_key_file_new());
    GError* error = nullptr;
    if (g_key_file_load_from_file(file.get(), QFile::encodeName(path).constData(), G_KEY_FILE_NONE,
                                  &error))
        return file;
    sv::log(u"Cannot read the desktop entry %1: %2"_s.arg(path, QString::fromUtf8(error->message)));
    g_error_free(error);
    return nullptr;
}

QString fileNameOf(const QString& path) {
    return path.mid(path.lastIndexOf(u'/') + 1);
}

bool isFieldCode(const QString& word) {
    static const QString codes = u"fFuUdDnNickvm"_s;
    return word.size() == 2 && word.at(0) == u'%' && codes.contains(word.at(1));
}

// Programs that only start the program named after them (with options of
// their own before it); "nice -n 5" is not among them, since its option takes
// a separate value.
bool isWrapper(const QString& program) {
    static const QStringList wrappers = {u"env"_s,         u"firejail"_s,    u"prime-run"_s,
                                         u"gamemoderun"_s, u"systemd-run"_s, u"flatpak-spawn"_s,
                                         u"optirun"_s,     u"primusrun"_s};
    return wrappers.contains(program);
}

bool isAssignment(const QString& word) {
    return word.indexOf(u'=') > 0;
}

bool isBlank(QChar c) {
    return c == u' ' || c == u'\t' || c == u'\n';
}

// Inside quotes only these four are escaped; a backslash before anything else
// stays, as it would reach the program.
bool isQuotedEscape(QChar c) {
    return c == u'"' || c == u'`' || c == u'$' || c == u'\\';
}

// snapd names its exports "<snap>_<app>.desktop", a parallel instance
// "<snap>+<key>_<app>.desktop" for the instance "<snap>_<key>".
QString snapNameFromPath(const QString& path) {
    const qsizetype slash = path.lastIndexOf(u'/');
    if (slash < 0 || !path.left(slash).endsWith(u"/snapd/desktop/applications"_s))
        return {};
    const QString name = path.mid(slash + 1);
    const qsizetype underscore = name.indexOf(u'_');
    if (underscore <= 0 || !name.endsWith(kDesktopSuffix))
        return {};
    return name.left(underscore).replace(u'+', u'_');
}

} // namespace

std::optional<DesktopEntry> DesktopEntry::read(const QString& path, const QString& desktopFileId) {
    const KeyFile file = loadKeyFile(path);
    if (!file || !g_key_file_has_group(file.get(), G_KEY_FILE_DESKTOP_GROUP))
        return std::nullopt;
    if (stringValue(file.get(), G_KEY_FILE_DESKTOP_KEY_TYPE) != u"Application"_s)
        return std::nullopt;
    DesktopEntry entry;
    entry.name_ = localeStringValue(file.get(), G_KEY_FILE_DESKTOP_KEY_NAME);
    if (entry.name_.isEmpty())
        return std::nullopt;
    entry.path_ = path;
    entry.desktopFileId_ = desktopFileId;
    entry.iconName_ = localeStringValue(file.get(), G_KEY_FILE_DESKTOP_KEY_ICON);
    entry.execProgram_ = programOfExec(stringValue(file.get(), G_KEY_FILE_DESKTOP_KEY_EXEC));
    entry.tryExecProgram_ = fileNameOf(stringValue(file.get(), G_KEY_FILE_DESKTOP_KEY_TRY_EXEC));
    entry.startupWmClass_ = stringValue(file.get(), G_KEY_FILE_DESKTOP_KEY_STARTUP_WM_CLASS);
    entry.flatpakId_ = stringValue(file.get(), "X-Flatpak");
    entry.snapName_ = stringValue(file.get(), "X-SnapInstanceName");
    if (entry.snapName_.isEmpty())
        entry.snapName_ = snapNameFromPath(path);
    entry.noDisplay_ = booleanValue(file.get(), G_KEY_FILE_DESKTOP_KEY_NO_DISPLAY);
    entry.hidden_ = booleanValue(file.get(), G_KEY_FILE_DESKTOP_KEY_HIDDEN);
    return entry;
}

QStringList DesktopEntry::splitExec(const QString& exec) {
    QStringList words;
    QString word;
    bool inWord = false;
    bool quoted = false;
    for (qsizetype i = 0; i < exec.size(); ++i) {
        const QChar c = exec.at(i);
        const bool escapes = c == u'\\' && i + 1 < exec.size() && isQuotedEscape(exec.at(i + 1));
        if (escapes) {
            word += exec.at(++i);
            inWord = true;
        } else if (c == u'"') {
            quoted = !quoted;
            inWord = true;
        } else if (!quoted && isBlank(c)) {
            if (inWord)
                words.append(word);
            word.clear();
            inWord = false;
        } else {
            word += c;
            inWord = true;
        }
    }
    if (inWord)
        words.append(word);
    return words;
}

QString DesktopEntry::programOfExec(const QString& exec) {
    QStringList words = splitExec(exec);
    words.removeIf(isFieldCode);
    qsizetype first = 0;
    // Wrappers start the application's own program: "env VAR=1 prog",
    // "firejail --private prog", "prime-run prog".
    while (first < words.size() && isWrapper(fileNameOf(words.at(first)))) {
        ++first;
        while (first < words.size() &&
               (isAssignment(words.at(first)) || words.at(first).startsWith(u'-')))
            ++first;
    }
    if (first >= words.size())
        return {};
    const QString program = fileNameOf(words.at(first));
    // A Flatpak export runs "flatpak run ... <id>": the identifier already
    // names the application, the launcher names nothing of its own.
    if (program == u"flatpak"_s)
        return {};
    return program;
}

QString DesktopEntry::identifier() const {
    if (!flatpakId_.isEmpty())
        return flatpakId_;
    if (desktopFileId_.endsWith(kDesktopSuffix))
        return desktopFileId_.chopped(kDesktopSuffix.size());
    return desktopFileId_;
}

QStringList DesktopEntry::fileNames() const {
    const QString id = identifier();
    const QStringList candidates = {id.mid(id.lastIndexOf(u'.') + 1), execProgram_, tryExecProgram_,
                                    startupWmClass_};
    QStringList names;
    for (const QString& candidate : candidates) {
        const QString name = candidate.toLower();
        if (!name.isEmpty() && !names.contains(name))
            names.append(name);
    }
    return names;
}
