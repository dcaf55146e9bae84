#include "helper/helper_file_operations.h"

#include "privileged/helper_protocol.h"

#include "sandbox.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

// A target in the sandbox home's Library, resolved as the helper would.
AllowedPlaces::Target libraryTarget(const Sandbox& sandbox, const QString& relative) {
    QString error;
    const auto target =
        AllowedPlaces(::getuid(), sandbox.home())
            .resolve(QFile::encodeName(sandbox.homePath(u"Library/"_s + relative)), &error);
    EXPECT_TRUE(target.has_value()) << error.toStdString();
    return target.value_or(AllowedPlaces::Target{});
}

} // namespace

TEST(HelperFileOperations, DeletingALinkLeavesItsTarget) {
    Sandbox sandbox;
    const QString target = sandbox.makeFile(sandbox.homePath(u"keep/target"_s), "x");
    sandbox.makeFolder(sandbox.homePath(u"Library/Caches"_s));
    const QString link = sandbox.homePath(u"Library/Caches/link"_s);
    ASSERT_TRUE(QFile::link(sandbox.homePath(u"keep"_s), link));
    QString error;

    EXPECT_TRUE(HelperFileOperations::deleteItem(libraryTarget(sandbox, u"Caches/link"_s), &error))
        << error.toStdString();
    EXPECT_FALSE(QFileInfo(link).isSymLink());
    EXPECT_TRUE(QFileInfo::exists(target));
}

TEST(HelperFileOperations, CopiesAFolderWithItsContents) {
    Sandbox sandbox;
    sandbox.makeFile(sandbox.homePath(u"Library/from/a"_s), "a");
    sandbox.makeFile(sandbox.homePath(u"Library/from/sub/.hidden"_s), "h");
    QString error;

    ASSERT_TRUE(HelperFileOperations::copyItem(libraryTarget(sandbox, u"from"_s),
                                               libraryTarget(sandbox, u"to"_s),
                                               {::getuid(), ::getgid()}, &error))
        << error.toStdString();
    QFile hidden(sandbox.homePath(u"Library/to/sub/.hidden"_s));
    ASSERT_TRUE(hidden.open(QIODevice::ReadOnly));
    EXPECT_EQ(hidden.readAll(), "h");
    EXPECT_TRUE(QFileInfo::exists(sandbox.homePath(u"Library/to/a"_s)));
    EXPECT_EQ(QDir(sandbox.homePath(u"Library"_s))
                  .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
              QStringList({u"from"_s, u"to"_s}))
        << "no temporary copy is left behind";
}

TEST(HelperFileOperations, UnknownAttributeChangesNothing) {
    Sandbox sandbox;
    const QString file = sandbox.makeFile(sandbox.homePath(u"Library/f"_s), "x");
    QFile::setPermissions(file, QFile::ReadOwner | QFile::WriteOwner);
    const QFile::Permissions before = QFileInfo(file).permissions();
    QString error;

    EXPECT_FALSE(HelperFileOperations::setAttributes(
        {{HelperProtocol::kFilePosixPermissions, 0777}, {u"NSFileImmutable"_s, true}},
        libraryTarget(sandbox, u"f"_s), {::getuid(), ::getgid()}, &error));
    EXPECT_EQ(error, u"Unsupported file attribute NSFileImmutable."_s);
    EXPECT_EQ(QFileInfo(file).permissions(), before);
}

// A plain caller copies only what its own rights let it read: the mode of the
// file and search rights on every folder down to it.
TEST(HelperFileOperations, CopiesOnlyWhatThePlainCallerMayRead) {
    if (!runningAsRoot())
        GTEST_SKIP() << "needs root to set up files a plain user may not read";
    Sandbox sandbox;
    // As on a real system, a plain user may pass through the folders above
    // the Library; what it may read there is the kernel's answer.
    for (const QString& folder : {sandbox.path(), sandbox.home()})
        ASSERT_EQ(::chmod(QFile::encodeName(folder).constData(), 0755), 0);
    const HelperFileOperations::Caller nobody{65534, 65534};
    struct Case {
        const char* file;
        mode_t fileMode;
        mode_t folderMode;
        bool copied;
    };
    const Case cases[] = {
        {"shared/readable", 0644, 0755, true},
        {"private-file/secret", 0600, 0755, false},
        {"closed-folder/readable", 0644, 0700, false},
    };
    for (const Case& c : cases) {
        const QString relative = QString::fromLatin1(c.file);
        const QString path = sandbox.makeFile(sandbox.homePath(u"Library/"_s + relative), "data");
        ASSERT_EQ(::chmod(QFile::encodeName(path).constData(), c.fileMode), 0);
        ASSERT_EQ(::chmod(QFile::encodeName(QFileInfo(path).path()).constData(), c.folderMode), 0);
        const QString copy = relative.section(u'/', 0, 0) + u"-copy"_s;
        QString error;

        EXPECT_EQ(HelperFileOperations::copyItem(libraryTarget(sandbox, relative),
                                                 libraryTarget(sandbox, copy), nobody, &error),
                  c.copied)
            << c.file << ": " << error.toStdString();
        EXPECT_EQ(QFileInfo::exists(sandbox.homePath(u"Library/"_s + copy)), c.copied) << c.file;
    }
}
