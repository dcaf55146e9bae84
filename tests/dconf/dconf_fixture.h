#pragma once

#include "dconf_sandbox.h"
#include "qt_printers.h"

#include "linux/dconf_domains.h"

#include <QFile>

#include <gtest/gtest.h>

// A test on the shared private bus: it starts with no user values and the
// user database alone in the profile, and leaves the profile that way.
class DconfFixture : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(sandbox().isReady());
        useProfile(sandbox().userProfile());
        ASSERT_TRUE(sandbox().resetAll());
    }
    void TearDown() override { useProfile(sandbox().userProfile()); }

    static DconfSandbox& sandbox() { return *DconfSandbox::instance(); }

    // The profile this program's own dconf client reads through.
    static void useProfile(const QString& profile) {
        qputenv("DCONF_PROFILE", QFile::encodeName(profile));
    }

    // Sets a value with the real dconf program.
    static void dconfWrite(const QString& key, const QString& value) {
        const DconfSandbox::Run run = sandbox().dconf({QStringLiteral("write"), key, value});
        ASSERT_EQ(run.exitCode, 0) << qPrintable(run.err);
    }
    // A value as the real dconf program prints it, without the line end;
    // empty when the key has none.
    static QString dconfRead(const QString& key, const QString& profile = {}) {
        return sandbox().dconf({QStringLiteral("read"), key}, {}, profile).out.trimmed();
    }
    static QString dconfDump(const QString& dir, const QString& profile = {}) {
        return sandbox().dconf({QStringLiteral("dump"), dir}, {}, profile).out;
    }

    DconfDomains domains;
};
