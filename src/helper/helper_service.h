#pragma once

#include "helper/polkit_authority.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QDeadlineTimer>

#include <atomic>
#include <functional>
#include <memory>

// The privileged helper's D-Bus object: answers every operation of the
// helper protocol with root's rights. Every operation except the version
// query is first put to polkit for the caller's bus name; a refusal is an
// error reply and changes nothing.
class HelperService : public QDBusVirtualObject {
    Q_OBJECT
public:
    struct Version {
        int major;
        int minor;
        int patch;
    };

    HelperService(QDBusConnection bus, Version version, QObject* parent = nullptr);
    ~HelperService() override;

    QString introspect(const QString& path) const override;
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

private:
    using Operation = std::function<void(const QDBusMessage& message)>;

    void authorizeThen(const QDBusMessage& message, const QString& actionId, Operation operation);
    void reply(const QDBusMessage& message, const QList<QVariant>& arguments);
    void replySuccess(const QDBusMessage& message, bool success, const QString& error);
    void replyError(const QDBusMessage& message, const QString& name, const QString& text);

    void readAllDefaultDomains(const QDBusMessage& message);
    void deleteDefaultsDomain(const QDBusMessage& message);
    void deleteFileAtUrl(const QDBusMessage& message);
    void copyFileAtUrl(const QDBusMessage& message);
    void setFileAttributes(const QDBusMessage& message);
    void checkPlistsAtUrl(const QDBusMessage& message, QDeadlineTimer deadline);
    void cancelPlistCheck(const QDBusMessage& message);
    void rebootComputer(const QDBusMessage& message);
    void runScriptAndDontWait(const QDBusMessage& message);

    QDBusConnection bus_;
    Version version_;
    PolkitAuthority authority_;
    // Shared with running checks, which may outlive a cancel request.
    std::shared_ptr<std::atomic<bool>> checkCancelled_;
};
