#include "controls/progress_sheet.h"

#include <QCoreApplication>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QThread>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;

namespace {

bool onGuiThread() {
    return QThread::currentThread() == QCoreApplication::instance()->thread();
}

} // namespace

ProgressSheet::ProgressSheet(QWidget* window, const QString& title)
    : QDialog(window)
    , label_(new QLabel)
    , bar_(new QProgressBar)
    , cancel_(new QPushButton(u"&Cancel"_s)) {
    setWindowModality(Qt::WindowModal);
    setWindowTitle(title);
    bar_->setRange(0, 1);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(label_);
    layout->addWidget(bar_);
    auto* row = new QHBoxLayout;
    row->addStretch();
    row->addWidget(cancel_);
    layout->addLayout(row);
}

void ProgressSheet::showWithMessage(const QString& message) {
    if (!onGuiThread()) {
        QMetaObject::invokeMethod(
            this, [this, message] { showWithMessage(message); }, Qt::QueuedConnection);
        return;
    }
    label_->setText(message);
    bar_->setRange(0, 0); // indeterminate: animates
    open();
}

void ProgressSheet::closeSheet() {
    if (!onGuiThread()) {
        QMetaObject::invokeMethod(
            this, [this] { closeSheet(); }, Qt::QueuedConnection);
        return;
    }
    bar_->setRange(0, 1);
    close();
}

void ProgressSheet::setMessage(const QString& message) {
    QMetaObject::invokeMethod(
        this, [this, message] { label_->setText(message); }, Qt::QueuedConnection);
}

void ProgressSheet::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape) {
        event->accept();
        return;
    }
    QDialog::keyPressEvent(event);
}
