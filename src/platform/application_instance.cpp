#include "platform/application_instance.h"

#include "util/logging.h"

#include <QCryptographicHash>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDir>

using namespace Qt::StringLiterals;

const QString ApplicationInstance::kObjectPath = u"/com/brisvale/Sorvane"_s;

namespace {

constexpr int kSendTimeoutMs = 5000;

} // namespace

QString ApplicationInstance::serviceName() {
    const QString root = qEnvironmentVariable("SORVANE_SYSTEM_ROOT");
    if (root.isEmpty())
        return u"com.brisvale.Sorvane"_s;
    const QByteArray hash = QCryptographicHash::hash(root.toUtf8(), QCryptographicHash::Sha256);
    return u"com.brisvale.Sorvane.Root_"_s + QString::fromLatin1(hash.toHex().left(16));
}

ApplicationInstance::ApplicationInstance(QObject* parent)
    : QObject(parent) {}

bool ApplicationInstance::becomePrimary() {
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return true;
    const auto reply =
        bus.interface()->registerService(serviceName(), QDBusConnectionInterface::DontQueueService,
                                         QDBusConnectionInterface::DontAllowReplacement);
    if (!reply.isValid() || reply.value() != QDBusConnectionInterface::ServiceRegistered)
        return false;
    if (!bus.registerObject(kObjectPath, this, QDBusConnection::ExportScriptableSlots))
        sv::log(u"Failed to offer Sorvane on the session bus: %1"_s.arg(bus.lastError().message()));
    return true;
}

bool ApplicationInstance::sendToPrimary(const QList<QUrl>& files) {
    QStringList paths;
    for (const QUrl& file : files)
        paths.append(file.toLocalFile());
    QDBusMessage call = QDBusMessage::createMethodCall(
        serviceName(), kObjectPath, u"com.brisvale.Sorvane.Application"_s, u"OpenFiles"_s);
    call << paths;
    const QDBusMessage reply =
        QDBusConnection::sessionBus().call(call, QDBus::Block, kSendTimeoutMs);
    return reply.type() == QDBusMessage::ReplyMessage;
}

QList<QUrl> ApplicationInstance::filesFromArguments(const QStringList& arguments) {
    QList<QUrl> files;
    for (const QString& argument : arguments) {
        const QUrl url = argument.startsWith(u"file:"_s)
                             ? QUrl(argument)
                             : QUrl::fromLocalFile(QDir::current().absoluteFilePath(argument));
        if (url.isLocalFile())
            files.append(url);
    }
    return files;
}

void ApplicationInstance::OpenFiles(const QStringList& paths) {
    QList<QUrl> files;
    for (const QString& path : paths)
        files.append(QUrl::fromLocalFile(path));
    Q_EMIT filesOpened(files);
}
