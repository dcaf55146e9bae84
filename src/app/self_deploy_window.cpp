#include "app/self_deploy_window.h"

#include "workflows/alert_presenter.h"

#include <QCloseEvent>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPixmap>
#include <QProgressBar>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <QtConcurrent/QtConcurrentRun>

using namespace Qt::StringLiterals;

namespace {

constexpr int kHeaderIconSize = 64;
constexpr int kRowIconSize = 32;

QString contentsText(const SVPPItem& item) {
    const qsizetype domains = item.prefsDomains().size();
    const qsizetype files = item.extraFilePaths().size();
    QString text = u"%1 domain%2"_s.arg(domains).arg(domains == 1 ? u""_s : u"s"_s);
    if (files > 0)
        text += u", %1 file%2"_s.arg(files).arg(files == 1 ? u""_s : u"s"_s);
    return text;
}

QString toolTipText(const SVPPItem& item) {
    QStringList lines = item.prefsDomains();
    lines.append(item.extraFilePaths());
    return lines.join(u'\n');
}

} // namespace

SelfDeployWindow::SelfDeployWindow(const QString& title, const QImage& icon, Items systemSettings,
                                   Items applications, AlertPresenter& alerts,
                                   RunningApplicationQuery& runningApplications, QWidget* parent)
    : QWidget(parent)
    , systemSettings_(std::move(systemSettings))
    , applications_(std::move(applications))
    , alerts_(alerts)
    , deployer_(&shouldCancel_, alerts, runningApplications,
                {[this](const QString& text) {
                     QMetaObject::invokeMethod(
                         this, [this, text] { statusLabel->setText(text); }, Qt::QueuedConnection);
                 },
                 [this](const QString& text) {
                     QMetaObject::invokeMethod(
                         this, [this, text] { statusLabel->setText(text); }, Qt::QueuedConnection);
                 },
                 {}}) {
    setWindowTitle(title);
    if (!icon.isNull())
        setWindowIcon(QPixmap::fromImage(icon));

    itemsTree = new QTreeWidget;
    itemsTree->setColumnCount(2);
    itemsTree->setHeaderLabels({u"Settings"_s, u"Contents"_s});
    itemsTree->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    itemsTree->header()->setStretchLastSection(false);
    itemsTree->setIconSize(QSize(kRowIconSize, kRowIconSize));
    itemsTree->setRootIsDecorated(false);
    fillTree();
    connect(itemsTree, &QTreeWidget::itemChanged, this, &SelfDeployWindow::itemChanged);

    statusLabel = new QLabel(u"Tick the settings to deploy, then press Deploy."_s);
    statusLabel->setWordWrap(true);
    progressBar = new QProgressBar;
    progressBar->setRange(0, 0);
    progressBar->setVisible(false);

    closeButton = new QPushButton(u"&Quit"_s);
    deployButton = new QPushButton(u"&Deploy"_s);
    deployButton->setDefault(true);
    connect(closeButton, &QPushButton::clicked, this, &SelfDeployWindow::closeOrCancel);
    connect(deployButton, &QPushButton::clicked, this, &SelfDeployWindow::deployPreferences);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(closeButton);
    buttons->addWidget(deployButton);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(buildHeader(title, icon));
    layout->addWidget(itemsTree, 1);
    layout->addWidget(statusLabel);
    layout->addWidget(progressBar);
    layout->addLayout(buttons);
    resize(520, 420);
    updateDeployButton();
}

SelfDeployWindow::~SelfDeployWindow() {
    // The job refers to this window: stop it and wait before the fields go.
    shouldCancel_ = true;
    job_.waitForFinished();
}

QWidget* SelfDeployWindow::buildHeader(const QString& title, const QImage& icon) {
    auto* header = new QWidget;
    auto* layout = new QHBoxLayout(header);
    layout->setContentsMargins(0, 0, 0, 0);
    if (!icon.isNull()) {
        auto* image = new QLabel;
        image->setPixmap(QPixmap::fromImage(icon.scaled(
            kHeaderIconSize, kHeaderIconSize, Qt::KeepAspectRatio, Qt::SmoothTransformation)));
        layout->addWidget(image);
    }
    auto* text =
        new QLabel(u"<b>%1</b><br>Deploys these settings into your account, with your "
                   u"own rights. Quit the applications listed first."_s.arg(title.toHtmlEscaped()));
    text->setWordWrap(true);
    layout->addWidget(text, 1);
    return header;
}

void SelfDeployWindow::fillTree() {
    addGroup(u"System Settings"_s, systemSettings_);
    addGroup(u"Applications"_s, applications_);
    itemsTree->expandAll();
    itemsTree->resizeColumnToContents(1);
}

void SelfDeployWindow::addGroup(const QString& name, const Items& items) {
    if (items.isEmpty())
        return;
    auto* group = new QTreeWidgetItem(itemsTree, {name});
    group->setFlags(Qt::ItemIsEnabled);
    QFont bold = group->font(0);
    bold.setBold(true);
    group->setFont(0, bold);
    for (const auto& item : items) {
        auto* row = new QTreeWidgetItem(group, {item->displayName(), contentsText(*item)});
        row->setFlags(Qt::ItemIsEnabled | Qt::ItemIsUserCheckable);
        row->setCheckState(0, item->enabled() ? Qt::Checked : Qt::Unchecked);
        if (!item->icon().isNull())
            row->setIcon(0, QPixmap::fromImage(item->icon()));
        row->setToolTip(0, toolTipText(*item));
        if (!item->description().isEmpty())
            row->setToolTip(1, item->description());
        itemsByRow_.insert(row, item);
    }
}

void SelfDeployWindow::itemChanged(QTreeWidgetItem* row) {
    const auto item = itemsByRow_.value(row);
    if (!item)
        return;
    item->setEnabled(row->checkState(0) == Qt::Checked);
    updateDeployButton();
}

void SelfDeployWindow::updateDeployButton() {
    bool anyTicked = false;
    for (const auto& item : std::as_const(itemsByRow_))
        anyTicked = anyTicked || item->enabled();
    deployButton->setEnabled(anyTicked && !deploying_);
}

void SelfDeployWindow::deployPreferences() {
    if (deploying_ || !deployer_.promptUserToQuitApplications(applications_))
        return;
    // Unlike the packager window, a fresh press deploys everything again:
    // a cancel only stops the deployment it interrupted.
    shouldCancel_ = false;
    deploying_ = true;
    itemsTree->setEnabled(false);
    progressBar->setVisible(true);
    closeButton->setText(u"&Cancel"_s);
    updateDeployButton();
    Q_EMIT deploymentStarted();
    job_ = QtConcurrent::run([this] {
        deployer_.background_deployPreferences(systemSettings_, applications_);
        QMetaObject::invokeMethod(
            this, [this] { finishDeployment(); }, Qt::QueuedConnection);
    });
}

void SelfDeployWindow::finishDeployment() {
    deploying_ = false;
    itemsTree->setEnabled(true);
    progressBar->setVisible(false);
    closeButton->setText(u"&Quit"_s);
    statusLabel->setText(shouldCancel_ ? u"The deployment was cancelled."_s
                                       : u"The settings were deployed."_s);
    updateDeployButton();
    Q_EMIT deploymentFinished();
    if (closeWhenFinished_)
        close();
}

void SelfDeployWindow::showProblems(const QStringList& problems) {
    if (problems.isEmpty())
        return;
    const QString count =
        u"%1 problem%2"_s.arg(problems.size()).arg(problems.size() == 1 ? u""_s : u"s"_s);
    statusLabel->setText(u"The deployment finished with %1."_s.arg(count));
    alerts_.showAlertOfKind(AlertKind::Warning, u"Some Settings Were Not Deployed"_s,
                            problems.join(u'\n'));
}

void SelfDeployWindow::closeOrCancel() {
    if (deploying_)
        shouldCancel_ = true;
    else
        close();
}

void SelfDeployWindow::closeEvent(QCloseEvent* event) {
    if (!deploying_) {
        event->accept();
        return;
    }
    shouldCancel_ = true;
    closeWhenFinished_ = true;
    event->ignore();
}
