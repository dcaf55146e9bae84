#pragma once

#include "search/sv_data.h"

#include <QDomNode>
#include <QList>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <optional>

// One operating-system component of the built-in catalogue (SystemData.xml):
// a name and description for the components table, and the defaults domains
// and files that resetting the component deletes.
class SVOSComponent : public SVData {
public:
    // Every component of Sorvane's SystemData.xml, sorted by name; nothing
    // when the catalogue cannot be used. Parses the file anew on each call.
    static std::optional<QList<SVOSComponent>> loadData();
    // The same from any catalogue file.
    static std::optional<QList<SVOSComponent>> loadDataFromFile(const QString& path);
    // One component from a `component` element, or nothing for anything else.
    static std::optional<SVOSComponent> initWithXml(const QDomNode& node);

    QStringList domainsToClean() const { return domains_; }
    QList<QUrl> filesToDelete() const;
    // Natural, case-insensitive order of the names (and of the descriptions).
    int compareName(const SVOSComponent& other) const;
    int compareDescription(const SVOSComponent& other) const;

    QString name() const { return name_; }
    void setName(const QString& name) { name_ = name; }
    // Null when the catalogue gives no description.
    QString description() const { return description_; }
    void setDescription(const QString& description) { description_ = description; }

private:
    SVOSComponent() = default;

    QStringList domains_;
    QStringList paths_;
    QStringList searches_;
    QString name_;
    QString description_;
};
