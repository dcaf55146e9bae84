#include "catalogues/sv_os_component.h"

#include "platform/xml_document_loader.h"
#include "util/logging.h"
#include "util/natural_compare.h"
#include "workflows/settings_system.h"

#include <QDomElement>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

const QString kMethod = u"SVOSComponent::initWithXml"_s;

QString catalogueResourcePath() {
    return SettingsSystem::current().catalogueFolder() + u"/SystemData.xml"_s;
}

} // namespace

std::optional<QList<SVOSComponent>> SVOSComponent::loadData() {
    return loadDataFromFile(catalogueResourcePath());
}

std::optional<QList<SVOSComponent>> SVOSComponent::loadDataFromFile(const QString& path) {
    QString error;
    const std::optional<QDomDocument> document = XmlDocumentLoader::loadFile(path, &error);
    if (!document) {
        sv::log(u"Failed to load OS component data from %1.\n\t%2"_s.arg(path, error));
        return std::nullopt;
    }
    const QDomElement root = document->documentElement();
    if (root.tagName() != u"systemdata"_s) {
        sv::log(
            u"Error in OSComponent data : root element is not \"systemdata\": root name = %1"_s.arg(
                root.tagName()));
        return std::nullopt;
    }
    const QDomNodeList children = root.childNodes();
    QList<SVOSComponent> components;
    components.reserve(children.size());
    for (int i = 0; i < children.size(); ++i) {
        if (std::optional<SVOSComponent> component = initWithXml(children.at(i)))
            components.append(std::move(*component));
    }
    std::sort(components.begin(), components.end(),
              [](const SVOSComponent& a, const SVOSComponent& b) { return a.compareName(b) < 0; });
    return components;
}

std::optional<SVOSComponent> SVOSComponent::initWithXml(const QDomNode& node) {
    const auto checked = XmlDocumentLoader::catalogueElement(node, u"component"_s, kMethod);
    if (!checked)
        return std::nullopt;
    const QDomElement& element = *checked;
    SVOSComponent component;
    component.name_ = element.attribute(u"name"_s);
    if (component.name_.isEmpty())
        return std::nullopt;
    for (QDomElement child = element.firstChildElement(); !child.isNull();
         child = child.nextSiblingElement()) {
        const QString text = child.text();
        if (text.isEmpty())
            continue;
        const QString kind = child.tagName();
        if (kind == u"description"_s)
            component.description_ = text;
        else if (kind == u"domain"_s)
            component.domains_.append(text);
        else if (kind == u"path"_s)
            component.paths_.append(text);
        else if (kind == u"search"_s)
            component.searches_.append(text);
    }
    return component;
}

QList<QUrl> SVOSComponent::filesToDelete() const {
    return existingFilesInArray(paths_) + searchResultsForSearches(searches_);
}

int SVOSComponent::compareName(const SVOSComponent& other) const {
    return sv::localizedStandardCompare(name_, other.name_);
}

int SVOSComponent::compareDescription(const SVOSComponent& other) const {
    return sv::localizedStandardCompare(description_, other.description_);
}
