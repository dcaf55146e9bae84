#include "platform/library_folders.h"

#include "sandbox.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

QList<QUrl> urls(std::initializer_list<QString> paths) {
    QList<QUrl> result;
    for (const QString& path : paths)
        result.append(QUrl::fromLocalFile(path));
    return result;
}

TEST(LibraryFolders, FollowHomeAndSystemRoot) {
    Sandbox sandbox;
    EXPECT_EQ(LibraryFolders::systemRoot(), sandbox.systemRoot());
    EXPECT_EQ(LibraryFolders::rootHomeFolder(), sandbox.rootPath(u"root"_s));
    EXPECT_EQ(LibraryFolders::userLibraryFolders(), urls({sandbox.homePath(u"Library"_s)}));
    EXPECT_EQ(LibraryFolders::localLibraryFolders(), urls({sandbox.rootPath(u"Library"_s)}));
    EXPECT_EQ(LibraryFolders::userCachesFolders(), urls({sandbox.homePath(u"Library/Caches"_s)}));
    EXPECT_EQ(LibraryFolders::localCachesFolders(), urls({sandbox.rootPath(u"Library/Caches"_s)}));
    EXPECT_EQ(LibraryFolders::containerFolder(u"com.example.tool"_s),
              QUrl::fromLocalFile(sandbox.homePath(u"Library/Containers/com.example.tool"_s)));
}

TEST(LibraryFolders, WithoutSystemRootTheRootIsSlash) {
    Sandbox sandbox;
    qunsetenv("SORVANE_SYSTEM_ROOT");
    EXPECT_EQ(LibraryFolders::systemRoot(), u"/"_s);
    EXPECT_EQ(LibraryFolders::localLibraryFolders(), urls({u"/Library"_s}));
    EXPECT_EQ(LibraryFolders::underSystemRoot(u"/Library/Caches"_s), u"/Library/Caches"_s);
}

} // namespace
