#pragma once

#include <QJsonObject>
#include <QString>
#include <QStringList>

class PlistValue;

// What writing a captured domain would do to the domain the machine holds
// now. A write replaces the whole domain, so keys only the machine has are
// removed. Only top-level keys are compared; a key whose value differs in
// any way (type included) is changed.
struct DomainDiff {
    QStringList added;
    QStringList changed;
    QStringList removed;

    // current may be invalid (no such domain): every incoming key is added.
    static DomainDiff between(const PlistValue& current, const PlistValue& incoming);

    bool isEmpty() const { return added.isEmpty() && changed.isEmpty() && removed.isEmpty(); }
    QJsonObject json() const;
    // "+a +b ~c -d", or "no change"
    QString text() const;
};
