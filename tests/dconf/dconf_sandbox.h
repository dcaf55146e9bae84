#pragma once

#include "dconf_bus.h"

#include <QByteArray>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <memory>

typedef struct _GDBusConnection GDBusConnection;

// The dconf world of this test program, set up once before its first test.
// libdconf picks its session bus at the first change it sends and keeps that
// connection (or the failure to make one) until the process ends, so every
// test of a program shares one private bus; a test that needs dconf out of
// reach runs in a child process of its own (runChild).
//
// The real dconf program, run by dconf(), always talks to a private bus with
// dconf-service and reads through a profile that names only the user
// database unless told otherwise: its "dump" then shows exactly the user
// values, which is what Sorvane reads.
class DconfSandbox : public ::testing::Environment {
public:
    // How this program's own dconf client reaches dconf, chosen by
    // SORVANE_DCONF_TEST_BUS: unset, the private bus with dconf-service;
    // "no-service", a private bus on which nothing provides dconf; "dead", a
    // session bus address where no bus listens.
    enum class Reach { Private, NoService, Dead };

    static DconfSandbox* instance();
    static Reach reach();

    void SetUp() override;
    void TearDown() override;

    bool isReady() const { return ready_; }
    QString folder() const { return dir_.path(); }
    // A profile with the user database alone.
    QString userProfile() const;
    // Compiles a system database from key files (file name -> content) and
    // the text of one lock file with "dconf compile"; returns a profile that
    // reads the user database over it, or an empty string (and a failure).
    QString systemProfile(const QString& name, const QMap<QString, QByteArray>& keyFiles,
                          const QByteArray& locks = {}) const;

    struct Run {
        int exitCode = -1;
        QString out;
        QString err;
    };
    // Runs "dconf <arguments>" on the private bus with dconf-service.
    Run dconf(const QStringList& arguments, const QByteArray& input = {},
              const QString& profile = {}) const;
    // Resets every user value through the dconf program.
    bool resetAll() const;

    struct ChildResult {
        bool passed = false;
        QString output;
    };
    // Runs one disabled test of this program in a child process whose dconf
    // client reaches dconf as told ("no-service" or "dead").
    static ChildResult runChild(const QString& test, const QString& reach);

private:
    QTemporaryDir dir_;
    std::unique_ptr<DconfBus> dconfBus_;
    std::unique_ptr<DconfBus> emptyBus_;
    GDBusConnection* session_ = nullptr;
    bool ready_ = false;
};
