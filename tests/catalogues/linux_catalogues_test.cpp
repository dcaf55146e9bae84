// Checks the Linux desktop's catalogues where the Linux desktop looks for them
// (share/sorvane/linux of the build tree), read with Sorvane's own loaders:
// every entry loads, names its source, points only into the places where the
// Linux desktop keeps settings, and no two entries collide.
#include "catalogues/sv_known_app.h"
#include "catalogues/sv_os_component.h"
#include "linux/dconf_domains.h"
#include "linux/linux_desktop.h"
#include "linux/linux_settings_places.h"
#include "packager/sv_pp_item.h"
#include "platform/xml_document_loader.h"

#include "log_capture.h"
#include "qt_printers.h"
#include "sandbox.h"
#include "scoped_environment.h"

#include <QDomElement>
#include <QFileInfo>
#include <QHash>
#include <QRegularExpression>
#include <QSet>

#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>

using namespace Qt::StringLiterals;

namespace {

struct LinuxCatalogue {
    const char* file;
    const char* root;
    const char* entry;
    qsizetype minimum;
    // Components have names and descriptions; applications have identifiers.
    bool components;
    // The packager's catalogue carries domains only: its loader ignores paths.
    bool paths;
};

void PrintTo(const LinuxCatalogue& catalogue, std::ostream* out) {
    *out << catalogue.file;
}

const LinuxCatalogue kAppData{"AppData.xml", "applist", "app", 100, false, true};
const LinuxCatalogue kSystemData{"SystemData.xml", "systemdata", "component", 40, true, true};
const LinuxCatalogue kPackagerData{
    "PackagerData.xml", "packagerdata", "component", 30, true, false};

QString cataloguePath(const LinuxCatalogue& catalogue) {
    return LinuxDesktop().catalogueFolder() + u'/' + QString::fromLatin1(catalogue.file);
}

// The catalogue's document, read once: its nodes are used for as long as
// the test program runs.
QDomElement catalogueRoot(const LinuxCatalogue& catalogue) {
    static QHash<QString, QDomDocument> documents;
    const QString path = cataloguePath(catalogue);
    if (!documents.contains(path)) {
        QString error;
        const auto document = XmlDocumentLoader::loadFile(path, &error);
        EXPECT_TRUE(document) << path.toStdString() << ": " << error.toStdString();
        if (!document)
            return QDomElement();
        documents.insert(path, *document);
    }
    return documents.value(path).documentElement();
}

// The entries of the root; anything that is neither an entry nor a comment
// fails the test.
QList<QDomElement> entries(const LinuxCatalogue& catalogue) {
    const QDomElement root = catalogueRoot(catalogue);
    EXPECT_EQ(root.tagName(), QString::fromLatin1(catalogue.root));
    QList<QDomElement> result;
    for (QDomNode node = root.firstChild(); !node.isNull(); node = node.nextSibling()) {
        if (node.isComment())
            continue;
        EXPECT_TRUE(node.isElement() &&
                    node.toElement().tagName() == QLatin1StringView(catalogue.entry))
            << "unexpected node " << node.nodeName().toStdString();
        if (node.isElement())
            result.append(node.toElement());
    }
    return result;
}

QString entryKey(const LinuxCatalogue& catalogue, const QDomElement& entry) {
    return entry.attribute(catalogue.components ? u"name"_s : u"id"_s);
}

QStringList childTexts(const QDomElement& entry, const QString& kind) {
    QStringList texts;
    for (QDomElement child = entry.firstChildElement(kind); !child.isNull();
         child = child.nextSiblingElement(kind))
        texts.append(child.text());
    return texts;
}

// What the loaders logged beyond the line each comment of the root gives
// and the packager's count.
QStringList complaints(const LogCapture& log) {
    QStringList lines = log.lines();
    lines.removeIf([](const QString& line) {
        return line.endsWith(u"XML element: "_s) || line.startsWith(u"Packager loaded "_s);
    });
    return lines;
}

// How many entries the catalogue's own loader made of the file.
qsizetype loadedEntries(const LinuxCatalogue& catalogue, const QList<QDomElement>& elements) {
    const QString path = cataloguePath(catalogue);
    if (!catalogue.components) {
        SVKnownApp::loadKnownAppDataFromFile(path);
        qsizetype found = 0;
        for (const QDomElement& app : elements)
            found += SVKnownApp::knownAppForId(app.attribute(u"id"_s)) ? 1 : 0;
        return found;
    }
    if (QString::fromLatin1(catalogue.root) == u"systemdata"_s) {
        const auto components = SVOSComponent::loadDataFromFile(path);
        return components ? components->size() : -1;
    }
    const auto items = SVPPItem::loadDataFromFile(path);
    return items ? items->size() : -1;
}

bool hasWildcard(const QString& component) {
    return component == u"*"_s || component.contains(u'?');
}

// A name a search expression should find: each wildcard component turned
// into one concrete name it matches.
QString examplePath(const QString& search) {
    QStringList parts = search.split(u'/');
    for (QString& part : parts) {
        if (part == u"*"_s)
            part = u"Example"_s;
        else
            part.replace(u"??"_s, u"x1"_s).replace(u'?', u'y');
    }
    return parts.join(u'/');
}

QString localPath(const Sandbox& sandbox, const QString& catalogued) {
    return catalogued.startsWith(u"~/"_s) ? sandbox.homePath(catalogued.mid(2))
                                          : sandbox.rootPath(catalogued.mid(1));
}

std::string catalogueName(const ::testing::TestParamInfo<LinuxCatalogue>& catalogue) {
    return catalogue.param.root;
}

class LinuxCatalogues : public ::testing::TestWithParam<LinuxCatalogue> {
protected:
    void SetUp() override {
        environment_.unset("SORVANE_RESOURCES_DIR");
        SVKnownApp::unloadKnownAppData();
    }
    void TearDown() override { SVKnownApp::unloadKnownAppData(); }

    Sandbox sandbox;
    LogCapture log;

private:
    ScopedEnvironment environment_;
};

TEST_P(LinuxCatalogues, EveryEntryLoadsWithItsOwnLoaderWithoutComplaint) {
    ASSERT_TRUE(QFileInfo(cataloguePath(GetParam())).isFile())
        << "the Linux desktop finds no " << GetParam().file;
    const QList<QDomElement> elements = entries(GetParam());
    EXPECT_EQ(loadedEntries(GetParam(), elements), elements.size());
    EXPECT_EQ(complaints(log), QStringList());
}

TEST_P(LinuxCatalogues, HoldsTheRequiredNumberOfEntries) {
    EXPECT_GE(entries(GetParam()).size(), GetParam().minimum);
}

// The comment may stand just before the entry or open it.
TEST_P(LinuxCatalogues, EveryEntryNamesItsSourceBesideIt) {
    for (const QDomElement& entry : entries(GetParam())) {
        const QDomNode before = entry.previousSibling();
        const QDomNode first = entry.firstChild();
        const QDomNode comment = before.isComment() ? before : first;
        EXPECT_TRUE(comment.isComment() && !comment.nodeValue().trimmed().isEmpty())
            << entryKey(GetParam(), entry).toStdString() << " names no source";
    }
}

TEST_P(LinuxCatalogues, NoTwoEntriesShareANameOrIdentifier) {
    QSet<QString> seen;
    for (const QDomElement& entry : entries(GetParam())) {
        const QString key = entryKey(GetParam(), entry);
        EXPECT_FALSE(key.trimmed().isEmpty());
        // Names are told apart the way the lists sort them; identifiers exactly.
        const QString compared = GetParam().components ? key.toLower() : key;
        EXPECT_FALSE(seen.contains(compared)) << "duplicate " << key.toStdString();
        seen.insert(compared);
    }
}

TEST_P(LinuxCatalogues, EveryDomainIsADconfDirectoryInDottedForm) {
    static const QRegularExpression dotted(u"^[A-Za-z0-9_-]+(\\.[A-Za-z0-9_-]+)+$"_s);
    for (const QDomElement& entry : entries(GetParam())) {
        for (const QString& domain : childTexts(entry, u"domain"_s)) {
            SCOPED_TRACE(domain.toStdString());
            EXPECT_TRUE(dotted.match(domain).hasMatch());
            const QString path = DconfDomains::pathOfDomain(domain);
            EXPECT_FALSE(path.isEmpty());
            EXPECT_EQ(DconfDomains::domainOfPath(path), domain);
        }
    }
}

TEST_P(LinuxCatalogues, EveryPathIsWellFormedAndWhereTheLinuxDesktopKeepsSettings) {
    for (const QDomElement& entry : entries(GetParam())) {
        for (const QString& kind : {u"path"_s, u"search"_s}) {
            const QStringList texts = childTexts(entry, kind);
            if (!GetParam().paths) {
                EXPECT_EQ(texts, QStringList())
                    << "the loader ignores every " << kind.toStdString();
                continue;
            }
            for (const QString& text : texts) {
                SCOPED_TRACE(text.toStdString());
                EXPECT_TRUE(text.startsWith(u"~/"_s) || text.startsWith(u'/'));
                EXPECT_FALSE(text.endsWith(u'/'));
                EXPECT_EQ(text.trimmed(), text);
                EXPECT_TRUE(LinuxSettingsPlaces::accepts(text));
                const QStringList parts = text.split(u'/');
                const bool wild = std::any_of(parts.cbegin(), parts.cend(), hasWildcard);
                // A path is taken literally and a search without a wildcard
                // is a path written the long way: either is a slip.
                EXPECT_EQ(wild, kind == u"search"_s);
                EXPECT_FALSE(text.contains(u"*.."_s)) << "every-level wildcards are not resolved";
            }
        }
    }
}

TEST_P(LinuxCatalogues, EverySearchFindsWhatItNamesInsideTheSettingsPlaces) {
    for (const QDomElement& entry : entries(GetParam())) {
        for (const QString& search : childTexts(entry, u"search"_s)) {
            SCOPED_TRACE(search.toStdString());
            const QString example = examplePath(search);
            EXPECT_TRUE(LinuxSettingsPlaces::accepts(example));
            const QString local = sandbox.makeFolder(localPath(sandbox, example));
            EXPECT_TRUE(SVData().resultsOfSearch(search).contains(QUrl::fromLocalFile(local)));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(AllThree, LinuxCatalogues,
                         ::testing::Values(kAppData, kSystemData, kPackagerData), catalogueName);

// The catalogues of components, whose entries are reset or packed whole.
class LinuxComponentCatalogues : public LinuxCatalogues {};

TEST_P(LinuxComponentCatalogues, EveryComponentIsDescribedAndNamesWhatItCovers) {
    QStringList known{u"description"_s, u"domain"_s};
    if (GetParam().paths)
        known << u"path"_s << u"search"_s;
    for (const QDomElement& component : entries(GetParam())) {
        SCOPED_TRACE(entryKey(GetParam(), component).toStdString());
        int covered = 0;
        for (QDomElement child = component.firstChildElement(); !child.isNull();
             child = child.nextSiblingElement()) {
            EXPECT_TRUE(known.contains(child.tagName())) << child.tagName().toStdString();
            EXPECT_FALSE(child.text().trimmed().isEmpty());
            covered += child.tagName() == u"description"_s ? 0 : 1;
        }
        EXPECT_EQ(childTexts(component, u"description"_s).size(), 1);
        EXPECT_GT(covered, 0);
    }
}

// A domain is reset and packed with its subtree, and a folder with its
// contents: a component that named a part of another (or of itself) would
// silently take it along.
TEST_P(LinuxComponentCatalogues, NoComponentCoversPartOfAnother) {
    struct Place {
        QString component;
        QString path;
    };
    const QList<QDomElement> components = entries(GetParam());
    QList<Place> places;
    for (const QDomElement& component : components) {
        const QString name = entryKey(GetParam(), component);
        for (const QString& path : childTexts(component, u"path"_s))
            places.append({name, path});
        for (const QString& search : childTexts(component, u"search"_s))
            places.append({name, examplePath(search)});
    }
    for (const QDomElement& component : components) {
        const QString name = entryKey(GetParam(), component);
        QStringList otherDomains;
        for (const QDomElement& other : components) {
            if (other != component)
                otherDomains += childTexts(other, u"domain"_s);
        }
        for (const QString& domain : childTexts(component, u"domain"_s))
            EXPECT_EQ(DconfDomains::matches(otherDomains, domain), QStringList())
                << name.toStdString() << " takes along another component's settings";
    }
    for (const Place& outer : places) {
        for (const Place& inner : places) {
            EXPECT_FALSE(&outer != &inner &&
                         (inner.path == outer.path || inner.path.startsWith(outer.path + u'/')))
                << outer.component.toStdString() << "'s " << outer.path.toStdString() << " holds "
                << inner.component.toStdString() << "'s " << inner.path.toStdString();
        }
    }
}

INSTANTIATE_TEST_SUITE_P(SystemAndPackager, LinuxComponentCatalogues,
                         ::testing::Values(kSystemData, kPackagerData), catalogueName);

// Files that a person made, installed or needs to sign in, beside the
// settings: resetting every component of the catalogue must leave each of
// them, and every folder around it, where it is.
class SystemComponentsSpareUserData : public ::testing::TestWithParam<const char*> {
protected:
    void SetUp() override { environment_.unset("SORVANE_RESOURCES_DIR"); }

    Sandbox sandbox;
    LogCapture log;

private:
    ScopedEnvironment environment_;
};

TEST_P(SystemComponentsSpareUserData, NoComponentWouldDeleteTheFile) {
    const QString file = sandbox.makeFile(localPath(sandbox, QString::fromLatin1(GetParam())));
    const auto components = SVOSComponent::loadDataFromFile(cataloguePath(kSystemData));
    ASSERT_TRUE(components);
    ASSERT_FALSE(components->isEmpty());
    for (const SVOSComponent& component : *components) {
        for (const QUrl& url : component.filesToDelete()) {
            const QString deleted = url.toLocalFile();
            EXPECT_FALSE(file == deleted || file.startsWith(deleted + u'/'))
                << component.name().toStdString() << " would delete " << deleted.toStdString();
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    Files, SystemComponentsSpareUserData,
    ::testing::Values(
        "~/.local/share/keyrings/login.keyring", "~/.local/share/kwalletd/kdewallet.kwl",
        "~/.local/share/Trash/files/report.odt", "~/.local/share/evolution/mail/local/cur/1.eml",
        "~/.thunderbird/x1.default/prefs.js", "~/.mozilla/firefox/profiles.ini",
        "~/.local/share/applications/org.example.Notes.desktop",
        "~/.local/share/gnome-shell/extensions/example@example.org/metadata.json",
        "~/.local/share/nautilus/scripts/resize.sh", "~/.local/share/fonts/Example.ttf",
        "~/.local/share/backgrounds/holiday.jpg", "~/.config/autostart.txt",
        "~/.cache/thumbnails.txt", "~/.local/share/flatpak/app/org.example.App/current/metadata",
        "~/snap/example/current/.config/settings", "~/Documents/report.odt",
        "/var/cache/apt/pkgcache.bin", "/etc/xdg/autostart/example.desktop"));

} // namespace
