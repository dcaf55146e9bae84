#include "helper/install_tree.h"

#include <QFile>
#include <QRandomGenerator>

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

bool fail(QString* error, const QString& message) {
    if (error)
        *error = message;
    return false;
}

QString systemError() {
    return QString::fromLocal8Bit(std::strerror(errno));
}

QList<QByteArray> componentsOf(const QByteArray& path) {
    QList<QByteArray> parts = path.split('/');
    parts.removeAll(QByteArray());
    return parts;
}

bool writeAll(int fd, const QByteArray& content) {
    for (qsizetype done = 0; done < content.size();) {
        const ssize_t put =
            ::write(fd, content.constData() + done, static_cast<size_t>(content.size() - done));
        if (put < 0 && errno == EINTR)
            continue;
        if (put <= 0)
            return false;
        done += put;
    }
    return true;
}

} // namespace

InstallTree::InstallTree(const QString& prefix)
    : prefix_(prefix) {
    const QByteArray path = QFile::encodeName(prefix);
    if (!path.startsWith('/')) {
        rootError_ = u"The prefix %1 is not an absolute path."_s.arg(prefix);
        return;
    }
    UniqueFd folder(::open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    QString shown;
    // Each folder is checked before anything is made or opened in it.
    if (!folderIsSafe(folder.get(), false, u"/"_s, &rootError_))
        return;
    const QList<QByteArray> parts = componentsOf(path);
    for (qsizetype i = 0; i < parts.size(); ++i) {
        shown += u'/' + QFile::decodeName(parts.at(i));
        // A prefix that does not exist yet is made, below folders that passed.
        if (::mkdirat(folder.get(), parts.at(i).constData(), 0755) == 0)
            ::fchmodat(folder.get(), parts.at(i).constData(), 0755, 0);
        folder = UniqueFd(::openat(folder.get(), parts.at(i).constData(),
                                   O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (!folder.isValid()) {
            rootError_ = u"Cannot open %1: %2"_s.arg(shown, systemError());
            return;
        }
        if (!folderIsSafe(folder.get(), i == parts.size() - 1, shown, &rootError_))
            return;
    }
    root_ = std::move(folder);
}

bool InstallTree::isSafe(QString* error) const {
    return root_.isValid() || fail(error, rootError_);
}

bool InstallTree::folderIsSafe(int fd, bool insidePrefix, const QString& shown, QString* error) {
    struct stat info {};
    if (fd < 0 || ::fstat(fd, &info) != 0)
        return fail(error, u"Cannot read %1: %2"_s.arg(shown, systemError()));
    const uid_t installer = ::geteuid();
    if (info.st_uid != 0 && info.st_uid != installer)
        return fail(error,
                    u"%1 belongs to another user: the helper is not installed there."_s.arg(shown));
    // Above the prefix a sticky folder (/tmp) is fine: there nobody may
    // rename or remove what root owns.
    const bool othersWrite = (info.st_mode & 022) != 0;
    if (othersWrite && (insidePrefix || (info.st_mode & S_ISVTX) == 0))
        return fail(
            error, u"%1 may be changed by others: the helper is not installed there."_s.arg(shown));
    return true;
}

UniqueFd InstallTree::openFolder(const QByteArray& relative, bool create, QString* error) const {
    UniqueFd folder(::fcntl(root_.get(), F_DUPFD_CLOEXEC, 0));
    QString shown = prefix_;
    for (const QByteArray& part : componentsOf(relative)) {
        shown += u'/' + QFile::decodeName(part);
        bool created = false;
        if (create && ::mkdirat(folder.get(), part.constData(), 0755) == 0)
            created = true;
        UniqueFd next(::openat(folder.get(), part.constData(),
                               O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (!next.isValid()) {
            fail(error, u"Cannot open %1: %2"_s.arg(shown, systemError()));
            return UniqueFd();
        }
        // A folder made here is readable by the bus and polkit whatever the
        // umask of whoever installs.
        if (created)
            ::fchmod(next.get(), 0755);
        if (!folderIsSafe(next.get(), true, shown, error))
            return UniqueFd();
        folder = std::move(next);
    }
    return folder;
}

bool InstallTree::writeFile(const QString& relative, const QByteArray& content, mode_t mode,
                            QString* error) const {
    if (!isSafe(error))
        return false;
    const QByteArray path = QFile::encodeName(relative);
    const qsizetype slash = path.lastIndexOf('/');
    const QByteArray name = path.mid(slash + 1);
    const UniqueFd folder = openFolder(slash < 0 ? QByteArray() : path.left(slash), true, error);
    if (!folder.isValid())
        return false;
    const QString shown = prefix_ + u'/' + relative;
    const QByteArray staged =
        "." + name + ".new-" + QByteArray::number(QRandomGenerator::system()->generate64(), 36);
    const UniqueFd file(::openat(folder.get(), staged.constData(),
                                 O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!file.isValid())
        return fail(error, u"Cannot write %1: %2"_s.arg(shown, systemError()));
    if (!writeAll(file.get(), content) || ::fchmod(file.get(), mode) != 0 ||
        ::fsync(file.get()) != 0 ||
        ::renameat(folder.get(), staged.constData(), folder.get(), name.constData()) != 0) {
        const QString reason = systemError();
        ::unlinkat(folder.get(), staged.constData(), 0);
        return fail(error, u"Cannot write %1: %2"_s.arg(shown, reason));
    }
    return true;
}
