#pragma once

#include "platform/plist_value.h"

#include <QString>

// Sorvane's own defaults domain in the user's defaults store: the few
// settings Sorvane remembers between runs (the save panel's file type, the
// updater's last check).
class UserDefaults {
public:
    static const QString kDomain;

    // The value stored under the key; an invalid value when there is none.
    static PlistValue objectForKey(const QString& key);
    // The integer stored under the key; 0 when it is unset or not an integer.
    static qint64 integerForKey(const QString& key);
    // Stores the value under the key, keeping the domain's other keys.
    static bool setObject(const QString& key, const PlistValue& value, QString* error = nullptr);
};
