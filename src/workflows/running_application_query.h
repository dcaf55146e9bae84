#pragma once

#include <QString>

// Whether an application with a given bundle identifier runs now.
class RunningApplicationQuery {
public:
    virtual ~RunningApplicationQuery() = default;
    virtual bool isRunning(const QString& bundleIdentifier) = 0;
};
