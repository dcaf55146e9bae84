#include "linux/dconf_domains.h"

#include "linux/dconf_names.h"
#include "linux/dconf_store.h"
#include "util/like_matcher.h"
#include "util/logging.h"

using namespace Qt::StringLiterals;

namespace {

// --- matching ------------------------------------------------------------

// A component as it is compared loosely: without dashes and underscores
// and, on the application's side only, without a trailing version number
// (unless nothing else is left): "Rhythmbox3" keeps its settings in
// "rhythmbox", but "game2" and "game3" are two applications.
QString looseComponent(const QString& component, bool withoutVersion) {
    QString loose = component;
    loose.remove(u'-');
    loose.remove(u'_');
    qsizetype end = loose.size();
    while (withoutVersion && end > 0 && loose[end - 1].isDigit())
        --end;
    if (end > 0)
        loose.truncate(end);
    return loose;
}

QString looseName(const QString& name, bool withoutVersion) {
    QStringList components = name.split(u'.');
    for (QString& component : components)
        component = looseComponent(component, withoutVersion);
    return components.join(u'.');
}

bool nameMatches(const QString& name, const QString& pattern, const QString& loosePattern) {
    return sv::isCaseInsensitiveLike(name, pattern) ||
           sv::isCaseInsensitiveLike(looseName(name, false), loosePattern);
}

// Whether the domain, or a domain it lies below, matches.
bool domainOrParentMatches(const QString& domain, const QString& pattern,
                           const QString& loosePattern) {
    qsizetype end = domain.size();
    while (end > 0) {
        if (nameMatches(domain.left(end), pattern, loosePattern))
            return true;
        end = domain.lastIndexOf(u'.', end - 1);
    }
    return false;
}

std::string stdString(const QString& string) {
    return string.toStdString();
}

QString qString(const std::string& string) {
    return QString::fromStdString(string);
}

bool failed(const std::string& problem, QString* error) {
    if (error)
        *error = qString(problem);
    return false;
}

} // namespace

QString DconfDomains::pathOfDomain(const QString& domain) {
    return qString(DconfNames::pathOfDomain(stdString(domain)));
}

QString DconfDomains::domainOfPath(const QString& path) {
    return qString(DconfNames::domainOfPath(stdString(path)));
}

QStringList DconfDomains::matches(const QStringList& domains, const QString& pattern) {
    const QString loosePattern = looseName(pattern, true);
    QStringList found;
    for (const QString& domain : domains) {
        if (domainOrParentMatches(domain, pattern, loosePattern))
            found.append(domain);
    }
    return found;
}

std::optional<QStringList> DconfDomains::userDomains() const {
    std::string problem;
    const auto domains = DconfStore::userDomains(&problem);
    if (!domains) {
        sv::log(qString(problem));
        return std::nullopt;
    }
    QStringList names;
    names.reserve(qsizetype(domains->size()));
    for (const std::string& domain : *domains)
        names.append(qString(domain));
    return names;
}

std::optional<QString> DconfDomains::read(const QString& domain) const {
    std::string problem;
    const std::optional<std::string> result = DconfStore::read(stdString(domain), &problem);
    if (!result) {
        sv::log(qString(problem));
        return std::nullopt;
    }
    return qString(*result);
}

bool DconfDomains::write(const QString& domain, const QString& settings, QString* error) const {
    std::string problem;
    return DconfStore::write(stdString(domain), stdString(settings), &problem) ||
           failed(problem, error);
}

bool DconfDomains::remove(const QString& domain, QString* error) const {
    std::string problem;
    return DconfStore::remove(stdString(domain), &problem) || failed(problem, error);
}

std::optional<QMap<QString, QString>> DconfDomains::valuesOfText(const QString& settings) {
    const auto values = DconfStore::valuesOfText(stdString(settings));
    if (!values)
        return std::nullopt;
    QMap<QString, QString> result;
    for (const auto& [key, value] : *values)
        result.insert(qString(key), qString(value));
    return result;
}
