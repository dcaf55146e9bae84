#pragma once

#include <QtGlobal>

// How many items a cleaning or deletion removed and how many it could not.
// Every attempt to delete one item adds one to exactly one of the two.
struct DeletionCounter {
    quint32 deleted = 0;
    quint32 errors = 0;

    DeletionCounter& operator+=(const DeletionCounter& other) {
        deleted += other.deleted;
        errors += other.errors;
        return *this;
    }
    bool operator==(const DeletionCounter&) const = default;
};
