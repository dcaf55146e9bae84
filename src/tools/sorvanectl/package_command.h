#pragma once

#include <QString>
#include <QStringList>

class CtlSession;

// sorvanectl package components | create | inspect | deploy: the packager
// window's jobs. Creating captures what the packager captures and saves a
// package file or a self-deploying application; inspecting shows what a
// package holds; deploying is PackageDeployCommand's.
class PackageCommand {
public:
    static int run(const QStringList& arguments, CtlSession& session);
    static QString help();
    static QString componentsHelp();
    static QString createHelp();
    static QString inspectHelp();

private:
    static int components(const QStringList& arguments, CtlSession& session);
    static int create(const QStringList& arguments, CtlSession& session);
    static int inspect(const QStringList& arguments, CtlSession& session);
};
