#pragma once

#include <QDialog>

class QLabel;
class QProgressBar;
class QPushButton;

// The window-modal sheet that stands over a window while a job runs: a
// message, an indeterminate progress bar and a Cancel button. Showing,
// closing and relabelling may be asked from any thread; they run on the GUI
// thread and never block the caller. Only the job closes the sheet: Escape
// does not.
class ProgressSheet : public QDialog {
    Q_OBJECT

public:
    ProgressSheet(QWidget* window, const QString& title);

    QLabel* label() const { return label_; }
    QProgressBar* progressBar() const { return bar_; }
    QPushButton* cancelButton() const { return cancel_; }

    void showWithMessage(const QString& message);
    void closeSheet();
    void setMessage(const QString& message);

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    QLabel* label_;
    QProgressBar* bar_;
    QPushButton* cancel_;
};
