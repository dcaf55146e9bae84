#pragma once

#include <QString>

// Removes a file or a whole folder with the user's own rights, the way the
// cleanings try before they fall back to the privileged helper. A link is
// removed itself, never followed.
class FileRemover {
public:
    // True when nothing is left at the path; otherwise false with the reason.
    static bool removeItem(const QString& path, QString* error = nullptr);
};
