#include "controls/show_alert.h"

#include "controls/alert_kinds.h"
#include "controls/message_box_alert_presenter.h"
#include "util/logging.h"

#include <QCoreApplication>
#include <QThread>

#include <atomic>

using namespace Qt::StringLiterals;

namespace {

MessageBoxAlertPresenter& messageBoxPresenter() {
    static MessageBoxAlertPresenter presenter;
    return presenter;
}

std::atomic<AlertPresenter*> installedPresenter{nullptr};

AlertPresenter& currentPresenter() {
    AlertPresenter* presenter = installedPresenter.load();
    return presenter ? *presenter : messageBoxPresenter();
}

} // namespace

void ShowAlert(AlertKind kind, const QString& message, const QString& informative) {
    QCoreApplication* app = QCoreApplication::instance();
    if (!app) {
        sv::log(u"ShowAlert called without an application: %1 %2"_s.arg(message, informative));
        return;
    }
    if (QThread::currentThread() != app->thread()) {
        QMetaObject::invokeMethod(
            app, [kind, message, informative] { ShowAlert(kind, message, informative); },
            Qt::QueuedConnection);
        return;
    }
    currentPresenter().showAlertOfKind(kind, message, informative);
}

void ShowAlert(const QString& message, const QString& informative) {
    ShowAlert(AlertKinds::ofHeadline(message), message, informative);
}

bool ShowConfirmation(AlertKind kind, const QString& message, const QString& informative,
                      const QString& agreeButton) {
    QCoreApplication* app = QCoreApplication::instance();
    if (!app || QThread::currentThread() != app->thread()) {
        sv::log(u"ShowConfirmation refused off the GUI thread: %1 %2"_s.arg(message, informative));
        return false;
    }
    return currentPresenter().confirm(kind, message, informative, agreeButton);
}

AlertPresenter* setAlertPresenter(AlertPresenter* presenter) {
    return installedPresenter.exchange(presenter);
}
