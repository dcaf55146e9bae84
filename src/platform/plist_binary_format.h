#pragma once

#include "platform/plist_value.h"

#include <QByteArray>
#include <QString>

// Reads and writes the binary property-list format ("bplist00").
//
// Sorvane carries its own coder for this format instead of libplist's because
// libplist 2.2 writes UIDs as {"CF$UID": n} dictionaries (which breaks keyed
// archives for every other reader), cannot write unsigned integers above the
// signed 64-bit range, and stores dates in whole 32-bit seconds. The reader is
// also the checker's strict validation of binary files: every offset, count and
// reference is checked against the file before it is used, shared objects are
// decoded once, cycles and nesting deeper than maxDepth are faults.
class PlistBinaryFormat {
public:
    static constexpr int maxDepth = 512;

    static bool isBinary(const QByteArray& data);
    // Returns an invalid value and sets *error (a description naming the fault
    // and the byte offset where it lies) when the data is not a well-formed file.
    static PlistValue read(const QByteArray& data, QString* error);
    // The same checks as read() without building the value: the checker's fast path.
    static bool validate(const QByteArray& data, QString* error);
    static QByteArray write(const PlistValue& value);
};
