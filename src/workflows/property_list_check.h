#pragma once

#include "workflows/deletion_counter.h"
#include "workflows/plutil_error.h"

#include <QList>
#include <QString>

#include <atomic>

class HelperOperations;

// Has the helper check every property list of a preferences folder, keeps
// the failures the user should see, and deletes the ticked ones through the
// helper. The check blocks its caller until the helper answers, so the
// desktop application runs it off the GUI thread.
class PropertyListCheck {
public:
    struct Result {
        QList<PlutilError> plutilErrors;
        quint32 filesScanned = 0; // every file the helper checked
    };

    explicit PropertyListCheck(HelperOperations& helper);

    // "~/Library/Preferences" of the current user, and the system's.
    static QString userPreferencesFolder();
    static QString systemPreferencesFolder();

    // waitingForPlutil is set while the helper works, so that Cancel knows
    // whether there is a check to interrupt.
    Result checkPlistsAtPath(const QString& folder, std::atomic<bool>* waitingForPlutil = nullptr);
    // Every ticked row goes through the helper; nothing is tried directly.
    DeletionCounter deleteSelectedPlutilFiles(const QList<PlutilError>& rows);
    static void toggleSelectedPlutilFiles(QList<PlutilError>& rows);

private:
    HelperOperations& helper_;
};
