#pragma once

#include "packager/sv_pp_item.h"

#include "package_items.h"
#include "recording_services.h"
#include "sandbox.h"

#include <QMap>
#include <QString>
#include <QStringList>

#include <gtest/gtest.h>

#include <atomic>
#include <memory>

// What a run of a self-deploying application's program left behind.
struct DeployRun {
    int exitCode = -1;
    QString out;
    QString err;
    // The non-empty lines of the error stream.
    QStringList errLines() const;
};

// A sandbox with the pieces of a self-deploying application: the template
// zip the build made, package items, an assembled bundle and its program run
// on the terminal with the sandbox as its home.
class SelfDeployingFixture : public ::testing::Test {
protected:
    Sandbox sandbox;
    RecordingAlerts alerts;
    ScriptedRunningApplications running;
    std::atomic<bool> shouldCancel{false};

    // <build>/share/sorvane/sdkv2.zip
    static QString templateZip();
    QString scratch() const { return sandbox.path() + QStringLiteral("/tmp/com.brisvale.Sorvane"); }

    // Sorvane's defaults program with the sandbox as home; its standard output.
    QString runDefaults(const QStringList& arguments) const;
    // Loads a known-applications catalogue written into the sandbox.
    void knownApps(const QByteArray& xml) const;
    // The captured package of the items; fails the test when nothing came out.
    QByteArray createPackage(const QList<std::shared_ptr<SVPPItem>>& systemSettings,
                             const QList<std::shared_ptr<SVPPItem>>& applications);
    // A self-deploying application made from the real template, carrying
    // the bytes, at <sandbox>/<name>.app; empty when the assembly failed.
    QString assemble(const QByteArray& packageBytes, const QString& name);
    // The bundle's Contents/MacOS/sorvane-deploy on the terminal (no display
    // in its environment, no defaults program named), home in the sandbox.
    DeployRun runDeploy(const QString& bundle, const QStringList& arguments = {}) const;
    // Every file below the home folder with its contents, to tell whether a
    // run changed anything.
    QMap<QString, QByteArray> homeSnapshot() const;

    void TearDown() override;
};
