// Times the cleaning of one application with the backup that undo needs
// beside the same cleaning without it (cleaning_backup.sh), on a macOS home
// folder or on the Linux desktop (whose dconf the script sandboxes). The
// application has <domains> domains of a few keys each and a preferences
// folder of <files> files in sub-folders of 100; every round writes them
// afresh (untimed) and cleans them with Sorvane's own defaults program, once
// with a backup and once without, interleaved. Medians and their ratio are
// printed.
#include "bench_support.h"

#include "platform/defaults_store.h"
#include "workflows/alert_presenter.h"
#include "workflows/application_search.h"
#include "workflows/cleaning.h"
#include "workflows/cleaning_backup_store.h"
#include "workflows/domain_matcher.h"
#include "workflows/helper_operations.h"
#include "workflows/running_application_query.h"
#include "workflows/system_services.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>

#include <algorithm>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

// Nothing here needs root: a helper call would be a fault of the bench.
class NoHelper : public HelperOperations {
public:
    bool deleteDefaultsDomain(const QString&) override { return fault(); }
    bool deleteFileAtUrl(const QUrl&) override { return fault(); }
    std::optional<QMap<QString, QString>> checkPlistsAtUrl(const QUrl&) override {
        fault();
        return std::nullopt;
    }
    void cancelPlutilChecks() override {}
    void rebootComputer() override {}
    int faults = 0;

private:
    bool fault() {
        ++faults;
        return false;
    }
};

class NoDomains : public DomainMatcher {
public:
    QList<SVDefaultsDomain> matchesForDomain(const QString&) override { return {}; }
};

class NotRunning : public RunningApplicationQuery {
public:
    bool isRunning(const QString&) override { return false; }
};

class PrintingAlerts : public AlertPresenter {
public:
    void showAlert(const QString& message, const QString& informative) override {
        std::fprintf(stderr, "alert: %s: %s\n", qPrintable(message), qPrintable(informative));
    }
};

struct World {
    bool onLinux = false;
    QString home;
    int domains = 0;
    int files = 0;

    QString folder() const {
        return home + (onLinux ? u"/.config/bench"_s : u"/Library/Preferences/Bench"_s);
    }

    bool populateMacDomains() const {
        const DefaultsStore store(home);
        for (int d = 0; d < domains; ++d) {
            PlistValue value = PlistValue::dictionary();
            value.insert(u"name"_s, PlistValue::fromString(u"setting %1"_s.arg(d)));
            value.insert(u"count"_s, PlistValue::fromInteger(d));
            value.insert(u"ratio"_s, PlistValue::fromReal(d / 7.0));
            value.insert(u"enabled"_s, PlistValue::fromBool(d % 2 == 0));
            if (!store.writeDomain(domainName(d), value, nullptr))
                return false;
        }
        return true;
    }

    // One "dconf load" of every domain's directory.
    bool populateDconfDomains() const {
        QByteArray keyfile;
        for (int d = 0; d < domains; ++d)
            keyfile += u"[org/example/bench/d%1]\nname='setting %2'\ncount=%2\nratio=%3\n"
                       u"enabled=%4\n\n"_s.arg(d, 3, 10, QChar(u'0'))
                           .arg(d)
                           .arg(d / 7.0)
                           .arg(d % 2 == 0 ? u"true"_s : u"false"_s)
                           .toUtf8();
        QProcess load;
        load.start(u"dconf"_s, {u"load"_s, u"/"_s});
        load.write(keyfile);
        load.closeWriteChannel();
        return load.waitForFinished(60000) && load.exitStatus() == QProcess::NormalExit &&
               load.exitCode() == 0;
    }

    bool populate() const {
        if (!(onLinux ? populateDconfDomains() : populateMacDomains()))
            return false;
        const QByteArray bytes(512, 'x');
        for (int f = 0; f < files; ++f) {
            const QString sub = u"%1/%2"_s.arg(folder()).arg(f / 100, 2, 10, QChar(u'0'));
            QDir().mkpath(sub);
            QFile file(u"%1/file%2.conf"_s.arg(sub).arg(f));
            if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
                return false;
        }
        return true;
    }

    QString domainName(int d) const {
        return (onLinux ? u"org.example.bench.d%1"_s : u"com.example.bench.d%1"_s)
            .arg(d, 3, 10, QChar(u'0'));
    }

    ApplicationSearchResults results() const {
        ApplicationSearchResults found;
        found.appBundleIdentifier = u"com.example.bench"_s;
        for (int d = 0; d < domains; ++d)
            found.appDomainResults.append({domainName(d), 0});
        found.appAdditionalPreferenceFiles = {QUrl::fromLocalFile(folder())};
        return found;
    }
};

// One timed cleaning in milliseconds; negative when it did not delete everything.
double timedCleaning(const World& world, CleaningBackupStore* backups) {
    NoHelper helper;
    TaskMasterDomainRunner defaults;
    NoDomains matcher;
    NotRunning running;
    PrintingAlerts alerts;
    Cleaning cleaning({helper, defaults, matcher, running, alerts, backups});
    const ApplicationSearchResults results = world.results();
    QElapsedTimer timer;
    timer.start();
    const auto counter =
        cleaning.cleanAppPreferences(QUrl::fromLocalFile(u"/Applications/Bench.app"_s), results);
    const double elapsed = double(timer.nsecsElapsed()) / 1e6;
    const bool complete = counter && counter->errors == 0 &&
                          counter->deleted == quint32(world.domains + 1) && helper.faults == 0 &&
                          (!backups || cleaning.lastBackup());
    return complete ? elapsed : -1;
}

double median(QList<double> values) {
    std::sort(values.begin(), values.end());
    return values.at(values.size() / 2);
}

} // namespace

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    const QStringList arguments = application.arguments();
    if (arguments.size() != 5 || (arguments[1] != u"macos"_s && arguments[1] != u"linux"_s)) {
        std::fprintf(stderr,
                     "usage: bench_cleaning_backup macos|linux <domains> <files> <rounds>\n");
        return 2;
    }
    bench::silenceLog();
    const bool onLinux = arguments[1] == u"linux"_s;
    // The Linux desktop's sandbox (HOME, XDG folders, dconf's bus) is the
    // script's; a macOS home folder is made here.
    qputenv("SORVANE_SETTINGS", onLinux ? "linux" : "macos");
    const QString scratch = onLinux ? QDir::cleanPath(qEnvironmentVariable("HOME") + u"/.."_s)
                                    : bench::makeScratch(u"cleaning-backup"_s);
    const World world{onLinux, scratch + u"/home"_s, arguments[2].toInt(), arguments[3].toInt()};
    CleaningBackupStore backups(scratch + u"/backups"_s);
    const int rounds = arguments[4].toInt();
    QList<double> without;
    QList<double> with;
    for (int round = 0; round <= rounds; ++round) {
        for (const bool backUp : {false, true}) {
            if (!world.populate()) {
                std::fprintf(stderr, "could not write the application's settings\n");
                return 1;
            }
            const double elapsed = timedCleaning(world, backUp ? &backups : nullptr);
            if (elapsed < 0) {
                std::fprintf(stderr, "the cleaning did not delete everything\n");
                return 1;
            }
            // The first round warms the caches and is not counted.
            if (round > 0)
                (backUp ? with : without).append(elapsed);
        }
        for (const CleaningBackup& backup : backups.backups())
            if (QString error; !backups.discard(backup.id, &error))
                std::fprintf(stderr, "%s\n", qPrintable(error));
    }
    const double plain = median(without);
    const double backedUp = median(with);
    std::printf("%s: cleaning of %d domains and %d files, median of %d interleaved rounds\n",
                onLinux ? "Linux desktop" : "macOS home folder", world.domains, world.files,
                rounds);
    std::printf("  without a backup %8.1f ms\n", plain);
    std::printf("  with a backup    %8.1f ms   ratio %.2fx (target <= 1.5)\n", backedUp,
                backedUp / plain);
    if (!onLinux)
        QDir(scratch).removeRecursively();
    return 0;
}
