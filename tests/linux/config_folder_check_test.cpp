#include "linux/config_checker.h"
#include "linux/config_folder_check.h"

#include "qt_printers.h"
#include "sandbox.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>

#include <gtest/gtest.h>

#include <cstring>
#include <iostream>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

using namespace Qt::StringLiterals;
using Results = ConfigFolderCheck::Results;

namespace {

const QString kOk = u"OK"_s;
const QString kEmptyData = u"Cannot parse a NULL or zero-length data"_s;

QString sourcePath(const QString& relative) {
    return qEnvironmentVariable("SORVANE_SOURCE_DIR") + u'/' + relative;
}

QByteArray readAll(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

bool makeLink(const QString& target, const QString& link) {
    return ::symlink(QFile::encodeName(target).constData(), QFile::encodeName(link).constData()) ==
           0;
}

} // namespace

TEST(ConfigFolderCheck, AnswersForEveryFileOfAKnownFormatAndNoOther) {
    Sandbox sandbox;
    const QString root = sandbox.makeFolder(sandbox.path() + u"/config"_s);
    const QString good =
        sandbox.makeFile(sandbox.path() + u"/config/app/settings.json"_s, "{\"a\": [1, 2]}");
    const QString bad =
        sandbox.makeFile(sandbox.path() + u"/config/app/state.json"_s, "{\"a\": [1, 2");
    const QString kde =
        sandbox.makeFile(sandbox.path() + u"/config/kwinrc"_s, "[Compositing]\nBackend=OpenGL\n");
    const QString hidden =
        sandbox.makeFile(sandbox.path() + u"/config/.hidden/x.desktop"_s, "[Desktop Entry]\n");
    const QString empty = sandbox.makeFile(sandbox.path() + u"/config/empty.desktop"_s);
    sandbox.makeFile(sandbox.path() + u"/config/notes.txt"_s, "{\"not\": \"checked\"}");
    sandbox.makeFile(sandbox.path() + u"/config/app/cache.bin"_s, QByteArray(512, '\0'));
    sandbox.makeFile(sandbox.path() + u"/config/app/README"_s, "Plain words.\n");

    const Results results = ConfigFolderCheck::checkFolder(root);
    const Results expected = {
        {good, kOk},
        {bad, u"JSON file is damaged: unexpected end of data at line 1, column 12 (Error "
              u"Domain=SorvaneConfigErrorDomain Code=3 \"JSON file is damaged: unexpected end of "
              u"data at line 1, column 12\")"_s},
        {kde, kOk},
        {hidden, kOk},
        {empty, kEmptyData}};
    EXPECT_EQ(results, expected);
}

TEST(ConfigFolderCheck, TheCorporaCheckAsTheirFilesDoOneByOne) {
    const QString damagedFolder = sourcePath(u"tests/data/config/damaged"_s);
    const Results damaged = ConfigFolderCheck::checkFolder(damagedFolder);
    EXPECT_EQ(damaged.size(), 16);
    for (auto it = damaged.cbegin(); it != damaged.cend(); ++it) {
        EXPECT_NE(it.value(), kOk) << it.key().toStdString();
        EXPECT_EQ(it.value(), ConfigChecker::check(it.key(), readAll(it.key())))
            << it.key().toStdString();
    }
    const Results valid = ConfigFolderCheck::checkFolder(sourcePath(u"tests/data/config/valid"_s));
    EXPECT_EQ(valid.size(), 17);
    for (auto it = valid.cbegin(); it != valid.cend(); ++it)
        EXPECT_EQ(it.value(), kOk) << it.key().toStdString();
}

TEST(ConfigFolderCheck, EntersSixteenLevelsOfFoldersAndNoMore) {
    Sandbox sandbox;
    QString folder = sandbox.path() + u"/config"_s;
    QStringList reached;
    for (int depth = 0; depth <= ConfigFolderCheck::maxDepth + 2; ++depth) {
        const QString file = sandbox.makeFile(folder + u"/settings.json"_s, "[]");
        if (depth <= ConfigFolderCheck::maxDepth)
            reached.append(file);
        folder += u"/d%1"_s.arg(depth + 1);
    }
    const Results results = ConfigFolderCheck::checkFolder(sandbox.path() + u"/config"_s);
    QStringList checked = results.keys();
    checked.sort();
    reached.sort();
    EXPECT_EQ(checked, reached);
    EXPECT_EQ(checked.size(), ConfigFolderCheck::maxDepth + 1);
}

TEST(ConfigFolderCheck, LinksAreNeitherEnteredNorChecked) {
    Sandbox sandbox;
    const QString root = sandbox.makeFolder(sandbox.path() + u"/config"_s);
    const QString outside =
        sandbox.makeFile(sandbox.path() + u"/outside/damaged.json"_s, QByteArray(32, '\0'));
    const QString real = sandbox.makeFile(sandbox.path() + u"/config/real.json"_s, "{}");
    ASSERT_TRUE(makeLink(outside, root + u"/linked.json"_s));
    ASSERT_TRUE(makeLink(sandbox.path() + u"/outside"_s, root + u"/linked-folder"_s));
    ASSERT_TRUE(makeLink(root + u"/missing.json"_s, root + u"/dangling.json"_s));
    // A link to a folder above would make a loop for a walk that followed it.
    ASSERT_TRUE(makeLink(root, root + u"/loop"_s));

    EXPECT_EQ(ConfigFolderCheck::checkFolder(root), (Results{{real, kOk}}));
    // Named one by one, a link is not checked either.
    EXPECT_TRUE(ConfigFolderCheck::checkFile(root + u"/linked.json"_s).isNull());
    // A folder asked for through a link is checked (a ~/.config kept with dotfiles).
    EXPECT_EQ(ConfigFolderCheck::checkFolder(root + u"/linked-folder"_s).keys(),
              QStringList{root + u"/linked-folder/damaged.json"_s});
}

TEST(ConfigFolderCheck, FifosAndSocketsAreSkippedWithoutBlocking) {
    Sandbox sandbox;
    const QString root = sandbox.makeFolder(sandbox.path() + u"/config"_s);
    const QString fifo = root + u"/pipe.json"_s;
    ASSERT_EQ(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
    const QString socketPath = root + u"/socket.json"_s;
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_GE(fd, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const QByteArray encoded = QFile::encodeName(socketPath);
    ASSERT_LT(size_t(encoded.size()), sizeof(address.sun_path));
    std::memcpy(address.sun_path, encoded.constData(), size_t(encoded.size()));
    ASSERT_EQ(::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
    const QString real = sandbox.makeFile(sandbox.path() + u"/config/real.json"_s, "{}");

    EXPECT_EQ(ConfigFolderCheck::checkFolder(root), (Results{{real, kOk}}));
    // Opening a FIFO for reading would wait for a writer; the check does not.
    EXPECT_TRUE(ConfigFolderCheck::checkFile(fifo).isNull());
    EXPECT_TRUE(ConfigFolderCheck::checkFile(socketPath).isNull());
    ::close(fd);
}

TEST(ConfigFolderCheck, FilesPastTheSizeBoundAreReportedNotRead) {
    Sandbox sandbox;
    const QString root = sandbox.makeFolder(sandbox.path() + u"/config"_s);
    // Sparse files: their size costs no disk.
    const auto sparse = [&](const QString& name, qint64 size) {
        QFile file(root + u'/' + name);
        EXPECT_TRUE(file.open(QIODevice::WriteOnly) && file.resize(size)) << name.toStdString();
        return file.fileName();
    };
    const QString huge = sparse(u"huge.json"_s, ConfigFolderCheck::maxFileSize + 1);
    sparse(u"huge.bin"_s, ConfigFolderCheck::maxFileSize + 1);
    const QString atTheBound = sparse(u"bound.json"_s, ConfigFolderCheck::maxFileSize);

    const Results results = ConfigFolderCheck::checkFolder(root);
    EXPECT_EQ(results.value(huge),
              u"File too large to check (Error Domain=SorvaneConfigErrorDomain Code=5 \"File too "
              u"large to check: 16777217 bytes, more than 16777216\")"_s);
    // A file exactly at the bound is read and checked: all NUL bytes.
    EXPECT_EQ(results.value(atTheBound),
              u"JSON file is damaged: NUL byte at line 1, column 1 (Error "
              u"Domain=SorvaneConfigErrorDomain Code=3 \"JSON file is damaged: NUL byte at line "
              u"1, column 1\")"_s);
    EXPECT_EQ(results.size(), 2);
}

TEST(ConfigFolderCheck, LooksAtNoMoreThanTwentyThousandFiles) {
    Sandbox sandbox;
    const QString root = sandbox.makeFolder(sandbox.path() + u"/config"_s);
    const int extra = 25;
    for (int i = 0; i < ConfigFolderCheck::maxFiles + extra; ++i) {
        const QByteArray name = QFile::encodeName(root + u"/f%1.json"_s.arg(i, 5, 10, QChar(u'0')));
        const int fd = ::open(name.constData(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
        ASSERT_GE(fd, 0);
        ASSERT_EQ(::write(fd, "1", 1), 1);
        ::close(fd);
    }
    EXPECT_EQ(ConfigFolderCheck::regularFilesInFolder(root).size(), ConfigFolderCheck::maxFiles);
    const Results results = ConfigFolderCheck::checkFolder(root);
    EXPECT_EQ(results.size(), ConfigFolderCheck::maxFiles);
    EXPECT_EQ(results.values().count(kOk), ConfigFolderCheck::maxFiles);
}

TEST(ConfigFolderCheck, ACancelledCheckAnswersWithWhatItChecked) {
    const QString valid = sourcePath(u"tests/data/config/valid"_s);
    const std::atomic<bool> cancelled{true};
    EXPECT_TRUE(ConfigFolderCheck::checkFolder(valid, &cancelled).isEmpty());
    EXPECT_TRUE(
        ConfigFolderCheck::checkFiles({valid + u"/apps/settings.json"_s}, &cancelled).isEmpty());
    const std::atomic<bool> running{false};
    EXPECT_EQ(ConfigFolderCheck::checkFolder(valid, &running).size(), 17);
}

TEST(ConfigFolderCheck, ManyFilesCheckedTogetherAgreeWithEachAlone) {
    Sandbox sandbox;
    const QString root = sandbox.makeFolder(sandbox.path() + u"/config"_s);
    const QList<std::pair<QString, QByteArray>> kinds = {{u"a.json"_s, "{\"k\": [1, 2, 3]}"},
                                                         {u"b.json"_s, "{\"k\": [1, 2, 3"},
                                                         {u"crc"_s, "[G]\nk=v\n"},
                                                         {u"drc"_s, "[G]\nk=v\n[Broken\n"},
                                                         {u"e.xml"_s, "<a><b/></a>"},
                                                         {u"f.xml"_s, "<a><b></a>"}};
    for (int i = 0; i < 300; ++i) {
        const auto& [name, content] = kinds.at(i % kinds.size());
        sandbox.makeFile(sandbox.path() + u"/config/%1/%2"_s.arg(i).arg(name), content);
    }
    const Results results = ConfigFolderCheck::checkFolder(root);
    ASSERT_EQ(results.size(), 300);
    int good = 0;
    for (auto it = results.cbegin(); it != results.cend(); ++it) {
        EXPECT_EQ(it.value(), ConfigFolderCheck::checkFile(it.key())) << it.key().toStdString();
        good += it.value() == kOk ? 1 : 0;
    }
    EXPECT_EQ(good, 150);
}

TEST(ConfigFolderCheck, TheDconfUserDatabaseIsCheckedWhereItLies) {
    const QString dconf = QStandardPaths::findExecutable(u"dconf"_s);
    if (dconf.isEmpty())
        GTEST_SKIP() << "the dconf command (dconf-cli) is not installed";
    Sandbox sandbox;
    const QString keyFiles = sandbox.makeFolder(sandbox.path() + u"/keyfiles"_s);
    sandbox.makeFile(sandbox.path() + u"/keyfiles/00-user"_s,
                     "[org/example/notes]\nautosave=true\n");
    const QString user = sandbox.makeFolder(sandbox.path() + u"/config/dconf"_s) + u"/user"_s;
    QProcess compile;
    compile.start(dconf, {u"compile"_s, user, keyFiles});
    ASSERT_TRUE(compile.waitForFinished(30000));
    ASSERT_EQ(compile.exitCode(), 0) << compile.readAllStandardError().toStdString();

    const QString missing = sandbox.path() + u"/config/dconf/other"_s;
    const QString unknown = sandbox.makeFile(sandbox.path() + u"/config/notes.txt"_s, "words");
    EXPECT_EQ(ConfigFolderCheck::checkFiles({user, missing, unknown}), (Results{{user, kOk}}));

    // A database lost to a crash, all NUL bytes, is known by where it lies.
    QFile file(user);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(QByteArray(1024, '\0'));
    file.close();
    EXPECT_EQ(ConfigFolderCheck::checkFiles({user}).value(user),
              u"dconf database is damaged: wrong signature at byte offset 0 (Error "
              u"Domain=SorvaneConfigErrorDomain Code=1 \"dconf database is damaged: wrong "
              u"signature at byte offset 0\")"_s);
}

TEST(ConfigFolderCheck, FilesThatCannotBeReadAreReported) {
    if (runningAsRoot()) {
        const RerunResult rerun = rerunCurrentTestUnprivileged();
        if (!rerun.ran)
            GTEST_SKIP() << rerun.output.toStdString();
        EXPECT_TRUE(rerun.passed) << rerun.output.toStdString();
        return;
    }
    Sandbox sandbox;
    const QString root = sandbox.makeFolder(sandbox.path() + u"/config"_s);
    const QString locked = sandbox.makeFile(sandbox.path() + u"/config/settings.json"_s, "{}");
    const QString lockedUnknown =
        sandbox.makeFile(sandbox.path() + u"/config/notes.txt"_s, "words");
    const QString closedFolder = sandbox.makeFolder(sandbox.path() + u"/config/closed"_s);
    sandbox.makeFile(sandbox.path() + u"/config/closed/inside.json"_s, "{}");
    ASSERT_TRUE(QFile::setPermissions(locked, {}));
    ASSERT_TRUE(QFile::setPermissions(lockedUnknown, {}));
    ASSERT_TRUE(QFile::setPermissions(closedFolder, {}));

    EXPECT_EQ(ConfigFolderCheck::checkFolder(root),
              (Results{{locked, u"Cannot read the file (Error Domain=SorvaneConfigErrorDomain "
                                u"Code=6 \"Cannot read the file: Permission denied\")"_s}}));
    QFile::setPermissions(closedFolder, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

// The machine's own configuration is good: any damaged verdict here is a
// false alarm. Read-only, and only folders that exist.
TEST(ConfigFolderCheck, RealSystemFoldersRaiseNoFalseAlarm) {
    int checked = 0;
    for (const QString& folder : {u"/etc/xdg"_s, u"/usr/share/applications"_s, u"/etc/dconf"_s}) {
        if (!QFileInfo(folder).isDir())
            continue;
        const Results results = ConfigFolderCheck::checkFolder(folder);
        for (auto it = results.cbegin(); it != results.cend(); ++it) {
            EXPECT_TRUE(it.value() == kOk || it.value() == kEmptyData)
                << it.key().toStdString() << ": " << it.value().toStdString();
        }
        checked += int(results.size());
    }
    // GSettings' compiled schemas are a GVDB file too, with nested tables.
    const QString schemas = u"/usr/share/glib-2.0/schemas/gschemas.compiled"_s;
    if (QFile::exists(schemas)) {
        EXPECT_EQ(ConfigChecker::formatOf(schemas, readAll(schemas).left(64)),
                  ConfigChecker::Format::Dconf);
        EXPECT_EQ(ConfigFolderCheck::checkFiles({schemas}), (Results{{schemas, kOk}}));
        ++checked;
    }
    if (checked == 0)
        GTEST_SKIP() << "no configuration folder of this system holds a file to check";
    std::cout << "checked " << checked << " real files\n";
}
