#pragma once

#include "workflows/settings_system.h"

#include <QDialog>

#include <optional>

class QKeyEvent;
class QLabel;
class QLineEdit;
class QListView;
class QPushButton;
class QStackedWidget;

// How the user picks the target application on the Linux desktop: a
// window-modal dialog listing the installed applications (icon, name,
// identifier) by name, filtered as the user types. It must come up at once
// with hundreds of entries, so icons are only resolved for the rows that are
// drawn, each icon name once. Everything works from the keyboard: the filter
// field keeps the focus and passes list-movement keys on to the list.
class ApplicationChooser : public QDialog {
    Q_OBJECT

public:
    // Hidden entries are left out.
    explicit ApplicationChooser(QList<ApplicationEntry> entries, QWidget* parent = nullptr);

    // The chosen entry after the dialog was accepted; nothing otherwise.
    std::optional<ApplicationEntry> chosenEntry() const { return chosen_; }

    // For tests and keyboard users.
    QLineEdit* filterField() const { return filter_; }
    QListView* listView() const { return list_; }
    QPushButton* chooseButton() const { return choose_; }
    // Stands in for the list when no row is shown.
    QLabel* emptyLabel() const { return emptyLabel_; }

    // Rows shown after filtering.
    int visibleCount() const;
    // How many icon names have been resolved into icons so far: a name is
    // resolved the first time a row with it is drawn, then reused.
    int iconLookupCount() const;

    // Accepting takes the selected row; with none, the dialog stays open.
    void done(int result) override;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    class Model;

    void applyFilter(const QString& text);
    void showListOrEmptyState();
    void updateChooseButton();
    std::optional<ApplicationEntry> selectedEntry() const;
    bool forwardsToList(const QKeyEvent& event) const;

    Model* model_;
    QLineEdit* filter_;
    QListView* list_;
    QLabel* emptyLabel_;
    QStackedWidget* stack_;
    QPushButton* choose_;
    std::optional<ApplicationEntry> chosen_;
};
