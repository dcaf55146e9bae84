#pragma once

#include "workflows/application_search.h"

#include <QJsonObject>
#include <QString>
#include <QUrl>

#include <optional>

class CtlSession;

// Turns an APP argument into the application search's findings. The settings
// system says which application the argument names (a bundle on a macOS home
// folder; a desktop entry, ID or name on the Linux desktop) before anything
// else is done, so that a wrong or ambiguous argument costs one line on
// standard error and nothing more.
class ApplicationLookup {
public:
    struct Found {
        QUrl url;
        QString name; // the bundle's file name without its extension, or the entry's Name
        ApplicationSearchResults results;
        ApplicationSearchReasons reasons;

        QJsonObject applicationJson() const;
        QString heading() const; // "Tool.app: com.example.tool"
    };

    // Nothing after saying what is wrong (the command then exits with 2).
    static std::optional<Found> find(const QString& command, const QString& argument,
                                     CtlSession& session);
};
