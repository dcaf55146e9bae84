#include "app/app_delegate.h"

#include "app/main_window.h"
#include "controls/sv_list_item_view.h"
#include "controls/sv_list_view.h"

#include <QLabel>

using namespace Qt::StringLiterals;

void AppDelegate::doSearchesForApp() {
    ApplicationSearch search(services_.matcher, services_.system);
    switch (search.doSearchesForApp(appUrl, results, &resultReasons)) {
    case ApplicationSearch::Outcome::NotABundle:
        return;
    case ApplicationSearch::Outcome::NoBundleIdentifier:
        app_BundleIdentifierLabel->setText(u"No bundle identifier found"_s);
        return;
    case ApplicationSearch::Outcome::Found:
        app_BundleIdentifierLabel->setText(results.appBundleIdentifier);
        updateAppSearchResultsDisplay();
        return;
    }
}

namespace {

// Each row says why its item was found, and a domain whose it is.
void addRow(SVListView* list, const QString& name, const QString& why) {
    list->addItemWithName(name, true);
    list->items().constLast()->setDetail(why);
}

QString domainDetail(const SVDefaultsDomain& domain, const QString& why) {
    const QString level = domain.authLevel() == 0 ? u"your own"_s : u"the system's"_s;
    return why.isEmpty() ? level : u"%1 · %2"_s.arg(level, why);
}

} // namespace

void AppDelegate::updateAppSearchResultsDisplay() {
    const auto why = [](const QList<MatchReason>& reasons, qsizetype i) {
        return i < reasons.size() ? reasons.at(i).text() : QString();
    };
    appDefaultsDomainsListView->setPlaceholderText(
        MainWindow::listPlaceholderAfterSearch(u"domains"_s));
    appAdditionalPrefsFilesListView->setPlaceholderText(
        MainWindow::listPlaceholderAfterSearch(u"preference files"_s));
    appCachesListView->setPlaceholderText(MainWindow::listPlaceholderAfterSearch(u"caches"_s));
    appDefaultsDomainsListView->removeAllItems();
    for (qsizetype i = 0; i < results.appDomainResults.size(); ++i) {
        const SVDefaultsDomain& domain = results.appDomainResults.at(i);
        addRow(appDefaultsDomainsListView, domain.domain(),
               domainDetail(domain, why(resultReasons.domains, i)));
    }
    appAdditionalPrefsFilesListView->removeAllItems();
    for (qsizetype i = 0; i < results.appAdditionalPreferenceFiles.size(); ++i)
        addRow(appAdditionalPrefsFilesListView,
               results.appAdditionalPreferenceFiles.at(i).toLocalFile(),
               why(resultReasons.preferenceFiles, i));
    appCachesListView->removeAllItems();
    for (qsizetype i = 0; i < results.appCacheFiles.size(); ++i)
        addRow(appCachesListView, results.appCacheFiles.at(i).toLocalFile(),
               why(resultReasons.caches, i));
}

const SVDefaultsDomain* AppDelegate::appDefaultsDomainWithDomain(const QString& domain) const {
    return results.appDefaultsDomainWithDomain(domain);
}

bool AppDelegate::shouldListViewDeleteListItem(SVListView* listView, SVListItemView* item) {
    // Striking an entry off only leaves it out of the next cleaning.
    if (listView == appDefaultsDomainsListView)
        results.strikeOffDomain(item->label());
    else if (listView == appAdditionalPrefsFilesListView)
        ApplicationSearchResults::strikeOffFile(results.appAdditionalPreferenceFiles,
                                                item->label());
    else if (listView == appCachesListView)
        ApplicationSearchResults::strikeOffFile(results.appCacheFiles, item->label());
    return true;
}
