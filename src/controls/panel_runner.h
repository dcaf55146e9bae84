#pragma once

#include <functional>

class QDialog;
class QFileDialog;

// Runs every open and save panel of Sorvane's windows. Tests install a
// runner that fills in the panel and answers it, so no test waits for a
// person; the default runs the panel modally. A panel that would open in the
// program's working folder opens in the home folder.
class PanelRunner {
public:
    using Runner = std::function<int(QFileDialog&)>;
    // The same for Sorvane's other choosing dialogs (the application chooser).
    using DialogRunner = std::function<int(QDialog&)>;

    // The panel's result: QDialog::Accepted (1) when the user chose OK.
    static int run(QFileDialog& panel);
    // Installs the runner and returns the previous one; an empty runner puts
    // back the modal default. GUI thread only.
    static Runner setRunner(Runner runner);
    static int runDialog(QDialog& dialog);
    static DialogRunner setDialogRunner(DialogRunner runner);
};
