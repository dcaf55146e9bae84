// The Linux desktop on a synthetic home of 300 applications (desktop entries
// with their translations and icons) and 50,000 entries spread over the XDG
// folders, Flatpak containers, /etc/xdg and /var/cache:
//   - one application's files found, beside find(1) listing the same folders;
//   - the installed applications listed, beside find(1) and cat(1) reading
//     the same entries;
//   - the application chooser made and shown with them, beside a plain Qt
//     list of the same names;
//   - with --cold, one first opening of the chooser (listing included) in a
//     fresh process, beside a plain Qt list's first showing (linux.sh runs
//     each in processes of its own).
// Every figure comes from the same run as its peer.
#include "bench_support.h"

#include "controls/application_chooser.h"
#include "linux/desktop_entries.h"
#include "linux/linux_desktop.h"
#include "workflows/application_search.h"
#include "workflows/domain_matcher.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QIcon>
#include <QListView>
#include <QListWidget>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <numeric>

using namespace Qt::StringLiterals;

namespace {

constexpr int kApplications = 300;
// Applications 0-229 come with the system, 230-269 were installed by the
// user, 270-289 are Flatpaks, the rest Snaps.
constexpr int kFirstUser = 230;
constexpr int kFirstFlatpak = 270;
constexpr int kFirstSnap = 290;
// The entries no application of the home owns: in each Flatpak's config,
// data and cache, and in $XDG_CONFIG_HOME, $XDG_DATA_HOME, $XDG_CACHE_HOME,
// $XDG_STATE_HOME, /etc/xdg and /var/cache.
constexpr int kEntries = 50000;
constexpr std::array kContainerShares = {80, 60, 60};
constexpr std::array kListedShares = {14000, 10000, 10000, 6000, 3000, 3000};
static_assert(std::accumulate(kContainerShares.begin(), kContainerShares.end(), 0) *
                      (kFirstSnap - kFirstFlatpak) +
                  std::accumulate(kListedShares.begin(), kListedShares.end(), 0) ==
              kEntries);
// The application whose files are searched: a Flatpak with files in every
// folder the search lists.
constexpr int kTargetIndex = kFirstFlatpak;
const QString kTargetId = u"org.example.Sketcher"_s;
constexpr int kTargetPreferenceFiles = 6;
constexpr int kTargetCaches = 4;

const QStringList kLocales = {u"ar"_s, u"bg"_s, u"ca"_s, u"cs"_s, u"da"_s,    u"de"_s,
                              u"el"_s, u"es"_s, u"eu"_s, u"fi"_s, u"fr"_s,    u"gl"_s,
                              u"he"_s, u"hr"_s, u"hu"_s, u"id"_s, u"it"_s,    u"ja"_s,
                              u"ko"_s, u"lt"_s, u"nb"_s, u"nl"_s, u"pl"_s,    u"pt_BR"_s,
                              u"ro"_s, u"ru"_s, u"sk"_s, u"sv"_s, u"zh_CN"_s, u"zh_TW"_s};

void writeFile(const QString& path, const QByteArray& contents = {}) {
    QDir().mkpath(path.section(u'/', 0, -2));
    QFile file(path);
    if (file.open(QIODevice::WriteOnly))
        file.write(contents);
}

// One application's identity in the synthetic home.
struct SyntheticApplication {
    enum class Kind { System, User, Flatpak, Snap };
    Kind kind;
    QString id;
    QString name;
    QString program;

    static SyntheticApplication at(int index) {
        SyntheticApplication app;
        app.kind = index < kFirstUser      ? Kind::System
                   : index < kFirstFlatpak ? Kind::User
                   : index < kFirstSnap    ? Kind::Flatpak
                                           : Kind::Snap;
        const QString number = u"%1"_s.arg(index, 3, 10, QChar(u'0'));
        app.id =
            index == kTargetIndex ? kTargetId : u"org.maker%1.Tool%2"_s.arg(index % 40).arg(number);
        app.name = index == kTargetIndex ? u"Sketcher"_s : u"Tool %1"_s.arg(number);
        app.program = index == kTargetIndex ? u"sketcher"_s : u"tool"_s + number;
        return app;
    }

    // A desktop entry as packages write them; every other one carries the
    // translations of a widely translated application.
    QByteArray entry(int index) const {
        QString exec = program + u" %U"_s;
        if (kind == Kind::Flatpak)
            exec = u"/usr/bin/flatpak run --branch=stable --arch=x86_64 --command=%1 "
                   u"--file-forwarding %2 @@u %U @@"_s.arg(program, id);
        else if (kind == Kind::Snap)
            exec = u"env BAMF_DESKTOP_FILE_HINT=/var/lib/snapd/desktop/applications/%1_%1.desktop "
                   u"/snap/bin/%1 %U"_s.arg(program);
        QString text =
            u"[Desktop Entry]\nType=Application\nName=%1\nGenericName=Drawing tool\n"
            u"Comment=Make and edit drawings\nExec=%2\nIcon=%3\nTerminal=false\n"
            u"Categories=Graphics;2DGraphics;\nMimeType=image/png;image/svg+xml;\n"
            u"Keywords=draw;paint;sketch;\nStartupNotify=true\nStartupWMClass=%4\n"_s.arg(
                name, exec, id, program);
        if (kind == Kind::Flatpak)
            text += u"X-Flatpak=%1\n"_s.arg(id);
        if (kind == Kind::Snap)
            text += u"X-SnapInstanceName=%1\n"_s.arg(program);
        if (index % 2 == 0) {
            for (const QString& locale : kLocales)
                text += u"Name[%1]=%2 (%1)\nComment[%1]=Make and edit drawings (%1)\n"
                        u"Keywords[%1]=draw;paint;sketch;%1;\n"_s.arg(locale, name);
        }
        text += u"Actions=new-window;\n\n[Desktop Action new-window]\nName=New Window\n"
                u"Exec=%1 --new-window\n"_s.arg(program);
        return text.toUtf8();
    }
};

// A synthetic Linux home and system root below a scratch folder.
struct LinuxHome {
    QString base;
    QString home;
    QString root;

    QString config() const { return home + u"/.config"_s; }
    QString data() const { return home + u"/.local/share"_s; }
    QString cache() const { return home + u"/.cache"_s; }
    QString state() const { return home + u"/.local/state"_s; }
    QString container(const QString& id) const { return home + u"/.var/app/"_s + id; }
    QString etcXdg() const { return root + u"/etc/xdg"_s; }
    QString varCache() const { return root + u"/var/cache"_s; }
    QString runtime() const { return base + u"/runtime"_s; }

    // The XDG variables point below the scratch home, XDG_DATA_DIRS at its
    // system root's /usr/share alone, as in the demo.
    void enter() const {
        qputenv("HOME", QFile::encodeName(home));
        qputenv("SORVANE_SYSTEM_ROOT", QFile::encodeName(root));
        qputenv("SORVANE_SETTINGS", "linux");
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(config()));
        qputenv("XDG_DATA_HOME", QFile::encodeName(data()));
        qputenv("XDG_CACHE_HOME", QFile::encodeName(cache()));
        qputenv("XDG_STATE_HOME", QFile::encodeName(state()));
        qputenv("XDG_DATA_DIRS", QFile::encodeName(root + u"/usr/share"_s));
        qputenv("XDG_CONFIG_DIRS", QFile::encodeName(etcXdg()));
        qputenv("XDG_RUNTIME_DIR", QFile::encodeName(runtime()));
        // dconf reads the sandbox's user database alone, never the machine's
        // profile and system databases.
        qputenv("DCONF_PROFILE", QFile::encodeName(base + u"/dconf-profile"_s));
    }

    static LinuxHome make(const QString& name, bool withEntries) {
        LinuxHome sandbox;
        sandbox.base = bench::makeScratch(name);
        sandbox.home = sandbox.base + u"/home"_s;
        sandbox.root = sandbox.base + u"/root"_s;
        QDir().mkpath(sandbox.runtime());
        QFile::setPermissions(sandbox.runtime(),
                              QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        writeFile(sandbox.base + u"/dconf-profile"_s, "user-db:user\n");
        sandbox.enter();
        sandbox.writeApplications();
        if (withEntries)
            sandbox.writeEntries();
        return sandbox;
    }

    QString entryPath(int index) const {
        const SyntheticApplication app = SyntheticApplication::at(index);
        switch (app.kind) {
        case SyntheticApplication::Kind::System:
            return root + u"/usr/share/applications/"_s + app.id + u".desktop"_s;
        case SyntheticApplication::Kind::User:
            return data() + u"/applications/"_s + app.id + u".desktop"_s;
        case SyntheticApplication::Kind::Flatpak:
            return data() + u"/flatpak/exports/share/applications/"_s + app.id + u".desktop"_s;
        case SyntheticApplication::Kind::Snap:
            return root + u"/var/lib/snapd/desktop/applications/%1_%1.desktop"_s.arg(app.program);
        }
        return {};
    }

    void writeApplications() const {
        const QString icons = root + u"/usr/share/icons/hicolor"_s;
        writeFile(icons + u"/index.theme"_s,
                  "[Icon Theme]\nName=Hicolor\nDirectories=scalable/apps\n\n[scalable/apps]\n"
                  "Size=64\nMinSize=8\nMaxSize=512\nType=Scalable\n");
        for (int index = 0; index < kApplications; ++index) {
            const SyntheticApplication app = SyntheticApplication::at(index);
            writeFile(entryPath(index), app.entry(index));
            const QString colour =
                u"#%1"_s.arg((index * 2654435761u) & 0xffffff, 6, 16, QChar(u'0'));
            writeFile(icons + u"/scalable/apps/"_s + app.id + u".svg"_s,
                      u"<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"64\" height=\"64\">"
                      u"<rect x=\"2\" y=\"2\" width=\"60\" height=\"60\" rx=\"12\" fill=\"%1\"/>"
                      u"</svg>\n"_s.arg(colour)
                          .toUtf8());
        }
    }

    // Entries no application of the home owns, in the folders the search
    // lists: names and shapes as desktops have them (folders, rc files,
    // reverse-domain names, lists and databases).
    static void fillFolder(const QString& folder, int count, int seed) {
        QDir().mkpath(folder);
        for (int i = 0; i < count; ++i) {
            QString name;
            switch (i % 4) {
            case 0:
                name = u"app%1-%2"_s.arg(seed).arg(i);
                break;
            case 1:
                name = u"org.vendor%1.App%2"_s.arg(seed).arg(i);
                break;
            case 2:
                name = u"tool%1x%2rc"_s.arg(seed).arg(i);
                break;
            default:
                name = u"data%1_%2.list"_s.arg(seed).arg(i);
                break;
            }
            if (i % 5 == 0)
                QDir().mkdir(folder + u'/' + name);
            else
                writeFile(folder + u'/' + name);
        }
    }

    void writeEntries() const {
        int seed = 0;
        for (int index = kFirstFlatpak; index < kFirstSnap; ++index) {
            const QString container = this->container(SyntheticApplication::at(index).id);
            fillFolder(container + u"/config"_s, kContainerShares[0], seed++);
            fillFolder(container + u"/data"_s, kContainerShares[1], seed++);
            fillFolder(container + u"/cache"_s, kContainerShares[2], seed++);
        }
        const QStringList listed = {config(), data(), cache(), state(), etcXdg(), varCache()};
        for (qsizetype i = 0; i < listed.size(); ++i)
            fillFolder(listed.at(i), kListedShares[i], seed++);
        // What the searched application left.
        QDir().mkpath(config() + u"/sketcher"_s);
        writeFile(config() + u"/sketcherrc"_s);
        QDir().mkpath(data() + u'/' + kTargetId);
        QDir().mkpath(cache() + u"/sketcher"_s);
        QDir().mkpath(state() + u"/sketcher"_s);
        writeFile(etcXdg() + u"/sketcherrc"_s);
        QDir().mkpath(varCache() + u"/sketcher"_s);
    }

    // The folders the search lists (the container's are only looked at, and
    // hold few entries), in its order.
    QStringList searchedFolders() const {
        const QString container = this->container(kTargetId);
        return {config(),
                data(),
                container + u"/config"_s,
                container + u"/data"_s,
                etcXdg(),
                cache(),
                state(),
                container + u"/cache"_s,
                varCache()};
    }

    // Where the installed applications' entries are read from.
    static QStringList applicationFolders() {
        QStringList folders;
        for (const QString& folder : DesktopEntries::dataFolders()) {
            if (QFileInfo(folder + u"/applications"_s).isDir())
                folders.append(folder + u"/applications"_s);
        }
        return folders;
    }
};

const LinuxHome& discoveryHome() {
    static const LinuxHome home = LinuxHome::make(u"linux-discovery"_s, true);
    home.enter();
    return home;
}

// Shows a widget and waits until its list has been painted.
class PaintProbe : public QObject {
public:
    bool painted = false;

protected:
    bool eventFilter(QObject*, QEvent* event) override {
        if (event->type() == QEvent::Paint)
            painted = true;
        return false;
    }
};

bool showUntilPainted(QWidget& window, QWidget* viewport) {
    PaintProbe probe;
    viewport->installEventFilter(&probe);
    window.show();
    for (int round = 0; round < 1000 && !probe.painted; ++round)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
    viewport->removeEventFilter(&probe);
    return probe.painted;
}

// The chooser draws the applications' own icons, as on a desktop, not the
// stand-in it takes when the theme is not found.
bool themeIconsFound(const QList<ApplicationEntry>& entries, benchmark::State& state) {
    if (!entries.isEmpty() && !QIcon::fromTheme(entries.constFirst().iconName).isNull())
        return true;
    state.SkipWithError("no icon of the theme can be read: run under a display, as linux.sh does, "
                        "with Qt's SVG plug-ins (libqt6svg6) installed");
    return false;
}

bool showChooser(const QList<ApplicationEntry>& entries, benchmark::State& state) {
    ApplicationChooser chooser(entries);
    if (!showUntilPainted(chooser, chooser.listView()->viewport()) ||
        chooser.iconLookupCount() == 0) {
        state.SkipWithError("the chooser drew no row");
        return false;
    }
    return true;
}

bool showPlainList(const QStringList& names, benchmark::State& state) {
    QListWidget list;
    list.addItems(names);
    list.resize(460, 480);
    if (!showUntilPainted(list, list.viewport())) {
        state.SkipWithError("the list was not painted");
        return false;
    }
    return true;
}

QStringList namesOf(const QList<ApplicationEntry>& entries) {
    QStringList names;
    for (const ApplicationEntry& entry : entries)
        names.append(entry.name);
    return names;
}

void BM_LinuxApplicationDiscovery(benchmark::State& state) {
    const LinuxHome& home = discoveryHome();
    LinuxDesktop desktop;
    const std::optional<ApplicationTarget> target =
        desktop.applicationAtUrl(QUrl::fromLocalFile(home.entryPath(kTargetIndex)));
    if (!target) {
        state.SkipWithError("the application's entry cannot be read");
        return;
    }
    const std::unique_ptr<DomainMatcher> matcher = desktop.makeDomainMatcher({});
    for (auto _ : state) {
        ApplicationSearchResults results;
        ApplicationSearchReasons reasons;
        desktop.findApplicationSettings(*target, *matcher, results, &reasons);
        if (results.appAdditionalPreferenceFiles.size() != kTargetPreferenceFiles ||
            results.appCacheFiles.size() != kTargetCaches) {
            state.SkipWithError("unexpected files found");
            return;
        }
        benchmark::DoNotOptimize(results);
    }
}

void BM_FindLinuxDiscoveryFolders(benchmark::State& state) {
    QStringList arguments = discoveryHome().searchedFolders();
    arguments << u"-maxdepth"_s << u"1"_s;
    for (auto _ : state) {
        if (!bench::runQuietly(u"find"_s, arguments))
            state.SkipWithError("find failed");
    }
}

void BM_InstalledApplications(benchmark::State& state) {
    discoveryHome();
    LinuxDesktop desktop;
    for (auto _ : state) {
        const QList<ApplicationEntry> entries = desktop.installedApplications();
        if (entries.size() != kApplications) {
            state.SkipWithError("unexpected number of applications");
            return;
        }
        benchmark::DoNotOptimize(entries);
    }
}

void BM_FindAndReadEntries(benchmark::State& state) {
    discoveryHome();
    QStringList arguments = LinuxHome::applicationFolders();
    arguments << u"-name"_s << u"*.desktop"_s << u"-exec"_s << u"cat"_s << u"{}"_s << u"+"_s;
    for (auto _ : state) {
        if (!bench::runQuietly(u"find"_s, arguments))
            state.SkipWithError("find failed");
    }
}

void BM_ChooserShown(benchmark::State& state) {
    discoveryHome();
    const QList<ApplicationEntry> entries = LinuxDesktop().installedApplications();
    if (!themeIconsFound(entries, state))
        return;
    for (auto _ : state) {
        if (!showChooser(entries, state))
            return;
    }
}

void BM_PlainListShown(benchmark::State& state) {
    discoveryHome();
    const QStringList names = namesOf(LinuxDesktop().installedApplications());
    for (auto _ : state) {
        if (!showPlainList(names, state))
            return;
    }
}

// The first opening in a process: what the user waits for after clicking
// "Choose Application..." once.
void BM_ChooserFirstOpen(benchmark::State& state) {
    static const LinuxHome home = LinuxHome::make(u"linux-applications"_s, false);
    home.enter();
    for (auto _ : state) {
        if (!showChooser(LinuxDesktop().installedApplications(), state))
            return;
    }
    // Asked afterwards, so that the icon theme is first read by the chooser.
    themeIconsFound(LinuxDesktop().installedApplications(), state);
}

void BM_PlainListFirstShown(benchmark::State& state) {
    static const LinuxHome home = LinuxHome::make(u"linux-applications"_s, false);
    home.enter();
    const QStringList names = namesOf(LinuxDesktop().installedApplications());
    for (auto _ : state) {
        if (!showPlainList(names, state))
            return;
    }
}

void registerBenchmarks(bool cold) {
    using Function = void (*)(benchmark::State&);
    const auto add = [cold](const char* name, Function function) {
        benchmark::internal::Benchmark* benchmark = benchmark::RegisterBenchmark(name, function);
        benchmark->UseRealTime()->Unit(benchmark::kMillisecond);
        if (cold)
            benchmark->Iterations(1);
    };
    if (cold) {
        add("BM_ChooserFirstOpen", BM_ChooserFirstOpen);
        add("BM_PlainListFirstShown", BM_PlainListFirstShown);
        return;
    }
    add("BM_LinuxApplicationDiscovery", BM_LinuxApplicationDiscovery);
    add("BM_FindLinuxDiscoveryFolders", BM_FindLinuxDiscoveryFolders);
    add("BM_InstalledApplications", BM_InstalledApplications);
    add("BM_FindAndReadEntries", BM_FindAndReadEntries);
    add("BM_ChooserShown", BM_ChooserShown);
    add("BM_PlainListShown", BM_PlainListShown);
}

} // namespace

int main(int argc, char** argv) {
    // Without a display of linux.sh's, the windows go to no screen: nothing
    // of the desktop is reached (and the chooser benchmarks stop, as Qt then
    // reads no icon theme).
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    // Qt looks for the desktop's services on the session bus as it starts:
    // it finds none.
    qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/sorvane-bench-no-bus");
    bool cold = false;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--cold") == 0) {
            cold = true;
            std::copy(argv + i + 1, argv + argc, argv + i);
            --argc;
            break;
        }
    }
    QApplication app(argc, argv);
    bench::silenceLog();
    registerBenchmarks(cold);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
