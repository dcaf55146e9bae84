// Format detection and every checker behind it: the first byte picks a file
// name, the rest is the file. Any file of a known format gets an answer of
// the documented shape; an unknown one gets none.
#include "linux/config_checker.h"

#include <cstdlib>

namespace {

const char* const kNames[] = {"settings.json",
                              "kwinrc",
                              "app.conf",
                              "org.example.App.desktop",
                              "monitors.xml",
                              "/home/u/.config/dconf/user",
                              "Preferences",
                              "com.example.plist",
                              "notes",
                              "mimeapps.list",
                              "kdeglobals",
                              "bookmarks.xbel",
                              "gtk.ini",
                              "notes.txt",
                              "/etc/dconf/db/local"};

bool hasDocumentedShape(const QString& answer) {
    if (answer == QStringLiteral("OK") ||
        answer == QStringLiteral("Cannot parse a NULL or zero-length data"))
        return true;
    return answer.contains(QStringLiteral(" (Error Domain=")) &&
           answer.endsWith(u'"' + QStringLiteral(")"));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0)
        return 0;
    const QString name = QString::fromUtf8(kNames[data[0] % std::size(kNames)]);
    const QByteArray bytes(reinterpret_cast<const char*>(data + 1), qsizetype(size - 1));
    const ConfigChecker::Format format =
        ConfigChecker::formatOf(name, bytes.left(ConfigChecker::headSize));
    const QString answer = ConfigChecker::check(name, bytes);
    if ((format == ConfigChecker::Format::Unknown) != answer.isNull())
        std::abort();
    if (!answer.isNull() && !hasDocumentedShape(answer))
        std::abort();
    return 0;
}
