// The keyfile validator a desktop user has at hand: each file named is loaded
// with GLib's GKeyFile, as every GLib program loads its settings. Takes many
// files at once, so that a benchmark can batch it.
//   bench_glib_keyfile_load FILE...
// A file that does not load is named on standard error with GLib's message;
// the exit status is 1 when any did not.
#include <glib.h>

#include <cstdio>

int main(int argc, char** argv) {
    int failed = 0;
    for (int i = 1; i < argc; ++i) {
        GKeyFile* file = g_key_file_new();
        GError* error = nullptr;
        if (!g_key_file_load_from_file(file, argv[i], G_KEY_FILE_NONE, &error)) {
            std::fprintf(stderr, "%s: %s\n", argv[i], error->message);
            g_error_free(error);
            ++failed;
        }
        g_key_file_free(file);
    }
    return failed > 0 ? 1 : 0;
}
