#pragma once

#include "workflows/settings_system.h"
#include "workflows/system_services.h"

// The macOS home folder as a settings system: application bundles, defaults
// domains as property lists in the Library folders of HOME and of the system
// root, preference files and caches found by the Library folder search.
class MacHomeFolder : public SettingsSystem {
public:
    Chooser chooser() const override { return Chooser::OpenPanel; }
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
    // The helper checks every property list of the folder.
    std::optional<QMap<QString, QString>> checkSettingsFolder(const QString& folder,
                                                              HelperOperations& helper) override;
    void cancelCheck(HelperOperations& helper) override;

    SelfDeployingForm selfDeployingForm() const override {
        return SelfDeployingForm::ApplicationBundle;
    }
    // An ".app" bundle (the extension's case counts), its domain its identifier.
    std::optional<PackagedApplication> applicationToPack(const QUrl& url) const override;
    // Property-list text; each top-level key's value as a binary property list.
    std::optional<DomainValues> valuesOfSettingsText(const QString& text) const override;
    std::optional<QString> userDomainSettingsText(const QString& domain) const override;
    std::optional<DomainValues> userDomainValues(const QString& domain) const override;

private:
    ProcessRunningApplicationQuery running_;
};
