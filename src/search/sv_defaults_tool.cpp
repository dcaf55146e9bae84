#include "search/sv_defaults_tool.h"

#include "platform/tool_locations.h"
#include "privileged/link_to_helper_tool.h"
#include "util/like_matcher.h"
#include "util/logging.h"

#include <QCoreApplication>
#include <QMutexLocker>
#include <QProcess>
#include <QThread>

#include <atomic>

using namespace Qt::StringLiterals;

namespace {

std::atomic<SVDefaultsTool*> sharedSlot{nullptr};

} // namespace

SVDefaultsTool* SVDefaultsTool::sharedTool() {
    if (SVDefaultsTool* tool = sharedSlot.load())
        return tool;
    // Kept for the whole process; the constructor fills the slot.
    new SVDefaultsTool([] { return LinkToHelperTool::helperLink()->readAllDefaultsDomains(); });
    return sharedSlot.load();
}

SVDefaultsTool::SVDefaultsTool(RootDomainsSource rootDomains)
    : rootDomainsSource_(std::move(rootDomains)) {
    SVDefaultsTool* empty = nullptr;
    sharedSlot.compare_exchange_strong(empty, this);
    QMutexLocker lock(&threadsMutex_);
    readers_.emplace_back([this] { readDefaultDomainsInBackground(); });
}

SVDefaultsTool::~SVDefaultsTool() {
    waitForReading();
    SVDefaultsTool* self = this;
    sharedSlot.compare_exchange_strong(self, nullptr);
}

void SVDefaultsTool::waitForReading() {
    std::vector<std::thread> readers;
    {
        QMutexLocker lock(&threadsMutex_);
        readers.swap(readers_);
    }
    for (std::thread& reader : readers)
        reader.join();
}

void SVDefaultsTool::readDefaultDomainsInBackground() {
    // The reading blocks on a child process and on the helper: never on the
    // main thread.
    if (QCoreApplication::instance() &&
        QThread::currentThread() == QCoreApplication::instance()->thread()) {
        QMutexLocker lock(&threadsMutex_);
        readers_.emplace_back([this] { readDefaultDomainsInBackground(); });
        return;
    }
    QProcess task;
    task.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    task.setInputChannelMode(QProcess::ForwardedInputChannel);
    task.start(ToolLocations::defaultsTool(), {u"domains"_s});
    if (!task.waitForStarted(-1)) {
        sv::log(u"Failed to launch task: /usr/bin/defaults domains"_s);
        return;
    }
    task.waitForFinished(-1);
    // Deliberately untrimmed: the last name keeps the program's line end, and
    // a name holding ", " is split.
    const QStringList userDomains = QString::fromUtf8(task.readAllStandardOutput()).split(u", "_s);
    {
        QMutexLocker lock(&mutex_);
        userDefaultsDomains_ = userDomains;
    }
    const std::optional<QStringList> rootDomains =
        rootDomainsSource_ ? rootDomainsSource_() : std::nullopt;
    QMutexLocker lock(&mutex_);
    rootDefaultsDomains_ = rootDomains;
}

QList<SVDefaultsDomain> SVDefaultsTool::matchesForDomain(const QString& pattern) const {
    QList<SVDefaultsDomain> matches;
    const auto collect = [&](const std::optional<QStringList>& names, qint32 level) {
        if (!names)
            return;
        for (const QString& name : *names) {
            if (sv::isCaseInsensitiveLike(name, pattern))
                matches.append(SVDefaultsDomain::defaultsDomainWithDomain(name, level));
        }
    };
    collect(rootDefaultsDomains(), 1);
    collect(userDefaultsDomains(), 0);
    return matches;
}

std::optional<QStringList> SVDefaultsTool::userDefaultsDomains() const {
    QMutexLocker lock(&mutex_);
    return userDefaultsDomains_;
}

std::optional<QStringList> SVDefaultsTool::rootDefaultsDomains() const {
    QMutexLocker lock(&mutex_);
    return rootDefaultsDomains_;
}
