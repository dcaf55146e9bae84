// Creates a preference package from a scratch home folder and saves it as a
// self-deploying application, the way the packager window does, so that
// packages.sh can time it as a whole program beside the same `defaults read`
// runs made by a shell. Items: <components> components of <domains>
// domains each (com.example.bench.cNN.dMM) and <apps> applications with one
// domain each (com.example.bench.aNNN), whose extra files the catalogue names.
#include "bench_support.h"

#include "catalogues/sv_known_app.h"
#include "packager/package_creator.h"
#include "workflows/alert_presenter.h"

#include <QCoreApplication>
#include <QImage>
#include <QUrl>

#include <atomic>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

class PrintingAlerts : public AlertPresenter {
public:
    void showAlert(const QString& message, const QString& informative) override {
        std::fprintf(stderr, "alert: %s: %s\n", qPrintable(message), qPrintable(informative));
    }
};

PackageCreator::Items components(int count, int domains) {
    PackageCreator::Items items;
    for (int c = 0; c < count; ++c) {
        auto item = std::make_shared<SVPPItem>();
        item->setDisplayName(u"Component %1"_s.arg(c));
        for (int d = 0; d < domains; ++d)
            item->addDomain(u"com.example.bench.c%1.d%2"_s.arg(c, 2, 10, QChar(u'0'))
                                .arg(d, 2, 10, QChar(u'0')));
        item->setEnabled(true);
        items.append(item);
    }
    return items;
}

PackageCreator::Items applications(int count) {
    QImage icon(128, 128, QImage::Format_ARGB32);
    icon.fill(Qt::darkCyan);
    PackageCreator::Items items;
    for (int a = 0; a < count; ++a) {
        auto item = std::make_shared<SVPPItem>();
        const QString id = u"com.example.bench.a%1"_s.arg(a, 3, 10, QChar(u'0'));
        item->setDisplayName(u"App %1"_s.arg(a));
        item->setAppId(id);
        item->addDomain(id);
        item->setIcon(icon);
        item->setEnabled(true);
        items.append(item);
    }
    return items;
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    const QStringList arguments = application.arguments();
    if (arguments.size() != 6) {
        std::fprintf(stderr, "usage: bench_packages <catalogue> <components> <domains> <apps> "
                             "<destination.app|destination.Kolvane2>\n");
        return 2;
    }
    bench::silenceLog();
    SVKnownApp::loadKnownAppDataFromFile(arguments[1]);
    PrintingAlerts alerts;
    const std::atomic<bool> shouldCancel{false};
    PackageCreator creator(&shouldCancel, alerts);
    const auto bytes = creator.background_createPackage(
        components(arguments[2].toInt(), arguments[3].toInt()), applications(arguments[4].toInt()));
    if (!bytes)
        return 1;
    return PackageCreator::saveAssembledPackaged(*bytes, QUrl::fromLocalFile(arguments[5]), alerts)
               ? 0
               : 1;
}
