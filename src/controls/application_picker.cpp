#include "controls/application_picker.h"

#include "controls/application_chooser.h"
#include "controls/panel_runner.h"
#include "linux/linux_file_search.h"
#include "platform/library_folders.h"
#include "workflows/settings_system.h"

#include <QFileDialog>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace {

// The first folder that exists, else the home folder.
QString firstExistingFolder(const QStringList& candidates) {
    for (const QString& folder : candidates) {
        if (QFileInfo(folder).isDir())
            return folder;
    }
    return LibraryFolders::homeFolder();
}

} // namespace

void ApplicationPicker::configurePanel(QFileDialog* panel, const SettingsSystem& system) {
    panel->setWindowTitle(u"Select Application"_s);
    panel->setAcceptMode(QFileDialog::AcceptOpen);
    if (system.chooser() == SettingsSystem::Chooser::ApplicationList) {
        panel->setFileMode(QFileDialog::ExistingFile);
        panel->setNameFilter(u"Desktop entries (*.desktop)"_s);
        // The user's own entries first, then the system's.
        panel->setDirectory(
            firstExistingFolder({LinuxFileSearch::dataHome() + u"/applications"_s,
                                 LibraryFolders::underSystemRoot(u"/usr/share/applications"_s)}));
        return;
    }
    // Application bundles are folders here: the panel picks folders.
    panel->setFileMode(QFileDialog::Directory);
    panel->setNameFilter(u"Applications (*.app *.APP)"_s);
    panel->setDirectory(firstExistingFolder({LibraryFolders::homeFolder() + u"/Applications"_s,
                                             LibraryFolders::underSystemRoot(u"/Applications"_s)}));
}

std::optional<QUrl> ApplicationPicker::pick(QWidget* parent, const SettingsSystem& system) {
    if (system.chooser() == SettingsSystem::Chooser::ApplicationList) {
        ApplicationChooser chooser(system.installedApplications(), parent);
        if (PanelRunner::runDialog(chooser) == 0)
            return std::nullopt;
        const auto entry = chooser.chosenEntry();
        return entry ? std::optional<QUrl>(entry->url) : std::nullopt;
    }
    QFileDialog panel(parent);
    configurePanel(&panel, system);
    if (PanelRunner::run(panel) == 0 || panel.selectedUrls().isEmpty())
        return std::nullopt;
    return panel.selectedUrls().constFirst();
}
