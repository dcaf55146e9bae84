#include "app/app_delegate.h"

#include "controls/sv_list_item_view.h"
#include "controls/sv_list_view.h"

#include <QLabel>

using namespace Qt::StringLiterals;

void AppDelegate::doSearchesForApp() {
    ApplicationSearch search(services_.matcher, services_.system);
    switch (search.doSearchesForApp(appUrl, results)) {
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

void AppDelegate::updateAppSearchResultsDisplay() {
    appDefaultsDomainsListView->removeAllItems();
    for (const SVDefaultsDomain& domain : results.appDomainResults)
        appDefaultsDomainsListView->addItemWithName(domain.domain(), true);
    appAdditionalPrefsFilesListView->removeAllItems();
    for (const QUrl& file : results.appAdditionalPreferenceFiles)
        appAdditionalPrefsFilesListView->addItemWithName(file.toLocalFile(), true);
    appCachesListView->removeAllItems();
    for (const QUrl& file : results.appCacheFiles)
        appCachesListView->addItemWithName(file.toLocalFile(), true);
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
