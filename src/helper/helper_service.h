#pragma once

#include "helper/allowed_places.h"
#include "helper/helper_audit.h"
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
// query is first checked (paths against AllowedPlaces, the caller's identity
// taken from the bus) and then put to polkit for the caller's bus name, with
// an action that depends on whose files are touched; a refusal changes
// nothing. Every request leaves one audit line.
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

    // A home that counts as the caller's besides the user database's; named
    // by whoever starts the helper (tests), never by a caller.
    void setTestHome(const QString& home) { testHome_ = home; }

    QString introspect(const QString& path) const override;
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

private:
    using Operation = std::function<void(const QDBusMessage& message)>;

    struct Caller {
        uid_t uid = static_cast<uid_t>(-1);
        gid_t gid = static_cast<gid_t>(-1);
        qint64 pid = -1;
    };
    Caller callerOf(const QDBusMessage& message) const;
    HelperAudit::Entry auditEntry(const QDBusMessage& message, const Caller& caller,
                                  const QByteArray& target) const;
    // Resolves a file URL argument to an allowed target, or refuses the
    // request (audited, answered) and returns nothing.
    std::optional<AllowedPlaces::Target> targetOrRefuse(const QDBusMessage& message,
                                                        const Caller& caller, const QVariant& url);
    void refuse(const QDBusMessage& message, const Caller& caller, const QByteArray& target,
                const QString& error);
    void authorizeThen(const QDBusMessage& message, const QString& actionId, Operation operation,
                       const QByteArray& target = {});
    void reply(const QDBusMessage& message, const QList<QVariant>& arguments);
    void replySuccess(const QDBusMessage& message, bool success, const QString& error);
    void replyError(const QDBusMessage& message, const QString& name, const QString& text);

    void readAllDefaultDomains(const QDBusMessage& message);
    void deleteDefaultsDomain(const QDBusMessage& message);
    void deleteFileAtUrl(const QDBusMessage& message);
    void copyFileAtUrl(const QDBusMessage& message);
    void setFileAttributes(const QDBusMessage& message);
    void runScriptChecked(const QDBusMessage& message);
    void checkPlistsAtUrl(const QDBusMessage& message, QDeadlineTimer deadline);
    void cancelPlistCheck(const QDBusMessage& message);
    void rebootComputer(const QDBusMessage& message);
    void runScriptAndDontWait(const QDBusMessage& message);

    QDBusConnection bus_;
    Version version_;
    PolkitAuthority authority_;
    // Shared with running checks, which may outlive a cancel request.
    std::shared_ptr<std::atomic<bool>> checkCancelled_;
    // Only the caller that started the running check may cancel it.
    QString checkOwner_;
    QString testHome_;
};
