#pragma once

#include "privileged/sorvane_helper_protocol.h"

#include <QDBusConnection>
#include <QMutex>
#include <QString>
#include <QStringList>
#include <QThread>
#include <QUrl>

#include <memory>
#include <optional>

class QObject;

// The application's whole client side of the privileged helper: it checks
// the installed helper's version (installing the bundled one on any
// mismatch), owns the D-Bus connection to it, and turns each asynchronous
// helper operation into a synchronous call with a time-out.
//
// The connection lives on the link's own thread, which runs an event loop, so
// replies arrive while a caller blocks on its semaphore. A reply that comes
// after the time-out changes nothing the caller sees.
class LinkToHelperTool {
public:
    static constexpr int kVersionTimeoutMs = 5000;
    static constexpr int kOperationTimeoutMs = 10000;

    // The shared link; the first call checks (and may install) the helper,
    // which can block for the version time-out plus the user's answer to the
    // authorization prompt.
    static LinkToHelperTool* helperLink();

    // A link of its own, without the version check (helperLink runs it).
    LinkToHelperTool();
    ~LinkToHelperTool();
    LinkToHelperTool(const LinkToHelperTool&) = delete;
    LinkToHelperTool& operator=(const LinkToHelperTool&) = delete;

    // The remote proxy, for the update framework's direct calls.
    std::shared_ptr<SorvaneHelperProtocol> helperTool();

    std::optional<QStringList> readAllDefaultsDomains();
    bool deleteDefaultsDomain(const QString& domain);
    bool deleteFileAtUrl(const QUrl& file);
    bool copyFileAtUrl(const QUrl& source, const QUrl& destination);
    bool setFileAttributes(const QVariantMap& attributes, const QUrl& file);
    std::optional<SorvaneHelperProtocol::PlistResults> checkPlistsAtUrl(const QUrl& folder);
    // These three return at once, without waiting for the helper.
    void cancelPlutilChecks();
    void rebootComputer();
    void requestHelperToolVersion();
    std::optional<QString> currentHelperToolVersion() const { return installedHelperToolVersion(); }

    void checkInstalledHelperVersion();
    bool installHelperTool();
    bool setupXpcConnection();
    std::shared_ptr<SorvaneHelperProtocol> proxyHelper();

    std::optional<QDBusConnection> xpcConnection() const;
    void setXpcConnection(const std::optional<QDBusConnection>& connection);
    std::optional<QString> installedHelperToolVersion() const;
    void setInstalledHelperToolVersion(const std::optional<QString>& version);

    // The bus: SORVANE_HELPER_BUS when set (a D-Bus address), else the system bus.
    static QString busAddress();
    // The command that installs the bundled helper: "sorvane-helper --install"
    // through pkexec, or directly when Sorvane already runs as root.
    static QStringList defaultInstallerCommand();
    void setInstallerCommand(const QStringList& command);
    // Tests shorten the waits; the constants above stay what they are.
    void setTimeouts(int versionTimeoutMs, int operationTimeoutMs);

private:
    template <typename T> struct PendingCall;
    template <typename T>
    T waitForReply(const std::shared_ptr<PendingCall<T>>& call, int timeoutMs);
    bool successCall(const std::function<void(SorvaneHelperProtocol&,
                                              SorvaneHelperProtocol::SuccessReply)>& send);
    void makeConnection();
    void connectionInvalidated(const QString& connectionName);
    void storeVersion(int major, int minor, int patch);

    // authRef and authorisation are kept for the update framework's sake and
    // used by no operation here.
    [[maybe_unused]] void* authRef_ = nullptr;
    [[maybe_unused]] QObject* authorisation_ = nullptr;

    QThread thread_;
    QObject* context_ = nullptr;  // lives on thread_
    QString staleConnectionName_; // used on thread_ only, until it has stopped
    mutable QMutex mutex_;
    std::optional<QDBusConnection> xpcConnection_;
    std::optional<QString> installedHelperToolVersion_;
    QStringList installerCommand_;
    int versionTimeoutMs_ = kVersionTimeoutMs;
    int operationTimeoutMs_ = kOperationTimeoutMs;
};
