#pragma once

#include "packager/package_deployer.h"
#include "packager/sv_pp_item.h"

#include <QFuture>
#include <QHash>
#include <QImage>
#include <QList>
#include <QWidget>

#include <atomic>
#include <memory>

class AlertPresenter;
class QLabel;
class QProgressBar;
class QPushButton;
class QTreeWidget;
class QTreeWidgetItem;
class RunningApplicationQuery;

// The window of a self-deploying package application: the components and
// applications its package holds, each with a tick box (applications with
// their icons), a Deploy button, and progress while the ticked items are
// written into the current user's account with the user's own rights. The
// deployment itself is PackageDeployer's, run on the thread pool; the window
// only shows it. Closing the window during a deployment cancels it and
// closes once the deployment has stopped.
class SelfDeployWindow : public QWidget {
    Q_OBJECT

public:
    using Items = QList<std::shared_ptr<SVPPItem>>;

    SelfDeployWindow(const QString& title, const QImage& icon, Items systemSettings,
                     Items applications, AlertPresenter& alerts,
                     RunningApplicationQuery& runningApplications, QWidget* parent = nullptr);
    ~SelfDeployWindow() override;

    // The Deploy button's action: refuses while a ticked application runs,
    // otherwise starts the deployment of the ticked items.
    void deployPreferences();
    // Tells the user what did not make it in the last deployment (the lines
    // of Sorvane's log); nothing to tell leaves the result as it is.
    void showProblems(const QStringList& problems);
    bool isDeploying() const { return deploying_; }
    // The deployer's pauses between its steps (tests shorten them).
    void setPause(std::chrono::milliseconds pause) { deployer_.setPause(pause); }

    QTreeWidget* itemsTree = nullptr;
    QLabel* statusLabel = nullptr;
    QProgressBar* progressBar = nullptr;
    QPushButton* deployButton = nullptr;
    QPushButton* closeButton = nullptr;

Q_SIGNALS:
    void deploymentStarted();
    void deploymentFinished();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    QWidget* buildHeader(const QString& title, const QImage& icon);
    void fillTree();
    void addGroup(const QString& name, const Items& items);
    void itemChanged(QTreeWidgetItem* row);
    void updateDeployButton();
    void finishDeployment();
    void closeOrCancel();

    Items systemSettings_;
    Items applications_;
    AlertPresenter& alerts_;
    QHash<QTreeWidgetItem*, std::shared_ptr<SVPPItem>> itemsByRow_;
    std::atomic<bool> shouldCancel_{false};
    PackageDeployer deployer_;
    QFuture<void> job_;
    bool deploying_ = false;
    bool closeWhenFinished_ = false;
};
