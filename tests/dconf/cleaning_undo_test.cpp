// Undo on the Linux desktop, with the real dconf-service: a cleaning of an
// application or of a component keeps its dconf domains and files in a
// backup before deleting them through Sorvane's defaults program, and
// restoring the backup gives back every value with its type (read back with
// the real dconf program) and every file byte for byte with its mode.
#include "dconf_fixture.h"
#include "dconf_value_kinds.h"

#include "catalogues/sv_os_component.h"
#include "linux/dconf_domain_matcher.h"
#include "linux/linux_desktop.h"
#include "workflows/application_search.h"
#include "workflows/cleaning.h"
#include "workflows/cleaning_backup_restore.h"
#include "workflows/cleaning_backup_store.h"
#include "workflows/system_services.h"

#include "log_capture.h"
#include "recording_helper.h"
#include "recording_services.h"
#include "sandbox.h"
#include "scoped_environment.h"
#include "tree_snapshot.h"

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

const QString kNotes = u"/org/example/Notes/"_s;

const QList<QPair<QString, QString>>& kValues = dconfValueKinds();

const QString kBeside = u"/org/example/Other/kept"_s;

struct UndoCase {
    const char* name;
    bool components;
};

class LinuxCleaningUndo : public DconfFixture, public ::testing::WithParamInterface<UndoCase> {
protected:
    void SetUp() override {
        DconfFixture::SetUp();
        environment_.set("SORVANE_SETTINGS", u"linux"_s);
        SettingsSystem::setCurrent(std::make_unique<LinuxDesktop>());
    }
    void TearDown() override {
        SettingsSystem::setCurrent(nullptr);
        DconfFixture::TearDown();
    }

    // ~/.config/notes with files of several modes, an empty file, an empty
    // folder and a link.
    QString makeFiles() const {
        const QString notes = sandbox_.homePath(u".config/notes"_s);
        sandbox_.makeFile(notes + u"/notes.conf"_s, "[General]\nfont=Serif 11\n");
        sandbox_.makeFile(notes + u"/db/index.bin"_s, QByteArray("\x00\x01\x02\xff", 4));
        sandbox_.makeFile(notes + u"/empty"_s);
        sandbox_.makeFolder(notes + u"/drafts"_s);
        QFile::link(u"db/index.bin"_s, notes + u"/index"_s);
        ::chmod(QFile::encodeName(notes + u"/notes.conf"_s).constData(), 0600);
        ::chmod(QFile::encodeName(notes + u"/db"_s).constData(), 0700);
        return notes;
    }

    std::optional<DeletionCounter> clean(Cleaning& cleaning, DomainMatcher& matcher,
                                         const QString& notes) {
        if (GetParam().components) {
            const QString catalogue =
                sandbox_.makeFile(sandbox_.path() + u"/SystemData.xml"_s,
                                  "<systemdata><component name=\"Notes\">"
                                  "<domain>org.example.Notes*</domain>"
                                  "<path>~/.config/notes</path></component></systemdata>");
            components_ = SVOSComponent::loadDataFromFile(catalogue);
            EXPECT_TRUE(components_ && components_->size() == 1);
            return cleaning.cleanOSComponents({&components_->first()});
        }
        ApplicationSearchResults results;
        results.appBundleIdentifier = u"org.example.Notes"_s;
        results.appDomainResults = matcher.matchesForDomain(u"org.example.Notes"_s) +
                                   matcher.matchesForDomain(u"org.example.Notes.*"_s);
        results.appAdditionalPreferenceFiles = {QUrl::fromLocalFile(notes)};
        return cleaning.cleanAppPreferences(QUrl::fromLocalFile(u"/usr/share/applications/"
                                                                u"org.example.Notes.desktop"_s),
                                            results);
    }

    Sandbox sandbox_;
    ScopedEnvironment environment_;
    LogCapture log_;
    std::optional<QList<SVOSComponent>> components_;
};

TEST_P(LinuxCleaningUndo, RestoresEveryValueWithItsTypeAndEveryFile) {
    for (const auto& [key, value] : kValues)
        dconfWrite(kNotes + key, value);
    dconfWrite(kBeside, u"'beside'"_s);
    const QString notes = makeFiles();
    const QString dumpBefore = dconfDump(kNotes);
    // As dconf prints them back, which is not always as they were written.
    QMap<QString, QString> valuesBefore;
    for (const auto& [key, value] : kValues)
        valuesBefore.insert(key, dconfRead(kNotes + key));
    const QMap<QString, QString> filesBefore = treeSnapshot(sandbox_.home());

    DconfDomainMatcher matcher;
    RecordingHelper helper;
    TaskMasterDomainRunner defaults;
    ScriptedRunningApplications running;
    RecordingAlerts alerts;
    CleaningBackupStore backups(sandbox_.path() + u"/backups"_s);
    Cleaning cleaning({helper, defaults, matcher, running, alerts, &backups});
    const auto counter = clean(cleaning, matcher, notes);
    ASSERT_TRUE(counter);
    EXPECT_EQ(counter->errors, 0u);
    EXPECT_EQ(dconfDump(kNotes), QString());
    EXPECT_FALSE(QFileInfo::exists(notes));
    ASSERT_TRUE(cleaning.lastBackup());
    EXPECT_EQ(cleaning.lastBackup()->contentsSummary(), u"2 domains, 3 files, 3 folders, 1 link"_s);

    CleaningBackupRestore restore(backups, alerts, running, SettingsSystem::current());
    const auto result = restore.restore(*cleaning.lastBackup());
    ASSERT_TRUE(result);
    EXPECT_EQ(result->failed, 0u) << qPrintable(result->failures.join(u'\n'));
    EXPECT_EQ(result->restored, 9u);
    for (auto it = valuesBefore.cbegin(); it != valuesBefore.cend(); ++it) {
        EXPECT_FALSE(it.value().isEmpty()) << qPrintable(it.key());
        EXPECT_EQ(dconfRead(kNotes + it.key()), it.value()) << qPrintable(it.key());
    }
    EXPECT_EQ(dconfDump(kNotes), dumpBefore);
    EXPECT_EQ(dconfRead(kBeside), u"'beside'"_s);
    EXPECT_EQ(treeDifferences(filesBefore, treeSnapshot(sandbox_.home())), QStringList());
    EXPECT_TRUE(alerts.shown.isEmpty());
}

INSTANTIATE_TEST_SUITE_P(Cleanings, LinuxCleaningUndo,
                         ::testing::Values(UndoCase{"Application", false},
                                           UndoCase{"Component", true}),
                         [](const ::testing::TestParamInfo<UndoCase>& tested) {
                             return std::string(tested.param.name);
                         });

} // namespace
