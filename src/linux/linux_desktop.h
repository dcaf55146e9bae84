#pragma once

#include "workflows/running_application_query.h"

#include "workflows/settings_system.h"
#include <QHash>
#include <QMutex>

#include <atomic>

// Whether a desktop application runs: its entry's programs, its Flatpak
// instances or its Snap's processes. The entry is the one the application was
// chosen by, where it was (a .desktop file outside the data folders, or one
// that another installed entry's ID shadows), else the installed one.
class LinuxRunningApplicationQuery : public RunningApplicationQuery {
public:
    // identifier: the application's desktop-file or Flatpak ID.
    bool isRunning(const QString& identifier) override;
    void rememberEntry(const QString& identifier, const QString& path) const;

private:
    mutable QMutex mutex_;
    mutable QHash<QString, QString> chosenEntries_;
};

// The Linux desktop Sorvane runs on as a settings system: applications are
// desktop entries, their files lie in the XDG folders, Flatpak containers and
// Snap folders, the system's in /etc/xdg and /var/cache.
class LinuxDesktop : public SettingsSystem {
public:
    Chooser chooser() const override { return Chooser::ApplicationList; }
    QList<ApplicationEntry> installedApplications() const override;
    bool isApplicationUrl(const QUrl& url) const override;
    std::optional<ApplicationTarget> applicationAtUrl(const QUrl& url) const override;
    QList<ApplicationTarget> applicationsForArgument(const QString& argument,
                                                     QString* problem) const override;
    QImage iconForApplication(const QUrl& url, int size) const override;
    RunningApplicationQuery& running() override { return running_; }

    void findApplicationSettings(const ApplicationTarget& application, DomainMatcher& matcher,
                                 ApplicationSearchResults& results,
                                 ApplicationSearchReasons* reasons) const override;
    std::unique_ptr<DomainMatcher>
    makeDomainMatcher(SystemDomainsSource systemDomains) const override;

    QString catalogueFolder() const override;
    QString userCheckFolder() const override;
    QString systemCheckFolder() const override;
    QString cleaningBackupsFolder() const override;
    // The user's folders with the user's own rights; the system's (/etc/xdg
    // and /etc/dconf) through the helper.
    std::optional<QMap<QString, QString>> checkSettingsFolder(const QString& folder,
                                                              HelperOperations& helper) override;
    void cancelCheck(HelperOperations& helper) override;

    // One program file, so that a desktop without Sorvane can deploy it.
    SelfDeployingForm selfDeployingForm() const override {
        return SelfDeployingForm::ExecutableFile;
    }
    // A desktop entry; its domains are the user's own that its search finds.
    std::optional<PackagedApplication> applicationToPack(const QUrl& url) const override;
    // dconf key-file text; values by key path below the domain.
    std::optional<DomainValues> valuesOfSettingsText(const QString& text) const override;
    std::optional<QString> userDomainSettingsText(const QString& domain) const override;
    std::optional<DomainValues> userDomainValues(const QString& domain) const override;

private:
    LinuxRunningApplicationQuery running_;
    std::atomic<bool> checkCancelled_{false};
};
