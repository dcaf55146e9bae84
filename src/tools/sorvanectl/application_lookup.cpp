#include "application_lookup.h"

#include "ctl_output.h"
#include "ctl_session.h"
#include "workflows/settings_system.h"

#include <QFileInfo>

using namespace Qt::StringLiterals;

QJsonObject ApplicationLookup::Found::applicationJson() const {
    return {{u"path"_s, url.toLocalFile()},
            {u"name"_s, name},
            {u"identifier"_s, results.appBundleIdentifier}};
}

QString ApplicationLookup::Found::heading() const {
    return u"%1: %2"_s.arg(QFileInfo(url.toLocalFile()).fileName(), results.appBundleIdentifier);
}

std::optional<ApplicationLookup::Found>
ApplicationLookup::find(const QString& command, const QString& argument, CtlSession& session) {
    QString problem;
    const QList<ApplicationTarget> candidates =
        SettingsSystem::current().applicationsForArgument(argument, &problem);
    if (candidates.isEmpty()) {
        session.out().complain(u"%1: %2"_s.arg(command, problem));
        return std::nullopt;
    }
    if (candidates.size() > 1) {
        QStringList names;
        for (const ApplicationTarget& candidate : candidates)
            names.append(u"%1 (%2)"_s.arg(candidate.identifier, candidate.url.toLocalFile()));
        session.out().complain(
            u"%1: \"%2\" names several applications: %3; give one of their IDs"_s.arg(
                command, argument, names.join(u", "_s)));
        return std::nullopt;
    }
    Found found;
    found.url = candidates.constFirst().url;
    found.name = candidates.constFirst().name;
    const ApplicationSearch search(session.matcher());
    if (search.doSearchesForApp(found.url, found.results, &found.reasons) !=
        ApplicationSearch::Outcome::Found) {
        // The checks above are the search's own; this is only a safeguard.
        session.out().complain(u"%1: %2 could not be searched"_s.arg(command, argument));
        return std::nullopt;
    }
    return found;
}
