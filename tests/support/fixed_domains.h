#pragma once

#include "util/like_matcher.h"
#include "workflows/domain_matcher.h"

#include <QStringList>

// Domain lists given by the test, matched by the same rules as the real
// domain tool: root's first, then the user's, case-insensitive LIKE.
class FixedDomains : public DomainMatcher {
public:
    QStringList root;
    QStringList user;

    QList<SVDefaultsDomain> matchesForDomain(const QString& pattern) override {
        QList<SVDefaultsDomain> found;
        for (const QString& name : root) {
            if (sv::isCaseInsensitiveLike(name, pattern))
                found.append({name, 1});
        }
        for (const QString& name : user) {
            if (sv::isCaseInsensitiveLike(name, pattern))
                found.append({name, 0});
        }
        return found;
    }
};
