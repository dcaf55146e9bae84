#include "linux/dconf_domain_matcher.h"

#include "linux/dconf_domains.h"
#include "linux/dconf_system_databases.h"

using namespace Qt::StringLiterals;

DconfDomainMatcher::DconfDomainMatcher()
    : DconfDomainMatcher(DconfSystemDatabases().domains(),
                         DconfDomains().userDomains().value_or(QStringList())) {}

DconfDomainMatcher::DconfDomainMatcher(QStringList systemDomains, QStringList userDomains)
    : systemDomains_(std::move(systemDomains))
    , userDomains_(std::move(userDomains)) {}

QList<SVDefaultsDomain> DconfDomainMatcher::matchesForDomain(const QString& pattern) {
    QList<SVDefaultsDomain> found;
    for (const QString& domain : DconfDomains::matches(systemDomains_, pattern))
        found.append({domain, 1});
    for (const QString& domain : DconfDomains::matches(userDomains_, pattern))
        found.append({domain, 0});
    return found;
}

QString DconfDomainMatcher::notificationDomainOfApplication(const QString& identifier) {
    QString name = identifier.toLower();
    if (name.endsWith(u".desktop"_s))
        name.chop(8);
    for (QChar& c : name) {
        const bool kept = (c >= u'a' && c <= u'z') || (c >= u'0' && c <= u'9') || c == u'-';
        if (!kept)
            c = u'-';
    }
    return u"org.gnome.desktop.notifications.application."_s + name;
}
