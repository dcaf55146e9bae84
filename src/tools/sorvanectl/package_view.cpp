#include "package_view.h"

#include "ctl_output.h"
#include "ctl_session.h"
#include "packager/package_keys.h"
#include "packager/self_deploying_executable.h"
#include "platform/bundle.h"
#include "platform/plist_text_format.h"
#include "util/path_utils.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

namespace {

QJsonArray domainsJson(const SVPPItem& item) {
    QJsonArray array;
    for (const QString& domain : item.prefsDomains()) {
        const auto keys = PackageView::keyCount(item.plistForDomain(domain));
        array.append(QJsonObject{{u"domain"_s, domain},
                                 {u"keys"_s, keys ? QJsonValue(qint64(*keys)) : QJsonValue()}});
    }
    return array;
}

QJsonArray filesJson(const SVPPItem& item) {
    QJsonArray array;
    for (const QString& path : item.extraFilePaths())
        array.append(QJsonObject{{u"path"_s, path},
                                 {u"size"_s, qint64(item.fileContentsForPath(path)->size())}});
    return array;
}

void printDomains(CtlOutput& out, const SVPPItem& item) {
    for (const QString& domain : item.prefsDomains()) {
        const auto keys = PackageView::keyCount(item.plistForDomain(domain));
        out.line(
            keys ? u"    %1  (%2 key%3)"_s.arg(domain).arg(*keys).arg(*keys == 1 ? u""_s : u"s"_s)
                 : u"    %1  (settings that cannot be read)"_s.arg(domain));
    }
}

} // namespace

QString PackageView::packageFileOf(const QString& path) {
    if (sv::pathExtension(path) == u"app"_s && QFileInfo(path).isDir())
        return path + u"/Contents/Resources/Package."_s + package_keys::kExtension;
    return path;
}

std::optional<PackageView::Opened> PackageView::open(const QString& command,
                                                     const QString& argument, CtlSession& session,
                                                     int* status) {
    CtlOutput& out = session.out();
    *status = CtlOutput::kUsage;
    const QString path = QDir::cleanPath(QFileInfo(argument).absoluteFilePath());
    if (!QFileInfo::exists(path)) {
        out.complain(u"%1: %2: no such file"_s.arg(command, argument));
        return std::nullopt;
    }
    Opened opened{packageFileOf(path), nullptr};
    if (!QFileInfo(opened.file).isFile()) {
        out.complain(
            u"%1: %2 is neither a package file nor a self-deploying package application"_s.arg(
                command, argument));
        return std::nullopt;
    }
    // A self-deploying package file carries its package at its end; the
    // reader gets a copy under a package file's name.
    std::optional<QTemporaryDir> scratch;
    QString read = opened.file;
    const auto appended = sv::pathExtension(opened.file) == package_keys::kExtension
                              ? std::nullopt
                              : SelfDeployingExecutable::packageIn(opened.file);
    if (appended) {
        scratch.emplace();
        read = scratch->filePath(u"Package."_s + package_keys::kExtension);
        QFile copy(read);
        if (!scratch->isValid() || !copy.open(QIODevice::WriteOnly) ||
            copy.write(*appended) != appended->size()) {
            out.complain(u"%1: the package inside %2 cannot be read"_s.arg(command, argument));
            *status = CtlOutput::kFailure;
            return std::nullopt;
        }
    }
    const bool rightType = sv::pathExtension(read) == package_keys::kExtension;
    opened.reader =
        std::make_unique<PackageReader>(session.alerts(), Bundle::mainBundle().version());
    // The reader says what is wrong, in the desktop application's words.
    if (!opened.reader->initWithKolvaneUrl(QUrl::fromLocalFile(read))) {
        *status = rightType ? CtlOutput::kFailure : CtlOutput::kUsage;
        return std::nullopt;
    }
    *status = CtlOutput::kSuccess;
    return opened;
}

std::optional<qsizetype> PackageView::keyCount(const QString& text) {
    QString error;
    const PlistValue value = PlistTextFormat::parse(text, &error);
    if (!value.isDictionary())
        return std::nullopt;
    return value.count();
}

QJsonObject PackageView::json(const PackageReader::Items& system,
                              const PackageReader::Items& applications) {
    QJsonArray components;
    for (const auto& item : system)
        components.append(QJsonObject{{u"name"_s, item->displayName()},
                                      {u"description"_s, item->description()},
                                      {u"domains"_s, domainsJson(*item)}});
    QJsonArray apps;
    for (const auto& item : applications)
        apps.append(QJsonObject{{u"name"_s, item->displayName()},
                                {u"identifier"_s, item->appId()},
                                {u"hasIcon"_s, !item->icon().isNull()},
                                {u"domains"_s, domainsJson(*item)},
                                {u"files"_s, filesJson(*item)}});
    return {{u"components"_s, components}, {u"applications"_s, apps}};
}

void PackageView::print(CtlOutput& out, const PackageReader::Items& system,
                        const PackageReader::Items& applications) {
    out.line(u"Components (%1):"_s.arg(system.size()));
    for (const auto& item : system) {
        const QString description = item->description();
        out.line(description.isEmpty() ? u"  "_s + item->displayName()
                                       : u"  %1 — %2"_s.arg(item->displayName(), description));
        printDomains(out, *item);
    }
    out.line(u"Applications (%1):"_s.arg(applications.size()));
    for (const auto& item : applications) {
        out.line(u"  %1 (%2)"_s.arg(item->displayName(), item->appId()));
        printDomains(out, *item);
        for (const QString& path : item->extraFilePaths())
            out.line(u"    file %1  (%2 bytes)"_s.arg(path).arg(
                item->fileContentsForPath(path)->size()));
    }
}
