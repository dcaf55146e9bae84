#pragma once

#include <QDateTime>
#include <QString>

class BVUpdater;

// What the updater asks the application.
class BVUpdaterDelegate {
public:
    virtual ~BVUpdaterDelegate() = default;
    virtual bool updaterCanProposeUpdate(BVUpdater* updater) = 0;
    virtual void updaterFeedError(BVUpdater* updater, const QString& error) = 0;
};

// Update checking. On Linux Sorvane is updated by the system's package
// manager, so the updater never downloads anything: it records when it last
// checked (in Sorvane's own defaults domain), asks its delegate whether an
// update may be proposed, and tells where updates come from.
class BVUpdater {
public:
    static constexpr qint64 kCheckIntervalSeconds = 7 * 24 * 60 * 60;
    static const QString kLastCheckKey; // the date of the last check

    static BVUpdater* sharedUpdater();

    // Checks when the interval since the last check has passed; answers
    // whether a check was made.
    bool checkForUpdatesIfTheTimeHasComeWithDelegate(BVUpdaterDelegate* delegate);
    // The last check's date; invalid when there was none.
    QDateTime lastCheckDate() const;
    QString installedVersion() const;
    // Where updates come from, for the update manager window.
    QString updateSource() const;

private:
    bool recordCheck(const QDateTime& when, QString* error) const;
};
