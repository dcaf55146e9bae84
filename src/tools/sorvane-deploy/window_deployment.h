#pragma once

class EmbeddedPackage;
class RunningApplicationQuery;

// The self-deploying package application with a display: alerts are message
// boxes, the package is opened as the packager window opens one, and the
// window deploys what the user leaves ticked. What the deployment logged is
// shown when it ends. Needs the QApplication object; returns the exit status.
class WindowDeployment {
public:
    explicit WindowDeployment(RunningApplicationQuery& running);

    int run(const EmbeddedPackage& package);

private:
    RunningApplicationQuery& running_;
};
