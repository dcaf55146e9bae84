#include "app/sv_kolvane_packager.h"

#include "controls/application_picker.h"
#include "controls/checkbox_table_cell_view.h"
#include "controls/empty_state_label.h"
#include "controls/progress_sheet.h"
#include "controls/show_alert.h"
#include "packager/package_reader.h"
#include "platform/bundle.h"
#include "ui_preference_packager.h"
#include "workflows/settings_system.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QDragMoveEvent>
#include <QDropEvent>
#include <QHeaderView>
#include <QLabel>
#include <QMimeData>
#include <QProgressBar>
#include <QPushButton>
#include <QSplitter>
#include <QTableWidget>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace {

const QString kSelect = u"select"_s;
const QString kName = u"name"_s;
constexpr int kIconSize = 24;
// Room above and below a row's tallest content.
constexpr int kRowPadding = 6;
// The share of the window's width each table gets at first.
constexpr int kSystemSettingsStretch = 2;
constexpr int kApplicationsStretch = 1;

QString columnIdentifier(const QTableWidget* table, int column) {
    const QTableWidgetItem* header = table->horizontalHeaderItem(column);
    return header ? header->data(Qt::UserRole).toString() : QString();
}

} // namespace

SVKolvanePackager* SVKolvanePackager::sharedPackager() {
    // Deliberately never released: the creation window keeps its ticks and
    // dropped applications for the life of the application, and its widgets
    // must not outlive the application object in a destructor of their own.
    static SVKolvanePackager* const shared = new SVKolvanePackager();
    return shared;
}

SVKolvanePackager::SVKolvanePackager(RunningApplicationQuery* running)
    : SVKolvanePackager(false, running) {
    loadNib();
}

SVKolvanePackager::SVKolvanePackager(bool deployment, RunningApplicationQuery* running)
    : deploymentMode(deployment)
    , running_(running) {}

SVKolvanePackager::~SVKolvanePackager() {
    // A job still running reads this packager's items and flag: stop it and
    // let it finish before they go.
    shouldCancel = true;
    waitForBackgroundWork();
}

std::unique_ptr<SVKolvanePackager>
SVKolvanePackager::initWithKolvaneUrl(const QUrl& url, RunningApplicationQuery& running) {
    ShowAlertPresenter alerts;
    PackageReader reader(alerts, Bundle::mainBundle().version());
    if (!reader.initWithKolvaneUrl(url))
        return nullptr;
    std::unique_ptr<SVKolvanePackager> packager(new SVKolvanePackager(true, &running));
    packager->packageUrl = url;
    packager->systemSettings = reader.systemSettings();
    packager->applications = reader.applications();
    packager->loadNib();
    return packager;
}

void SVKolvanePackager::loadNib() {
    window_ = std::make_unique<QWidget>();
    ui_ = std::make_unique<Ui::PreferencePackager>();
    ui_->setupUi(window_.get());
    window = window_.get();
    systemSettingsTable = ui_->systemSettingsTable;
    applicationsTable = ui_->applicationsTable;
    applicationsLabel = ui_->applicationsLabel;
    createPackageButton = ui_->createPackageButton;
    addApplicationButton = ui_->addApplicationButton;
    deployPrefsButton = ui_->deployPrefsButton;
    setUpTable(systemSettingsTable, {kSelect, kName, u"description"_s});
    setUpTable(applicationsTable, {kSelect, kName});
    ui_->tablesSplitter->setStretchFactor(0, kSystemSettingsStretch);
    ui_->tablesSplitter->setStretchFactor(1, kApplicationsStretch);
    buildProgressSheet();
    connect(createPackageButton, &QPushButton::clicked, this, [this] { createPackage(); });
    connect(addApplicationButton, &QPushButton::clicked, this, [this] { addApplication(); });
    connect(deployPrefsButton, &QPushButton::clicked, this, [this] { deployPreferences(); });
    window->installEventFilter(this);
    awakeFromNib();
}

// Every row of both tables is as tall as the tallest thing a row can hold (a
// tick box, an application's icon, a line of text), so rows never differ;
// the user sizes the columns, which start as wide as their contents.
void SVKolvanePackager::setUpTable(QTableWidget* table, const QStringList& identifiers) {
    for (int column = 0; column < identifiers.size(); ++column) {
        if (QTableWidgetItem* header = table->horizontalHeaderItem(column))
            header->setData(Qt::UserRole, identifiers.at(column));
    }
    QHeaderView* columns = table->horizontalHeader();
    columns->setSectionResizeMode(QHeaderView::Interactive);
    columns->setSectionResizeMode(0, QHeaderView::ResizeToContents);
    columns->setStretchLastSection(true);
    table->setIconSize(QSize(kIconSize, kIconSize));
    const int rowHeight = std::max({table->fontMetrics().height(), kIconSize,
                                    CheckboxTableCellView().sizeHint().height()}) +
                          kRowPadding;
    table->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    table->verticalHeader()->setMinimumSectionSize(1);
    table->verticalHeader()->setDefaultSectionSize(rowHeight);
    table->setTextElideMode(Qt::ElideRight);
}

// Widens the columns between the tick boxes and the last, stretching one to
// their contents; a column the user made wider stays so.
void SVKolvanePackager::fitColumnsToContents(QTableWidget* table) {
    QHeaderView* columns = table->horizontalHeader();
    for (int column = 1; column + 1 < table->columnCount(); ++column) {
        const int chosen = columns->sectionSize(column);
        table->resizeColumnToContents(column);
        if (columns->sectionSize(column) < chosen)
            columns->resizeSection(column, chosen);
    }
}

void SVKolvanePackager::buildProgressSheet() {
    progressSheet = new ProgressSheet(window, u"Preference Packager"_s);
    progressLabel = progressSheet->label();
    progressBar = progressSheet->progressBar();
    progressCancelButton = progressSheet->cancelButton();
    connect(progressCancelButton, &QPushButton::clicked, this, [this] { progressSheet_cancel(); });
}

void SVKolvanePackager::awakeFromNib() {
    if (awokeFromNib)
        return;
    // Qt keeps no Windows menu of its own, so there is nothing to exclude
    // the window from.
    applicationsTable->viewport()->setAcceptDrops(true);
    applicationsTable->viewport()->installEventFilter(this);
    createPackageButton->setVisible(!deploymentMode);
    addApplicationButton->setVisible(!deploymentMode);
    deployPrefsButton->setVisible(deploymentMode);
    if (!deploymentMode) {
        systemSettings = SVPPItem::loadData().value_or(Items());
        applications.clear();
    }
    // Drops are refused in a deployment window, so only creation invites
    // them; deployment windows are told apart by their package's name.
    applicationsLabel->setText(deploymentMode ? u"&Applications"_s
                                              : u"&Applications (drop applications here)"_s);
    window->setWindowTitle(deploymentMode ? u"%1 – Deploy Preference Package"_s.arg(
                                                packageUrl.fileName(QUrl::FullyDecoded))
                                          : u"Preference Packager"_s);
    EmptyStateLabel::overView(
        systemSettingsTable,
        deploymentMode ? u"This package holds no system settings."_s
                       : u"No components are listed: the packager's catalogue could not be read. "
                         u"Reinstalling Sorvane puts it back."_s);
    EmptyStateLabel::overView(applicationsTable,
                              deploymentMode ? u"This package holds no application settings."_s
                                             : u"Drop applications here, or add them with Add "
                                               u"Application…, to package their settings."_s);
    reloadTable(systemSettingsTable);
    reloadTable(applicationsTable);
    awokeFromNib = true;
}

void SVKolvanePackager::displayWindow() {
    window->show();
    window->raise();
    window->activateWindow();
}

const SVKolvanePackager::Items* SVKolvanePackager::itemsOfTable(const QTableWidget* table) const {
    if (table == systemSettingsTable)
        return &systemSettings;
    if (table == applicationsTable)
        return &applications;
    return nullptr;
}

int SVKolvanePackager::numberOfRowsInTableView(const QTableWidget* table) const {
    const Items* items = itemsOfTable(table);
    return items ? int(items->size()) : 0;
}

void SVKolvanePackager::reloadTable(QTableWidget* table) {
    const Items* items = itemsOfTable(table);
    table->setRowCount(0);
    table->setRowCount(numberOfRowsInTableView(table));
    for (int row = 0; items && row < items->size(); ++row)
        fillRow(table, row, *items->at(row));
    fitColumnsToContents(table);
}

void SVKolvanePackager::fillRow(QTableWidget* table, int row, const SVPPItem& item) {
    // The rows hold the items weakly: a reload replaces every cell.
    const std::weak_ptr<SVPPItem> weak = itemsOfTable(table)->at(row);
    for (int column = 0; column < table->columnCount(); ++column) {
        const QString identifier = columnIdentifier(table, column);
        if (identifier == kSelect) {
            auto* cell = new CheckboxTableCellView;
            cell->checkbox()->setCheckState(item.enabled() ? Qt::Checked : Qt::Unchecked);
            connect(cell->checkbox(), &QCheckBox::stateChanged, this, [weak](int state) {
                if (const auto target = weak.lock())
                    target->select(Qt::CheckState(state));
            });
            table->setCellWidget(row, column, cell);
        } else if (table == applicationsTable) {
            auto* name = new QTableWidgetItem(item.displayName());
            if (!item.icon().isNull())
                name->setIcon(QIcon(QPixmap::fromImage(item.icon().scaled(
                    kIconSize, kIconSize, Qt::KeepAspectRatio, Qt::SmoothTransformation))));
            table->setItem(row, column, name);
        } else {
            auto* cell =
                new QTableWidgetItem(identifier == kName ? item.displayName() : item.description());
            // Rows never wrap: a text cut at the column's edge is read whole here.
            cell->setToolTip(cell->text());
            table->setItem(row, column, cell);
        }
    }
}

void SVKolvanePackager::addApplication() {
    const auto url = ApplicationPicker::pick(window, SettingsSystem::current());
    if (!url)
        return;
    if (auto item = SVPPItem::itemWithAppUrl(*url)) {
        applications.append(std::move(item));
        reloadTable(applicationsTable);
    }
}

int SVKolvanePackager::tableViewValidateDrop(const QTableWidget* table, const QMimeData*,
                                             int proposedDropOperation) const {
    if (table != applicationsTable || deploymentMode)
        return kDragOperationNone;
    // Deliberately compared with the move operation's value: table drops are
    // on (0) or above (1) a row, so every accepted drop is offered as a link.
    return proposedDropOperation == kDragOperationMove ? kDragOperationMove : kDragOperationLink;
}

bool SVKolvanePackager::tableViewAcceptDrop(const QTableWidget* table, const QMimeData* info,
                                            const QObject* dragSource) {
    if (table != applicationsTable || deploymentMode)
        return false;
    QList<QUrl> urls;
    if (info) {
        for (const QUrl& url : info->urls()) {
            if (url.isLocalFile())
                urls.append(url);
        }
    }
    if (urls.isEmpty())
        return false;
    if (dragSource &&
        (dragSource == applicationsTable || dragSource == applicationsTable->viewport()))
        return false;
    for (const QUrl& url : urls) {
        if (auto item = SVPPItem::itemWithAppUrl(url))
            applications.append(std::move(item));
    }
    reloadTable(applicationsTable);
    return true;
}

bool SVKolvanePackager::handleDragEvent(QEvent* event) {
    switch (event->type()) {
    case QEvent::DragEnter:
    case QEvent::DragMove: {
        auto* drag = static_cast<QDragMoveEvent*>(event);
        const int answer = tableViewValidateDrop(applicationsTable, drag->mimeData(), kDropOn);
        if (answer == kDragOperationNone || !drag->mimeData()->hasUrls()) {
            drag->ignore();
            return true;
        }
        drag->setDropAction(answer == kDragOperationMove ? Qt::MoveAction : Qt::LinkAction);
        drag->accept();
        return true;
    }
    case QEvent::Drop: {
        auto* drop = static_cast<QDropEvent*>(event);
        if (tableViewAcceptDrop(applicationsTable, drop->mimeData(), drop->source())) {
            drop->setDropAction(Qt::LinkAction);
            drop->accept();
        } else {
            drop->ignore();
        }
        return true;
    }
    default:
        return false;
    }
}

bool SVKolvanePackager::eventFilter(QObject* watched, QEvent* event) {
    if (applicationsTable && watched == applicationsTable->viewport())
        return handleDragEvent(event) || QObject::eventFilter(watched, event);
    if (watched == window && event->type() == QEvent::Close)
        windowWillClose();
    return QObject::eventFilter(watched, event);
}

void SVKolvanePackager::showProgressSheetWithMessage(const QString& message) {
    progressSheet->showWithMessage(message);
}

void SVKolvanePackager::closeProgressSheet() {
    progressSheet->closeSheet();
}

void SVKolvanePackager::setProgressLabel(const QString& text) {
    progressSheet->setMessage(text);
}

void SVKolvanePackager::progressSheet_cancel() {
    shouldCancel = true;
}

void SVKolvanePackager::windowWillClose() {
    if (!delegate)
        return;
    QPointer<SVKolvanePackager> self = this;
    SVKolvanePackagerDelegate* target = delegate;
    QTimer::singleShot(10, this, [self, target] {
        if (self)
            target->packagerDidClose(self);
    });
}
