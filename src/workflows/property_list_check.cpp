#include "workflows/property_list_check.h"

#include "workflows/helper_operations.h"
#include "workflows/plist_check_results.h"
#include "workflows/settings_system.h"

using namespace Qt::StringLiterals;

PropertyListCheck::PropertyListCheck(HelperOperations& helper)
    : helper_(helper) {}

QString PropertyListCheck::userPreferencesFolder() {
    return SettingsSystem::current().userCheckFolder();
}

QString PropertyListCheck::systemPreferencesFolder() {
    return SettingsSystem::current().systemCheckFolder();
}

PropertyListCheck::Result
PropertyListCheck::checkPlistsAtPath(const QString& folder, std::atomic<bool>* waitingForPlutil) {
    if (waitingForPlutil)
        *waitingForPlutil = true;
    const auto answer = SettingsSystem::current().checkSettingsFolder(folder, helper_);
    if (waitingForPlutil)
        *waitingForPlutil = false;
    // No answer reads as a check of zero files.
    const QMap<QString, QString> checked = answer.value_or(QMap<QString, QString>());
    return {PlistCheckResults::plutilErrorsFromAnswer(checked), quint32(checked.size())};
}

DeletionCounter PropertyListCheck::deleteSelectedPlutilFiles(const QList<PlutilError>& rows) {
    DeletionCounter counter;
    for (const PlutilError& row : rows) {
        if (!row.selected())
            continue;
        if (helper_.deleteFileAtUrl(row.url()))
            ++counter.deleted;
        else
            ++counter.errors;
    }
    return counter;
}

void PropertyListCheck::toggleSelectedPlutilFiles(QList<PlutilError>& rows) {
    for (PlutilError& row : rows)
        row.toggleSelected();
}
