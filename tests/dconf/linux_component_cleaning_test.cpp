// Cleaning components of the Linux desktop's own catalogue: the real dconf
// service resets exactly the components' domains (read back with the real
// dconf program), their files go, and the settings and files beside them,
// some of them other components', stay.
#include "dconf_fixture.h"

#include "catalogues/sv_os_component.h"
#include "linux/dconf_domain_matcher.h"
#include "linux/linux_desktop.h"
#include "workflows/cleaning.h"
#include "workflows/system_services.h"

#include "log_capture.h"
#include "recording_helper.h"
#include "recording_services.h"
#include "sandbox.h"
#include "scoped_environment.h"

#include <QFileInfo>

#include <ostream>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

struct DconfValue {
    const char* key;
    const char* value; // as "dconf read" prints it
};

struct ComponentCleaning {
    const char* label;
    std::vector<const char*> components; // names in SystemData.xml
    std::vector<DconfValue> goneValues;
    std::vector<DconfValue> keptValues;
    std::vector<const char*> goneFiles; // "~/…" in the home, "/…" below the root
    std::vector<const char*> keptFiles;
    // The user domains that hold the gone values, in the order they go.
    std::vector<const char*> deletedDomains;
    // The catalogue's paths that exist: one deletion each.
    quint32 deletedFiles;
};

void PrintTo(const ComponentCleaning& cleaning, std::ostream* out) {
    *out << cleaning.label;
}

std::string cleaningName(const ::testing::TestParamInfo<ComponentCleaning>& cleaning) {
    return cleaning.param.label;
}

const ComponentCleaning kCleanings[] = {
    {"ShortcutsAndDefaultApplications",
     {"Keyboard shortcuts (GNOME)", "Default applications"},
     {{"/org/gnome/desktop/wm/keybindings/switch-to-workspace-1", "['<Super>Home']"},
      {"/org/gnome/settings-daemon/plugins/media-keys/custom-keybindings",
       "['/org/gnome/settings-daemon/plugins/media-keys/custom-keybindings/custom0/']"},
      {"/org/gnome/settings-daemon/plugins/media-keys/custom-keybindings/custom0/binding",
       "'<Super>t'"},
      {"/org/gnome/settings-daemon/plugins/media-keys/custom-keybindings/custom0/command",
       "'gnome-terminal'"}},
     {{"/org/gnome/desktop/wm/preferences/button-layout", "'appmenu:minimize,close'"},
      {"/org/gnome/settings-daemon/plugins/power/sleep-inactive-ac-type", "'nothing'"},
      {"/org/gnome/shell/keybindings/toggle-overview", "['<Super>s']"},
      {"/org/gnome/mutter/keybindings/toggle-tiled-left", "['<Super>Left']"}},
     {"~/.config/mimeapps.list", "~/.config/gnome-mimeapps.list",
      "~/.local/share/applications/mimeapps.list"},
     {"~/.config/gnome-mimeapps.list.bak", "~/.config/user-dirs.dirs",
      "~/.local/share/applications/org.gnome.TextEditor.desktop",
      "~/.local/share/recently-used.xbel"},
     {"org.gnome.desktop.wm.keybindings", "org.gnome.settings-daemon.plugins.media-keys",
      "org.gnome.settings-daemon.plugins.media-keys.custom-keybindings.custom0"},
     3},
    // Both keep their settings where the schema's path, not its id, says.
    {"ProxyAndInputMethods",
     {"Network proxy (GNOME)", "Input method framework (IBus)"},
     {{"/system/proxy/mode", "'manual'"},
      {"/system/proxy/http/host", "'proxy.example.org'"},
      {"/desktop/ibus/general/preload-engines", "['xkb:us::eng']"},
      {"/desktop/ibus/panel/emoji/font", "'Noto Color Emoji 16'"}},
     {{"/system/locale/region", "'en_GB.UTF-8'"},
      {"/org/gnome/desktop/input-sources/sources", "[('xkb', 'us')]"},
      {"/org/gnome/system/location/enabled", "true"}},
     {},
     {"~/.config/ibus/bus/0123-unix-0"},
     {"system.proxy", "system.proxy.http", "desktop.ibus.general", "desktop.ibus.panel.emoji"},
     0},
    // Caches of the home and of the system; the settings about them stay.
    {"ThumbnailsAndFontCaches",
     {"Thumbnails", "Font cache"},
     {},
     {{"/org/gnome/desktop/thumbnail-cache/maximum-age", "30"}},
     {"~/.cache/thumbnails/normal/0a1b2c.png", "~/.cache/thumbnails/fail/gnome/9f8e.png",
      "~/.cache/fontconfig/0a1b-le64.cache-8", "/var/cache/fontconfig/2c3d-le64.cache-8"},
     {"~/.cache/tracker3/files/meta.db", "~/.config/fontconfig/fonts.conf",
      "/var/cache/apt/pkgcache.bin", "~/.local/share/fonts/Example.ttf"},
     {},
     3},
};

class LinuxComponentCleaning : public DconfFixture,
                               public ::testing::WithParamInterface<ComponentCleaning> {
protected:
    void SetUp() override {
        DconfFixture::SetUp();
        // Sorvane's defaults program, run for every domain, works on the Linux desktop too.
        environment_.set("SORVANE_SETTINGS", u"linux"_s);
        environment_.unset("SORVANE_RESOURCES_DIR");
    }

    QString local(const char* catalogued) const {
        const QString path = QString::fromUtf8(catalogued);
        return path.startsWith(u"~/"_s) ? sandbox_.homePath(path.mid(2))
                                        : sandbox_.rootPath(path.mid(1));
    }

    void makeFiles(const std::vector<const char*>& files) const {
        for (const char* file : files)
            sandbox_.makeFile(local(file), "settings\n");
    }

    // The catalogue's components of the given names, in that order.
    static QList<SVOSComponent> catalogueComponents(const std::vector<const char*>& names) {
        const QString path = LinuxDesktop().catalogueFolder() + u"/SystemData.xml"_s;
        const auto all = SVOSComponent::loadDataFromFile(path);
        EXPECT_TRUE(all) << "cannot load " << path.toStdString();
        QList<SVOSComponent> chosen;
        for (const char* name : names) {
            for (const SVOSComponent& component : all.value_or(QList<SVOSComponent>())) {
                if (component.name() == QString::fromUtf8(name))
                    chosen.append(component);
            }
        }
        EXPECT_EQ(chosen.size(), qsizetype(names.size())) << "a component is not catalogued";
        return chosen;
    }

    Sandbox sandbox_;
    ScopedEnvironment environment_;
    // Keeps the loaders' and the defaults program's lines out of the output.
    LogCapture log_;
};

// Sorvane's defaults program, run for real, with a note of every domain.
class NotedDefaultsRunner : public DefaultsDomainRunner {
public:
    QStringList deleted;
    bool deleteDefaultDomain(const QString& domain) override {
        deleted.append(domain);
        return real_.deleteDefaultDomain(domain);
    }

private:
    TaskMasterDomainRunner real_;
};

} // namespace

TEST_P(LinuxComponentCleaning, DeletesExactlyTheComponentsDomainsAndFiles) {
    const ComponentCleaning& cleaning = GetParam();
    for (const auto& [key, value] : cleaning.goneValues)
        dconfWrite(QString::fromUtf8(key), QString::fromUtf8(value));
    for (const auto& [key, value] : cleaning.keptValues)
        dconfWrite(QString::fromUtf8(key), QString::fromUtf8(value));
    makeFiles(cleaning.goneFiles);
    makeFiles(cleaning.keptFiles);
    const QList<SVOSComponent> components = catalogueComponents(cleaning.components);
    ASSERT_EQ(components.size(), qsizetype(cleaning.components.size()));

    // The domain lists are read once, after the values are there, as at start-up.
    DconfDomainMatcher matcher;
    RecordingHelper helper;
    NotedDefaultsRunner defaults;
    ScriptedRunningApplications running;
    RecordingAlerts alerts;
    Cleaning workflow({helper, defaults, matcher, running, alerts});
    QList<const SVOSComponent*> ticked;
    for (const SVOSComponent& component : components)
        ticked.append(&component);
    const DeletionCounter counter = workflow.cleanOSComponents(ticked).value_or(DeletionCounter{});

    QStringList expectedDomains;
    for (const char* domain : cleaning.deletedDomains)
        expectedDomains.append(QString::fromUtf8(domain));
    EXPECT_EQ(defaults.deleted, expectedDomains);
    const auto deletions = quint32(expectedDomains.size()) + cleaning.deletedFiles;
    EXPECT_EQ(counter, (DeletionCounter{deletions, 0}));
    for (const auto& [key, value] : cleaning.goneValues)
        EXPECT_EQ(dconfRead(QString::fromUtf8(key)), QString()) << key;
    for (const auto& [key, value] : cleaning.keptValues)
        EXPECT_EQ(dconfRead(QString::fromUtf8(key)), QString::fromUtf8(value)) << key;
    for (const char* file : cleaning.goneFiles)
        EXPECT_FALSE(QFileInfo::exists(local(file))) << file;
    for (const char* file : cleaning.keptFiles)
        EXPECT_TRUE(QFileInfo::exists(local(file))) << file;
    // Everything was the user's own: nothing needed the helper.
    EXPECT_EQ(helper.calls, QStringList());
    EXPECT_TRUE(alerts.shown.isEmpty());
}

INSTANTIATE_TEST_SUITE_P(TwoComponents, LinuxComponentCleaning, ::testing::ValuesIn(kCleanings),
                         cleaningName);
