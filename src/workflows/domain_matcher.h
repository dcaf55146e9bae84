#pragma once

#include "search/sv_defaults_domain.h"

#include <QList>
#include <QString>

// Answers which defaults domains match a name or pattern, root's first. The
// applications pass the shared domain tool; tests pass fixed lists.
class DomainMatcher {
public:
    virtual ~DomainMatcher() = default;
    virtual QList<SVDefaultsDomain> matchesForDomain(const QString& pattern) = 0;
};
