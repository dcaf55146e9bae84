// Checks the catalogues that ship in share/sorvane, read the way Sorvane
// reads them: from its own resources, next to the test program's build tree.
#include "catalogues/sv_known_app.h"
#include "catalogues/sv_os_component.h"
#include "packager/sv_pp_item.h"
#include "platform/bundle.h"
#include "platform/xml_document_loader.h"

#include "log_capture.h"
#include "qt_printers.h"
#include "sandbox.h"

#include <QDomElement>
#include <QRegularExpression>
#include <QSet>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

QDomElement shippedRoot(const QString& name) {
    const QString path = Bundle::mainBundle().pathForResource(name, u"xml"_s);
    EXPECT_FALSE(path.isNull()) << "no " << name.toStdString() << ".xml in Sorvane's resources";
    QString error;
    const std::optional<QDomDocument> document = XmlDocumentLoader::loadFile(path, &error);
    EXPECT_TRUE(document) << error.toStdString();
    return document ? document->documentElement() : QDomElement();
}

// The elements of the root; anything that is neither one of them nor a
// comment fails the test.
QList<QDomElement> entries(const QDomElement& root, const QString& tag) {
    QList<QDomElement> result;
    for (QDomNode node = root.firstChild(); !node.isNull(); node = node.nextSibling()) {
        if (node.isComment())
            continue;
        EXPECT_TRUE(node.isElement() && node.toElement().tagName() == tag)
            << "unexpected node " << node.nodeName().toStdString();
        if (node.isElement())
            result.append(node.toElement());
    }
    return result;
}

// What the loaders logged apart from the line every comment of the root
// produces (comments are welcome in the catalogues).
QStringList complaints(const LogCapture& log) {
    QStringList lines = log.lines();
    lines.removeIf([](const QString& line) { return line.endsWith(u"XML element: "_s); });
    return lines;
}

bool plausibleDomain(const QString& domain) {
    static const QRegularExpression reverseDns(
        u"^[A-Za-z0-9][A-Za-z0-9_-]*(\\.[A-Za-z0-9*?][A-Za-z0-9_*?-]*)+$"_s);
    // Domains of the system that carry no dots.
    static const QStringList bare{u"NSGlobalDomain"_s, u"pbs"_s, u"ZoomChat"_s};
    return bare.contains(domain) || reverseDns.match(domain).hasMatch();
}

bool plausiblePath(const QString& path) {
    return (path.startsWith(u"~/"_s) || path.startsWith(u'/')) && !path.endsWith(u'/') &&
           !path.contains(u"//"_s) && path.trimmed() == path;
}

// A name the expression should find: every wildcard component turned into
// one concrete name it matches.
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
    if (catalogued.startsWith(u"~/"_s))
        return sandbox.homePath(catalogued.mid(2));
    return sandbox.rootPath(catalogued.mid(1));
}

class ShippedCatalogues : public ::testing::Test {
protected:
    void SetUp() override {
        oldResources_ = qgetenv("SORVANE_RESOURCES_DIR");
        qunsetenv("SORVANE_RESOURCES_DIR");
        SVKnownApp::unloadKnownAppData();
    }
    void TearDown() override {
        qputenv("SORVANE_RESOURCES_DIR", oldResources_);
        SVKnownApp::unloadKnownAppData();
    }

    // Every search finds what it is meant to find and nothing complains.
    void expectSearchWorks(const QString& search) {
        SCOPED_TRACE(search.toStdString());
        const QString example = localPath(sandbox, examplePath(search));
        sandbox.makeFolder(example);
        const QList<QUrl> found = SVData().resultsOfSearch(search);
        EXPECT_TRUE(found.contains(QUrl::fromLocalFile(example)));
    }

    Sandbox sandbox;
    LogCapture log;

private:
    QByteArray oldResources_;
};

TEST_F(ShippedCatalogues, KnownApplicationsLoadCleanly) {
    const QList<QDomElement> apps = entries(shippedRoot(u"AppData"_s), u"app"_s);
    EXPECT_GE(apps.size(), 60);
    SVKnownApp::loadKnownAppData();
    QSet<QString> ids;
    for (const QDomElement& app : apps) {
        const QString id = app.attribute(u"id"_s);
        SCOPED_TRACE(id.toStdString());
        EXPECT_FALSE(ids.contains(id)) << "duplicate identifier";
        ids.insert(id);
        EXPECT_TRUE(plausibleDomain(id));
        const std::shared_ptr<const SVKnownApp> entry = SVKnownApp::knownAppForId(id);
        ASSERT_TRUE(entry);
        QStringList fixedPaths;
        for (QDomElement child = app.firstChildElement(); !child.isNull();
             child = child.nextSiblingElement()) {
            const QString kind = child.tagName();
            const QString text = child.text();
            ASSERT_TRUE(kind == u"domain"_s || kind == u"path"_s || kind == u"search"_s)
                << kind.toStdString();
            ASSERT_FALSE(text.isEmpty());
            // Attribute values that the loader would silently read otherwise.
            EXPECT_TRUE(child.attribute(u"type"_s, u"cache"_s) == u"cache"_s) << text.toStdString();
            EXPECT_TRUE(child.attribute(u"pack"_s, u"no"_s) == u"no"_s) << text.toStdString();
            if (kind == u"domain"_s) {
                EXPECT_TRUE(plausibleDomain(text)) << text.toStdString();
                continue;
            }
            EXPECT_TRUE(plausiblePath(text)) << text.toStdString();
            if (kind == u"search"_s)
                expectSearchWorks(text);
            else
                fixedPaths.append(text);
        }
        // A path inside another one of the same application would be deleted twice.
        for (const QString& outer : fixedPaths) {
            for (const QString& inner : fixedPaths)
                EXPECT_FALSE(inner.startsWith(outer + u'/')) << inner.toStdString();
        }
    }
    EXPECT_EQ(complaints(log), QStringList());
}

TEST_F(ShippedCatalogues, KnownApplicationsFindNothingInAnEmptyHome) {
    const QList<QDomElement> apps = entries(shippedRoot(u"AppData"_s), u"app"_s);
    for (const QDomElement& app : apps) {
        const auto entry = SVKnownApp::knownAppForId(app.attribute(u"id"_s));
        ASSERT_TRUE(entry);
        EXPECT_TRUE(entry->prefFilesToDelete().isEmpty());
        EXPECT_TRUE(entry->cacheFilesToDelete().isEmpty());
    }
    EXPECT_EQ(complaints(log), QStringList());
}

TEST_F(ShippedCatalogues, OperatingSystemComponentsLoadCleanly) {
    const QList<QDomElement> elements = entries(shippedRoot(u"SystemData"_s), u"component"_s);
    const std::optional<QList<SVOSComponent>> components = SVOSComponent::loadData();
    ASSERT_TRUE(components);
    EXPECT_GE(components->size(), 30);
    EXPECT_EQ(components->size(), elements.size());
    QSet<QString> names;
    for (const SVOSComponent& component : *components) {
        SCOPED_TRACE(component.name().toStdString());
        EXPECT_FALSE(names.contains(component.name().toLower())) << "duplicate name";
        names.insert(component.name().toLower());
        EXPECT_FALSE(component.description().isEmpty());
        for (const QString& domain : component.domainsToClean())
            EXPECT_TRUE(plausibleDomain(domain)) << domain.toStdString();
        EXPECT_TRUE(component.filesToDelete().isEmpty());
    }
    for (const QDomElement& element : elements) {
        int things = 0;
        for (QDomElement child = element.firstChildElement(); !child.isNull();
             child = child.nextSiblingElement()) {
            const QString kind = child.tagName();
            ASSERT_TRUE(kind == u"description"_s || kind == u"domain"_s || kind == u"path"_s ||
                        kind == u"search"_s)
                << kind.toStdString();
            if (kind == u"path"_s || kind == u"search"_s) {
                EXPECT_TRUE(plausiblePath(child.text())) << child.text().toStdString();
            }
            if (kind == u"search"_s)
                expectSearchWorks(child.text());
            things += kind == u"description"_s ? 0 : 1;
        }
        EXPECT_GT(things, 0) << element.attribute(u"name"_s).toStdString();
    }
    for (int i = 1; i < components->size(); ++i)
        EXPECT_LE(components->at(i - 1).compareName(components->at(i)), 0);
    EXPECT_EQ(complaints(log), QStringList());
}

TEST_F(ShippedCatalogues, PackagerComponentsLoadCleanly) {
    const QList<QDomElement> elements = entries(shippedRoot(u"PackagerData"_s), u"component"_s);
    const auto items = SVPPItem::loadData();
    ASSERT_TRUE(items);
    EXPECT_GE(items->size(), 30);
    EXPECT_EQ(items->size(), elements.size());
    EXPECT_EQ(complaints(log),
              QStringList{u"Packager loaded %1 components"_s.arg(elements.size())});
    QSet<QString> names;
    for (const auto& item : *items) {
        SCOPED_TRACE(item->displayName().toStdString());
        EXPECT_FALSE(names.contains(item->displayName().toLower())) << "duplicate name";
        names.insert(item->displayName().toLower());
        EXPECT_FALSE(item->description().isEmpty());
        EXPECT_FALSE(item->prefsDomains().isEmpty());
        for (const QString& domain : item->prefsDomains())
            EXPECT_TRUE(plausibleDomain(domain)) << domain.toStdString();
    }
}

} // namespace
