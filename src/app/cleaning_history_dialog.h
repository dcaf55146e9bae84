#pragma once

#include "workflows/cleaning_backup.h"

#include <QDialog>
#include <QList>

class CleaningBackupStore;
class QLabel;
class QPlainTextEdit;
class QPushButton;
class QTreeWidget;

// "Cleaning History": the backups Sorvane keeps of its cleanings, newest
// first, each with its date, what was cleaned, what the backup holds and when
// it was restored; below them what the chosen one could not keep. Restore
// and Discard act on the chosen backup through the dialog's owner, which
// knows the alerts and the settings system; the dialog reloads and shows the
// outcome in its status line.
class CleaningHistoryDialog : public QDialog {
    Q_OBJECT

public:
    explicit CleaningHistoryDialog(CleaningBackupStore& store, QWidget* parent = nullptr);

    // Lists the store's backups again, keeping the chosen one when it is there.
    void reload();
    void setStatus(const QString& text);
    // The chosen backup's identifier; empty when none is chosen.
    QString selectedId() const;
    void selectId(const QString& id);

    QTreeWidget* list() const { return list_; }
    QPushButton* restoreButton() const { return restoreButton_; }
    QPushButton* discardButton() const { return discardButton_; }
    QLabel* statusLabel() const { return status_; }
    QPlainTextEdit* details() const { return details_; }

Q_SIGNALS:
    void restoreRequested(const QString& id);
    void discardRequested(const QString& id);

private:
    void showDetails();

    CleaningBackupStore& store_;
    QList<CleaningBackup> shown_;
    QTreeWidget* list_ = nullptr;
    QPlainTextEdit* details_ = nullptr;
    QLabel* status_ = nullptr;
    QPushButton* restoreButton_ = nullptr;
    QPushButton* discardButton_ = nullptr;
};
