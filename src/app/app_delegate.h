#pragma once

#include "app/sv_kolvane_packager.h"
#include "catalogues/sv_os_component.h"
#include "controls/app_icon_image_view_delegate.h"
#include "controls/ft_path_control_delegate.h"
#include "controls/show_alert.h"
#include "controls/sv_list_view_delegate.h"
#include "privileged/sv_task_master.h"
#include "privileged/sv_task_master_delegate.h"
#include "workflows/application_search.h"
#include "workflows/bv_updater.h"
#include "workflows/cleaning.h"
#include "workflows/cleaning_backup_restore.h"
#include "workflows/cleaning_backup_store.h"
#include "workflows/deletion_counter.h"
#include "workflows/plutil_error.h"
#include "workflows/settings_system.h"

#include <QList>
#include <QObject>
#include <QPointer>
#include <QUrl>

#include <atomic>
#include <memory>
#include <optional>
#include <vector>

class AppIconImageView;
class DefaultsDomainRunner;
class DomainMatcher;
class FTPathControl;
class HelperOperations;
class MainWindow;
class ProgressSheet;
class QDialog;
class QLabel;
class QMainWindow;
class QMimeData;
class QProgressBar;
class QPushButton;
class QTableWidget;
class RunningApplicationQuery;
class SVListView;
class SorvaneHelperProtocol;

// What the application delegate talks to; the program passes the real
// services, tests pass sandboxes and stand-ins.
struct AppServices {
    HelperOperations& helper;
    DefaultsDomainRunner& defaults;
    DomainMatcher& matcher;
    RunningApplicationQuery& running;
    SettingsSystem& system = SettingsSystem::current();
};

// The controller of Sorvane's main window: it starts the application, holds
// the one target application, reacts to every road to choosing it, and runs
// the searches, cleanings, checks and sheets through the UI-free workflows.
class AppDelegate : public QObject,
                    public FTPathControlDelegate,
                    public AppIconImageViewDelegate,
                    public SVListViewDelegate,
                    public BVUpdaterDelegate,
                    public SVKolvanePackagerDelegate,
                    public SVTaskMasterDelegate {
    Q_OBJECT

public:
    explicit AppDelegate(const AppServices& services, QObject* parent = nullptr);
    ~AppDelegate() override;

    static AppDelegate* applicationDelegate();

    void applicationDidFinishLaunching();
    void applicationWillTerminate() {}
    QString applicationVersion() const;

    // Actions.
    void showMainWindow();
    void openBrisvaleWebsite();
    void showHelpInBrowser();
    void openPreferencePackager();
    void deployKolvane();
    void browseForApp();
    void showUpdatemanager();
    void cleanAppPreferences();
    void cleanOSComponentPreferences();
    // Restores the newest backup of a cleaning that is not restored yet.
    void undoLastCleaning();
    // The backups with their dates and contents; each can be restored or discarded.
    void showCleaningHistory();
    void checkUserPrefs();
    void checkSystemPrefs();
    void deleteSelectedPlutilFiles();
    void toggleSelectedPlutilFiles();
    void opComplete_closeSheet();
    void opComplete_Reboot();
    void progressSheet_cancel();

    // The target.
    void setApplicationUrl(const QUrl& url);
    void updateAppIcon();
    bool readAppUrlFromPasteboard(const QMimeData* pasteboard);

    // Search (the lists are views of the result arrays).
    void doSearchesForApp();
    void updateAppSearchResultsDisplay();
    const SVDefaultsDomain* appDefaultsDomainWithDomain(const QString& domain) const;

    // Cleaning.
    DeletionCounter cleanDefaultsDomains(const QList<SVDefaultsDomain>& domains);
    void reloadComponentsTable();
    // Rebuilds the rows with the given ticks (by row; missing ones unticked).
    void reloadComponentsTable(const QList<bool>& ticks);
    void sortComponents(int column, Qt::SortOrder order);
    // Where the cleanings' backups are kept.
    CleaningBackupStore& cleaningBackups() { return backups_; }
    // Nothing when the restore was refused (the user has been told why).
    std::optional<CleaningBackupRestore::Result>
    restoreCleaningBackup(const CleaningBackup& backup);

    // Property-list check.
    void checkPlistsAtPath(const QString& folder);
    void plutilFinishedScanningFileCount(quint32 count);
    void reloadFailuresTable();

    // Sheets.
    void showProgressSheetWithMessage(const QString& message);
    void closeProgressSheet();
    void displayResultsSheetWithCounter(const DeletionCounter& counter, bool suggestReboot);
    void displayResultsSheetWithMessage(const QString& message, const QString& info,
                                        bool suggestReboot);

    // Package files: each opens in a deployment packager of its own.
    void applicationOpenURLs(const QList<QUrl>& urls);

    // Delegate answers.
    void appIconViewLoadedIconFromUrl(AppIconImageView* view, const QImage& icon,
                                      const QUrl& url) override;
    bool shouldListViewDeleteListItem(SVListView* listView, SVListItemView* item) override;
    void pathControlWillDisplayOpenPanel(FTPathControl* pathControl, QFileDialog* panel) override;
    void pathControlWillDisplaySavePanel(FTPathControl* pathControl, QFileDialog* panel) override;
    bool pathControlInitialValueWasSet(FTPathControl* pathControl, const QUrl& url) override;
    bool pathControlAcceptDrop(FTPathControl* pathControl, const QMimeData* data) override;
    void pathControlClicked(FTPathControl* pathControl) override;
    void pathControlDoubleClicked(FTPathControl* pathControl) override;
    static bool pathControlCanSelectItem(const QUrl& item);
    bool updaterCanProposeUpdate(BVUpdater* updater) override;
    void updaterFeedError(BVUpdater* updater, const QString& error) override;
    void packagerDidClose(SVKolvanePackager* packager) override;
    void taskMasterFailedWithErrorMessage(SVTaskMaster* taskMaster,
                                          const QString& message) override;
    void taskMasterFinished(SVTaskMaster* taskMaster) override;
    // The installed helper, for an update that must reach it too.
    std::shared_ptr<SorvaneHelperProtocol> privilegedHelperTool();

    // Fields.
    QUrl appUrl;
    ApplicationSearchResults results;
    // Why each item of the results was found, as the last search said.
    ApplicationSearchReasons resultReasons;
    QList<SVOSComponent> osComponents;
    QList<PlutilError> plutilErrors;
    std::atomic<bool> actionCancelled = false;
    std::atomic<bool> waitingForPlutil = false;
    // Runners that report back later, kept until they do. The cleanings run
    // theirs synchronously, so it stays empty; it is made at start-up.
    std::optional<std::vector<std::unique_ptr<SVTaskMaster>>> taskMasters;
    // Packagers opened from package files, until each closes; none until the first.
    std::optional<std::vector<std::unique_ptr<SVKolvanePackager>>> unpackagers;
    bool doSingleClick() const { return doSingleClick_; }

    // Outlets.
    MainWindow* window = nullptr;
    FTPathControl* app_pathControl = nullptr;
    QLabel* app_nameLabel = nullptr;
    QLabel* app_BundleIdentifierLabel = nullptr;
    AppIconImageView* app_iconView = nullptr;
    SVListView* appDefaultsDomainsListView = nullptr;
    SVListView* appAdditionalPrefsFilesListView = nullptr;
    SVListView* appCachesListView = nullptr;
    QTableWidget* osComponentsTable = nullptr;
    QTableWidget* plutilFailuresTable = nullptr;
    ProgressSheet* progressSheet = nullptr;
    QLabel* progressLabel = nullptr;
    QProgressBar* progressBar = nullptr;
    QDialog* opCompleteSheet = nullptr;
    QLabel* opCompleteMessageLabel = nullptr;
    QLabel* opCompleteInfoLabel = nullptr;
    QLabel* opCompleteRebootLabel = nullptr;
    QPushButton* opCompleteRebootButton = nullptr;

private:
    Cleaning makeCleaning();
    void connectOutlets();
    void connectActions();
    void connectUndoActions();
    QList<const SVOSComponent*> tickedComponents() const;
    bool rowIsInSight(int row) const;
    static QString columnIdentifier(const QTableWidget* table, int column);
    void configureApplicationPanel(QFileDialog* panel) const;
    bool isApplicationUrl(const QUrl& url) const;

    AppServices services_;
    CleaningBackupStore backups_{services_.system.cleaningBackupsFolder()};
    ShowAlertPresenter alerts_;
    std::unique_ptr<MainWindow> mainWindow_;
    bool doSingleClick_ = false;
};
