#pragma once

#include "controls/show_alert.h"
#include "packager/sv_pp_item.h"

#include <QFuture>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QUrl>

#include <atomic>
#include <chrono>
#include <memory>

class QFileDialog;
class QLabel;
class QMimeData;
class QProgressBar;
class QPushButton;
class QTableWidget;
class QWidget;
class ProgressSheet;
class RunningApplicationQuery;
class SVKolvanePackager;

namespace Ui {
class PreferencePackager;
}

// Told when a packager window has closed, so its owner can let it go.
class SVKolvanePackagerDelegate {
public:
    virtual ~SVKolvanePackagerDelegate() = default;
    virtual void packagerDidClose(SVKolvanePackager* packager) = 0;
};

// The controller of a packager window. One shared instance creates packages
// from ticked components and dropped applications; every opened package file
// gets an instance of its own in deployment mode. The capture and the
// deployment themselves are the packager core's; this class owns the window,
// its tables, the progress sheet and the save panel, and runs the work on the
// thread pool.
class SVKolvanePackager : public QObject {
    Q_OBJECT

public:
    using Items = QList<std::shared_ptr<SVPPItem>>;

    // Drag operations as the tables answer them.
    static constexpr int kDragOperationNone = 0;
    static constexpr int kDragOperationLink = 2;
    static constexpr int kDragOperationMove = 16;
    // Table drop operations: on a row, or above it.
    static constexpr int kDropOn = 0;
    static constexpr int kDropAbove = 1;
    // The "SaveKolvaneFileType" values.
    static constexpr int kSaveAsPackageFile = 0;
    static constexpr int kSaveAsSelfDeployingApplication = 1;

    // The creation-mode packager, made on first use and kept for the process.
    static SVKolvanePackager* sharedPackager();
    // A deployment-mode packager for a package file; null after the user has
    // been told why it cannot be opened.
    static std::unique_ptr<SVKolvanePackager> initWithKolvaneUrl(const QUrl& url,
                                                                 RunningApplicationQuery& running);
    // A creation-mode packager (the shared one is made this way).
    explicit SVKolvanePackager(RunningApplicationQuery* running = nullptr);
    ~SVKolvanePackager() override;

    void awakeFromNib();
    void displayWindow();

    // Tables.
    int numberOfRowsInTableView(const QTableWidget* table) const;
    void reloadTable(QTableWidget* table);
    int tableViewValidateDrop(const QTableWidget* table, const QMimeData* info,
                              int proposedDropOperation) const;
    bool tableViewAcceptDrop(const QTableWidget* table, const QMimeData* info,
                             const QObject* dragSource);

    // Progress sheet; callable from any thread, never blocks the caller.
    void showProgressSheetWithMessage(const QString& message);
    void closeProgressSheet();
    void setProgressLabel(const QString& text);
    void progressSheet_cancel();

    // Actions.
    void createPackage();
    // Adds the application the user picks, as a drop would.
    void addApplication();
    void deployPreferences();
    void saveAssembledPackaged(const QByteArray& bytes);
    void kolvaneFileTypeChanged(QObject* sender);
    void windowWillClose();

    // Waits for the package job that runs now, if any (tests; destruction).
    void waitForBackgroundWork();

    // Fields.
    // The package file a deployment window shows; empty in creation mode.
    QUrl packageUrl;
    Items systemSettings;
    Items applications;
    const bool deploymentMode;
    std::atomic<bool> shouldCancel = false;
    QPointer<QFileDialog> saveKolvanePanel;
    bool awokeFromNib = false;
    SVKolvanePackagerDelegate* delegate = nullptr;
    // The pauses of a deployment that let the user read the sheet (tests shorten them).
    std::chrono::milliseconds deploymentPause{1000};

    // Outlets.
    QWidget* window = nullptr;
    QTableWidget* systemSettingsTable = nullptr;
    QTableWidget* applicationsTable = nullptr;
    QLabel* applicationsLabel = nullptr;
    QPushButton* createPackageButton = nullptr;
    // Creation mode only: picks an application as the main window does.
    QPushButton* addApplicationButton = nullptr;
    QPushButton* deployPrefsButton = nullptr;
    ProgressSheet* progressSheet = nullptr;
    QLabel* progressLabel = nullptr;
    QProgressBar* progressBar = nullptr;
    QPushButton* progressCancelButton = nullptr;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    SVKolvanePackager(bool deployment, RunningApplicationQuery* running);
    void loadNib();
    void setUpTable(QTableWidget* table, const QStringList& identifiers);
    void fitColumnsToContents(QTableWidget* table);
    void buildProgressSheet();
    void fillRow(QTableWidget* table, int row, const SVPPItem& item);
    const Items* itemsOfTable(const QTableWidget* table) const;
    bool handleDragEvent(QEvent* event);
    void background_createPackage(Items systemItems, Items applicationItems);
    void background_deployPreferences(Items systemItems, Items applicationItems);

    std::unique_ptr<Ui::PreferencePackager> ui_;
    std::unique_ptr<QWidget> window_;
    RunningApplicationQuery* running_;
    ShowAlertPresenter alerts_;
    QFuture<void> job_;
};
