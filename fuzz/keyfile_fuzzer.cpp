// Sorvane's key-file check against GLib's reader: Sorvane accepts both GLib's
// and KDE's dialects, so whatever GLib loads from UTF-8 text without NUL
// bytes, Sorvane must accept too. A refusal names a line within the data.
#include "linux/config_checker.h"
#include "linux/keyfile_checker.h"

#include <glib.h>

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QByteArray bytes(reinterpret_cast<const char*>(data), qsizetype(size));
    QString error;
    if (KeyFileChecker::validate(bytes, &error))
        return 0;
    if (!error.contains(QStringLiteral(" at line ")))
        std::abort();
    const auto text = reinterpret_cast<const gchar*>(data);
    // g_utf8_validate refuses NUL bytes within the given length.
    if (!g_utf8_validate(text, gssize(size), nullptr))
        return 0;
    GKeyFile* keyFile = g_key_file_new();
    const gboolean loaded =
        g_key_file_load_from_data(keyFile, text, size, G_KEY_FILE_NONE, nullptr);
    g_key_file_free(keyFile);
    if (loaded)
        std::abort();
    return 0;
}
