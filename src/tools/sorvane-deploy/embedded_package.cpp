#include "embedded_package.h"

#include "platform/bundle.h"
#include "platform/file_icons.h"
#include "util/path_utils.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

using namespace Qt::StringLiterals;

EmbeddedPackage::EmbeddedPackage(QString bundlePath, QString packagePath)
    : bundlePath_(std::move(bundlePath))
    , packagePath_(std::move(packagePath)) {}

EmbeddedPackage EmbeddedPackage::forProgramFolder(const QString& programFolder) {
    const QString contents = QDir::cleanPath(programFolder + u"/.."_s);
    return EmbeddedPackage(QDir::cleanPath(contents + u"/.."_s),
                           contents + u"/Resources/Package.Kolvane2"_s);
}

EmbeddedPackage EmbeddedPackage::forRunningProgram() {
    return forProgramFolder(QCoreApplication::applicationDirPath());
}

QString EmbeddedPackage::displayName() const {
    return sv::stringByDeletingPathExtension(sv::lastPathComponent(bundlePath_));
}

QString EmbeddedPackage::version() const {
    const auto bundle = Bundle::bundleWithUrl(QUrl::fromLocalFile(bundlePath_));
    const QString version = bundle ? bundle->version() : QString();
    return version.isNull() ? QStringLiteral(SORVANE_VERSION) : version;
}

QImage EmbeddedPackage::icon() const {
    const auto bundle = Bundle::bundleWithUrl(QUrl::fromLocalFile(bundlePath_));
    return bundle ? FileIcons::bundleIcon(*bundle) : QImage();
}

bool EmbeddedPackage::exists() const {
    return QFileInfo(packagePath_).isFile();
}

QString EmbeddedPackage::missingMessage() const {
    return u"No package found at %1: sorvane-deploy runs from inside a self-deploying "
           u"package application"_s.arg(packagePath_);
}
