#pragma once

#include "packager/sv_pp_item.h"

#include <QList>
#include <QTextStream>

#include <memory>

class EmbeddedPackage;
class ProblemLog;
class StreamAlertPresenter;
class RunningApplicationQuery;

// The self-deploying package application on a terminal: it prints what the
// package holds (components and applications with their domains and files)
// and, unless only a listing was asked for, deploys every item for the user
// who runs it and prints one result line. Alerts and problems go to the
// error stream, one line each. Returns the exit status.
class TextDeployment {
public:
    using Items = QList<std::shared_ptr<SVPPItem>>;

    TextDeployment(QTextStream& out, QTextStream& err, RunningApplicationQuery& running,
                   bool verbose);

    int run(const EmbeddedPackage& package, bool listOnly);

private:
    void printItems(const Items& systemSettings, const Items& applications);
    int deploy(const Items& systemSettings, const Items& applications, StreamAlertPresenter& alerts,
               ProblemLog& log);

    QTextStream& out_;
    QTextStream& err_;
    RunningApplicationQuery& running_;
    bool verbose_;
};
