#include "catalogues/sv_known_app.h"

#include "platform/xml_document_loader.h"
#include "util/logging.h"
#include "workflows/settings_system.h"

#include <QDomElement>
#include <QHash>
#include <QMutex>
#include <QMutexLocker>

using namespace Qt::StringLiterals;

namespace {

using Table = QHash<QString, std::shared_ptr<const SVKnownApp>>;

QMutex tableMutex;
std::optional<Table> table;

const QString kMethod = u"SVKnownApp::initWithXml"_s;

bool excludedFromPackages(const QString& pack) {
    return pack.compare(u"no"_s, Qt::CaseInsensitive) == 0 || pack == u"0"_s;
}

QString catalogueResourcePath() {
    return SettingsSystem::current().catalogueFolder() + u"/AppData.xml"_s;
}

} // namespace

void SVKnownApp::loadKnownAppData() {
    loadKnownAppDataFromFile(catalogueResourcePath());
}

void SVKnownApp::loadKnownAppDataFromFile(const QString& path) {
    QString error;
    const std::optional<QDomDocument> document = XmlDocumentLoader::loadFile(path, &error);
    if (!document) {
        sv::log(u"Failed to load known app data from %1.\n\t%2"_s.arg(path, error));
        return;
    }
    const QDomElement root = document->documentElement();
    if (root.tagName() != u"applist"_s) {
        sv::log(u"Error in AppData : root element is not \"applist\": root name = %1"_s.arg(
            root.tagName()));
        return;
    }
    const QDomNodeList children = root.childNodes();
    Table loaded;
    loaded.reserve(children.size());
    for (int i = 0; i < children.size(); ++i) {
        if (std::optional<SVKnownApp> app = initWithXml(children.at(i))) {
            const QString identifier = app->appId();
            loaded.insert(identifier, std::make_shared<const SVKnownApp>(std::move(*app)));
        }
    }
    QMutexLocker lock(&tableMutex);
    table = std::move(loaded);
}

std::shared_ptr<const SVKnownApp> SVKnownApp::knownAppForId(const QString& identifier) {
    {
        QMutexLocker lock(&tableMutex);
        if (table)
            return table->value(identifier);
    }
    loadKnownAppData();
    QMutexLocker lock(&tableMutex);
    return table ? table->value(identifier) : nullptr;
}

void SVKnownApp::unloadKnownAppData() {
    QMutexLocker lock(&tableMutex);
    table.reset();
}

std::optional<SVKnownApp> SVKnownApp::initWithXml(const QDomNode& node) {
    const auto checked = XmlDocumentLoader::catalogueElement(node, u"app"_s, kMethod);
    if (!checked)
        return std::nullopt;
    const QDomElement& element = *checked;
    SVKnownApp app;
    app.appId_ = element.attribute(u"id"_s);
    if (app.appId_.isEmpty())
        return std::nullopt;
    for (QDomElement child = element.firstChildElement(); !child.isNull();
         child = child.nextSiblingElement()) {
        const QString text = child.text();
        if (text.isEmpty())
            continue;
        const QString kind = child.tagName();
        if (kind == u"domain"_s)
            app.additionalDomains_.append(text);
        else if (kind == u"path"_s || kind == u"search"_s)
            app.addPath(kind, text, child.attribute(u"type"_s), child.attribute(u"pack"_s));
    }
    return app;
}

void SVKnownApp::addPath(const QString& kind, const QString& text, const QString& type,
                         const QString& pack) {
    const bool search = kind == u"search"_s;
    // "cache" is matched exactly: a "Cache" path is a preference path.
    if (type == u"cache"_s) {
        (search ? cacheSearches_ : cacheFilePaths_).append(text);
        return;
    }
    (search ? prefSearches_ : prefFilePaths_).append(text);
    if (!excludedFromPackages(pack))
        (search ? packablePrefSearches_ : packablePrefFilePaths_).append(text);
}

QList<QUrl> SVKnownApp::prefFilesToDelete() const {
    return existingFilesInArray(prefFilePaths_) + searchResultsForSearches(prefSearches_);
}

QList<QUrl> SVKnownApp::prefFilesToPack() const {
    return existingFilesInArray(packablePrefFilePaths_) +
           searchResultsForSearches(packablePrefSearches_);
}

QList<QUrl> SVKnownApp::cacheFilesToDelete() const {
    return existingFilesInArray(cacheFilePaths_) + searchResultsForSearches(cacheSearches_);
}
