#include "search/sv_data.h"

#include "platform/directory_listing.h"
#include "platform/file_status.h"
#include "platform/library_folders.h"
#include "search/wildcard_matcher.h"
#include "util/logging.h"
#include "util/path_utils.h"

using namespace Qt::StringLiterals;

namespace {

// The recording open on this thread, if any.
thread_local QList<SVData::Origin>* recordedOrigins = nullptr;

void noteOrigins(const QList<QUrl>& urls, bool fromSearch, const QString& text) {
    if (!recordedOrigins)
        return;
    for (const QUrl& url : urls)
        recordedOrigins->append({url, fromSearch, text});
}

const QString kEveryEntry = u"*"_s;
const QString kEveryLevel = u"*...*"_s;

// Catalogue paths name places of the system ("/Library/...") or of the home
// folder ("~/..."); the former live below the system root.
QString localPath(const QString& path) {
    if (path.startsWith(u'~'))
        return sv::stringByExpandingTildeInPath(path);
    if (path.startsWith(u'/'))
        return LibraryFolders::underSystemRoot(path);
    return path;
}

} // namespace

SVData::OriginRecording::OriginRecording()
    : previous_(recordedOrigins) {
    recordedOrigins = &origins_;
}

SVData::OriginRecording::~OriginRecording() {
    recordedOrigins = previous_;
}

QList<QUrl> SVData::existingFilesInArray(const QStringList& paths) const {
    QList<QUrl> urls;
    for (const QString& path : paths) {
        const QString expanded = localPath(path);
        if (!FileStatus::exists(expanded))
            continue;
        urls.append(QUrl::fromLocalFile(expanded));
        noteOrigins({urls.last()}, false, path);
    }
    return urls;
}

QList<QUrl> SVData::searchResultsForSearches(const QStringList& searches) const {
    QList<QUrl> urls;
    for (const QString& search : searches) {
        const QList<QUrl> found = resultsOfSearch(search);
        noteOrigins(found, true, search);
        urls.append(found);
    }
    return urls;
}

QList<QUrl> SVData::resultsOfSearch(const QString& search) const {
    return resultsOfSearchIn(QString(), sv::searchComponents(search));
}

QList<QUrl> SVData::resultsOfSearchIn(const QString& base,
                                      const QStringList& remainingComponents) const {
    if (remainingComponents.isEmpty()) {
        if (!base.isEmpty() && FileStatus::exists(base))
            return {QUrl::fromLocalFile(base)};
        return {};
    }
    const QString first = remainingComponents.first();
    const QStringList rest = remainingComponents.mid(1);
    QString next = base;
    if (first == kEveryLevel) {
        sv::log(u"Wildcard *...* not yet implemented."_s);
        if (next.isNull())
            next = LibraryFolders::systemRoot();
    } else if (first == kEveryEntry || first.contains(u'?')) {
        return resultsOfWildcardStep(base, first, rest);
    }
    next = next.isNull() ? localPath(first) : sv::stringByAppendingPathComponent(next, first);
    return resultsOfSearchIn(next, rest);
}

QList<QUrl> SVData::resultsOfWildcardStep(QString base, const QString& component,
                                          const QStringList& rest) const {
    if (!base.isNull() && !FileStatus::isFolder(base))
        return {};
    if (base.isNull())
        base = LibraryFolders::systemRoot();
    const DirectoryListing listing = DirectoryListing::list(base);
    if (!listing.ok) {
        sv::log(u"%1 : ERROR : %2"_s.arg(u"SVData::resultsOfSearchIn"_s, listing.error));
        return {};
    }
    const bool everyEntry = component == kEveryEntry;
    const QStringList pattern = sv::splitPattern(component);
    QList<QUrl> urls;
    for (const QString& name : listing.names) {
        if (everyEntry || sv::matchesSearchComponents(name, pattern))
            urls.append(resultsOfSearchIn(sv::stringByAppendingPathComponent(base, name), rest));
    }
    return urls;
}

void SVData::runTests() const {
    sv::log(u"These searches should pass..."_s);
    const QStringList searches = {u"/Library"_s, u"/Library/*/Plug-Ins"_s,
                                  u"~/Library/*/Plug-Ins"_s, u"~/Library/*/Plug-Ins/*/??.vst3"_s};
    for (const QString& search : searches) {
        QStringList found;
        for (const QUrl& url : resultsOfSearch(search))
            found.append(url.toString());
        sv::log(u"Results for \"%1\" : %2"_s.arg(search, found.join(u", "_s)));
    }
}
