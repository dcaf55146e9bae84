#pragma once

#include "search/sv_defaults_domain.h"

#include <QImage>
#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <functional>
#include <memory>
#include <optional>

class DomainMatcher;
class HelperOperations;
class RunningApplicationQuery;
struct ApplicationSearchReasons;
struct ApplicationSearchResults;

// One installed application as a chooser lists it.
struct ApplicationEntry {
    QUrl url; // what choosing it makes the target
    QString identifier;
    QString name;        // what the user reads
    QString iconName;    // an icon theme's name or an absolute path; may be empty
    bool hidden = false; // chosen by its path or identifier only, never listed
};

// The application a cleaning targets, as the settings system reads it.
struct ApplicationTarget {
    QUrl url;
    // Null when the application has none: nothing can then be searched.
    QString identifier;
    // The name the searches match files with and the alerts show.
    QString name;
};

// An application as a package carries it: the name its row shows, its
// identifier, its icon and the domains its settings are captured from.
struct PackagedApplication {
    QString name;
    QString identifier;
    QImage icon;
    QStringList domains;
};

// The settings system Sorvane works on, chosen once at start-up: the Linux
// desktop it runs on, or a macOS home folder. The workflows, the windows and
// sorvanectl talk to this interface and never ask which one it is.
class SettingsSystem {
public:
    // How the user chooses an application.
    enum class Chooser {
        OpenPanel,       // a file panel for application bundles
        ApplicationList, // a list of the installed applications
    };
    // Where root's (or the system's) domain names come from.
    using SystemDomainsSource = std::function<std::optional<QStringList>()>;
    // A domain's settings by key, each value in a typed text form of this
    // system, so that two values are equal exactly when their texts are.
    using DomainValues = QMap<QString, QString>;

    virtual ~SettingsSystem() = default;

    // The one chosen at start-up; until then, the one SORVANE_SETTINGS names.
    static SettingsSystem& current();
    static void setCurrent(std::unique_ptr<SettingsSystem> system);
    // Chooses from the command line and the environment: "--macos-home HOME
    // [--system-root DIR]" (taken out of arguments), else SORVANE_SETTINGS
    // ("macos" or "linux", empty for the Linux desktop). The choice is put
    // into the environment so that child programs make the same one. False
    // with a one-line error for a bad choice.
    static bool chooseAtStartUp(QStringList& arguments, QString* error);

    // Applications.
    virtual Chooser chooser() const = 0;
    // Every installed application a chooser lists, hidden ones included.
    virtual QList<ApplicationEntry> installedApplications() const = 0;
    // Whether a dropped, pasted or named URL may be an application, by its
    // name alone (nothing is read).
    virtual bool isApplicationUrl(const QUrl& url) const = 0;
    // The application at a URL; nothing when the URL is not one.
    virtual std::optional<ApplicationTarget> applicationAtUrl(const QUrl& url) const = 0;
    // The applications a command-line argument names: a path, an identifier
    // or a name; several when a name is ambiguous. None, with what is wrong
    // (a phrase that names the argument), when nothing fits.
    virtual QList<ApplicationTarget> applicationsForArgument(const QString& argument,
                                                             QString* problem) const = 0;
    virtual QImage iconForApplication(const QUrl& url, int size) const = 0;
    virtual RunningApplicationQuery& running() = 0;

    // An application's own settings, each list with its reasons when asked,
    // in the system's fixed order: its domains (from the matcher), preference
    // files and caches. Every list is replaced; the known-applications
    // catalogue's additions are the caller's.
    virtual void findApplicationSettings(const ApplicationTarget& application,
                                         DomainMatcher& matcher, ApplicationSearchResults& results,
                                         ApplicationSearchReasons* reasons) const = 0;
    // The domain lists, read once; the system's through the given source.
    virtual std::unique_ptr<DomainMatcher>
    makeDomainMatcher(SystemDomainsSource systemDomains) const = 0;

    // The folder of this system's catalogues (AppData.xml, SystemData.xml,
    // PackagerData.xml).
    virtual QString catalogueFolder() const = 0;
    // The folders the settings check examines.
    virtual QString userCheckFolder() const = 0;
    virtual QString systemCheckFolder() const = 0;
    // Where the backups of cleanings are kept, among the user's own data.
    virtual QString cleaningBackupsFolder() const = 0;
    // Checks the settings files below a folder: each checked file's path to
    // "OK" or its checker's message; nothing when the check could not run.
    // Work that needs root's rights goes through the helper. Blocks.
    virtual std::optional<QMap<QString, QString>> checkSettingsFolder(const QString& folder,
                                                                      HelperOperations& helper) = 0;
    // Stops the running check early; it answers with what it checked so far.
    virtual void cancelCheck(HelperOperations& helper) = 0;

    // What saving a package under a name not ending in ".Kolvane2" makes.
    enum class SelfDeployingForm {
        ApplicationBundle, // the self-deploying application bundle of the template
        ExecutableFile,    // one program file that deploys the package appended to it
    };
    virtual SelfDeployingForm selfDeployingForm() const = 0;

    // The application a dropped or named URL is, as a package carries it;
    // nothing when the URL is not one with an identifier.
    virtual std::optional<PackagedApplication> applicationToPack(const QUrl& url) const = 0;
    // Whether a package's captured settings texts were made on the other
    // settings system: they are refused before anything is written. The
    // alert's message and informative text when so; nothing otherwise.
    std::optional<std::pair<QString, QString>>
    foreignPackageAlert(const QStringList& settingsTexts) const;

    // Domains, as packages carry them. The values of a captured settings text
    // (what "defaults read" printed and "defaults write" takes); nothing when
    // the text cannot be read.
    virtual std::optional<DomainValues> valuesOfSettingsText(const QString& text) const = 0;
    // The user's own domain as its captured settings text, exactly as the
    // defaults program's "read" prints it, read in this process; nothing when
    // there is no such domain or it cannot be read.
    virtual std::optional<QString> userDomainSettingsText(const QString& domain) const = 0;
    // The values the user's own domain holds now; nothing when there is no
    // such domain or it cannot be read.
    virtual std::optional<DomainValues> userDomainValues(const QString& domain) const = 0;
};
