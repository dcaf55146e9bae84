// A plain user asking the real helper to check folders it may not read, or
// that are not settings places at all: the helper answers nothing that the
// user could not have learnt by reading the files itself.
#include "unprivileged_helper_fixture.h"

#include "platform/plist_checker.h"

#include <QJsonDocument>

using namespace Qt::StringLiterals;
namespace P = HelperProtocol;

namespace {

// Damaged so that a verdict would quote its first bytes.
const QByteArray kSecret = "hunter2 is the password\n";

struct ConfinementCase {
    const char* name;
    // The folder to check, given the sandbox's folders.
    std::function<QString(const QString& home, const QString& root, const QString& other,
                          const QString& outside)>
        folder;
};

void PrintTo(const ConfinementCase& c, std::ostream* os) {
    *os << c.name;
}

class CheckConfinementTest : public UnprivilegedHelperTest,
                             public ::testing::WithParamInterface<ConfinementCase> {
protected:
    void SetUp() override {
        UnprivilegedHelperTest::SetUp();
        if (HasFatalFailure() || IsSkipped())
            return;
        outside_ = bus_->folder() + u"/outside"_s;
        // A folder of root's outside every settings place.
        writeFile(outside_ + u"/secret.plist"_s, kSecret, 0, 0600);
        ::chmod(QFile::encodeName(outside_).constData(), 0700);
        // Another user's settings, closed to everybody else.
        writeFile(otherHome() + u"/.config/app/secret.plist"_s, kSecret, otherUid_, 0600);
        writeFile(otherHome() + u"/Library/Preferences/secret.plist"_s, kSecret, otherUid_, 0600);
        for (const QString& folder :
             {u"/.config"_s, u"/.config/app"_s, u"/Library"_s, u"/Library/Preferences"_s}) {
            const QByteArray path = QFile::encodeName(otherHome() + folder);
            ::chown(path.constData(), otherUid_, otherGid_);
            ::chmod(path.constData(), 0700);
        }
        // Root's own file among the system's readable preferences.
        writeFile(bus_->systemRoot() + u"/Library/Preferences/secret.plist"_s, kSecret, 0, 0600);
        writeFile(bus_->systemRoot() + u"/etc/xdg/secretrc"_s, "[x\n" + kSecret, 0, 0600);
    }

    QString outside_;
};

} // namespace

TEST_P(CheckConfinementTest, LearnsNothingOfWhatTheCallerCannotRead) {
    const QString folder =
        GetParam().folder(bus_->home(), bus_->systemRoot(), otherHome(), outside_);

    const QJsonObject result = callAsNobody(P::kCheckPlistsAtUrl, u"s"_s, {fileUrl(folder)});

    const QString answer = QString::fromUtf8(QJsonDocument(result).toJson(QJsonDocument::Compact));
    ASSERT_TRUE(result.contains(u"reply"_s)) << answer.toStdString();
    EXPECT_FALSE(answer.contains(u"secret"_s)) << answer.toStdString();
    EXPECT_FALSE(answer.contains(u"hunter2"_s)) << answer.toStdString();
    EXPECT_FALSE(answer.contains(u"Unexpected character"_s)) << answer.toStdString();
}

INSTANTIATE_TEST_SUITE_P(
    Folders, CheckConfinementTest,
    ::testing::Values(
        ConfinementCase{"RootOnlyFolder",
                        [](auto&, auto&, auto&, const QString& outside) { return outside; }},
        ConfinementCase{"ThroughProcSelfRoot",
                        [](auto&, auto&, auto&, const QString& outside) {
                            return u"/proc/self/root"_s + outside;
                        }},
        ConfinementCase{"AnotherUsersHome",
                        [](auto&, auto&, const QString& other, auto&) { return other; }},
        ConfinementCase{"AnotherUsersConfig", [](auto&, auto&, const QString& other,
                                                 auto&) { return other + u"/.config"_s; }},
        ConfinementCase{"AnotherUsersPreferences",
                        [](auto&, auto&, const QString& other, auto&) {
                            return other + u"/Library/Preferences"_s;
                        }},
        ConfinementCase{"SystemPreferencesWithARootOnlyFile",
                        [](auto&, const QString& root, auto&, auto&) {
                            return root + u"/Library/Preferences"_s;
                        }},
        ConfinementCase{"SystemXdgWithARootOnlyFile", [](auto&, const QString& root, auto&,
                                                         auto&) { return root + u"/etc/xdg"_s; }},
        ConfinementCase{"TheSystemRootItself",
                        [](auto&, const QString& root, auto&, auto&) { return root; }}),
    [](const auto& row) { return std::string(row.param.name); });

// The same caller still has its own settings and the system's readable ones
// checked, so the refusals above are the confinement's doing.
TEST_F(UnprivilegedHelperTest, ChecksWhatTheCallerMayRead) {
    const QString mine = writeFile(bus_->home() + u"/Library/Preferences/mine.plist"_s, "(unclosed",
                                   UnprivilegedCaller::kNobody);
    const QString system =
        writeFile(bus_->systemRoot() + u"/Library/Preferences/shared.plist"_s, "{a = 1;}");
    const QString rc = writeFile(bus_->systemRoot() + u"/etc/xdg/apprc"_s, "[General]\nx=1\n");

    const QJsonObject own = callAsNobody(P::kCheckPlistsAtUrl, u"s"_s,
                                         {fileUrl(bus_->home() + u"/Library/Preferences"_s)});
    const QJsonObject shared = callAsNobody(
        P::kCheckPlistsAtUrl, u"s"_s, {fileUrl(bus_->systemRoot() + u"/Library/Preferences"_s)});
    const QJsonObject xdg =
        callAsNobody(P::kCheckPlistsAtUrl, u"s"_s, {fileUrl(bus_->systemRoot() + u"/etc/xdg"_s)});

    const auto results = [](const QJsonObject& result) {
        return result.value(u"reply"_s).toArray().at(2).toObject();
    };
    EXPECT_EQ(results(own).value(mine).toString(), PlistChecker::check("(unclosed"));
    EXPECT_EQ(results(shared).value(system).toString(), u"OK"_s);
    EXPECT_EQ(results(xdg).value(rc).toString(), u"OK"_s);
}
