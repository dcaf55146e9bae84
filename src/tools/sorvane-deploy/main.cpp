// The program of a self-deploying package application: it deploys the package
// that its bundle carries, in a window when there is a display and on the
// terminal otherwise.
#include "deploy_options.h"
#include "embedded_package.h"
#include "text_deployment.h"
#include "window_deployment.h"

#include "workflows/system_services.h"

#include <QApplication>
#include <QCoreApplication>
#include <QTextStream>

#include <cstdio>

using namespace Qt::StringLiterals;

int main(int argc, char** argv) {
    QStringList arguments;
    for (int i = 1; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));
    const DeployOptions options = DeployOptions::parse(arguments);
    QTextStream out(stdout);
    QTextStream err(stderr);
    switch (options.action()) {
    case DeployOptions::Action::Help:
        out << DeployOptions::usage();
        return 0;
    case DeployOptions::Action::Version:
        out << u"sorvane-deploy %1"_s.arg(QStringLiteral(SORVANE_VERSION)) << Qt::endl;
        return 0;
    case DeployOptions::Action::UsageError:
        err << u"sorvane-deploy: "_s << options.error() << u'\n' << DeployOptions::usage();
        return 2;
    case DeployOptions::Action::List:
    case DeployOptions::Action::Deploy:
        break;
    }
    ProcessRunningApplicationQuery running;
    if (options.wantsWindow()) {
        QApplication application(argc, argv);
        QApplication::setApplicationName(u"Sorvane Self-Deploying Package"_s);
        QApplication::setApplicationVersion(QStringLiteral(SORVANE_VERSION));
        return WindowDeployment(running).run(EmbeddedPackage::forRunningProgram());
    }
    // No widgets and no display on a terminal.
    QCoreApplication application(argc, argv);
    return TextDeployment(out, err, running, options.verbose())
        .run(EmbeddedPackage::forRunningProgram(), options.action() == DeployOptions::Action::List);
}
