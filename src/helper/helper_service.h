#pragma once

#include "helper/allowed_places.h"
#include "helper/caller_identity.h"
#include "helper/helper_audit.h"
#include "helper/polkit_authority.h"
#include "helper/request_limits.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QDeadlineTimer>
#include <QHash>
#include <QPointer>

#include <functional>
#include <optional>

class SettingsCheckRun;

// The privileged helper's D-Bus object: answers every operation of the
// helper protocol with root's rights. Every operation except the version
// query is first checked (paths against AllowedPlaces, the caller's identity
// taken from the bus) and then put to polkit for the caller's bus name, with
// an action that follows the most privileged place the request touches and
// details naming the operation and its target; a refusal changes nothing.
// Work that may take long (file operations, domain deletion) runs on a
// thread of its own and checks in a worker process, each within limits per
// caller and overall, so that the event thread always answers at once.
// Every request leaves an audit trail.
class HelperService : public QDBusVirtualObject {
    Q_OBJECT
public:
    struct Version {
        int major;
        int minor;
        int patch;
    };

    // File operations at once, per caller and in all.
    static constexpr int kFileOperationsPerCaller = 4;
    static constexpr int kFileOperations = 16;
    // Settings checks at once, per caller and in all: each is a process
    // that may take SettingsCheckRun::kMemoryBound.
    static constexpr int kChecksPerCaller = 1;
    static constexpr int kChecks = 2;

    HelperService(QDBusConnection bus, Version version, QObject* parent = nullptr);
    ~HelperService() override;

    // Homes that count as the caller's and as their owner's besides the user
    // database's; named by whoever starts the helper (tests), never by a
    // caller.
    void setTestHomes(const QString& home, const QString& otherHome);

    QString introspect(const QString& path) const override;
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override;

private:
    using Operation = std::function<void(const QDBusMessage& message)>;
    using Work = std::function<QList<QVariant>()>;

    struct Caller {
        CallerIdentity identity;
        qint64 pid = -1;
        bool known() const { return identity.uid != static_cast<uid_t>(-1); }
    };
    // A file URL's local path as the bytes the file system sees, or nothing
    // when the text is not a local file URL.
    static std::optional<QByteArray> pathOf(const QVariant& urlText);
    static QByteArray auditTarget(const QVariant& urlText);
    Caller callerOf(const QDBusMessage& message) const;
    AllowedPlaces places(const Caller& caller) const;
    HelperAudit::Entry auditEntry(const QDBusMessage& message, const Caller& caller,
                                  const QByteArray& target);
    bool expectSignature(const QDBusMessage& message, const char* wanted);
    // Resolves a file URL argument to an allowed target, or refuses the
    // request (audited, answered) and returns nothing.
    std::optional<AllowedPlaces::Target> targetOrRefuse(const QDBusMessage& message,
                                                        const Caller& caller, const QVariant& url);
    void refuse(const QDBusMessage& message, const Caller& caller, const QByteArray& target,
                const QString& error);
    void authorizeThen(const QDBusMessage& message, const Caller& caller, const QString& actionId,
                       const QByteArray& target, const PolkitAuthority::Details& details,
                       Operation operation);
    // Runs work on a thread of its own and answers with what it returns;
    // refuses when the caller already runs as many as it may.
    void runOffEventThread(const QDBusMessage& message, const Caller& caller, Work work);
    void reply(const QDBusMessage& message, const QList<QVariant>& arguments);
    void replySuccess(const QDBusMessage& message, bool success, const QString& error);
    void replyFailure(const QDBusMessage& message, const QString& error);
    void replyError(const QDBusMessage& message, const QString& name, const QString& text);

    void readAllDefaultDomains(const QDBusMessage& message);
    void deleteDefaultsDomain(const QDBusMessage& message);
    void deleteFileAtUrl(const QDBusMessage& message);
    void copyFileAtUrl(const QDBusMessage& message);
    void setFileAttributes(const QDBusMessage& message);
    void runScriptChecked(const QDBusMessage& message);
    void checkPlistsAtUrl(const QDBusMessage& message);
    void startCheck(const QDBusMessage& message, const Caller& caller,
                    const AllowedPlaces::Target& folder, QDeadlineTimer deadline);
    void cancelPlistCheck(const QDBusMessage& message);
    void rebootComputer(const QDBusMessage& message);
    void runScriptAndDontWait(const QDBusMessage& message);

    QDBusConnection bus_;
    Version version_;
    PolkitAuthority authority_;
    quint64 requests_ = 0;
    RequestLimits fileOperations_{kFileOperationsPerCaller, kFileOperations};
    RequestLimits checkLimits_{kChecksPerCaller, kChecks};
    // The running check of each caller's connection: a cancel reaches only
    // the check its own connection started.
    QHash<QString, QPointer<SettingsCheckRun>> checks_;
    QString testHome_;
    QString otherTestHome_;
};
