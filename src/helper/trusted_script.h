#pragma once

#include <QByteArray>
#include <QString>

// Decides whether the helper may start a script as root: only a regular file
// owned by root that nobody else may write, in folders owned by root all the
// way up that nobody else may change.
class TrustedScript {
public:
    static bool isTrusted(const QByteArray& path, QString* error);
};
