#pragma once

#include "privileged/sorvane_helper_protocol.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QPointer>

#include <optional>

class QObject;

// The client end of the helper's D-Bus interface. Calls are sent from the
// link's own thread (the context object's), so that replies arrive there
// while the caller waits. The helper's own failures come back through the
// operation's reply; transport failures (no helper, no bus) reach only the
// error handler, and then the reply is never called.
class HelperToolProxy : public SorvaneHelperProtocol {
public:
    using ErrorHandler = std::function<void(const QString& description)>;

    HelperToolProxy(std::optional<QDBusConnection> connection, QObject* context,
                    ErrorHandler errorHandler);

    void runScriptAndDontWait(const QUrl& script, SuccessReply reply) override;
    void getVersion(VersionReply reply) override;
    void readAllDefaultDomains(DomainsReply reply) override;
    void deleteDefaultsDomain(const QString& domain, SuccessReply reply) override;
    void deleteFileAtUrl(const QUrl& file, SuccessReply reply) override;
    void copyFileAtUrl(const QUrl& source, const QUrl& destination, SuccessReply reply) override;
    void setFileAttributes(const QVariantMap& attributes, const QUrl& file,
                           SuccessReply reply) override;
    void checkPlistsAtUrl(const QUrl& folder, CheckReply reply) override;
    void cancelPlistCheck(EmptyReply reply) override;
    void rebootComputer(ErrorReply reply) override;

private:
    // Called with the reply's arguments, or with the helper's own error
    // (arguments empty, error set).
    using Handler = std::function<void(const QList<QVariant>& arguments, const QString& error)>;

    void send(const QString& method, const QList<QVariant>& arguments, Handler handler);
    void successCall(const QString& method, const QList<QVariant>& arguments, SuccessReply reply);

    std::optional<QDBusConnection> connection_;
    QPointer<QObject> context_;
    ErrorHandler errorHandler_;
};
