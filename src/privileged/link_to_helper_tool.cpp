#include "privileged/link_to_helper_tool.h"

#include "platform/tool_locations.h"
#include "privileged/helper_protocol.h"
#include "privileged/helper_tool_proxy.h"
#include "util/logging.h"

#include <QDBusServiceWatcher>
#include <QMutexLocker>
#include <QProcess>
#include <QSemaphore>

#include <atomic>

#include <unistd.h>

using namespace Qt::StringLiterals;

// What a caller and the reply to its call share. The caller marks the call
// abandoned once it stops waiting, after which a reply changes nothing.
template <typename T> struct LinkToHelperTool::PendingCall {
    QMutex mutex;
    QSemaphore semaphore;
    bool timedOut = true;
    bool abandoned = false;
    T result{};

    void finish(const T& value) {
        QMutexLocker lock(&mutex);
        if (abandoned)
            return;
        timedOut = false;
        result = value;
        semaphore.release();
    }
};

template <typename T>
T LinkToHelperTool::waitForReply(const std::shared_ptr<PendingCall<T>>& call, int timeoutMs) {
    call->semaphore.tryAcquire(1, timeoutMs);
    QMutexLocker lock(&call->mutex);
    call->abandoned = true;
    if (call->timedOut)
        sv::log(u"Helper tool operation timeout"_s);
    return call->result;
}

LinkToHelperTool* LinkToHelperTool::helperLink() {
    // Made on first use and kept for the whole process.
    static LinkToHelperTool* const shared = [] {
        auto* link = new LinkToHelperTool;
        link->checkInstalledHelperVersion();
        return link;
    }();
    return shared;
}

LinkToHelperTool::LinkToHelperTool()
    : installerCommand_(defaultInstallerCommand()) {
    thread_.setObjectName(u"LinkToHelperTool"_s);
    context_ = new QObject;
    context_->moveToThread(&thread_);
    QObject::connect(&thread_, &QThread::finished, context_, &QObject::deleteLater);
    thread_.start();
}

LinkToHelperTool::~LinkToHelperTool() {
    thread_.quit();
    thread_.wait();
    if (const auto connection = xpcConnection())
        QDBusConnection::disconnectFromBus(connection->name());
    if (!staleConnectionName_.isEmpty())
        QDBusConnection::disconnectFromBus(staleConnectionName_);
}

QString LinkToHelperTool::busAddress() {
    return qEnvironmentVariable("SORVANE_HELPER_BUS");
}

QStringList LinkToHelperTool::defaultInstallerCommand() {
    QStringList command{ToolLocations::helperTool(), u"--install"_s};
    if (!busAddress().isEmpty())
        command << u"--bus"_s << busAddress();
    // A private bus (the demo, an admin's test bed) has its own install folder.
    if (!qEnvironmentVariableIsEmpty("SORVANE_HELPER_PREFIX"))
        command << u"--prefix"_s << qEnvironmentVariable("SORVANE_HELPER_PREFIX");
    if (geteuid() != 0)
        command.prepend(ToolLocations::pkexecTool());
    return command;
}

void LinkToHelperTool::setInstallerCommand(const QStringList& command) {
    installerCommand_ = command;
}

void LinkToHelperTool::setTimeouts(int versionTimeoutMs, int operationTimeoutMs) {
    versionTimeoutMs_ = versionTimeoutMs;
    operationTimeoutMs_ = operationTimeoutMs;
}

std::optional<QDBusConnection> LinkToHelperTool::xpcConnection() const {
    QMutexLocker lock(&mutex_);
    return xpcConnection_;
}

void LinkToHelperTool::setXpcConnection(const std::optional<QDBusConnection>& connection) {
    QMutexLocker lock(&mutex_);
    xpcConnection_ = connection;
}

std::optional<QString> LinkToHelperTool::installedHelperToolVersion() const {
    QMutexLocker lock(&mutex_);
    return installedHelperToolVersion_;
}

void LinkToHelperTool::setInstalledHelperToolVersion(const std::optional<QString>& version) {
    QMutexLocker lock(&mutex_);
    installedHelperToolVersion_ = version;
}

void LinkToHelperTool::storeVersion(int major, int minor, int patch) {
    const QString version = u"%1.%2.%3"_s.arg(major).arg(minor).arg(patch);
    setInstalledHelperToolVersion(version);
    sv::log(u"Helper tool installed version = %1"_s.arg(version));
}

void LinkToHelperTool::checkInstalledHelperVersion() {
    bool mustInstall = true;
    if (setupXpcConnection()) {
        auto call = std::make_shared<PendingCall<bool>>();
        call->result = true;
        proxyHelper()->getVersion([this, call](int major, int minor, int patch) {
            storeVersion(major, minor, patch);
            call->finish(!(major == HelperProtocol::kVersionMajor &&
                           minor == HelperProtocol::kVersionMinor &&
                           patch == HelperProtocol::kVersionPatch));
        });
        mustInstall = waitForReply(call, versionTimeoutMs_);
    }
    if (!mustInstall)
        return;
    sv::log(u"Attempting to install current Helper Tool"_s);
    if (!installHelperTool()) {
        sv::log(u"Failed to install helper tool"_s);
        return;
    }
    if (setupXpcConnection())
        sv::log(u"Helper Tool installed and running"_s);
}

bool LinkToHelperTool::installHelperTool() {
    if (installerCommand_.isEmpty())
        return false;
    QProcess installer;
    installer.setProgram(installerCommand_.first());
    installer.setArguments(installerCommand_.mid(1));
    installer.setProcessChannelMode(QProcess::ForwardedOutputChannel);
    installer.start();
    // The user may take a while to answer the authorization prompt.
    if (!installer.waitForStarted(-1) || !installer.waitForFinished(-1)) {
        sv::log(u"Failed to create AuthorizationRef, return code %1 : %2"_s.arg(-1).arg(
            installer.errorString()));
        return false;
    }
    const QString complaint = QString::fromUtf8(installer.readAllStandardError()).trimmed();
    const int status = installer.exitStatus() == QProcess::NormalExit ? installer.exitCode() : -1;
    if (status == 0)
        return true;
    // pkexec answers 126 when the prompt was dismissed and 127 when the user
    // was not authorized.
    if (status == 126 || status == 127) {
        const QString message =
            !complaint.isEmpty()
                ? complaint
                : (status == 126 ? u"The authorization was cancelled."_s : u"Not authorized."_s);
        sv::log(
            u"Failed to create AuthorizationRef, return code %1 : %2"_s.arg(status).arg(message));
        return false;
    }
    sv::log(u"Error: %1\n\t%2\n\t%3"_s.arg(
        complaint.isEmpty() ? u"The helper tool installer failed."_s : complaint,
        u"The helper tool installer exited with status %1."_s.arg(status),
        u"Run \"sorvane-helper --install\" as root to install the helper tool."_s));
    return false;
}

bool LinkToHelperTool::setupXpcConnection() {
    if (xpcConnection())
        return true;
    if (QThread::currentThread() == &thread_)
        makeConnection();
    else
        QMetaObject::invokeMethod(
            context_, [this] { makeConnection(); }, Qt::BlockingQueuedConnection);
    return xpcConnection().has_value();
}

void LinkToHelperTool::makeConnection() {
    if (xpcConnection())
        return;
    static std::atomic<int> serial{0};
    const QString name = u"sorvane-helper-link-%1"_s.arg(++serial);
    const QString address = busAddress();
    QDBusConnection connection =
        address.isEmpty() ? QDBusConnection::connectToBus(QDBusConnection::SystemBus, name)
                          : QDBusConnection::connectToBus(address, name);
    if (!connection.isConnected()) {
        QDBusConnection::disconnectFromBus(name);
        sv::log(u"Unable to establish XPC comms with helper tool."_s);
        return;
    }
    sv::log(u"XPC comms to helper tool initialised"_s);
    // The helper leaving the bus invalidates the connection; the watcher is
    // deleted on its first notice so that the invalidation runs once.
    auto* watcher = new QDBusServiceWatcher(HelperProtocol::kLabel, connection,
                                            QDBusServiceWatcher::WatchForUnregistration, context_);
    QObject::connect(watcher, &QDBusServiceWatcher::serviceUnregistered, context_,
                     [this, watcher, name] {
                         watcher->deleteLater();
                         connectionInvalidated(name);
                     });
    setXpcConnection(connection);
}

void LinkToHelperTool::connectionInvalidated(const QString& connectionName) {
    const auto current = xpcConnection();
    if (!current || current->name() != connectionName)
        return;
    setXpcConnection(std::nullopt);
    // Closed one invalidation later, not now: a call sent just before the
    // helper was replaced still gets its answer through it.
    if (!staleConnectionName_.isEmpty())
        QDBusConnection::disconnectFromBus(staleConnectionName_);
    staleConnectionName_ = connectionName;
    sv::log(u"XPC connection invalidated"_s);
}

std::shared_ptr<SorvaneHelperProtocol> LinkToHelperTool::proxyHelper() {
    if (!xpcConnection())
        setupXpcConnection();
    return std::make_shared<HelperToolProxy>(xpcConnection(), context_, [](const QString& error) {
        sv::log(u"Proxy error: %1"_s.arg(error));
    });
}

std::shared_ptr<SorvaneHelperProtocol> LinkToHelperTool::helperTool() {
    return proxyHelper();
}

std::optional<QStringList> LinkToHelperTool::readAllDefaultsDomains() {
    auto call = std::make_shared<PendingCall<std::optional<QStringList>>>();
    proxyHelper()->readAllDefaultDomains(
        [call](const std::optional<QStringList>& domains, const QString& error) {
            if (!domains)
                sv::log(u"Error: %1"_s.arg(error));
            call->finish(domains);
        });
    return waitForReply(call, operationTimeoutMs_);
}

bool LinkToHelperTool::successCall(
    const std::function<void(SorvaneHelperProtocol&, SorvaneHelperProtocol::SuccessReply)>& send) {
    auto call = std::make_shared<PendingCall<bool>>();
    send(*proxyHelper(), [call](bool success, const QString& error) {
        if (!success)
            sv::log(u"Error: %1"_s.arg(error));
        call->finish(success);
    });
    return waitForReply(call, operationTimeoutMs_);
}

bool LinkToHelperTool::deleteDefaultsDomain(const QString& domain) {
    return successCall([&](SorvaneHelperProtocol& helper, auto reply) {
        helper.deleteDefaultsDomain(domain, std::move(reply));
    });
}

bool LinkToHelperTool::deleteFileAtUrl(const QUrl& file) {
    return successCall([&](SorvaneHelperProtocol& helper, auto reply) {
        helper.deleteFileAtUrl(file, std::move(reply));
    });
}

bool LinkToHelperTool::copyFileAtUrl(const QUrl& source, const QUrl& destination) {
    return successCall([&](SorvaneHelperProtocol& helper, auto reply) {
        helper.copyFileAtUrl(source, destination, std::move(reply));
    });
}

bool LinkToHelperTool::setFileAttributes(const QVariantMap& attributes, const QUrl& file) {
    return successCall([&](SorvaneHelperProtocol& helper, auto reply) {
        helper.setFileAttributes(attributes, file, std::move(reply));
    });
}

std::optional<SorvaneHelperProtocol::PlistResults>
LinkToHelperTool::checkPlistsAtUrl(const QUrl& folder) {
    using Results = std::optional<SorvaneHelperProtocol::PlistResults>;
    auto call = std::make_shared<PendingCall<Results>>();
    proxyHelper()->checkPlistsAtUrl(
        folder, [call](bool success, const Results& results, const QString& error) {
            if (success) {
                const qsizetype count = results ? results->size() : 0;
                sv::log(u"Checked %1 files"_s.arg(count));
                call->finish(results);
            } else {
                // A dictionary that comes with a failure is deliberately dropped.
                sv::log(u"Error: %1"_s.arg(error));
                call->finish(std::nullopt);
            }
        });
    return waitForReply(call, operationTimeoutMs_);
}

void LinkToHelperTool::cancelPlutilChecks() {
    proxyHelper()->cancelPlistCheck([] {});
}

void LinkToHelperTool::rebootComputer() {
    proxyHelper()->rebootComputer([](const QString& error) {
        if (!error.isEmpty())
            sv::log(u"Error rebooting computer: %1"_s.arg(error));
    });
}

void LinkToHelperTool::requestHelperToolVersion() {
    proxyHelper()->getVersion(
        [this](int major, int minor, int patch) { storeVersion(major, minor, patch); });
}
