#pragma once

#include "search/sv_defaults_domain.h"

#include <QList>
#include <QMutex>
#include <QStringList>

#include <functional>
#include <optional>
#include <thread>
#include <vector>

// Knows the user's and root's defaults domains. Both lists are read once, on
// a background thread started when the tool is made (the user's from the
// defaults program, root's from the privileged helper), and later answer
// which domains match a name or pattern. They are not refreshed afterwards:
// the reading is expected to be done before the user picks an application.
class SVDefaultsTool {
public:
    // Where root's domain names come from; absent when the helper gives none.
    using RootDomainsSource = std::function<std::optional<QStringList>()>;

    // The shared tool, made on first use; its root domains come from the
    // shared helper link.
    static SVDefaultsTool* sharedTool();

    // A tool reading root's domains from the given source. The first tool
    // made becomes the shared one if there is none yet.
    explicit SVDefaultsTool(RootDomainsSource rootDomains);
    ~SVDefaultsTool();
    SVDefaultsTool(const SVDefaultsTool&) = delete;
    SVDefaultsTool& operator=(const SVDefaultsTool&) = delete;

    void readDefaultDomainsInBackground();

    // Every root domain that is like the pattern (level 1), then every user
    // domain (level 0); "*" and "?" are wildcards and case is ignored.
    QList<SVDefaultsDomain> matchesForDomain(const QString& pattern) const;

    std::optional<QStringList> userDefaultsDomains() const;
    std::optional<QStringList> rootDefaultsDomains() const;
    // Waits until every background reading started so far has ended.
    void waitForReading();

private:
    RootDomainsSource rootDomainsSource_;
    mutable QMutex mutex_;
    std::optional<QStringList> userDefaultsDomains_;
    std::optional<QStringList> rootDefaultsDomains_;
    QMutex threadsMutex_;
    std::vector<std::thread> readers_;
};
