#pragma once

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>

#include "qt_printers.h"

// A fresh temporary folder standing for the home folder (HOME) and the system
// root (SORVANE_SYSTEM_ROOT) for the lifetime of the object; both variables
// are restored afterwards.
class Sandbox {
public:
    Sandbox();
    ~Sandbox();
    Sandbox(const Sandbox&) = delete;
    Sandbox& operator=(const Sandbox&) = delete;

    QString path() const { return dir_.path(); }
    QString home() const { return home_; }
    QString systemRoot() const { return root_; }

    // Paths relative to the home folder ("Library/Caches/x") or the root.
    QString homePath(const QString& relative) const;
    QString rootPath(const QString& relative) const;
    // Creates a file (and its folders) with the given content; returns its path.
    QString makeFile(const QString& path, const QByteArray& content = {}) const;
    // Creates a folder and its parents; returns its path.
    QString makeFolder(const QString& path) const;

private:
    QTemporaryDir dir_;
    QString home_;
    QString root_;
    QByteArray oldHome_;
    QByteArray oldRoot_;
};

// Whether the tests run as root, where permission failures need a step run as
// an unprivileged user.
bool runningAsRoot();

// The verdict of a test run again in a child process as an unprivileged user.
struct RerunResult {
    bool ran = false;    // false: no unprivileged run was possible (output says why)
    bool passed = false; // the child ran exactly this test and it passed
    QString output;
};

// Runs the current test again, in a child process of this test program, as
// the user "nobody" (through setpriv). Used by tests that need a permission
// failure that root would not meet.
RerunResult rerunCurrentTestUnprivileged();
