#include "linux/linux_desktop.h"

#include "linux/config_folder_check.h"
#include "linux/dconf_domain_matcher.h"
#include "linux/dconf_domains.h"
#include "linux/desktop_entries.h"
#include "linux/desktop_entry.h"
#include "linux/flatpak_settings_keyfile.h"
#include "linux/linux_application.h"
#include "linux/linux_file_search.h"
#include "platform/bundle.h"
#include "platform/library_folders.h"
#include "workflows/application_search.h"
#include "workflows/helper_operations.h"

#include <QDir>
#include <QFileInfo>
#include <QIcon>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

ApplicationTarget targetOfEntry(const DesktopEntry& entry) {
    return {QUrl::fromLocalFile(entry.path()), entry.identifier(), entry.name()};
}

bool looksLikePath(const QString& argument) {
    return argument.contains(u'/') || argument.endsWith(u".desktop"_s);
}

// Flatpak exports its applications' icons beside their entries, in data
// folders a session started without the profile scripts does not name.
void addDataFoldersToIconThemes() {
    QStringList paths = QIcon::themeSearchPaths();
    bool added = false;
    for (const QString& folder : DesktopEntries::dataFolders()) {
        const QString icons = folder + u"/icons"_s;
        if (!paths.contains(icons)) {
            paths.append(icons);
            added = true;
        }
    }
    if (added)
        QIcon::setThemeSearchPaths(paths);
}

} // namespace

void LinuxRunningApplicationQuery::rememberEntry(const QString& identifier,
                                                 const QString& path) const {
    const QMutexLocker lock(&mutex_);
    chosenEntries_.insert(identifier, path);
}

bool LinuxRunningApplicationQuery::isRunning(const QString& identifier) {
    QString chosen;
    {
        const QMutexLocker lock(&mutex_);
        chosen = chosenEntries_.value(identifier);
    }
    std::optional<DesktopEntry> entry;
    if (!chosen.isEmpty())
        entry = DesktopEntries::atPath(chosen);
    if (!entry)
        entry = DesktopEntries::withIdentifier(identifier);
    if (!entry)
        return false;
    return LinuxRunningApplications::isRunning(
        LinuxApplication::fromEntry(*entry).programIdentity());
}

QList<ApplicationEntry> LinuxDesktop::installedApplications() const {
    addDataFoldersToIconThemes();
    QList<ApplicationEntry> entries;
    for (const DesktopEntry& entry : DesktopEntries::all())
        entries.append({QUrl::fromLocalFile(entry.path()), entry.identifier(), entry.name(),
                        entry.iconName(), entry.noDisplay() || entry.hidden()});
    return entries;
}

bool LinuxDesktop::isApplicationUrl(const QUrl& url) const {
    return url.isLocalFile() && url.toLocalFile().endsWith(u".desktop"_s);
}

std::optional<ApplicationTarget> LinuxDesktop::applicationAtUrl(const QUrl& url) const {
    if (!isApplicationUrl(url))
        return std::nullopt;
    const std::optional<DesktopEntry> entry = DesktopEntries::atPath(url.toLocalFile());
    if (!entry)
        return std::nullopt;
    running_.rememberEntry(entry->identifier(), entry->path());
    return targetOfEntry(*entry);
}

QList<ApplicationTarget> LinuxDesktop::applicationsForArgument(const QString& argument,
                                                               QString* problem) const {
    const auto complain = [problem](const QString& text) {
        if (problem)
            *problem = text;
        return QList<ApplicationTarget>();
    };
    if (looksLikePath(argument) && QFileInfo::exists(argument)) {
        const QString path = QDir::cleanPath(QFileInfo(argument).absoluteFilePath());
        if (const auto target = applicationAtUrl(QUrl::fromLocalFile(path)))
            return {*target};
        return complain(u"%1 is not a desktop entry of an application"_s.arg(argument));
    }
    if (argument.contains(u'/'))
        return complain(u"%1: no such file or folder"_s.arg(argument));
    if (const auto entry = DesktopEntries::withIdentifier(argument))
        return {targetOfEntry(*entry)};
    QList<ApplicationTarget> named;
    for (const DesktopEntry& entry : DesktopEntries::withName(argument))
        named.append(targetOfEntry(entry));
    if (named.isEmpty())
        return complain(
            u"%1 is neither a desktop entry, a desktop-file ID nor an installed application's name"_s
                .arg(argument));
    return named;
}

QImage LinuxDesktop::iconForApplication(const QUrl& url, int size) const {
    addDataFoldersToIconThemes();
    const std::optional<DesktopEntry> entry = DesktopEntries::atPath(url.toLocalFile());
    const QString name = entry ? entry->iconName() : QString();
    QIcon icon = name.startsWith(u'/') ? QIcon(name) : QIcon::fromTheme(name);
    if (icon.isNull())
        icon = QIcon::fromTheme(u"application-x-executable"_s);
    return icon.pixmap(size, size).toImage();
}

void LinuxDesktop::findApplicationSettings(const ApplicationTarget& application,
                                           DomainMatcher& matcher,
                                           ApplicationSearchResults& results,
                                           ApplicationSearchReasons* reasons) const {
    const std::optional<DesktopEntry> entry = DesktopEntries::atPath(application.url.toLocalFile());
    LinuxApplication app;
    if (entry)
        app = LinuxApplication::fromEntry(*entry);
    else
        app.identifier = application.identifier;
    const LinuxFileSearch files;
    results.appDomainResults = matcher.matchesForDomain(application.identifier);
    const qsizetype ownDomains = results.appDomainResults.size();
    // What the desktop keeps for the application elsewhere: its notification
    // settings.
    const QString notifications =
        DconfDomainMatcher::notificationDomainOfApplication(application.identifier);
    for (const SVDefaultsDomain& domain : matcher.matchesForDomain(notifications)) {
        if (domain.domain() == notifications)
            results.appDomainResults.append(domain);
    }
    const qsizetype desktopDomains = results.appDomainResults.size();
    // A Flatpak's own settings store, which its sandbox uses instead of dconf.
    const std::string store = FlatpakSettingsKeyfile::domainOf(app.flatpakId.toStdString());
    const QFileInfo storeFile(QString::fromStdString(FlatpakSettingsKeyfile::pathOf(store)));
    if (!app.flatpakId.isEmpty() && storeFile.size() > 0)
        results.appDomainResults.append(SVDefaultsDomain(QString::fromStdString(store), 0));
    results.appAdditionalPreferenceFiles =
        files.preferenceFiles(app, reasons ? &reasons->preferenceFiles : nullptr);
    results.appCacheFiles = files.cacheFiles(app, reasons ? &reasons->caches : nullptr);
    if (!reasons)
        return;
    reasons->domains.clear();
    for (qsizetype i = 0; i < results.appDomainResults.size(); ++i) {
        const MatchReason::Kind kind = i < ownDomains ? MatchReason::Kind::ApplicationId
                                       : i < desktopDomains
                                           ? MatchReason::Kind::NotificationSettings
                                           : MatchReason::Kind::FlatpakSettings;
        reasons->domains.append({kind, application.identifier, i >= desktopDomains});
    }
}

std::unique_ptr<DomainMatcher> LinuxDesktop::makeDomainMatcher(SystemDomainsSource) const {
    // The system databases' key files are readable by everybody: no helper
    // is needed to list their domains.
    return std::make_unique<DconfDomainMatcher>();
}

QString LinuxDesktop::catalogueFolder() const {
    return Bundle::mainBundle().resourcesPath() + u"/linux"_s;
}

QString LinuxDesktop::cleaningBackupsFolder() const {
    return LinuxFileSearch::dataHome() + u"/sorvane/backups"_s;
}

QString LinuxDesktop::userCheckFolder() const {
    return LinuxFileSearch::configHome();
}

QString LinuxDesktop::systemCheckFolder() const {
    return LibraryFolders::underSystemRoot(u"/etc/xdg"_s);
}

std::optional<QMap<QString, QString>> LinuxDesktop::checkSettingsFolder(const QString& folder,
                                                                        HelperOperations& helper) {
    checkCancelled_ = false;
    if (folder != systemCheckFolder())
        return ConfigFolderCheck::checkFolder(folder, &checkCancelled_);
    std::optional<QMap<QString, QString>> results;
    for (const QString& system : {folder, LibraryFolders::underSystemRoot(u"/etc/dconf"_s)}) {
        if (checkCancelled_ || !QFileInfo(system).isDir())
            continue;
        const auto answer = helper.checkPlistsAtUrl(QUrl::fromLocalFile(system));
        if (!answer)
            continue;
        if (!results)
            results.emplace();
        results->insert(*answer);
    }
    return results;
}

void LinuxDesktop::cancelCheck(HelperOperations& helper) {
    checkCancelled_ = true;
    helper.cancelPlutilChecks();
}

std::optional<SettingsSystem::DomainValues>
LinuxDesktop::valuesOfSettingsText(const QString& text) const {
    return DconfDomains::valuesOfText(text);
}

std::optional<QString> LinuxDesktop::userDomainSettingsText(const QString& domain) const {
    std::optional<QString> text;
    if (!FlatpakSettingsKeyfile::hasPrefix(domain.toStdString()))
        text = DconfDomains().read(domain);
    else if (const auto store = FlatpakSettingsKeyfile::read(domain.toStdString()))
        text = QString::fromStdString(*store);
    // An empty domain is no domain: dconf keeps no directory without values.
    if (!text || text->isEmpty())
        return std::nullopt;
    return text;
}

std::optional<SettingsSystem::DomainValues>
LinuxDesktop::userDomainValues(const QString& domain) const {
    const std::optional<QString> text = userDomainSettingsText(domain);
    return text ? DconfDomains::valuesOfText(*text) : std::nullopt;
}

std::optional<PackagedApplication> LinuxDesktop::applicationToPack(const QUrl& url) const {
    const std::optional<ApplicationTarget> application = applicationAtUrl(url);
    if (!application || application->identifier.isEmpty())
        return std::nullopt;
    DconfDomainMatcher matcher;
    ApplicationSearchResults results;
    findApplicationSettings(*application, matcher, results, nullptr);
    PackagedApplication packed{
        application->name, application->identifier, iconForApplication(url, 128), {}};
    // Only the user's own settings travel: the system's stay with the system.
    // A domain holds its subtree, so the domains below it travel inside it.
    QStringList own;
    for (const SVDefaultsDomain& domain : std::as_const(results.appDomainResults)) {
        if (domain.authLevel() == 0)
            own.append(domain.domain());
    }
    for (const QString& domain : std::as_const(own)) {
        const bool inside = std::any_of(own.cbegin(), own.cend(), [&domain](const QString& other) {
            return domain.startsWith(other + u'.');
        });
        if (!inside)
            packed.domains.append(domain);
    }
    return packed;
}
