#include "controls/panel_runner.h"

#include <QDir>
#include <QFileDialog>
#include <QFileInfo>

namespace {

PanelRunner::Runner& installedRunner() {
    static PanelRunner::Runner runner;
    return runner;
}

PanelRunner::DialogRunner& installedDialogRunner() {
    static PanelRunner::DialogRunner runner;
    return runner;
}

} // namespace

int PanelRunner::run(QFileDialog& panel) {
    // Sorvane's panels are Qt's own so that they look and behave alike
    // everywhere and can be driven by tests.
    panel.setOption(QFileDialog::DontUseNativeDialog, true);
    // A panel nobody pointed anywhere opens in the program's working folder,
    // which means nothing to the user: it opens in the home folder instead.
    if (QFileInfo(panel.directory().absolutePath()).canonicalFilePath() ==
        QFileInfo(QDir::currentPath()).canonicalFilePath())
        panel.setDirectory(QDir::homePath());
    const Runner& runner = installedRunner();
    return runner ? runner(panel) : panel.exec();
}

PanelRunner::Runner PanelRunner::setRunner(Runner runner) {
    return std::exchange(installedRunner(), std::move(runner));
}

int PanelRunner::runDialog(QDialog& dialog) {
    const DialogRunner& runner = installedDialogRunner();
    return runner ? runner(dialog) : dialog.exec();
}

PanelRunner::DialogRunner PanelRunner::setDialogRunner(DialogRunner runner) {
    return std::exchange(installedDialogRunner(), std::move(runner));
}
