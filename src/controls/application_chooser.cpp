#include "controls/application_chooser.h"

#include "util/natural_compare.h"

#include <QAbstractListModel>
#include <QApplication>
#include <QDialogButtonBox>
#include <QDir>
#include <QFileInfo>
#include <QHash>
#include <QIcon>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPainter>
#include <QPushButton>
#include <QStackedWidget>
#include <QStyle>
#include <QStyledItemDelegate>
#include <QVBoxLayout>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

constexpr int kIconSize = 32;
// The identifier, drawn on the second line of a row.
constexpr int kIdentifierRole = Qt::UserRole + 1;
// How much of the text colour the identifier line keeps.
constexpr qreal kIdentifierOpacity = 0.65;

bool listedBefore(const ApplicationEntry& a, const ApplicationEntry& b) {
    const int byName = sv::localizedStandardCompare(a.name, b.name);
    if (byName != 0)
        return byName < 0;
    // Same-named applications keep one order from run to run.
    return sv::localizedStandardCompare(a.identifier, b.identifier) < 0;
}

QList<ApplicationEntry> listedByName(QList<ApplicationEntry> entries) {
    entries.removeIf([](const ApplicationEntry& entry) { return entry.hidden; });
    std::stable_sort(entries.begin(), entries.end(), listedBefore);
    return entries;
}

bool matches(const ApplicationEntry& entry, const QString& text) {
    return entry.name.contains(text, Qt::CaseInsensitive) ||
           entry.identifier.contains(text, Qt::CaseInsensitive);
}

// Draws a row as its icon beside two lines: the name, and under it the
// identifier in a dimmer colour. Its size never depends on the row, so the
// list can take one row's size for all and never touch the others.
class ApplicationRowDelegate : public QStyledItemDelegate {
public:
    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override {
        QStyleOptionViewItem item = option;
        initStyleOption(&item, index);
        const QString name = item.text;
        // The style draws background, selection, icon and focus; the two
        // lines of text are drawn here.
        item.text.clear();
        QStyle* style = item.widget ? item.widget->style() : QApplication::style();
        style->drawControl(QStyle::CE_ItemViewItem, &item, painter, item.widget);
        drawLines(painter, item, textArea(item, style), name,
                  index.data(kIdentifierRole).toString());
    }

    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex&) const override {
        const QFontMetrics metrics(option.font);
        const int textHeight = 2 * metrics.lineSpacing();
        const int height = std::max(kIconSize, textHeight) + 2 * kPadding;
        return {kIconSize + 3 * kPadding + 24 * metrics.averageCharWidth(), height};
    }

private:
    static constexpr int kPadding = 4;

    static QRect textArea(const QStyleOptionViewItem& item, const QStyle* style) {
        const QRect icon =
            style->subElementRect(QStyle::SE_ItemViewItemDecoration, &item, item.widget);
        QRect area = item.rect.adjusted(kPadding, 0, -kPadding, 0);
        if (item.direction == Qt::RightToLeft)
            area.setRight(icon.left() - 2 * kPadding);
        else
            area.setLeft(icon.right() + 2 * kPadding);
        return area;
    }

    static void drawLines(QPainter* painter, const QStyleOptionViewItem& item, const QRect& area,
                          const QString& name, const QString& identifier) {
        const bool selected = item.state.testFlag(QStyle::State_Selected);
        const QPalette::ColorGroup group =
            item.state.testFlag(QStyle::State_Enabled) ? QPalette::Normal : QPalette::Disabled;
        QColor colour =
            item.palette.color(group, selected ? QPalette::HighlightedText : QPalette::Text);
        const QFontMetrics metrics(item.font);
        const int line = metrics.lineSpacing();
        QRect nameLine(area.left(), area.top() + (area.height() - 2 * line) / 2, area.width(),
                       line);
        const QRect identifierLine = nameLine.translated(0, line);
        const Qt::Alignment align = Qt::AlignVCenter | Qt::AlignLeading;

        painter->save();
        painter->setFont(item.font);
        painter->setPen(colour);
        painter->drawText(nameLine, align, metrics.elidedText(name, Qt::ElideRight, area.width()));
        colour.setAlphaF(kIdentifierOpacity);
        painter->setPen(colour);
        painter->drawText(identifierLine, align,
                          metrics.elidedText(identifier, Qt::ElideMiddle, area.width()));
        painter->restore();
    }
};

} // namespace

// The listed entries in name order, narrowed by the filter text. Icons are
// made in data() because the view asks only for the rows it draws.
class ApplicationChooser::Model : public QAbstractListModel {
public:
    Model(QList<ApplicationEntry> entries, QObject* parent)
        : QAbstractListModel(parent)
        , entries_(listedByName(std::move(entries))) {
        setFilterText(QString());
    }

    int rowCount(const QModelIndex& parent = QModelIndex()) const override {
        return parent.isValid() ? 0 : static_cast<int>(rows_.size());
    }

    QVariant data(const QModelIndex& index, int role) const override {
        if (!checkIndex(index, CheckIndexOption::IndexIsValid))
            return {};
        const ApplicationEntry& entry = entryAt(index.row());
        switch (role) {
        case Qt::DisplayRole:
            return entry.name;
        case kIdentifierRole:
        case Qt::AccessibleDescriptionRole:
            return entry.identifier;
        case Qt::ToolTipRole:
            return entry.url.toDisplayString(QUrl::PreferLocalFile);
        case Qt::DecorationRole:
            return iconNamed(entry.iconName);
        default:
            return {};
        }
    }

    void setFilterText(const QString& text) {
        beginResetModel();
        rows_.clear();
        for (qsizetype i = 0; i < entries_.size(); ++i) {
            if (matches(entries_.at(i), text))
                rows_.append(i);
        }
        endResetModel();
    }

    const ApplicationEntry& entryAt(int row) const { return entries_.at(rows_.at(row)); }
    bool hasEntries() const { return !entries_.isEmpty(); }
    int iconLookupCount() const { return lookups_; }

private:
    QIcon iconNamed(const QString& name) const {
        auto found = icons_.constFind(name);
        if (found == icons_.constEnd()) {
            ++lookups_;
            found = icons_.insert(name, resolveIcon(name));
        }
        return found.value();
    }

    QIcon resolveIcon(const QString& name) const {
        QIcon icon;
        if (QDir::isAbsolutePath(name)) {
            // A path's icon is never null, even when nothing can be read.
            if (QFileInfo(name).isFile())
                icon = QIcon(name);
        } else if (!name.isEmpty()) {
            icon = QIcon::fromTheme(name);
        }
        return icon.isNull() ? fallbackIcon() : icon;
    }

    const QIcon& fallbackIcon() const {
        if (fallback_.isNull()) {
            fallback_ = QIcon::fromTheme(u"application-x-executable"_s);
            if (fallback_.isNull())
                fallback_ = QApplication::style()->standardIcon(QStyle::SP_FileIcon);
        }
        return fallback_;
    }

    QList<ApplicationEntry> entries_;
    // Indexes into entries_ of the rows shown.
    QList<qsizetype> rows_;
    mutable QHash<QString, QIcon> icons_;
    mutable QIcon fallback_;
    mutable int lookups_ = 0;
};

ApplicationChooser::ApplicationChooser(QList<ApplicationEntry> entries, QWidget* parent)
    : QDialog(parent)
    , model_(new Model(std::move(entries), this))
    , filter_(new QLineEdit)
    , list_(new QListView)
    , emptyLabel_(new QLabel)
    , stack_(new QStackedWidget)
    , choose_(nullptr) {
    setWindowModality(Qt::WindowModal);
    setWindowTitle(u"Choose Application"_s);

    filter_->setPlaceholderText(u"Type to filter by name or identifier"_s);
    filter_->setClearButtonEnabled(true);
    filter_->installEventFilter(this);

    list_->setModel(model_);
    list_->setItemDelegate(new ApplicationRowDelegate(list_));
    list_->setIconSize(QSize(kIconSize, kIconSize));
    // One row's size stands for all, so hundreds of rows cost one
    // measurement; the delegate's size never asks for an icon either.
    list_->setUniformItemSizes(true);
    list_->setSelectionMode(QAbstractItemView::SingleSelection);
    list_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    list_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);

    emptyLabel_->setAlignment(Qt::AlignCenter);
    emptyLabel_->setWordWrap(true);
    // The filter text is shown as typed, never as markup.
    emptyLabel_->setTextFormat(Qt::PlainText);
    stack_->addWidget(list_);
    stack_->addWidget(emptyLabel_);

    auto* buttons = new QDialogButtonBox;
    choose_ = buttons->addButton(u"&Choose"_s, QDialogButtonBox::AcceptRole);
    QPushButton* cancel = buttons->addButton(u"Cancel"_s, QDialogButtonBox::RejectRole);
    choose_->setDefault(true);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(new QLabel(u"Choose the application whose settings Sorvane should find."_s));
    layout->addWidget(filter_);
    layout->addWidget(stack_, 1);
    layout->addWidget(buttons);
    setTabOrder(filter_, list_);
    setTabOrder(list_, choose_);
    setTabOrder(choose_, cancel);
    resize(460, 480);

    connect(filter_, &QLineEdit::textChanged, this, &ApplicationChooser::applyFilter);
    connect(list_->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            &ApplicationChooser::updateChooseButton);
    connect(list_, &QAbstractItemView::doubleClicked, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

    applyFilter(QString());
    filter_->setFocus();
}

int ApplicationChooser::visibleCount() const {
    return model_->rowCount();
}

int ApplicationChooser::iconLookupCount() const {
    return model_->iconLookupCount();
}

void ApplicationChooser::done(int result) {
    if (result == QDialog::Accepted) {
        chosen_ = selectedEntry();
        // Return or a double-click with nothing selected leaves it open.
        if (!chosen_)
            return;
    } else {
        chosen_.reset();
    }
    QDialog::done(result);
}

bool ApplicationChooser::eventFilter(QObject* watched, QEvent* event) {
    if (watched == filter_ && event->type() == QEvent::KeyPress) {
        auto* key = static_cast<QKeyEvent*>(event);
        if (forwardsToList(*key)) {
            QCoreApplication::sendEvent(list_, key);
            return true;
        }
    }
    return QDialog::eventFilter(watched, event);
}

// Keys that move through the list go there, so that the user can type and
// pick without leaving the field. With Shift or Control, Home and End keep
// selecting text in the field.
bool ApplicationChooser::forwardsToList(const QKeyEvent& event) const {
    if ((event.modifiers() & ~Qt::KeypadModifier) != Qt::NoModifier)
        return false;
    switch (event.key()) {
    case Qt::Key_Up:
    case Qt::Key_Down:
    case Qt::Key_PageUp:
    case Qt::Key_PageDown:
    case Qt::Key_Home:
    case Qt::Key_End:
        return true;
    default:
        return false;
    }
}

void ApplicationChooser::applyFilter(const QString& text) {
    model_->setFilterText(text);
    if (model_->rowCount() > 0)
        list_->setCurrentIndex(model_->index(0));
    showListOrEmptyState();
    // A reset clears the selection without telling anyone.
    updateChooseButton();
}

void ApplicationChooser::showListOrEmptyState() {
    if (model_->rowCount() > 0) {
        stack_->setCurrentWidget(list_);
        return;
    }
    emptyLabel_->setText(model_->hasEntries()
                             ? u"No application matches \"%1\"."_s.arg(filter_->text())
                             : u"No installed applications were found."_s);
    stack_->setCurrentWidget(emptyLabel_);
}

void ApplicationChooser::updateChooseButton() {
    choose_->setEnabled(selectedEntry().has_value());
}

std::optional<ApplicationEntry> ApplicationChooser::selectedEntry() const {
    const QModelIndexList selected = list_->selectionModel()->selectedIndexes();
    if (selected.isEmpty())
        return std::nullopt;
    return model_->entryAt(selected.first().row());
}
