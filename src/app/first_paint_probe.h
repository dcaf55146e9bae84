#pragma once

#include <QObject>

// Benchmark hook: when SORVANE_EXIT_AFTER_FIRST_PAINT is set, the
// application quits as soon as the watched window has painted once, so that a
// script can time start-to-first-paint of the whole program.
class FirstPaintProbe : public QObject {
    Q_OBJECT

public:
    static void watchIfRequested(QObject* window);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
};
