#pragma once

#include "workflows/domain_matcher.h"

#include <QStringList>

// The Linux desktop's domains for the searches: the system databases' domains
// (level 1, through the helper to delete) and the user's dconf domains
// (level 0), each list read once when the matcher is made, as the domain lists
// of a macOS home folder are. The system's come first.
class DconfDomainMatcher : public DomainMatcher {
public:
    DconfDomainMatcher();
    // Fixed lists, for tests.
    DconfDomainMatcher(QStringList systemDomains, QStringList userDomains);

    QList<SVDefaultsDomain> matchesForDomain(const QString& pattern) override;

    // The domain in which the desktop keeps its notification settings of one
    // application: its ID lower-cased, every character but letters, digits
    // and dashes turned into a dash.
    static QString notificationDomainOfApplication(const QString& identifier);

private:
    QStringList systemDomains_;
    QStringList userDomains_;
};
