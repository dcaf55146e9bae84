#pragma once

#include <QString>

// Deletes a defaults domain of the user's own with the user's own rights
// (the defaults program run as a child process). True means the program ran.
class DefaultsDomainRunner {
public:
    virtual ~DefaultsDomainRunner() = default;
    virtual bool deleteDefaultDomain(const QString& domain) = 0;
};
