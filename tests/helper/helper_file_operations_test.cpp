#include "helper/helper_file_operations.h"

#include "privileged/helper_protocol.h"

#include "sandbox.h"

#include <QFile>
#include <QFileInfo>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

TEST(HelperFileOperations, DeletingALinkLeavesItsTarget) {
    Sandbox sandbox;
    const QString target = sandbox.makeFile(sandbox.homePath(u"keep/target"_s), "x");
    const QString link = sandbox.homePath(u"link"_s);
    ASSERT_TRUE(QFile::link(sandbox.homePath(u"keep"_s), link));
    QString error;

    EXPECT_TRUE(HelperFileOperations::deleteItem(link, &error)) << error.toStdString();
    EXPECT_FALSE(QFileInfo(link).isSymLink());
    EXPECT_TRUE(QFileInfo::exists(target));
}

TEST(HelperFileOperations, CopiesAFolderWithItsContents) {
    Sandbox sandbox;
    sandbox.makeFile(sandbox.homePath(u"from/a"_s), "a");
    sandbox.makeFile(sandbox.homePath(u"from/sub/.hidden"_s), "h");
    QString error;

    ASSERT_TRUE(HelperFileOperations::copyItem(sandbox.homePath(u"from"_s),
                                               sandbox.homePath(u"to"_s), &error))
        << error.toStdString();
    QFile hidden(sandbox.homePath(u"to/sub/.hidden"_s));
    ASSERT_TRUE(hidden.open(QIODevice::ReadOnly));
    EXPECT_EQ(hidden.readAll(), "h");
    EXPECT_TRUE(QFileInfo::exists(sandbox.homePath(u"to/a"_s)));
}

TEST(HelperFileOperations, UnknownAttributeChangesNothing) {
    Sandbox sandbox;
    const QString file = sandbox.makeFile(sandbox.homePath(u"f"_s), "x");
    QFile::setPermissions(file, QFile::ReadOwner | QFile::WriteOwner);
    const QFile::Permissions before = QFileInfo(file).permissions();
    QString error;

    EXPECT_FALSE(HelperFileOperations::setAttributes(
        {{HelperProtocol::kFilePosixPermissions, 0777}, {u"NSFileImmutable"_s, true}}, file,
        &error));
    EXPECT_EQ(error, u"Unsupported file attribute NSFileImmutable."_s);
    EXPECT_EQ(QFileInfo(file).permissions(), before);
}
