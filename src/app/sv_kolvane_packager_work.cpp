#include "app/sv_kolvane_packager.h"

#include "controls/panel_runner.h"
#include "controls/show_alert.h"
#include "packager/package_creator.h"
#include "packager/package_deployer.h"
#include "packager/package_keys.h"
#include "platform/user_defaults.h"
#include "workflows/settings_system.h"

#include <QFileDialog>
#include <QThreadPool>
#include <QtConcurrent>

using namespace Qt::StringLiterals;

namespace {

const QString kFileTypeKey = u"SaveKolvaneFileType"_s;
const QString kPackageFilter = u"Preference package (*.Kolvane2)"_s;

// A self-deploying package is an application bundle on a macOS home folder,
// one program file (named as the user likes) on the Linux desktop.
bool savesProgramFile() {
    return SettingsSystem::current().selfDeployingForm() ==
           SettingsSystem::SelfDeployingForm::ExecutableFile;
}

QString applicationFilter() {
    return savesProgramFile() ? u"Self-deploying package program (*)"_s
                              : u"Self-deploying application (*.app)"_s;
}

} // namespace

void SVKolvanePackager::waitForBackgroundWork() {
    job_.waitForFinished();
}

void SVKolvanePackager::createPackage() {
    const qsizetype ticked = PackageCreator::selectedItemsInArray(systemSettings).size() +
                             PackageCreator::selectedItemsInArray(applications).size();
    if (ticked == 0) {
        // Nothing failed: the user has something to tick first.
        ShowAlert(AlertKind::Warning, u"Package Could Not Be Created"_s,
                  u"No items are selected for packaging."_s);
        return;
    }
    shouldCancel = false;
    showProgressSheetWithMessage(u"Creating Package"_s);
    job_ = QtConcurrent::run(QThreadPool::globalInstance(),
                             [this, system = systemSettings, apps = applications] {
                                 background_createPackage(system, apps);
                             });
}

void SVKolvanePackager::background_createPackage(Items systemItems, Items applicationItems) {
    PackageCreator creator(&shouldCancel, alerts_,
                           {[this](const QString& text) { setProgressLabel(text); },
                            [this] { closeProgressSheet(); }});
    const auto bytes = creator.background_createPackage(systemItems, applicationItems);
    if (!bytes)
        return;
    QMetaObject::invokeMethod(
        this, [this, bytes = *bytes] { saveAssembledPackaged(bytes); }, Qt::QueuedConnection);
}

void SVKolvanePackager::saveAssembledPackaged(const QByteArray& bytes) {
    QFileDialog panel(window, u"Save Package"_s);
    panel.setAcceptMode(QFileDialog::AcceptSave);
    panel.setFileMode(QFileDialog::AnyFile);
    // The type choice below the file list is the panel's accessory: it must
    // be the dialog's own, which only Qt's dialog offers everywhere.
    panel.setOption(QFileDialog::DontUseNativeDialog);
    panel.setNameFilters({kPackageFilter, applicationFilter()});
    saveKolvanePanel = &panel;
    kolvaneFileTypeChanged(nullptr);
    panel.selectFile(QString());
    connect(&panel, &QFileDialog::filterSelected, this,
            [this, &panel] { kolvaneFileTypeChanged(&panel); });
    const int result = PanelRunner::run(panel);
    saveKolvanePanel = nullptr;
    if (result != QDialog::Accepted || panel.selectedUrls().isEmpty())
        return;
    PackageCreator::saveAssembledPackaged(bytes, panel.selectedUrls().constFirst(), alerts_);
}

void SVKolvanePackager::kolvaneFileTypeChanged(QObject* sender) {
    if (sender && saveKolvanePanel) {
        const int chosen = saveKolvanePanel->selectedNameFilter() == applicationFilter()
                               ? kSaveAsSelfDeployingApplication
                               : kSaveAsPackageFile;
        UserDefaults::setObject(kFileTypeKey, PlistValue::fromInteger(chosen));
    }
    if (!saveKolvanePanel)
        return;
    const bool application =
        UserDefaults::integerForKey(kFileTypeKey) == kSaveAsSelfDeployingApplication;
    const QSignalBlocker quiet(saveKolvanePanel.data());
    saveKolvanePanel->selectNameFilter(application ? applicationFilter() : kPackageFilter);
    saveKolvanePanel->setDefaultSuffix(!application         ? package_keys::kExtension
                                       : savesProgramFile() ? QString()
                                                            : u"app"_s);
}

void SVKolvanePackager::deployPreferences() {
    if (!running_)
        return;
    PackageDeployer deployer(&shouldCancel, alerts_, *running_);
    if (!deployer.promptUserToQuitApplications(applications))
        return;
    job_ = QtConcurrent::run(QThreadPool::globalInstance(),
                             [this, system = systemSettings, apps = applications] {
                                 background_deployPreferences(system, apps);
                             });
}

void SVKolvanePackager::background_deployPreferences(Items systemItems, Items applicationItems) {
    PackageDeployer deployer(&shouldCancel, alerts_, *running_,
                             {[this](const QString& text) { showProgressSheetWithMessage(text); },
                              [this](const QString& text) { setProgressLabel(text); },
                              [this] { closeProgressSheet(); }});
    deployer.setPause(deploymentPause);
    deployer.background_deployPreferences(systemItems, applicationItems);
}
