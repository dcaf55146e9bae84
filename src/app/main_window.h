#pragma once

#include <QMainWindow>

class AppIconImageView;
class EmptyStateLabel;
class FTPathControl;
class ProgressSheet;
class QAction;
class QDialog;
class QLabel;
class QProgressBar;
class QPushButton;
class QTabWidget;
class QTableWidget;
class SVListView;

// Sorvane's main window and its two sheets, built once: the application tab
// (path control, icon, name and identifier, the three result lists), the
// system components tab, the property-list check tab, the menu, the progress
// sheet and the result sheet. It holds widgets only; AppDelegate drives them.
class MainWindow : public QMainWindow {
    Q_OBJECT

public:
    explicit MainWindow(QWidget* parent = nullptr);

    QTabWidget* tabs = nullptr;
    FTPathControl* pathControl = nullptr;
    QLabel* nameLabel = nullptr;
    QLabel* bundleIdentifierLabel = nullptr;
    // Says how to choose an application while none is chosen.
    QLabel* chooseHintLabel = nullptr;
    AppIconImageView* iconView = nullptr;
    SVListView* domainsList = nullptr;
    SVListView* preferenceFilesList = nullptr;
    SVListView* cachesList = nullptr;
    QPushButton* chooseAppButton = nullptr;
    QPushButton* cleanAppButton = nullptr;
    QTableWidget* componentsTable = nullptr;
    QPushButton* cleanComponentsButton = nullptr;
    EmptyStateLabel* componentsEmptyState = nullptr;
    QTableWidget* failuresTable = nullptr;
    EmptyStateLabel* failuresEmptyState = nullptr;
    QPushButton* checkUserButton = nullptr;
    QPushButton* checkSystemButton = nullptr;
    QPushButton* toggleFailuresButton = nullptr;
    QPushButton* deleteFailuresButton = nullptr;

    ProgressSheet* progressSheet = nullptr;
    QLabel* progressLabel = nullptr;
    QProgressBar* progressBar = nullptr;
    QPushButton* progressCancelButton = nullptr;

    QDialog* opCompleteSheet = nullptr;
    QLabel* opCompleteMessageLabel = nullptr;
    QLabel* opCompleteInfoLabel = nullptr;
    QLabel* opCompleteRebootLabel = nullptr;
    QPushButton* opCompleteRebootButton = nullptr;
    QPushButton* opCompleteCloseButton = nullptr;

    QAction* browseAction = nullptr;
    QAction* pasteAction = nullptr;
    QAction* undoCleaningAction = nullptr;
    QAction* cleaningHistoryAction = nullptr;
    QAction* packagerAction = nullptr;
    QAction* deployAction = nullptr;
    QAction* cleanAppAction = nullptr;
    QAction* cleanComponentsAction = nullptr;
    QAction* checkUserAction = nullptr;
    QAction* checkSystemAction = nullptr;
    QAction* showMainWindowAction = nullptr;
    QAction* helpAction = nullptr;
    QAction* websiteAction = nullptr;
    QAction* updatesAction = nullptr;
    QAction* quitAction = nullptr;

    // What the lists and the check say while they are empty.
    static QString listPlaceholderBeforeChoosing(const QString& what);
    static QString listPlaceholderAfterSearch(const QString& what);
    static QString failuresPlaceholderBeforeCheck();
    static QString failuresPlaceholderAfterCheck();

private:
    QWidget* buildApplicationTab();
    QWidget* buildComponentsTab();
    QWidget* buildCheckTab();
    void buildMenus();
    void buildProgressSheet();
    void buildResultSheet();
};
