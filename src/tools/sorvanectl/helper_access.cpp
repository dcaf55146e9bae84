#include "helper_access.h"

#include "platform/tool_locations.h"
#include "privileged/helper_protocol.h"
#include "privileged/link_to_helper_tool.h"
#include "workflows/system_services.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>

using namespace Qt::StringLiterals;

namespace {

const QString kProbeConnection = u"sorvanectl-helper-probe"_s;

QDBusConnection connectToHelperBus() {
    const QString address = LinkToHelperTool::busAddress();
    return address.isEmpty()
               ? QDBusConnection::connectToBus(QDBusConnection::SystemBus, kProbeConnection)
               : QDBusConnection::connectToBus(address, kProbeConnection);
}

QString versionProblem(const QDBusConnection& bus) {
    QDBusMessage query =
        QDBusMessage::createMethodCall(HelperProtocol::kLabel, HelperProtocol::kObjectPath,
                                       HelperProtocol::kInterface, HelperProtocol::kGetVersion);
    const QDBusMessage reply = bus.call(query, QDBus::Block, HelperAccess::kProbeTimeoutMs);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().size() != 3)
        return u"the helper did not answer (%1)"_s.arg(reply.errorMessage());
    const QList<QVariant> version = reply.arguments();
    const int major = version.at(0).toInt();
    const int minor = version.at(1).toInt();
    const int patch = version.at(2).toInt();
    if (major == HelperProtocol::kVersionMajor && minor == HelperProtocol::kVersionMinor &&
        patch == HelperProtocol::kVersionPatch)
        return QString();
    return u"the installed helper is version %1.%2.%3, this sorvanectl needs %4.%5.%6"_s.arg(major)
        .arg(minor)
        .arg(patch)
        .arg(HelperProtocol::kVersionMajor)
        .arg(HelperProtocol::kVersionMinor)
        .arg(HelperProtocol::kVersionPatch);
}

} // namespace

HelperAccess::HelperAccess()
    : problem_(probe()) {
    if (!problem_.isEmpty())
        return;
    link_ = std::make_unique<LinkToHelperTool>();
    // No installer: whatever happens, sorvanectl never installs the helper.
    link_->setInstallerCommand({});
    operations_ = std::make_unique<LinkHelperOperations>(link_.get());
}

HelperAccess::~HelperAccess() = default;

QString HelperAccess::probe() {
    QString problem;
    {
        const QDBusConnection bus = connectToHelperBus();
        QDBusConnectionInterface* daemon = bus.isConnected() ? bus.interface() : nullptr;
        if (!daemon) {
            problem = LinkToHelperTool::busAddress().isEmpty()
                          ? u"the system bus cannot be reached"_s
                          : u"the bus %1 cannot be reached"_s.arg(LinkToHelperTool::busAddress());
        } else if (!daemon->isServiceRegistered(HelperProtocol::kLabel).value() &&
                   !daemon->activatableServiceNames().value().contains(HelperProtocol::kLabel)) {
            problem = u"%1 is not installed on the bus"_s.arg(HelperProtocol::kLabel);
        } else {
            problem = versionProblem(bus);
        }
    }
    QDBusConnection::disconnectFromBus(kProbeConnection);
    return problem;
}

QString HelperAccess::installHint() {
    return u"install it as root with \"%1 --install\""_s.arg(ToolLocations::helperTool());
}

std::optional<QStringList> HelperAccess::readAllDefaultsDomains() {
    return link_ ? link_->readAllDefaultsDomains() : std::nullopt;
}

bool HelperAccess::deleteDefaultsDomain(const QString& domain) {
    return operations_ && operations_->deleteDefaultsDomain(domain);
}

bool HelperAccess::deleteFileAtUrl(const QUrl& file) {
    return operations_ && operations_->deleteFileAtUrl(file);
}

std::optional<QMap<QString, QString>> HelperAccess::checkPlistsAtUrl(const QUrl& folder) {
    return operations_ ? operations_->checkPlistsAtUrl(folder) : std::nullopt;
}

void HelperAccess::cancelPlutilChecks() {
    if (operations_)
        operations_->cancelPlutilChecks();
}

void HelperAccess::rebootComputer() {
    // Never from the command line: a restart is the administrator's call.
}
