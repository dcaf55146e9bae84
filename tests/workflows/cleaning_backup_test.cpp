// The backups cleanings keep before they delete: what a capture keeps and
// names as not kept, the index read back, the oldest backups pruned, and a
// backup that cannot be written stopping the cleaning unless the user
// agrees. Restoring, with the real defaults program, is tested in the
// sorvanectl and dconf suites.
#include "workflows/cleaning.h"
#include "workflows/cleaning_backup_capture.h"
#include "workflows/cleaning_backup_store.h"

#include "catalogues/sv_os_component.h"
#include "fixed_domains.h"
#include "log_capture.h"
#include "recording_helper.h"
#include "recording_services.h"
#include "sandbox.h"
#include "workflows/application_search.h"

#include <QFile>
#include <QJsonDocument>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

using Item = CleaningBackup::Item;

// Records every question and answers it as told.
class AnsweringAlerts : public RecordingAlerts {
public:
    bool answer = false;
    QStringList questions;
    bool confirm(AlertKind, const QString& message, const QString& informative,
                 const QString& agreeButton) override {
        questions.append(message + u" | "_s + agreeButton);
        shown.append({message, informative});
        return answer;
    }
};

template <class Case> std::string caseName(const ::testing::TestParamInfo<Case>& tested) {
    return tested.param.name;
}

void setMode(const QString& path, mode_t mode) {
    ASSERT_EQ(::chmod(QFile::encodeName(path).constData(), mode), 0) << qPrintable(path);
}

class CleaningBackupTest : public ::testing::Test {
protected:
    CleaningBackupStore store(qint64 bound = qint64(256) << 20, int count = 20,
                              qint64 total = qint64(1) << 30) const {
        return CleaningBackupStore(storeFolder, {count, total, bound});
    }

    // ~/.config/tool: files of several modes, an empty file, an empty
    // folder, a nested file and a relative link; 400 bytes in big.dat.
    QString makeTool() const {
        const QString tool = sandbox.homePath(u".config/tool"_s);
        sandbox.makeFile(tool + u"/a.cfg"_s, "alpha");
        sandbox.makeFile(tool + u"/big.dat"_s, QByteArray(400, 'b'));
        QByteArray binary;
        for (int i = 0; i < 100; ++i)
            binary.append(char(i * 7));
        sandbox.makeFile(tool + u"/deep/b.bin"_s, binary);
        sandbox.makeFile(tool + u"/empty"_s);
        sandbox.makeFolder(tool + u"/sub"_s);
        QFile::link(u"a.cfg"_s, tool + u"/link"_s);
        setMode(tool + u"/a.cfg"_s, 0640);
        setMode(tool + u"/big.dat"_s, 0644);
        setMode(tool + u"/empty"_s, 0600);
        setMode(tool + u"/sub"_s, 0711);
        setMode(tool + u"/deep/b.bin"_s, 0755);
        setMode(tool + u"/deep"_s, 0700);
        setMode(tool, 0750);
        return tool;
    }

    Sandbox sandbox;
    QString storeFolder = sandbox.path() + u"/backups"_s;
    RecordingHelper helper;
    RecordingDefaultsRunner defaults;
    FixedDomains domains;
    ScriptedRunningApplications running;
    AnsweringAlerts alerts;
    LogCapture log;
};

TEST_F(CleaningBackupTest, CaptureKeepsFoldersWholeAndNamesWhatItCannotKeep) {
    const QString tool = makeTool();
    CleaningBackupCapture capture(200, storeFolder);
    capture.addDomains({{u"root.domain"_s, 1}, {u"root.domain"_s, 1}});
    capture.addFiles({QUrl::fromLocalFile(tool), QUrl::fromLocalFile(tool + u"/a.cfg"_s),
                      QUrl::fromLocalFile(sandbox.homePath(u".config/missing"_s)),
                      QUrl::fromLocalFile(storeFolder + u"/old"_s)});
    const CleaningBackupCapture::Content& content = capture.content();

    ASSERT_EQ(content.backup.domains.size(), 1);
    EXPECT_FALSE(content.backup.domains.first().kept());
    QStringList items;
    for (const Item& item : content.backup.items)
        items.append(u"%1 %2 %3%4"_s.arg(item.path)
                         .arg(int(item.type))
                         .arg(item.mode, 0, 8)
                         .arg(item.kept() ? QString() : u" not kept"_s));
    // Sorted by name, folders followed by what they hold; the 400 bytes of
    // big.dat are beyond the bound of 200, the 100 of b.bin are not.
    EXPECT_EQ(items, (QStringList{
                         u"~/.config/tool 1 750"_s, u"~/.config/tool/a.cfg 0 640"_s,
                         u"~/.config/tool/big.dat 0 644 not kept"_s, u"~/.config/tool/deep 1 700"_s,
                         u"~/.config/tool/deep/b.bin 0 755"_s, u"~/.config/tool/empty 0 600"_s,
                         u"~/.config/tool/link 2 777"_s, u"~/.config/tool/sub 1 711"_s}));
    EXPECT_EQ(content.backup.items.at(6).target, u"a.cfg"_s);
    EXPECT_EQ(content.files.keys(),
              (QStringList{u"~/.config/tool/a.cfg"_s, u"~/.config/tool/deep/b.bin"_s,
                           u"~/.config/tool/empty"_s}));
    EXPECT_EQ(content.files.value(u"~/.config/tool/a.cfg"_s), "alpha");
    EXPECT_EQ(content.backup.bytes, 105);
    EXPECT_EQ(content.backup.contentsSummary(), u"3 files, 3 folders, 1 link; 2 items not kept"_s);
}

TEST_F(CleaningBackupTest, IndexReadsBackWhatItWrote) {
    const QString tool = makeTool();
    CleaningBackupCapture capture(200, storeFolder);
    capture.addDomains({{u"root.domain"_s, 1}});
    capture.addFiles({QUrl::fromLocalFile(tool)});
    capture.content().backup.title = u"Tool"_s;
    QString error;
    const auto written = store().write(capture.content(), &error);
    ASSERT_TRUE(written) << qPrintable(error);
    const auto read = store().backup(written->id);
    ASSERT_TRUE(read);
    EXPECT_EQ(*read, *written);
    // Settings may hold secrets: nobody else reads a backup.
    const auto others = QFile::ReadGroup | QFile::WriteGroup | QFile::ExeGroup | QFile::ReadOther |
                        QFile::WriteOther | QFile::ExeOther;
    for (const QString& path :
         {store().indexPath(written->id), store().packagePath(written->id), storeFolder})
        EXPECT_FALSE(QFile::permissions(path) & others) << qPrintable(path);
    // An index of another format is not taken for a backup.
    QJsonObject json = written->toJson();
    json.insert(u"format"_s, 2);
    EXPECT_FALSE(CleaningBackup::fromJson(json));
}

struct PruneCase {
    const char* name;
    int count;
    qint64 totalBytes;
    int backups;      // each holding one file of 10,000 bytes, written in turn
    int expectedKept; // the newest ones
};

class Pruning : public CleaningBackupTest, public ::testing::WithParamInterface<PruneCase> {};

TEST_P(Pruning, KeepsTheNewest) {
    const PruneCase& c = GetParam();
    CleaningBackupStore backups = store(qint64(1) << 20, c.count, c.totalBytes);
    QStringList written;
    for (int i = 0; i < c.backups; ++i) {
        const QString file =
            sandbox.makeFile(sandbox.homePath(u"f%1"_s.arg(i)), QByteArray(10000, char('a' + i)));
        CleaningBackupCapture capture(backups.limits().bytesPerBackup, backups.folder());
        capture.addFiles({QUrl::fromLocalFile(file)});
        QString error;
        const auto backup = backups.write(capture.content(), &error);
        ASSERT_TRUE(backup) << qPrintable(error);
        written.prepend(backup->id);
    }
    QStringList kept;
    for (const CleaningBackup& backup : backups.backups())
        kept.append(backup.id);
    EXPECT_EQ(kept, written.mid(0, c.expectedKept));
    EXPECT_EQ(QDir(backups.folder()).entryList(QDir::Files).size(), 2 * c.expectedKept);
}

INSTANTIATE_TEST_SUITE_P(Limits, Pruning,
                         ::testing::Values(PruneCase{"WithinBoth", 5, 1 << 20, 4, 4},
                                           PruneCase{"ByCount", 3, 1 << 20, 5, 3},
                                           PruneCase{"BySize", 20, 25000, 4, 2},
                                           // The newest stays even when it alone is too large.
                                           PruneCase{"NewestAlwaysStays", 20, 5000, 3, 1}),
                         caseName<PruneCase>);

struct UnwritableCase {
    const char* name;
    bool components;
    bool agree;
};

class UnwritableBackup : public CleaningBackupTest,
                         public ::testing::WithParamInterface<UnwritableCase> {};

// A file where the backups' folder would go: not even root can write there.
TEST_P(UnwritableBackup, AsksOnceAndDeletesOnlyWhenTheUserAgrees) {
    const UnwritableCase& c = GetParam();
    sandbox.makeFile(sandbox.path() + u"/blocked"_s, "a file");
    CleaningBackupStore backups(sandbox.path() + u"/blocked/backups"_s);
    alerts.answer = c.agree;
    domains.user = {u"com.example.tool"_s};
    const QString settings = sandbox.makeFile(sandbox.homePath(u".config/tool.cfg"_s), "x=1\n");
    Cleaning cleaning({helper, defaults, domains, running, alerts, &backups});

    std::optional<DeletionCounter> counter;
    std::optional<QList<SVOSComponent>> components;
    if (c.components) {
        const QString catalogue = sandbox.makeFile(
            sandbox.path() + u"/SystemData.xml"_s,
            "<systemdata><component name=\"Tool\"><domain>com.example.tool</domain>"
            "<path>~/.config/tool.cfg</path></component></systemdata>");
        components = SVOSComponent::loadDataFromFile(catalogue);
        ASSERT_TRUE(components && components->size() == 1);
        counter = cleaning.cleanOSComponents({&components->first()});
    } else {
        ApplicationSearchResults results;
        results.appBundleIdentifier = u"com.example.tool"_s;
        results.appAdditionalPreferenceFiles = {QUrl::fromLocalFile(settings)};
        counter =
            cleaning.cleanAppPreferences(QUrl::fromLocalFile(u"/Applications/Tool.app"_s), results);
    }

    EXPECT_EQ(alerts.questions,
              QStringList{u"The Cleaning Could Not Be Backed Up | Clean Anyway"_s});
    EXPECT_TRUE(alerts.shown.first().second.contains(u"blocked/backups could not be made"_s))
        << qPrintable(alerts.shown.first().second);
    EXPECT_EQ(cleaning.refusedWithoutBackup(), !c.agree);
    EXPECT_FALSE(cleaning.lastBackup());
    EXPECT_EQ(counter.has_value(), c.agree);
    EXPECT_EQ(QFile::exists(settings), !c.agree);
    EXPECT_EQ(defaults.deleted,
              c.agree && c.components ? QStringList{u"com.example.tool"_s} : QStringList());
    EXPECT_TRUE(helper.calls.isEmpty());
}

INSTANTIATE_TEST_SUITE_P(Answers, UnwritableBackup,
                         ::testing::Values(UnwritableCase{"ApplicationRefused", false, false},
                                           UnwritableCase{"ApplicationAgreed", false, true},
                                           UnwritableCase{"ComponentsRefused", true, false},
                                           UnwritableCase{"ComponentsAgreed", true, true}),
                         caseName<UnwritableCase>);

TEST_F(CleaningBackupTest, ACleaningWithNothingToKeepWritesNoBackup) {
    CleaningBackupStore backups = store();
    Cleaning cleaning({helper, defaults, domains, running, alerts, &backups});
    ApplicationSearchResults results;
    results.appBundleIdentifier = u"com.example.tool"_s;
    // Root's domain cannot be kept and the file is not there.
    results.appDomainResults = {{u"com.example.tool"_s, 1}};
    results.appCacheFiles = {QUrl::fromLocalFile(sandbox.homePath(u".cache/none"_s))};
    EXPECT_EQ(
        cleaning.cleanAppPreferences(QUrl::fromLocalFile(u"/Applications/Tool.app"_s), results),
        (DeletionCounter{2, 0}));
    EXPECT_FALSE(cleaning.lastBackup());
    EXPECT_TRUE(backups.backups().isEmpty());
    EXPECT_TRUE(alerts.questions.isEmpty());
}

} // namespace
