#include "helper/helper_main.h"

#include "helper/helper_installer.h"
#include "helper/settings_check_worker.h"
#include "privileged/helper_protocol.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusError>
#include <QFile>

#include <cstdio>

using namespace Qt::StringLiterals;

namespace {

// The bus to serve: the one that started us by activation, else the one
// named on the command line or by SORVANE_HELPER_BUS, else the system bus.
QDBusConnection connectToServedBus(const QString& requested) {
    const QString name = u"sorvane-helper"_s;
    if (requested.isEmpty() && !qEnvironmentVariableIsEmpty("DBUS_STARTER_ADDRESS"))
        return QDBusConnection::connectToBus(QDBusConnection::ActivationBus, name);
    QString address = requested;
    if (address.isEmpty())
        address = qEnvironmentVariable("SORVANE_HELPER_BUS");
    if (address.isEmpty())
        return QDBusConnection::connectToBus(QDBusConnection::SystemBus, name);
    return QDBusConnection::connectToBus(address, name);
}

// Whether this helper serves the system bus, as every installed helper does.
bool servesSystemBus(const QString& requested) {
    if (!requested.isEmpty())
        return false;
    if (!qEnvironmentVariableIsEmpty("DBUS_STARTER_ADDRESS"))
        return qEnvironmentVariable("DBUS_STARTER_BUS_TYPE") == u"system"_s;
    return qEnvironmentVariableIsEmpty("SORVANE_HELPER_BUS");
}

int serve(const QString& busAddress, HelperService::Version version) {
    QDBusConnection bus = connectToServedBus(busAddress);
    if (!bus.isConnected()) {
        std::fprintf(stderr, "sorvane-helper: cannot reach the bus: %s\n",
                     qPrintable(bus.lastError().message()));
        return 1;
    }
    HelperService service(bus, version);
    // Read once at start-up: a caller has no say in either. The sandbox homes
    // belong to tests and the demo, on buses of their own: the helper of the
    // system bus never takes them.
    if (!servesSystemBus(busAddress))
        service.setTestHomes(qEnvironmentVariable("SORVANE_HELPER_TEST_HOME"),
                             qEnvironmentVariable("SORVANE_HELPER_TEST_OTHER_HOME"));
    HelperAudit::setAuditFile(qEnvironmentVariable("SORVANE_HELPER_AUDIT_LOG"));
    if (!bus.registerVirtualObject(HelperProtocol::kObjectPath, &service) ||
        !bus.registerService(HelperProtocol::kLabel)) {
        std::fprintf(stderr, "sorvane-helper: cannot own %s: %s\n",
                     qPrintable(HelperProtocol::kLabel), qPrintable(bus.lastError().message()));
        return 1;
    }
    return QCoreApplication::exec();
}

} // namespace

int runHelper(int argc, char** argv, HelperService::Version version) {
    // A check worker is a plain child of the helper: no application object,
    // no bus, no options beyond its own.
    if (argc > 1 && QFile::decodeName(argv[1]) == SettingsCheckWorker::kOption) {
        QStringList arguments;
        for (int i = 2; i < argc; ++i)
            arguments.append(QFile::decodeName(argv[i]));
        return SettingsCheckWorker::main(arguments);
    }
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(u"sorvane-helper"_s);
    QCoreApplication::setApplicationVersion(
        u"%1.%2.%3"_s.arg(version.major).arg(version.minor).arg(version.patch));

    QCommandLineParser parser;
    parser.setApplicationDescription(u"Sorvane's privileged helper."_s);
    parser.addHelpOption();
    parser.addVersionOption();
    const QCommandLineOption install(u"install"_s, u"Install this helper into the system."_s);
    const QCommandLineOption prefix(u"prefix"_s, u"Install below DIR instead of /usr."_s, u"DIR"_s,
                                    u"/usr"_s);
    const QCommandLineOption bus(u"bus"_s, u"Use the bus at ADDRESS, not the system bus."_s,
                                 u"ADDRESS"_s);
    parser.addOptions({install, prefix, bus});
    parser.process(app);

    if (parser.isSet(install)) {
        const HelperInstaller installer(parser.value(prefix), parser.value(bus));
        return installer.install(QCoreApplication::applicationFilePath());
    }
    return serve(parser.value(bus), version);
}
