#pragma once

#include "workflows/settings_system.h"

#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <optional>

// What writing a captured domain would do to the domain the machine holds
// now. A write replaces the whole domain, so keys only the machine has are
// removed. Keys are those of the settings system's domain values; a key
// whose value differs in any way (type included) is changed.
struct DomainDiff {
    QStringList added;
    QStringList changed;
    QStringList removed;

    // Without current (no such domain) every incoming key is added.
    static DomainDiff between(const std::optional<SettingsSystem::DomainValues>& current,
                              const SettingsSystem::DomainValues& incoming);

    bool isEmpty() const { return added.isEmpty() && changed.isEmpty() && removed.isEmpty(); }
    QJsonObject json() const;
    // "+a +b ~c -d", or "no change"
    QString text() const;
};
