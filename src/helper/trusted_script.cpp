#include "helper/trusted_script.h"

#include "helper/allowed_places.h"
#include "helper/unique_fd.h"

#include <QFileInfo>
#include <QRandomGenerator>

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>

using namespace Qt::StringLiterals;

namespace {

bool fail(QString* error, const QString& message) {
    if (error)
        *error = message;
    return false;
}

// Deliberately accepts a root-owned sticky folder such as /tmp: there only
// root may rename or remove what root owns.
bool folderIsSafe(const struct stat& info) {
    if (!S_ISDIR(info.st_mode) || info.st_uid != 0)
        return false;
    return (info.st_mode & 022) == 0 || (info.st_mode & S_ISVTX) != 0;
}

} // namespace

bool TrustedScript::isTrusted(const QByteArray& path, QString* error) {
    if (!AllowedPlaces::isValidPath(path, error))
        return false;
    const QString shown = QString::fromUtf8(path);
    UniqueFd folder(::open("/", O_PATH | O_DIRECTORY | O_CLOEXEC));
    struct stat info {};
    if (!folder.isValid() || ::fstat(folder.get(), &info) != 0 || !folderIsSafe(info))
        return fail(error, u"The root folder is not safe."_s);
    const QList<QByteArray> parts = path.mid(1).split('/');
    for (qsizetype i = 0; i < parts.size(); ++i) {
        const bool last = i == parts.size() - 1;
        UniqueFd next(::openat(folder.get(), parts.at(i).constData(),
                               O_PATH | O_NOFOLLOW | O_CLOEXEC | (last ? 0 : O_DIRECTORY)));
        if (!next.isValid() || ::fstat(next.get(), &info) != 0)
            return fail(error, u"Cannot open %1: %2"_s.arg(
                                   shown, QString::fromLocal8Bit(std::strerror(errno))));
        if (!last && !folderIsSafe(info))
            return fail(error,
                        u"A folder of %1 may be changed by someone other than root."_s.arg(shown));
        if (last && (!S_ISREG(info.st_mode) || info.st_uid != 0 || (info.st_mode & 022) != 0))
            return fail(error, u"%1 is not a script owned and writable by root only."_s.arg(shown));
        folder = std::move(next);
    }
    return true;
}

bool TrustedScript::runningUnderSystemd() {
    // systemd names every service's run; the folder says systemd is running.
    return !qEnvironmentVariableIsEmpty("INVOCATION_ID") &&
           QFileInfo(u"/run/systemd/system"_s).isDir();
}

QStringList TrustedScript::launchCommand(const QString& script, bool underSystemd) {
    if (!underSystemd)
        return {script};
    const QString unit =
        u"sorvane-update-%1"_s.arg(QRandomGenerator::system()->generate64(), 0, 36);
    const QString run = QFileInfo::exists(u"/usr/bin/systemd-run"_s) ? u"/usr/bin/systemd-run"_s
                                                                     : u"/bin/systemd-run"_s;
    return {run,   u"--unit="_s + unit, u"--collect"_s, u"--no-block"_s, u"--quiet"_s, u"--"_s,
            script};
}
