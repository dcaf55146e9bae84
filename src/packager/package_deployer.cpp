#include "packager/package_deployer.h"

#include "platform/tool_locations.h"
#include "privileged/sv_task_master.h"
#include "util/logging.h"
#include "util/path_utils.h"
#include "workflows/alert_presenter.h"
#include "workflows/running_application_query.h"

#include <QDir>
#include <QFile>

#include <thread>

using namespace Qt::StringLiterals;

PackageDeployer::PackageDeployer(const std::atomic<bool>* shouldCancel, AlertPresenter& alerts,
                                 RunningApplicationQuery& runningApplications, Callbacks callbacks)
    : shouldCancel_(shouldCancel)
    , alerts_(alerts)
    , runningApplications_(runningApplications)
    , callbacks_(std::move(callbacks)) {}

bool PackageDeployer::promptUserToQuitApplications(const Items& applications) {
    for (const auto& item : applications) {
        if (!item->enabled() || !runningApplications_.isRunning(item->appId()))
            continue;
        alerts_.showAlert(
            u"Application Running"_s,
            u"Please quit %1. While the application is running, its preferences are "
            u"stored in memory and replacing them will not have the desired effect."_s.arg(
                item->displayName()));
        return false;
    }
    return true;
}

void PackageDeployer::background_deployPreferences(const Items& systemSettings,
                                                   const Items& applications) {
    if (callbacks_.showProgressSheet)
        callbacks_.showProgressSheet(u"Deploying System Settings..."_s);
    if (!systemSettings.isEmpty())
        deployPreferencesForItems(systemSettings);
    std::this_thread::sleep_for(pause_);
    if (cancelled()) {
        if (callbacks_.closeProgressSheet)
            callbacks_.closeProgressSheet();
        return;
    }
    if (callbacks_.setProgressLabel)
        callbacks_.setProgressLabel(u"Deploying Application Settings..."_s);
    if (!applications.isEmpty()) {
        deployPreferencesForItems(applications);
        deployAdditionalFilesForItems(applications);
    }
    std::this_thread::sleep_for(pause_);
    if (callbacks_.closeProgressSheet)
        callbacks_.closeProgressSheet();
}

void PackageDeployer::deployPreferencesForItems(const Items& items) {
    for (const auto& item : items) {
        if (!item->enabled())
            continue;
        for (const QString& domain : item->prefsDomains()) {
            const QString text = item->plistForDomain(domain);
            if (!text.isNull())
                writePreferences(text, domain);
            else
                sv::log(u"Error: no plist found for domain %1"_s.arg(domain));
            // Deliberately checked after the write: a flag left set by an
            // earlier cancel still lets one domain through.
            if (cancelled())
                return;
        }
    }
}

bool PackageDeployer::writePreferences(const QString& text, const QString& domain) {
    SVTaskMaster task;
    if (!task.runTaskWithProgram(ToolLocations::defaultsTool(), {u"write"_s, domain, text},
                                 shouldCancel_)) {
        sv::log(u"Error running defaults write command: %1"_s.arg(
            task.errorMessage().value_or(u"(null)"_s)));
        return false;
    }
    // Only standard output counts: the exit status and complaints on the
    // error stream are deliberately not consulted.
    if (task.output() && !task.output()->isEmpty()) {
        sv::log(u"Error writing defaults: %1"_s.arg(*task.output()));
        return false;
    }
    return true;
}

void PackageDeployer::deployAdditionalFilesForItems(const Items& items) {
    for (const auto& item : items) {
        if (!item->enabled())
            continue;
        for (const QString& storedPath : item->extraFilePaths()) {
            const std::optional<QByteArray> contents = item->fileContentsForPath(storedPath);
            if (!contents) {
                sv::log(u"Error: no data found for extra file path %1"_s.arg(storedPath));
                continue;
            }
            const QString path = sv::stringByExpandingTildeInPath(storedPath);
            const QString folder = sv::stringByDeletingLastPathComponent(path);
            if (!QDir().mkpath(folder))
                sv::log(u"Error creating directory: %1"_s.arg(
                    u"could not create the folder %1"_s.arg(folder)));
            // A failed write is deliberately passed over in silence.
            QFile file(path);
            if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
                file.write(*contents);
            if (cancelled())
                return;
        }
    }
}
