#pragma once

#include "packager/sv_pp_item.h"

#include <QList>
#include <QString>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>

class AlertPresenter;
class RunningApplicationQuery;

// Writes the ticked items of an opened package back into the current user's
// defaults domains and home folder, with the user's own rights (never through
// the helper). The packager window asks promptUserToQuitApplications on the
// GUI thread and runs background_deployPreferences on the thread pool; the
// callbacks carry the progress sheet. The cancel flag is the window's: a
// deployment never clears it.
class PackageDeployer {
public:
    using Items = QList<std::shared_ptr<SVPPItem>>;

    struct Callbacks {
        std::function<void(const QString&)> showProgressSheet;
        std::function<void(const QString&)> setProgressLabel;
        std::function<void()> closeProgressSheet;
    };

    PackageDeployer(const std::atomic<bool>* shouldCancel, AlertPresenter& alerts,
                    RunningApplicationQuery& runningApplications, Callbacks callbacks = {});

    // True when no ticked application runs; otherwise asks the user to quit
    // the first running one.
    bool promptUserToQuitApplications(const Items& applications);
    void background_deployPreferences(const Items& systemSettings, const Items& applications);
    void deployPreferencesForItems(const Items& items);
    void deployAdditionalFilesForItems(const Items& items);
    // Runs "defaults write <domain> <text>"; true when it ran and printed
    // nothing.
    bool writePreferences(const QString& text, const QString& domain);

    // The pauses that let the user read the progress sheet (tests shorten them).
    void setPause(std::chrono::milliseconds pause) { pause_ = pause; }

private:
    bool cancelled() const { return shouldCancel_ && shouldCancel_->load(); }

    const std::atomic<bool>* shouldCancel_;
    AlertPresenter& alerts_;
    RunningApplicationQuery& runningApplications_;
    Callbacks callbacks_;
    std::chrono::milliseconds pause_{1000};
};
