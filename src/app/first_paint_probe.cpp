#include "app/first_paint_probe.h"

#include <QCoreApplication>
#include <QEvent>
#include <QTimer>

void FirstPaintProbe::watchIfRequested(QObject* window) {
    if (qEnvironmentVariableIsEmpty("SORVANE_EXIT_AFTER_FIRST_PAINT"))
        return;
    window->installEventFilter(new FirstPaintProbe);
}

bool FirstPaintProbe::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::Paint) {
        watched->removeEventFilter(this);
        // Quit once this paint has finished.
        QTimer::singleShot(0, QCoreApplication::instance(), &QCoreApplication::quit);
        deleteLater();
    }
    return false;
}
