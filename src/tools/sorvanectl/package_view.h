#pragma once

#include "packager/package_reader.h"

#include <QJsonObject>
#include <QString>

#include <memory>
#include <optional>

class CtlOutput;
class CtlSession;

// A package opened for sorvanectl: read by the packager's own reader (which
// refuses what the desktop application refuses, with the same words) and
// shown as its components and applications, each domain with its number of
// keys and each extra file with its size.
class PackageView {
public:
    struct Opened {
        QString file; // the package file read (inside a self-deploying application, if given one)
        std::unique_ptr<PackageReader> reader;
    };

    // Nothing after one line on standard error; status is then 2 for a wrong
    // argument (missing file, another file type) and 1 for a package that
    // cannot be read.
    static std::optional<Opened> open(const QString& command, const QString& argument,
                                      CtlSession& session, int* status);
    // The embedded package of a self-deploying application, else the path.
    static QString packageFileOf(const QString& path);

    static QJsonObject json(const PackageReader::Items& system,
                            const PackageReader::Items& applications);
    static void print(CtlOutput& out, const PackageReader::Items& system,
                      const PackageReader::Items& applications);
    // The number of top-level keys of captured settings text; nothing when
    // the text is not a dictionary.
    static std::optional<qsizetype> keyCount(const QString& text);
};
