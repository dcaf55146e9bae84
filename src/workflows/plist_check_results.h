#pragma once

#include "workflows/plutil_error.h"

#include <QList>
#include <QMap>
#include <QString>

// Turns the helper's answer to a property-list check (each checked file's
// path to "OK" or the checker's message) into the rows the user sees: good
// files, a few system files that are always in flux, and empty files are left
// out, and each message is cut before its " (Error Domain=" details.
class PlistCheckResults {
public:
    static QList<PlutilError> plutilErrorsFromAnswer(const QMap<QString, QString>& answer);
    static bool isExcludedFileName(const QString& fileName);
    static QString shortenedMessage(const QString& message);
};
