#pragma once

#include <QImage>
#include <QString>

// The package a self-deploying package application carries. The program runs
// as <bundle>/Contents/MacOS/sorvane-deploy and finds everything relative to
// its own folder: the package in Contents/Resources/Package.Kolvane2, the
// name the user gave the bundle, its version and icon.
class EmbeddedPackage {
public:
    // The package of the bundle around a program folder.
    static EmbeddedPackage forProgramFolder(const QString& programFolder);
    // The package of the bundle around the running program (needs the Qt
    // application object).
    static EmbeddedPackage forRunningProgram();

    QString bundlePath() const { return bundlePath_; }
    QString packagePath() const { return packagePath_; }
    // The bundle's folder name without ".app": the name chosen when it was saved.
    QString displayName() const;
    // CFBundleVersion of the bundle, else Sorvane's own version.
    QString version() const;
    // The bundle's icon; null when it has none.
    QImage icon() const;
    // Whether the package file is there at all.
    bool exists() const;
    // The one line that tells the user that there is no package to deploy.
    QString missingMessage() const;

private:
    EmbeddedPackage(QString bundlePath, QString packagePath);

    QString bundlePath_;
    QString packagePath_;
};
