#pragma once

#include <QString>
#include <QUrl>

// One property-list file that failed the check: its path, the checker's
// message (already shortened) and whether its row is ticked for deletion.
class PlutilError {
public:
    PlutilError(const QString& path, const QString& error);
    static PlutilError plutilErrorWithPath(const QString& path, const QString& error);

    QString path() const { return path_; }
    QUrl url() const { return QUrl::fromLocalFile(path_); }
    QString error() const { return errorString_; }
    bool selected() const { return selected_; }
    void setSelected(bool selected) { selected_ = selected; }
    void toggleSelected() { selected_ = !selected_; }
    // A tick box's new state: ticked exactly when it is fully on.
    void checkboxAction(Qt::CheckState state) { selected_ = state == Qt::Checked; }

private:
    QString path_;
    QString errorString_;
    bool selected_ = true;
};
