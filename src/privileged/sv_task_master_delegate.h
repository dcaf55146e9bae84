#pragma once

#include <QString>

class SVTaskMaster;

// Receives the outcome of a task runner's convenience operations
// (deleteDefaultDomain, rebootComputer), on the thread that ran the program.
class SVTaskMasterDelegate {
public:
    virtual ~SVTaskMasterDelegate() = default;
    // The program ran but printed something, which these operations treat as
    // a complaint.
    virtual void taskMasterFailedWithErrorMessage(SVTaskMaster* taskMaster,
                                                  const QString& message) = 0;
    // The program ran and printed nothing.
    virtual void taskMasterFinished(SVTaskMaster* taskMaster) = 0;
};
