// The peer of the start-up benchmark: a bare Qt window with a menu bar and a
// tab widget, quitting after its first paint like Sorvane does under
// SORVANE_EXIT_AFTER_FIRST_PAINT.
#include <QApplication>
#include <QMainWindow>
#include <QMenuBar>
#include <QTabWidget>
#include <QTimer>

namespace {
class QuitOnPaint : public QObject {
protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Paint) {
            watched->removeEventFilter(this);
            QTimer::singleShot(0, QCoreApplication::instance(), &QCoreApplication::quit);
        }
        return false;
    }
};
} // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QMainWindow window;
    window.menuBar()->addMenu(QStringLiteral("&File"));
    window.setCentralWidget(new QTabWidget);
    window.resize(900, 640);
    QuitOnPaint probe;
    window.installEventFilter(&probe);
    window.show();
    return application.exec();
}
