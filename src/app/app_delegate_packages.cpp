#include "app/app_delegate.h"

#include "app/main_window.h"
#include "app/sv_kolvane_packager.h"
#include "controls/panel_runner.h"
#include "packager/package_keys.h"
#include "util/path_utils.h"

#include <QFileDialog>

using namespace Qt::StringLiterals;

void AppDelegate::openPreferencePackager() {
    SVKolvanePackager::sharedPackager()->displayWindow();
}

void AppDelegate::deployKolvane() {
    QFileDialog panel(window, u"Deploy PreferencePackage"_s);
    panel.setFileMode(QFileDialog::ExistingFiles);
    panel.setAcceptMode(QFileDialog::AcceptOpen);
    panel.setNameFilter(u"Preference packages (*.Kolvane2)"_s);
    if (PanelRunner::run(panel) == QDialog::Accepted)
        applicationOpenURLs(panel.selectedUrls());
}

void AppDelegate::applicationOpenURLs(const QList<QUrl>& urls) {
    for (const QUrl& url : urls) {
        // Deliberately case-sensitive, unlike the tests for applications.
        if (sv::pathExtension(url.toLocalFile()) != package_keys::kExtension)
            continue;
        auto packager = SVKolvanePackager::initWithKolvaneUrl(url, services_.running);
        if (!packager)
            continue;
        if (!unpackagers)
            unpackagers.emplace();
        unpackagers->push_back(std::move(packager));
        unpackagers->back()->delegate = this;
        unpackagers->back()->displayWindow();
    }
}

void AppDelegate::packagerDidClose(SVKolvanePackager* packager) {
    if (!unpackagers)
        return;
    std::erase_if(*unpackagers, [packager](const auto& held) { return held.get() == packager; });
}
