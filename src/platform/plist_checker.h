#pragma once

#include <QByteArray>
#include <QString>

// The property-list check run by the privileged helper on every file of a
// preferences folder. It answers "OK" for a file that parses, or one message
// naming the first fault and where it lies, followed by a detail part opening
// with " (Error Domain=" that the result list cuts off. It never crashes,
// never hangs and allocates no more than a bounded multiple of the input.
class PlistChecker {
public:
    static QString check(const QByteArray& data);
};
