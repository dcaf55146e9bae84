#include "platform/running_applications.h"

#include "platform/bundle.h"
#include "platform/directory_listing.h"

#include <QFile>

using namespace Qt::StringLiterals;

namespace {

QString procLink(const QString& pid) {
    return QFile::symLinkTarget(u"/proc/%1/exe"_s.arg(pid));
}

// The program a process was started as and, for a script run by an
// interpreter ("sh Tool.app/Contents/MacOS/run"), the script: the first
// argument after it that is not an option.
QStringList programArguments(const QString& pid) {
    QFile file(u"/proc/%1/cmdline"_s.arg(pid));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QList<QByteArray> words = file.read(4096).split('\0');
    QStringList programs{QFile::decodeName(words.value(0))};
    for (qsizetype i = 1; i < words.size(); ++i) {
        if (!words.at(i).isEmpty() && !words.at(i).startsWith('-')) {
            programs.append(QFile::decodeName(words.at(i)));
            break;
        }
    }
    return programs;
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
        if (bundle.isEmpty()) {
            for (const QString& program : programArguments(pid)) {
                bundle = bundlePathOfExecutable(program);
                if (!bundle.isEmpty())
                    break;
            }
        }
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
