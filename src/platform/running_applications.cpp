#include "platform/running_applications.h"

#include "platform/bundle.h"
#include "platform/directory_listing.h"

#include <QFile>

using namespace Qt::StringLiterals;

namespace {

QString procLink(const QString& pid) {
    return QFile::symLinkTarget(u"/proc/%1/exe"_s.arg(pid));
}

QString firstArgument(const QString& pid) {
    QFile file(u"/proc/%1/cmdline"_s.arg(pid));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QByteArray line = file.read(4096);
    return QFile::decodeName(line.left(line.indexOf('\0')));
}

bool isProcessFolder(const QString& name) {
    for (QChar c : name) {
        if (!c.isDigit())
            return false;
    }
    return !name.isEmpty();
}

} // namespace

QString RunningApplications::bundlePathOfExecutable(const QString& executable) {
    const qsizetype marker = executable.lastIndexOf(u"/Contents/MacOS/"_s);
    if (marker <= 0)
        return {};
    return executable.left(marker);
}

QStringList RunningApplications::runningBundlePaths() {
    QStringList bundles;
    for (const QString& pid : DirectoryListing::list(u"/proc"_s).names) {
        if (!isProcessFolder(pid))
            continue;
        QString bundle = bundlePathOfExecutable(procLink(pid));
        if (bundle.isEmpty())
            bundle = bundlePathOfExecutable(firstArgument(pid));
        if (!bundle.isEmpty() && !bundles.contains(bundle))
            bundles.append(bundle);
    }
    return bundles;
}

QStringList
RunningApplications::runningApplicationsWithBundleIdentifier(const QString& identifier) {
    QStringList matching;
    for (const QString& path : runningBundlePaths()) {
        const auto bundle = Bundle::bundleWithUrl(QUrl::fromLocalFile(path));
        if (bundle && bundle->bundleIdentifier() == identifier)
            matching.append(path);
    }
    return matching;
}
