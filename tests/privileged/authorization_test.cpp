// Which polkit action the real helper asks for, what it tells polkit, and
// whose read rights a copy is held to, for a caller that is not root.
#include "unprivileged_helper_fixture.h"

#include <QJsonDocument>
#include <QProcess>
#include <QStandardPaths>

#include <sys/xattr.h>

using namespace Qt::StringLiterals;
namespace P = HelperProtocol;

namespace {

enum class Place { Own, System, OtherUser };

struct CopyCase {
    const char* name;
    Place from;
    Place to;
    QStringList allowed; // polkit actions granted, suffixes of kActionCopy
    bool copied;
};

void PrintTo(const CopyCase& c, std::ostream* os) {
    *os << c.name;
}

class CopyActionTest : public UnprivilegedHelperTest,
                       public ::testing::WithParamInterface<CopyCase> {
protected:
    QString placeOf(Place place) const {
        switch (place) {
        case Place::Own:
            return bus_->home() + u"/Library/Caches"_s;
        case Place::System:
            return bus_->systemRoot() + u"/Library/Caches"_s;
        case Place::OtherUser:
            break;
        }
        return otherHome() + u"/Library/Caches"_s;
    }
    uid_t ownerOf(Place place) const {
        switch (place) {
        case Place::Own:
            return UnprivilegedCaller::kNobody;
        case Place::System:
            return 0;
        case Place::OtherUser:
            break;
        }
        return otherUid_;
    }
};

} // namespace

// The action follows the most privileged place of source and destination:
// a copy into another user's Library needs that user's action even when it
// comes from the system's Library.
TEST_P(CopyActionTest, AsksForTheMostPrivilegedPlace) {
    const CopyCase& c = GetParam();
    const QString source = writeFile(placeOf(c.from) + u"/source"_s, "data", ownerOf(c.from));
    writeFile(placeOf(c.to) + u"/keep"_s, "keep", ownerOf(c.to));
    const QString destination = placeOf(c.to) + u"/copy"_s;
    QStringList actions;
    for (const QString& suffix : c.allowed)
        actions.append(P::kActionCopy + suffix);
    ASSERT_TRUE(bus_->allowUnknownActions(false));
    ASSERT_TRUE(bus_->setAllowedActions(actions));

    const QJsonObject result =
        callAsNobody(P::kCopyFileAtUrl, u"ss"_s, {fileUrl(source), fileUrl(destination)});

    EXPECT_EQ(result.contains(u"reply"_s) && result.value(u"reply"_s).toArray().first().toBool(),
              c.copied)
        << QJsonDocument(result).toJson().toStdString();
    EXPECT_EQ(QFileInfo::exists(destination), c.copied);
    if (c.copied) {
        struct stat info {};
        ASSERT_EQ(::stat(QFile::encodeName(destination).constData(), &info), 0);
        EXPECT_EQ(info.st_uid, ownerOf(c.to)) << "the copy belongs to the Library's owner";
    }
}

INSTANTIATE_TEST_SUITE_P(
    Actions, CopyActionTest,
    ::testing::Values(
        CopyCase{"SystemToOtherUserWithTheSystemAction",
                 Place::System,
                 Place::OtherUser,
                 {QString(), P::kOwnLibrarySuffix},
                 false},
        CopyCase{"SystemToOtherUserWithTheOtherUserAction",
                 Place::System,
                 Place::OtherUser,
                 {P::kOtherUserSuffix},
                 true},
        CopyCase{"OwnToSystemWithTheOwnAction",
                 Place::Own,
                 Place::System,
                 {P::kOwnLibrarySuffix},
                 false},
        CopyCase{"OwnToSystemWithTheSystemAction", Place::Own, Place::System, {QString()}, true},
        CopyCase{"OtherUserToOwnWithTheSystemAction",
                 Place::OtherUser,
                 Place::Own,
                 {QString(), P::kOwnLibrarySuffix},
                 false},
        CopyCase{"OwnToOwnWithTheOwnAction", Place::Own, Place::Own, {P::kOwnLibrarySuffix}, true}),
    [](const auto& row) { return std::string(row.param.name); });

namespace {

// An access ACL: the owner's, group's and others' bits plus one named user.
bool setAcl(const QString& path, int owner, int group, int other, uid_t user, int userBits) {
    QByteArray acl;
    const auto append = [&acl](quint16 tag, quint16 perm, quint32 id) {
        for (int shift = 0; shift < 16; shift += 8)
            acl.append(static_cast<char>((tag >> shift) & 0xff));
        for (int shift = 0; shift < 16; shift += 8)
            acl.append(static_cast<char>((perm >> shift) & 0xff));
        for (int shift = 0; shift < 32; shift += 8)
            acl.append(static_cast<char>((id >> shift) & 0xff));
    };
    constexpr quint32 kNoId = 0xffffffff;
    acl.append(QByteArray::fromHex("02000000"));
    append(0x01, static_cast<quint16>(owner), kNoId);
    append(0x02, static_cast<quint16>(userBits), user);
    append(0x04, static_cast<quint16>(group), kNoId);
    append(0x10, static_cast<quint16>(group | userBits), kNoId);
    append(0x20, static_cast<quint16>(other), kNoId);
    return ::setxattr(QFile::encodeName(path).constData(), "system.posix_acl_access",
                      acl.constData(), static_cast<size_t>(acl.size()), 0) == 0;
}

struct AclCase {
    const char* name;
    bool onFolder; // the ACL is on the folder holding the file, not the file
    int owner, group, other, userBits;
    bool copied;
};

void PrintTo(const AclCase& c, std::ostream* os) {
    *os << c.name;
}

class AclTest : public UnprivilegedHelperTest, public ::testing::WithParamInterface<AclCase> {};

} // namespace

// Whether the caller may read the source is the kernel's answer for the
// caller, ACLs included, not a reading of the mode bits.
TEST_P(AclTest, ACopyReadsOnlyWhatTheCallerMayRead) {
    const AclCase& c = GetParam();
    const QString folder = bus_->systemRoot() + u"/Library/Caches/shared"_s;
    const QString source = writeFile(folder + u"/file"_s, "root's data");
    const QString target = c.onFolder ? folder : source;
    if (!setAcl(target, c.owner, c.group, c.other, UnprivilegedCaller::kNobody, c.userBits))
        GTEST_SKIP() << "the file system here keeps no ACLs";
    const QString destination = bus_->home() + u"/Library/Caches/copy"_s;
    writeFile(bus_->home() + u"/Library/Caches/keep"_s, "", UnprivilegedCaller::kNobody);

    const QJsonObject result =
        callAsNobody(P::kCopyFileAtUrl, u"ss"_s, {fileUrl(source), fileUrl(destination)});

    ASSERT_TRUE(result.contains(u"reply"_s));
    EXPECT_EQ(result.value(u"reply"_s).toArray().first().toBool(), c.copied)
        << result.value(u"reply"_s).toArray().at(1).toString().toStdString();
    EXPECT_EQ(QFileInfo::exists(destination), c.copied);
}

INSTANTIATE_TEST_SUITE_P(
    Acls, AclTest,
    ::testing::Values(AclCase{"ReadableModeButDeniedByAcl", false, 6, 4, 4, 0, false},
                      AclCase{"PrivateModeButGrantedByAcl", false, 6, 0, 0, 4, true},
                      AclCase{"FolderClosedByAcl", true, 7, 5, 5, 0, false}),
    [](const auto& row) { return std::string(row.param.name); });

// Each polkit question names the operation and its target, so that a prompt
// can say what it is for.
TEST_F(UnprivilegedHelperTest, PolkitIsToldTheOperationAndItsTarget) {
    const QString monitorProgram = QStandardPaths::findExecutable(u"dbus-monitor"_s);
    if (monitorProgram.isEmpty())
        GTEST_SKIP() << "dbus-monitor is not installed";
    const QString victim =
        writeFile(bus_->home() + u"/Library/Caches/victim"_s, "x", UnprivilegedCaller::kNobody);
    QProcess monitor;
    monitor.start(monitorProgram, {u"--address"_s, bus_->address(),
                                   u"type='method_call',member='CheckAuthorization'"_s});
    ASSERT_TRUE(monitor.waitForStarted());
    QThread::msleep(300);

    const QJsonObject result = callAsNobody(P::kDeleteFileAtUrl, u"s"_s, {fileUrl(victim)});
    QThread::msleep(300);
    monitor.terminate();
    monitor.waitForFinished(5000);
    const QString seen = QString::fromUtf8(monitor.readAllStandardOutput());

    EXPECT_TRUE(result.value(u"reply"_s).toArray().first().toBool());
    EXPECT_TRUE(seen.contains(u"string \"%1\""_s.arg(P::kActionDelete + P::kOwnLibrarySuffix)))
        << seen.toStdString();
    const QString flat = seen.simplified();
    EXPECT_TRUE(flat.contains(u"string \"operation\" string \"deleteFileAtUrl\""_s))
        << seen.toStdString();
    EXPECT_TRUE(flat.contains(u"string \"path\" string \"%1\""_s.arg(victim)))
        << seen.toStdString();
}
