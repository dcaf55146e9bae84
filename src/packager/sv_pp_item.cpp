#include "packager/sv_pp_item.h"

#include "platform/xml_document_loader.h"
#include "util/logging.h"
#include "util/natural_compare.h"
#include "util/path_utils.h"
#include "workflows/settings_system.h"

#include <QDomElement>
#include <QMutexLocker>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

const QString kMethod = u"SVPPItem::initWithXml"_s;

QString catalogueResourcePath() {
    return SettingsSystem::current().catalogueFolder() + u"/PackagerData.xml"_s;
}

} // namespace

std::optional<QList<std::shared_ptr<SVPPItem>>> SVPPItem::loadData() {
    return loadDataFromFile(catalogueResourcePath());
}

std::optional<QList<std::shared_ptr<SVPPItem>>> SVPPItem::loadDataFromFile(const QString& path) {
    QString error;
    const std::optional<QDomDocument> document = XmlDocumentLoader::loadFile(path, &error);
    if (!document) {
        sv::log(u"Failed to load Packager data from %1.\n\t%2"_s.arg(path, error));
        return std::nullopt;
    }
    const QDomElement root = document->documentElement();
    if (root.tagName() != u"packagerdata"_s) {
        sv::log(
            u"Error in Packager data : root element is not \"packagerdata\": root name = %1"_s.arg(
                root.tagName()));
        return std::nullopt;
    }
    const QDomNodeList children = root.childNodes();
    QList<std::shared_ptr<SVPPItem>> items;
    items.reserve(children.size());
    for (int i = 0; i < children.size(); ++i) {
        if (std::shared_ptr<SVPPItem> item = initWithXml(children.at(i)))
            items.append(std::move(item));
    }
    sv::log(u"Packager loaded %1 components"_s.arg(items.size()));
    std::sort(items.begin(), items.end(),
              [](const std::shared_ptr<SVPPItem>& a, const std::shared_ptr<SVPPItem>& b) {
                  return sv::localizedStandardCompare(a->displayName(), b->displayName()) < 0;
              });
    return items;
}

std::shared_ptr<SVPPItem> SVPPItem::initWithXml(const QDomNode& node) {
    const auto checked = XmlDocumentLoader::catalogueElement(node, u"component"_s, kMethod);
    if (!checked)
        return nullptr;
    const QDomElement& element = *checked;
    const QString name = element.attribute(u"name"_s);
    if (name.isEmpty())
        return nullptr;
    auto item = std::make_shared<SVPPItem>();
    item->displayName_ = name;
    for (QDomElement child = element.firstChildElement(); !child.isNull();
         child = child.nextSiblingElement()) {
        const QString text = child.text();
        if (text.isEmpty())
            continue;
        if (child.tagName() == u"description"_s)
            item->description_ = text;
        else if (child.tagName() == u"domain"_s)
            item->domains_.append(text);
    }
    return item;
}

std::shared_ptr<SVPPItem> SVPPItem::itemWithAppUrl(const QUrl& url) {
    const std::optional<PackagedApplication> application =
        SettingsSystem::current().applicationToPack(url);
    if (!application)
        return nullptr;
    auto item = std::make_shared<SVPPItem>();
    item->displayName_ = application->name;
    item->appId_ = application->identifier;
    item->domains_ = application->domains;
    item->icon_ = application->icon;
    item->enabled_ = true;
    return item;
}

std::shared_ptr<SVPPItem> SVPPItem::itemWithComponent(const QString& name,
                                                      const QString& description,
                                                      const PrefsByDomain& prefs) {
    if (name.isEmpty())
        return nullptr;
    auto item = std::make_shared<SVPPItem>();
    item->displayName_ = name;
    item->description_ = description;
    item->domains_ = prefs.keys();
    item->unpackedPrefsByDomain_ = prefs;
    return item;
}

std::shared_ptr<SVPPItem> SVPPItem::itemWithAppName(const QString& name, const QString& appId,
                                                    const QImage& icon, const PrefsByDomain& prefs,
                                                    const std::optional<FilesByPath>& files) {
    if (name.isEmpty())
        return nullptr;
    auto item = std::make_shared<SVPPItem>();
    item->displayName_ = name;
    item->appId_ = appId;
    item->icon_ = icon;
    item->domains_ = prefs.keys();
    item->unpackedPrefsByDomain_ = prefs;
    item->unpackedAdditionalFiles_ = files;
    return item;
}

QStringList SVPPItem::prefsDomains() const {
    QMutexLocker lock(&mutex_);
    return domains_;
}

void SVPPItem::addDomain(const QString& domain) {
    QMutexLocker lock(&mutex_);
    domains_.append(domain);
}

void SVPPItem::select(Qt::CheckState senderState) {
    // A mixed box counts as unticked.
    setEnabled(senderState == Qt::Checked);
}

QString SVPPItem::plistForDomain(const QString& domain) const {
    QMutexLocker lock(&mutex_);
    return unpackedPrefsByDomain_.value(domain);
}

QStringList SVPPItem::extraFilePaths() const {
    QMutexLocker lock(&mutex_);
    return unpackedAdditionalFiles_ ? unpackedAdditionalFiles_->keys() : QStringList();
}

bool SVPPItem::hasAdditionalFiles() const {
    QMutexLocker lock(&mutex_);
    return unpackedAdditionalFiles_.has_value();
}

std::optional<QByteArray> SVPPItem::fileContentsForPath(const QString& path) const {
    QMutexLocker lock(&mutex_);
    if (!unpackedAdditionalFiles_ || !unpackedAdditionalFiles_->contains(path))
        return std::nullopt;
    return unpackedAdditionalFiles_->value(path);
}

bool SVPPItem::enabled() const {
    QMutexLocker lock(&mutex_);
    return enabled_;
}

void SVPPItem::setEnabled(bool enabled) {
    QMutexLocker lock(&mutex_);
    enabled_ = enabled;
}

QString SVPPItem::displayName() const {
    QMutexLocker lock(&mutex_);
    return displayName_;
}

void SVPPItem::setDisplayName(const QString& displayName) {
    QMutexLocker lock(&mutex_);
    displayName_ = displayName;
}

QString SVPPItem::appId() const {
    QMutexLocker lock(&mutex_);
    return appId_;
}

void SVPPItem::setAppId(const QString& appId) {
    QMutexLocker lock(&mutex_);
    appId_ = appId;
}

QString SVPPItem::description() const {
    QMutexLocker lock(&mutex_);
    return description_;
}

void SVPPItem::setDescription(const QString& description) {
    QMutexLocker lock(&mutex_);
    description_ = description;
}

QImage SVPPItem::icon() const {
    QMutexLocker lock(&mutex_);
    return icon_;
}

void SVPPItem::setIcon(const QImage& icon) {
    QMutexLocker lock(&mutex_);
    icon_ = icon;
}
