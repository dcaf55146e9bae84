#include "platform/defaults_store.h"

#include "platform/plist_codec.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

QString systemError(const QString& what, const QString& path) {
    return u"%1 %2: %3"_s.arg(what, path, QString::fromLocal8Bit(std::strerror(errno)));
}

bool writeAll(int fd, const QByteArray& bytes) {
    qsizetype written = 0;
    while (written < bytes.size()) {
        const ssize_t n = ::write(fd, bytes.constData() + written, size_t(bytes.size() - written));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        written += n;
    }
    return true;
}

// Temporary file beside the target, flushed and renamed over it, then the folder flushed.
bool writeAtomically(const QString& path, const QByteArray& bytes, QString* error) {
    const QString folder = QFileInfo(path).absolutePath();
    QByteArray pattern =
        QFile::encodeName(u"%1/.%2.XXXXXX"_s.arg(folder, QFileInfo(path).fileName()));
    const int fd = ::mkstemp(pattern.data());
    if (fd < 0) {
        if (error)
            *error = systemError(u"Cannot create a temporary file in"_s, folder);
        return false;
    }
    const bool ok = ::fchmod(fd, 0600) == 0 && writeAll(fd, bytes) && ::fsync(fd) == 0;
    const int savedErrno = errno;
    ::close(fd);
    if (!ok || ::rename(pattern.constData(), QFile::encodeName(path).constData()) != 0) {
        if (ok == false)
            errno = savedErrno;
        if (error)
            *error = systemError(u"Cannot write"_s, path);
        ::unlink(pattern.constData());
        return false;
    }
    const int folderFd = ::open(QFile::encodeName(folder).constData(), O_RDONLY | O_DIRECTORY);
    if (folderFd >= 0) {
        ::fsync(folderFd);
        ::close(folderFd);
    }
    return true;
}

} // namespace

DefaultsStore::DefaultsStore(QString homeFolder)
    : m_homeFolder(std::move(homeFolder)) {}

QString DefaultsStore::preferencesFolder() const {
    return m_homeFolder + u"/Library/Preferences"_s;
}

bool DefaultsStore::isValidDomainName(const QString& domain) {
    return !domain.isEmpty() && !domain.contains(u'/') && !domain.contains(u".."_s) &&
           !domain.contains(QChar(0));
}

QString DefaultsStore::pathForDomain(const QString& domain) const {
    if (domain == globalDomain)
        return preferencesFolder() + u"/.GlobalPreferences.plist"_s;
    if (!isValidDomainName(domain))
        return {};
    return preferencesFolder() + u'/' + domain + u".plist"_s;
}

std::vector<std::string> DefaultsStore::domainsUtf8() const {
    // Sorted as bytes, which for UTF-8 is code-point order: `defaults
    // domains` over a large folder spends most of its time here.
    std::vector<std::string> raw;
    DIR* folder = ::opendir(QFile::encodeName(preferencesFolder()).constData());
    if (!folder)
        return {};
    while (const dirent* entry = ::readdir(folder)) {
        const size_t length = std::strlen(entry->d_name);
        if (entry->d_name[0] == '.' || length <= 6 ||
            std::memcmp(entry->d_name + length - 6, ".plist", 6) != 0)
            continue;
        if (entry->d_type != DT_REG && entry->d_type != DT_UNKNOWN && entry->d_type != DT_LNK)
            continue;
        raw.emplace_back(entry->d_name, length - 6);
    }
    ::closedir(folder);
    std::sort(raw.begin(), raw.end());
    return raw;
}

QStringList DefaultsStore::domains() const {
    const std::vector<std::string> raw = domainsUtf8();
    QStringList names;
    names.reserve(qsizetype(raw.size()));
    for (const std::string& name : raw)
        names.append(QFile::decodeName(QByteArray(name.data(), qsizetype(name.size()))));
    return names;
}

bool DefaultsStore::domainExists(const QString& domain) const {
    const QString path = pathForDomain(domain);
    return !path.isEmpty() && QFileInfo(path).isFile();
}

PlistValue DefaultsStore::readDomain(const QString& domain, QString* error) const {
    const QString path = pathForDomain(domain);
    if (path.isEmpty()) {
        if (error)
            *error = u"Invalid domain name \"%1\""_s.arg(domain);
        return {};
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        if (error)
            *error = u"Domain %1 does not exist"_s.arg(domain);
        return {};
    }
    const QByteArray data = file.readAll();
    QString parseError;
    PlistValue value = PlistCodec::read(data, &parseError);
    if (!value.isDictionary()) {
        if (error)
            *error = value.isValid() ? u"Domain %1 does not hold a dictionary"_s.arg(domain)
                                     : u"Domain %1 is damaged: %2"_s.arg(domain, parseError);
        return {};
    }
    return value;
}

bool DefaultsStore::writeDomain(const QString& domain, const PlistValue& dictionary,
                                QString* error) const {
    const QString path = pathForDomain(domain);
    if (path.isEmpty() || !dictionary.isDictionary()) {
        if (error)
            *error = path.isEmpty() ? u"Invalid domain name \"%1\""_s.arg(domain)
                                    : u"A domain must hold a dictionary"_s;
        return false;
    }
    if (!QDir().mkpath(preferencesFolder())) {
        if (error)
            *error = u"Cannot create %1"_s.arg(preferencesFolder());
        return false;
    }
    return writeAtomically(path, PlistCodec::write(dictionary), error);
}

bool DefaultsStore::deleteDomain(const QString& domain, QString* error) const {
    const QString path = pathForDomain(domain);
    if (path.isEmpty()) {
        if (error)
            *error = u"Invalid domain name \"%1\""_s.arg(domain);
        return false;
    }
    if (::unlink(QFile::encodeName(path).constData()) != 0) {
        if (error)
            *error = errno == ENOENT ? u"Domain %1 does not exist"_s.arg(domain)
                                     : systemError(u"Cannot delete"_s, path);
        return false;
    }
    return true;
}
