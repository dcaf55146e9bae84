#pragma once

#include "helper/allowed_places.h"
#include "helper/settings_check_walk.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>

// The child process that runs one settings check for the helper, already
// changed into the caller (user, groups) and held to the helper's bounds.
// It is the helper program itself, started as
//   sorvane-helper --check-worker MODE HOME SETTINGS-FOLDER BELOW SKIP
// and it reports on its standard output in frames: a type byte, a 32-bit
// little-endian length and that many bytes of UTF-8. 'F' names the file it
// begins, 'V' gives that file's verdict (empty: none), 'E' says why the
// folder could not be checked at all. It writes nothing else.
class SettingsCheckWorker {
public:
    static constexpr char kBegin = 'F';
    static constexpr char kVerdict = 'V';
    static constexpr char kFailure = 'E';
    // Longer frames are not the worker's: the helper stops reading.
    static constexpr quint32 kMaxFrame = 64 * 1024;

    static inline const QString kOption = QStringLiteral("--check-worker");

    // The arguments after the option, for a folder, a mode and a skip count.
    static QStringList arguments(const AllowedPlaces::Target& folder, SettingsCheckWalk::Mode mode,
                                 qsizetype skip);
    static int main(const QStringList& arguments);

    static QByteArray frame(char type, const QString& text);
};
