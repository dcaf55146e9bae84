// How the helper starts an update script: under systemd as a unit of its own,
// outside the helper's confinement; elsewhere by itself.
#include "helper/trusted_script.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

TEST(TrustedScript, UnderSystemdTheScriptRunsAsAUnitOfItsOwn) {
    const QString script = u"/usr/lib/sorvane/update.sh"_s;

    EXPECT_EQ(TrustedScript::launchCommand(script, false), QStringList{script});
    const QStringList unit = TrustedScript::launchCommand(script, true);
    ASSERT_GE(unit.size(), 3);
    EXPECT_TRUE(unit.first().endsWith(u"/systemd-run"_s)) << unit.first().toStdString();
    EXPECT_TRUE(unit.contains(u"--no-block"_s)) << "the helper does not wait for the update";
    // The script is the command, after "--": nothing in its name is an option.
    EXPECT_EQ(unit.mid(unit.size() - 2), (QStringList{u"--"_s, script}));
    EXPECT_NE(TrustedScript::launchCommand(script, true).at(1), unit.at(1))
        << "each run is a unit of its own name";
}
