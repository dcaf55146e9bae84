#pragma once

#include <QDBusConnection>
#include <QMap>
#include <QString>

#include <functional>

class QObject;

// Asks the polkit authority on the helper's own bus whether the sender of a
// call may perform an action. The answer comes back later on the context's
// thread, so that the helper stays responsive while a user answers a prompt.
// The details name the operation and its target, so that a prompt can say
// what it is for ($(path) in an action's message) and rules can tell
// targets apart.
class PolkitAuthority {
public:
    using Answer = std::function<void(bool authorized, const QString& reason)>;

    explicit PolkitAuthority(QDBusConnection bus);

    using Details = QMap<QString, QString>;

    void checkAuthorization(const QString& actionId, const Details& details,
                            const QString& senderBusName, bool allowInteraction, QObject* context,
                            Answer answer) const;

private:
    QDBusConnection bus_;
};
