#include "helper/system_dconf_domain.h"

#include "linux/dconf_system_databases.h"

#include <QProcess>
#include <QStandardPaths>

#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

constexpr int kUpdateTimeoutMs = 30000;

bool updateDatabases(const QString& folder, QString* error) {
    const QString dconf = QStandardPaths::findExecutable(u"dconf"_s);
    if (dconf.isEmpty()) {
        *error = u"The dconf program is not installed; run \"dconf update\" as root."_s;
        return false;
    }
    QProcess update;
    // The databases are read by every user: the helper's own umask (0077
    // under its unit) would make them root's alone.
    update.setChildProcessModifier([] { ::umask(022); });
    update.start(dconf, {u"update"_s, folder});
    if (!update.waitForFinished(kUpdateTimeoutMs) || update.exitStatus() != QProcess::NormalExit ||
        update.exitCode() != 0) {
        *error = u"dconf update failed: %1"_s.arg(
            QString::fromLocal8Bit(update.readAllStandardError()).trimmed());
        return false;
    }
    return true;
}

} // namespace

bool SystemDconfDomain::exists(const QString& domain) {
    return DconfSystemDatabases().domains().contains(domain);
}

bool SystemDconfDomain::remove(const QString& domain, QString* error) {
    const DconfSystemDatabases databases;
    return databases.removeDomain(domain, error) &&
           updateDatabases(databases.databasesFolder(), error);
}
