#pragma once

#include "desktop_user.h"

#include <QList>
#include <QPair>
#include <QTemporaryDir>
#include <QVariantMap>

#include <gtest/gtest.h>

#include <memory>

// A self-deploying package file made by one user of a Linux desktop with the
// real sorvanectl: the component Notes (every kind of dconf value) and the
// applications Sketch (a dconf domain with a subtree and three extra files)
// and Paint (a Flatpak whose settings store is its key file). Receivers are
// other users of the same kind, each with a home and bus of their own, who
// run a copy of the file with nothing of Sorvane around.
class SelfDeployingFixture : public testing::Test {
public:
    // Where the built programs are.
    static QString deployProgram();
    static QString sorvanectl();

protected:
    static const QString kNotes;
    static const QString kSketch;
    static const QString kOther;
    static const QString kPaintStore;
    // Sketch's extra files, home-relative.
    static const QStringList kSketchFiles;

    void SetUp() override;

    // The program of Sketch's desktop entry on receivers' desktops, named
    // after this test process: tests that run side by side see each other's
    // processes, and must not take them for their own Sketch.
    static QString sketchProgram();
    QString path(const QString& name) const { return folder_.filePath(name); }
    QString selfDeploying() const { return path(QStringLiteral("Deploy Notes and Sketch")); }

    // A user who has settings of their own and Sketch installed.
    std::unique_ptr<DesktopUser> receiver(DconfBus::Service service = DconfBus::Service::Dconf,
                                          const QString& home = {}, const QString& busFolder = {});
    // A copy of a self-deploying file in a folder of its own, as a download is.
    QString copyOf(const QString& file);
    // Runs a copy of the self-deploying file as the receiver, with PATH only.
    ProgramRun runCopy(const DesktopUser& user, const QStringList& arguments,
                       const QString& path = QStringLiteral("/usr/bin:/bin"),
                       const QByteArray& input = {}, const QString& inputFile = {});
    // A self-deploying file carrying a package of the given content.
    QString assemble(const QVariantMap& root, const QString& name);

    // What a receiver holds that a deployment may change.
    struct State {
        QString notes, sketch, other;
        QByteArray paintStore;
        QList<QByteArray> files;
        bool operator==(const State& other) const = default;
    };
    friend void PrintTo(const State& state, std::ostream* out);
    static State stateOf(const DesktopUser& user);

    QTemporaryDir folder_;
    std::unique_ptr<DesktopUser> maker_;
    int copies_ = 0;
};
