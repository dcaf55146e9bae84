#include "app/app_delegate.h"

#include "app/main_window.h"
#include "catalogues/sv_known_app.h"
#include "controls/app_icon_image_view.h"
#include "controls/application_picker.h"
#include "controls/ft_path_control.h"
#include "controls/show_alert.h"
#include "controls/sv_list_view.h"
#include "platform/bundle.h"
#include "platform/file_icons.h"
#include "platform/workspace.h"
#include "privileged/link_to_helper_tool.h"
#include "util/logging.h"
#include "util/path_utils.h"
#include "workflows/settings_system.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QFileDialog>
#include <QFileInfo>
#include <QHeaderView>
#include <QIcon>
#include <QLabel>
#include <QLocale>
#include <QMimeData>
#include <QPushButton>
#include <QTableWidget>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace {

AppDelegate* sharedDelegate = nullptr;

} // namespace

AppDelegate::AppDelegate(const AppServices& services, QObject* parent)
    : QObject(parent)
    , services_(services)
    , mainWindow_(std::make_unique<MainWindow>()) {
    if (!sharedDelegate)
        sharedDelegate = this;
    connectOutlets();
    connectActions();
    connectUndoActions();
}

AppDelegate::~AppDelegate() {
    if (sharedDelegate == this)
        sharedDelegate = nullptr;
}

AppDelegate* AppDelegate::applicationDelegate() {
    return sharedDelegate;
}

void AppDelegate::connectOutlets() {
    MainWindow* w = mainWindow_.get();
    window = w;
    app_pathControl = w->pathControl;
    app_nameLabel = w->nameLabel;
    app_BundleIdentifierLabel = w->bundleIdentifierLabel;
    app_iconView = w->iconView;
    appDefaultsDomainsListView = w->domainsList;
    appAdditionalPrefsFilesListView = w->preferenceFilesList;
    appCachesListView = w->cachesList;
    osComponentsTable = w->componentsTable;
    plutilFailuresTable = w->failuresTable;
    progressSheet = w->progressSheet;
    progressLabel = w->progressLabel;
    progressBar = w->progressBar;
    opCompleteSheet = w->opCompleteSheet;
    opCompleteMessageLabel = w->opCompleteMessageLabel;
    opCompleteInfoLabel = w->opCompleteInfoLabel;
    opCompleteRebootLabel = w->opCompleteRebootLabel;
    opCompleteRebootButton = w->opCompleteRebootButton;

    app_pathControl->setDelegate(this);
    app_pathControl->connectProperActionsTo(this);
    app_pathControl->awakeFromNib();
    app_iconView->setDelegate(this);
    app_iconView->setIconProvider([this](const QString& path) {
        const QUrl url = QUrl::fromLocalFile(path);
        return isApplicationUrl(url) ? services_.system.iconForApplication(url, 128)
                                     : FileIcons::iconForFile(path);
    });
    for (SVListView* list :
         {appDefaultsDomainsListView, appAdditionalPrefsFilesListView, appCachesListView})
        list->setDelegate(this);
}

void AppDelegate::connectActions() {
    MainWindow* w = mainWindow_.get();
    const auto wire = [this](auto* sender, auto signal, void (AppDelegate::*action)()) {
        connect(sender, signal, this, [this, action] { (this->*action)(); });
    };
    wire(w->browseAction, &QAction::triggered, &AppDelegate::browseForApp);
    wire(w->chooseAppButton, &QPushButton::clicked, &AppDelegate::browseForApp);
    wire(w->cleanAppButton, &QPushButton::clicked, &AppDelegate::cleanAppPreferences);
    wire(w->cleanAppAction, &QAction::triggered, &AppDelegate::cleanAppPreferences);
    wire(w->cleanComponentsButton, &QPushButton::clicked,
         &AppDelegate::cleanOSComponentPreferences);
    wire(w->cleanComponentsAction, &QAction::triggered, &AppDelegate::cleanOSComponentPreferences);
    wire(w->checkUserButton, &QPushButton::clicked, &AppDelegate::checkUserPrefs);
    wire(w->checkUserAction, &QAction::triggered, &AppDelegate::checkUserPrefs);
    wire(w->checkSystemButton, &QPushButton::clicked, &AppDelegate::checkSystemPrefs);
    wire(w->checkSystemAction, &QAction::triggered, &AppDelegate::checkSystemPrefs);
    wire(w->toggleFailuresButton, &QPushButton::clicked, &AppDelegate::toggleSelectedPlutilFiles);
    wire(w->deleteFailuresButton, &QPushButton::clicked, &AppDelegate::deleteSelectedPlutilFiles);
    wire(w->progressCancelButton, &QPushButton::clicked, &AppDelegate::progressSheet_cancel);
    wire(w->opCompleteCloseButton, &QPushButton::clicked, &AppDelegate::opComplete_closeSheet);
    wire(w->opCompleteRebootButton, &QPushButton::clicked, &AppDelegate::opComplete_Reboot);
    wire(w->packagerAction, &QAction::triggered, &AppDelegate::openPreferencePackager);
    wire(w->deployAction, &QAction::triggered, &AppDelegate::deployKolvane);
    wire(w->showMainWindowAction, &QAction::triggered, &AppDelegate::showMainWindow);
    wire(w->helpAction, &QAction::triggered, &AppDelegate::showHelpInBrowser);
    wire(w->websiteAction, &QAction::triggered, &AppDelegate::openBrisvaleWebsite);
    wire(w->updatesAction, &QAction::triggered, &AppDelegate::showUpdatemanager);
    connect(w->pasteAction, &QAction::triggered, this,
            [this] { readAppUrlFromPasteboard(QGuiApplication::clipboard()->mimeData()); });
    connect(w->quitAction, &QAction::triggered, qApp, &QCoreApplication::quit,
            Qt::QueuedConnection);
    connect(osComponentsTable->horizontalHeader(), &QHeaderView::sortIndicatorChanged, this,
            &AppDelegate::sortComponents);
}

void AppDelegate::applicationDidFinishLaunching() {
    // Qt keeps no Windows menu of its own, so there is nothing to exclude
    // the main window from.
    const QString iconPath = Bundle::mainBundle().resourcesPath() + u"/icons/sorvane.svg"_s;
    const QIcon icon(iconPath);
    if (!QFileInfo::exists(iconPath) || icon.isNull())
        sv::log(u"Failed to load icon"_s);
    else
        QApplication::setWindowIcon(icon);
    app_nameLabel->setText(QString());
    app_BundleIdentifierLabel->setText(QString());
    taskMasters.emplace();
    SVKnownApp::loadKnownAppData();
    osComponents = SVOSComponent::loadData().value_or(QList<SVOSComponent>());
    reloadComponentsTable();
    BVUpdater::sharedUpdater()->checkForUpdatesIfTheTimeHasComeWithDelegate(this);
    window->show();
}

QString AppDelegate::applicationVersion() const {
    return Bundle::mainBundle().version();
}

void AppDelegate::showMainWindow() {
    window->show();
    window->raise();
    window->activateWindow();
}

void AppDelegate::openBrisvaleWebsite() {
    Workspace::openURL(QUrl(u"https://www.brisvale.com/sorvane"_s));
}

void AppDelegate::showHelpInBrowser() {
    const QString page = Bundle::mainBundle().resourcesPath() + u"/Help/index.html"_s;
    if (!QFileInfo::exists(page)) {
        sv::log(u"Help URL not found"_s);
        return;
    }
    Workspace::openURL(QUrl::fromLocalFile(page));
}

void AppDelegate::showUpdatemanager() {
    const BVUpdater* updater = BVUpdater::sharedUpdater();
    const QDateTime last = updater->lastCheckDate();
    ShowAlert(AlertKind::Information, u"Sorvane Updates"_s,
              updater->updateSource() +
                  u"\n\nLast checked: %1"_s.arg(
                      last.isValid() ? QLocale().toString(last.toLocalTime(), QLocale::LongFormat)
                                     : u"never"_s));
}

bool AppDelegate::updaterCanProposeUpdate(BVUpdater*) {
    return true;
}

void AppDelegate::updaterFeedError(BVUpdater*, const QString&) {
    sv::log(u"Error checking for updates"_s);
}

std::shared_ptr<SorvaneHelperProtocol> AppDelegate::privilegedHelperTool() {
    return LinkToHelperTool::helperLink()->helperTool();
}

void AppDelegate::taskMasterFailedWithErrorMessage(SVTaskMaster* taskMaster, const QString&) {
    taskMasterFinished(taskMaster);
}

void AppDelegate::taskMasterFinished(SVTaskMaster* taskMaster) {
    // A runner reports on the thread that ran it; it is let go on the GUI
    // thread a little later, once its run has unwound.
    QMetaObject::invokeMethod(
        this,
        [this, taskMaster] {
            QTimer::singleShot(100, this, [this, taskMaster] {
                if (taskMasters)
                    std::erase_if(*taskMasters, [taskMaster](const auto& held) {
                        return held.get() == taskMaster;
                    });
            });
        },
        Qt::QueuedConnection);
}

bool AppDelegate::isApplicationUrl(const QUrl& url) const {
    return services_.system.isApplicationUrl(url);
}

void AppDelegate::configureApplicationPanel(QFileDialog* panel) const {
    ApplicationPicker::configurePanel(panel, services_.system);
}

void AppDelegate::browseForApp() {
    if (const auto url = ApplicationPicker::pick(window, services_.system))
        setApplicationUrl(*url);
}

void AppDelegate::setApplicationUrl(const QUrl& url) {
    appUrl = url;
    window->chooseHintLabel->setVisible(url.isEmpty());
    if (url.isEmpty()) {
        // The result lists are deliberately left as they are: the next search replaces them.
        app_nameLabel->setText(QString());
        app_BundleIdentifierLabel->setText(QString());
        app_iconView->setImage(QImage());
        return;
    }
    app_pathControl->setURL(url);
    const auto application = services_.system.applicationAtUrl(url);
    app_nameLabel->setText(
        application ? application->name
                    : sv::stringByDeletingPathExtension(sv::lastPathComponent(url.toLocalFile())));
    updateAppIcon();
    doSearchesForApp();
}

void AppDelegate::updateAppIcon() {
    const QImage icon = services_.system.iconForApplication(appUrl, 100);
    QPointer<AppIconImageView> view = app_iconView;
    QMetaObject::invokeMethod(
        this,
        [view, icon] {
            if (view)
                view->setImage(icon);
        },
        Qt::QueuedConnection);
}

bool AppDelegate::readAppUrlFromPasteboard(const QMimeData* pasteboard) {
    if (!pasteboard || !pasteboard->hasUrls() || pasteboard->urls().isEmpty())
        return false;
    const QUrl url = pasteboard->urls().constFirst();
    if (!isApplicationUrl(url))
        return false;
    setApplicationUrl(url);
    return true;
}

void AppDelegate::appIconViewLoadedIconFromUrl(AppIconImageView* view, const QImage&,
                                               const QUrl& url) {
    if (view == app_iconView)
        setApplicationUrl(url);
}

bool AppDelegate::pathControlCanSelectItem(const QUrl& item) {
    return SettingsSystem::current().isApplicationUrl(item);
}

void AppDelegate::pathControlWillDisplayOpenPanel(FTPathControl*, QFileDialog* panel) {
    configureApplicationPanel(panel);
}

void AppDelegate::pathControlWillDisplaySavePanel(FTPathControl*, QFileDialog* panel) {
    configureApplicationPanel(panel);
}

bool AppDelegate::pathControlInitialValueWasSet(FTPathControl*, const QUrl& url) {
    if (!isApplicationUrl(url))
        return false;
    setApplicationUrl(url);
    return true;
}

bool AppDelegate::pathControlAcceptDrop(FTPathControl*, const QMimeData* data) {
    return readAppUrlFromPasteboard(data);
}

void AppDelegate::pathControlClicked(FTPathControl* pathControl) {
    doSingleClick_ = true;
    const QUrl clicked = pathControl->clickedPathItem();
    QPointer<AppDelegate> self = this;
    QMetaObject::invokeMethod(
        this,
        [self, clicked] {
            if (self && self->doSingleClick_)
                Workspace::activateFileViewerSelectingURLs({clicked});
        },
        Qt::QueuedConnection);
}

void AppDelegate::pathControlDoubleClicked(FTPathControl*) {
    doSingleClick_ = false;
    browseForApp();
}
