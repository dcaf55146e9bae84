// A Flatpak application's own settings store as one more of its domains:
// found beside its dconf domains, and read, replaced and deleted by Sorvane's
// real defaults program.
#include "dconf_fixture.h"

#include "linux/dconf_domain_matcher.h"
#include "linux/flatpak_settings_keyfile.h"
#include "linux/linux_desktop.h"
#include "platform/tool_locations.h"
#include "workflows/application_search.h"

#include <QDir>
#include <QProcess>

using namespace Qt::StringLiterals;

namespace {

const QString kDomain = u"flatpak:org.gnome.TextEditor"_s;
const QByteArray kStore = "[org/gnome/TextEditor]\nstyle-scheme='classic'\n"
                          "tab-width=uint32 4\n\n[org/gnome/TextEditor/plugins]\nspell=true\n";

struct DefaultsRun {
    int status = -1;
    QString out;
    QString err;
};

class FlatpakSettingsKeyfileTest : public DconfFixture {
protected:
    void SetUp() override {
        DconfFixture::SetUp();
        store_ =
            QDir::homePath() + u"/.var/app/org.gnome.TextEditor/config/glib-2.0/settings/keyfile"_s;
        QDir().mkpath(QFileInfo(store_).path());
        writeStore(kStore);
    }
    void TearDown() override {
        QDir(QDir::homePath() + u"/.var"_s).removeRecursively();
        DconfFixture::TearDown();
    }

    void writeStore(const QByteArray& text) const {
        QFile file(store_);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(text);
    }
    QByteArray storeText() const {
        QFile file(store_);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    static DefaultsRun defaults(const QStringList& arguments) {
        QProcess process;
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"SORVANE_SETTINGS"_s, u"linux"_s);
        process.setProcessEnvironment(environment);
        process.start(ToolLocations::defaultsTool(), arguments);
        DefaultsRun run;
        if (process.waitForFinished(30000) && process.exitStatus() == QProcess::NormalExit)
            run.status = process.exitCode();
        run.out = QString::fromUtf8(process.readAllStandardOutput());
        run.err = QString::fromUtf8(process.readAllStandardError());
        return run;
    }

    QString store_;
};

} // namespace

TEST_F(FlatpakSettingsKeyfileTest, TheStoreIsADomainOfTheDefaultsProgram) {
    // An empty store of another Flatpak is no domain.
    const QString empty =
        QDir::homePath() + u"/.var/app/org.example.Empty/config/glib-2.0/settings/keyfile"_s;
    QDir().mkpath(QFileInfo(empty).path());
    QFile(empty).open(QIODevice::WriteOnly);
    dconfWrite(u"/org/gnome/TextEditor/style-scheme"_s, u"'kate'"_s);

    const DefaultsRun listing = defaults({u"domains"_s});
    ASSERT_EQ(listing.status, 0) << listing.err.toStdString();
    EXPECT_EQ(listing.out, u"org.gnome.TextEditor, "_s + kDomain + u'\n');

    const DefaultsRun read = defaults({u"read"_s, kDomain});
    ASSERT_EQ(read.status, 0) << read.err.toStdString();
    EXPECT_EQ(read.out.toUtf8(), kStore);
}

TEST_F(FlatpakSettingsKeyfileTest, WriteReplacesTheStoreAndKeepsTypes) {
    const QString text = u"[org/gnome/TextEditor]\nwidth=int64 -5\nsizes=@au []\n"_s;
    const DefaultsRun write = defaults({u"write"_s, kDomain, text});
    ASSERT_EQ(write.status, 0) << write.err.toStdString();
    EXPECT_EQ(storeText(), text.toUtf8());
    const auto values = LinuxDesktop().userDomainValues(kDomain);
    ASSERT_TRUE(values);
    EXPECT_EQ(*values, (QMap<QString, QString>{{u"org/gnome/TextEditor/sizes"_s, u"@au []"_s},
                                               {u"org/gnome/TextEditor/width"_s, u"int64 -5"_s}}));
    // The host's dconf is not the Flatpak's.
    EXPECT_TRUE(dconfDump(u"/org/gnome/TextEditor/"_s).isEmpty());
}

struct Refusal {
    const char* name;
    QStringList arguments;
};

class FlatpakSettingsKeyfileRefusals : public FlatpakSettingsKeyfileTest,
                                       public testing::WithParamInterface<Refusal> {};

TEST_P(FlatpakSettingsKeyfileRefusals, LeaveTheStoreAlone) {
    const DefaultsRun run = defaults(GetParam().arguments);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err.count(u'\n'), 1) << run.err.toStdString();
    EXPECT_EQ(storeText(), kStore);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, FlatpakSettingsKeyfileRefusals,
    testing::Values(
        Refusal{"TextThatIsNoKeyFile", {u"write"_s, kDomain, u"not a key file"_s}},
        Refusal{"AValueThatDoesNotParse", {u"write"_s, kDomain, u"[a]\nk=unquoted words\n"_s}},
        Refusal{"ANameLeavingTheFolder", {u"delete"_s, u"flatpak:../org.gnome.TextEditor"_s}},
        Refusal{"ANameWithoutAnId", {u"write"_s, u"flatpak:"_s, u"[a]\nk=1\n"_s}}),
    [](const testing::TestParamInfo<Refusal>& row) { return std::string(row.param.name); });

TEST_F(FlatpakSettingsKeyfileTest, DeleteRemovesTheStore) {
    const DefaultsRun remove = defaults({u"delete"_s, kDomain});
    ASSERT_EQ(remove.status, 0) << remove.err.toStdString();
    EXPECT_FALSE(QFile::exists(store_));
    EXPECT_EQ(defaults({u"read"_s, kDomain}).status, 1);
}

TEST_F(FlatpakSettingsKeyfileTest, AFlatpaksSearchFindsItsStoreWithItsReason) {
    const QString entry = QString::fromLocal8Bit(qgetenv("XDG_DATA_HOME")) +
                          u"/applications/org.gnome.TextEditor.desktop"_s;
    QDir().mkpath(QFileInfo(entry).path());
    QFile file(entry);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("[Desktop Entry]\nType=Application\nName=Text Editor\n"
               "Exec=flatpak run org.gnome.TextEditor\nX-Flatpak=org.gnome.TextEditor\n");
    file.close();

    LinuxDesktop desktop;
    DconfDomainMatcher matcher;
    ApplicationSearchResults results;
    ApplicationSearchReasons reasons;
    ASSERT_EQ(ApplicationSearch(matcher, desktop)
                  .doSearchesForApp(QUrl::fromLocalFile(entry), results, &reasons),
              ApplicationSearch::Outcome::Found);
    ASSERT_EQ(results.appDomainResults, (QList<SVDefaultsDomain>{{kDomain, 0}}));
    EXPECT_EQ(reasons.domains.first().kind, MatchReason::Kind::FlatpakSettings);
    QFile::remove(entry);
}
