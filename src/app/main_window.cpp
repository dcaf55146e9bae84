#include "app/main_window.h"

#include "controls/progress_sheet.h"

#include "controls/app_icon_image_view.h"
#include "controls/empty_state_label.h"
#include "controls/ft_path_control.h"
#include "controls/sv_list_view.h"
#include "controls/two_line_item_delegate.h"

#include <QAction>
#include <QDialog>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QMenuBar>
#include <QProgressBar>
#include <QPushButton>
#include <QScrollArea>
#include <QTabWidget>
#include <QTableWidget>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

QWidget* scrolling(SVListView* list) {
    auto* area = new QScrollArea;
    area->setWidgetResizable(true);
    area->setWidget(list);
    area->setFocusPolicy(Qt::NoFocus);
    return area;
}

QGroupBox* listGroup(const QString& title, SVListView* list, const QString& what) {
    list->setPlaceholderText(MainWindow::listPlaceholderBeforeChoosing(what));
    auto* group = new QGroupBox(title);
    auto* layout = new QVBoxLayout(group);
    layout->addWidget(scrolling(list));
    return group;
}

// Column identifiers live in the header items, where the delegate finds them.
QTableWidget* makeTable(const QList<QPair<QString, QString>>& columns) {
    auto* table = new QTableWidget(0, int(columns.size()));
    for (int i = 0; i < columns.size(); ++i) {
        auto* header = new QTableWidgetItem(columns.at(i).second);
        header->setData(Qt::UserRole, columns.at(i).first);
        table->setHorizontalHeaderItem(i, header);
    }
    table->verticalHeader()->hide();
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table->horizontalHeader()->setStretchLastSection(true);
    table->horizontalHeader()->setSectionResizeMode(0, QHeaderView::ResizeToContents);
    return table;
}

} // namespace

MainWindow::MainWindow(QWidget* parent)
    : QMainWindow(parent) {
    setWindowTitle(u"Sorvane"_s);
    resize(900, 640);
    tabs = new QTabWidget;
    tabs->addTab(buildApplicationTab(), u"A&pplication"_s);
    tabs->addTab(buildComponentsTab(), u"System &Components"_s);
    tabs->addTab(buildCheckTab(), u"Property-List Chec&k"_s);
    setCentralWidget(tabs);
    buildMenus();
    buildProgressSheet();
    buildResultSheet();
}

QWidget* MainWindow::buildApplicationTab() {
    auto* page = new QWidget;
    auto* layout = new QVBoxLayout(page);

    pathControl = new FTPathControl;
    pathControl->setMinimumHeight(28);
    pathControl->setToolTip(u"The application to reset: click to choose one, or drop it here"_s);
    layout->addWidget(pathControl);

    auto* header = new QHBoxLayout;
    iconView = new AppIconImageView;
    iconView->setFixedSize(100, 100);
    iconView->setEditable(true);
    iconView->setToolTip(u"Drop or paste an application here"_s);
    iconView->setPlaceholderText(u"Drop an application here"_s);
    header->addWidget(iconView);
    auto* labels = new QVBoxLayout;
    nameLabel = new QLabel;
    QFont big = nameLabel->font();
    big.setPointSizeF(big.pointSizeF() * 1.5);
    big.setBold(true);
    nameLabel->setFont(big);
    bundleIdentifierLabel = new QLabel;
    bundleIdentifierLabel->setTextInteractionFlags(Qt::TextSelectableByMouse);
    chooseHintLabel = new QLabel(u"No application is chosen yet: press Choose Application…, or "
                                 u"drop one on the icon or on the path above."_s);
    chooseHintLabel->setWordWrap(true);
    labels->addStretch();
    labels->addWidget(nameLabel);
    labels->addWidget(bundleIdentifierLabel);
    labels->addWidget(chooseHintLabel);
    labels->addStretch();
    header->addLayout(labels, 1);
    auto* buttons = new QVBoxLayout;
    chooseAppButton = new QPushButton(u"Ch&oose Application…"_s);
    cleanAppButton = new QPushButton(u"C&lean Application"_s);
    buttons->addStretch();
    buttons->addWidget(chooseAppButton);
    buttons->addWidget(cleanAppButton);
    buttons->addStretch();
    header->addLayout(buttons);
    layout->addLayout(header);

    domainsList = new SVListView;
    preferenceFilesList = new SVListView;
    cachesList = new SVListView;
    auto* lists = new QHBoxLayout;
    lists->addWidget(listGroup(u"Defaults Domains"_s, domainsList, u"domains"_s));
    lists->addWidget(listGroup(u"Preference Files"_s, preferenceFilesList, u"preference files"_s));
    lists->addWidget(listGroup(u"Caches"_s, cachesList, u"caches"_s));
    layout->addLayout(lists, 1);
    return page;
}

QWidget* MainWindow::buildComponentsTab() {
    auto* page = new QWidget;
    auto* layout = new QVBoxLayout(page);
    componentsTable = makeTable({{u"selection"_s, QString()},
                                 {u"component"_s, u"Component"_s},
                                 {u"description"_s, u"Description"_s}});
    componentsTable->horizontalHeader()->setSectionsClickable(true);
    componentsTable->horizontalHeader()->setSectionResizeMode(1, QHeaderView::ResizeToContents);
    componentsTable->horizontalHeader()->setSortIndicator(1, Qt::AscendingOrder);
    componentsTable->horizontalHeader()->setSortIndicatorShown(true);
    componentsEmptyState = EmptyStateLabel::overView(
        componentsTable, u"No system components are listed: Sorvane's catalogue of system "
                         u"components could not be read. Reinstalling Sorvane puts it back."_s);
    layout->addWidget(componentsTable, 1);
    auto* row = new QHBoxLayout;
    row->addStretch();
    cleanComponentsButton = new QPushButton(u"Clean &Selected Components"_s);
    row->addWidget(cleanComponentsButton);
    layout->addLayout(row);
    return page;
}

QWidget* MainWindow::buildCheckTab() {
    auto* page = new QWidget;
    auto* layout = new QVBoxLayout(page);
    auto* top = new QHBoxLayout;
    checkUserButton = new QPushButton(u"Check &User Preferences"_s);
    checkSystemButton = new QPushButton(u"Check S&ystem Preferences"_s);
    top->addWidget(checkUserButton);
    top->addWidget(checkSystemButton);
    top->addStretch();
    layout->addLayout(top);
    failuresTable = makeTable({{u"select"_s, QString()}, {u"file"_s, u"Damaged File"_s}});
    // Each file's message, which is its cell's tool tip, is read in the row too.
    failuresTable->setItemDelegateForColumn(
        1, new TwoLineItemDelegate(Qt::ToolTipRole, failuresTable));
    failuresTable->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    failuresTable->verticalHeader()->setDefaultSectionSize(
        TwoLineItemDelegate::rowHeight(failuresTable->font()));
    failuresEmptyState = EmptyStateLabel::overView(failuresTable, failuresPlaceholderBeforeCheck());
    layout->addWidget(failuresTable, 1);
    auto* bottom = new QHBoxLayout;
    toggleFailuresButton = new QPushButton(u"&Invert Selection"_s);
    deleteFailuresButton = new QPushButton(u"&Delete Selected"_s);
    bottom->addStretch();
    bottom->addWidget(toggleFailuresButton);
    bottom->addWidget(deleteFailuresButton);
    layout->addLayout(bottom);
    return page;
}

QString MainWindow::listPlaceholderBeforeChoosing(const QString& what) {
    return u"Choose an application to list its %1 here."_s.arg(what);
}

QString MainWindow::listPlaceholderAfterSearch(const QString& what) {
    return u"No %1 were found for this application."_s.arg(what);
}

QString MainWindow::failuresPlaceholderBeforeCheck() {
    return u"Press Check User Preferences to look for damaged settings files among your own, "
           u"or Check System Preferences for the system's. Damaged files are listed here, "
           u"each with what is wrong with it."_s;
}

QString MainWindow::failuresPlaceholderAfterCheck() {
    return u"No damaged files were found in the last check: nothing needs to be deleted."_s;
}

void MainWindow::buildMenus() {
    QMenu* file = menuBar()->addMenu(u"&File"_s);
    browseAction = file->addAction(u"&Choose Application…"_s);
    browseAction->setShortcut(QKeySequence::Open);
    packagerAction = file->addAction(u"&Preference Packager…"_s);
    packagerAction->setShortcut(u"Ctrl+Shift+P"_s);
    deployAction = file->addAction(u"&Deploy Package…"_s);
    file->addSeparator();
    quitAction = file->addAction(u"&Quit"_s);
    quitAction->setShortcut(QKeySequence::Quit);

    QMenu* edit = menuBar()->addMenu(u"&Edit"_s);
    pasteAction = edit->addAction(u"&Paste Application"_s);
    pasteAction->setShortcut(QKeySequence::Paste);
    pasteAction->setShortcutContext(Qt::WindowShortcut);
    edit->addSeparator();
    undoCleaningAction = edit->addAction(u"&Undo Last Cleaning"_s);
    cleaningHistoryAction = edit->addAction(u"Cleaning &History…"_s);

    QMenu* actions = menuBar()->addMenu(u"&Actions"_s);
    cleanAppAction = actions->addAction(u"Clean &Application"_s);
    cleanAppAction->setShortcut(u"Ctrl+Backspace"_s);
    cleanComponentsAction = actions->addAction(u"Clean Selected &Components"_s);
    actions->addSeparator();
    checkUserAction = actions->addAction(u"Check &User Preferences"_s);
    checkSystemAction = actions->addAction(u"Check &System Preferences"_s);

    QMenu* window = menuBar()->addMenu(u"&Window"_s);
    showMainWindowAction = window->addAction(u"&Main Window"_s);
    showMainWindowAction->setShortcut(u"Ctrl+1"_s);

    QMenu* help = menuBar()->addMenu(u"&Help"_s);
    helpAction = help->addAction(u"Sorvane &Help"_s);
    helpAction->setShortcut(QKeySequence::HelpContents);
    websiteAction = help->addAction(u"Brisvale &Website"_s);
    updatesAction = help->addAction(u"Check for &Updates…"_s);
}

void MainWindow::buildProgressSheet() {
    progressSheet = new ProgressSheet(this, u"Working"_s);
    progressLabel = progressSheet->label();
    progressBar = progressSheet->progressBar();
    progressCancelButton = progressSheet->cancelButton();
}

void MainWindow::buildResultSheet() {
    opCompleteSheet = new QDialog(this);
    opCompleteSheet->setWindowModality(Qt::WindowModal);
    opCompleteSheet->setWindowTitle(u"Sorvane"_s);
    auto* layout = new QVBoxLayout(opCompleteSheet);
    opCompleteMessageLabel = new QLabel;
    QFont bold = opCompleteMessageLabel->font();
    bold.setBold(true);
    opCompleteMessageLabel->setFont(bold);
    opCompleteInfoLabel = new QLabel;
    opCompleteRebootLabel = new QLabel(
        u"System components keep their settings in memory: restart the computer for the reset "
        u"to take effect."_s);
    opCompleteRebootLabel->setWordWrap(true);
    layout->addWidget(opCompleteMessageLabel);
    layout->addWidget(opCompleteInfoLabel);
    layout->addWidget(opCompleteRebootLabel);
    auto* row = new QHBoxLayout;
    row->addStretch();
    opCompleteRebootButton = new QPushButton(u"&Restart"_s);
    opCompleteCloseButton = new QPushButton(u"&Close"_s);
    opCompleteCloseButton->setDefault(true);
    row->addWidget(opCompleteRebootButton);
    row->addWidget(opCompleteCloseButton);
    layout->addLayout(row);
}
