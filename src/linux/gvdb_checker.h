#pragma once

#include <QByteArray>
#include <QString>

// The structural check of a GVDB file, the format of dconf's databases (the
// user database and the compiled system databases, GSettings' compiled
// schemas too). It reads the header in either byte order and every hash
// table reachable from the root: bloom filter and bucket sizes, buckets in
// order, each item in its hash's bucket, its key inside the file and hashing
// to the stored hash, its parent, and its value: a list of children, a nested
// table, or a stored value whose type string parses and whose size fits a
// basic type. Items of any other type are keys without a value, as readers
// take them (dconf leaves their type byte unwritten). Every offset is checked
// against the file before it is read, no table is read twice and the work
// grows linearly with the file's size.
class GvdbChecker {
public:
    // Tables nested deeper than this are a fault; dconf nests one level.
    static constexpr int maxTableDepth = 8;
    // GVariant type strings nest no deeper than GLib allows.
    static constexpr int maxTypeDepth = 128;

    // The fault reads "<what> at byte offset N".
    static bool validate(const QByteArray& data, QString* error);
};
