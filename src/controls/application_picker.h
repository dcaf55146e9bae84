#pragma once

#include <QUrl>

#include <optional>

class QFileDialog;
class QWidget;
class SettingsSystem;

// How the user picks an application, wherever a window asks for one: the
// list of installed applications on the Linux desktop, an open panel for
// application bundles on a macOS home folder.
class ApplicationPicker {
public:
    // An open panel that picks applications, starting among the
    // applications of the home being worked on, then the system's.
    static void configurePanel(QFileDialog* panel, const SettingsSystem& system);
    // The application the user picked; nothing when they cancelled.
    static std::optional<QUrl> pick(QWidget* parent, const SettingsSystem& system);
};
