#include "privileged/helper_tool_proxy.h"

#include "privileged/helper_protocol.h"

#include <QDBusArgument>
#include <QDBusMetaType>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDateTime>
#include <QObject>

using namespace Qt::StringLiterals;

namespace {

QString urlText(const QUrl& url) {
    return url.toString(QUrl::FullyEncoded);
}

SorvaneHelperProtocol::PlistResults resultsFrom(const QVariant& value) {
    SorvaneHelperProtocol::PlistResults results;
    if (value.canConvert<QDBusArgument>())
        value.value<QDBusArgument>() >> results;
    else
        results = qdbus_cast<SorvaneHelperProtocol::PlistResults>(value);
    return results;
}

} // namespace

HelperToolProxy::HelperToolProxy(std::optional<QDBusConnection> connection, QObject* context,
                                 ErrorHandler errorHandler)
    : connection_(std::move(connection))
    , context_(context)
    , errorHandler_(std::move(errorHandler)) {
    qDBusRegisterMetaType<PlistResults>();
}

void HelperToolProxy::send(const QString& method, const QList<QVariant>& arguments,
                           Handler handler) {
    if (!connection_ || !context_) {
        if (errorHandler_)
            errorHandler_(u"There is no connection to the helper tool."_s);
        return;
    }
    QDBusMessage message = QDBusMessage::createMethodCall(
        HelperProtocol::kLabel, HelperProtocol::kObjectPath, HelperProtocol::kInterface, method);
    message.setArguments(arguments);
    // The helper may ask polkit to prompt the user.
    message.setInteractiveAuthorizationAllowed(true);
    const QDBusConnection connection = *connection_;
    QObject* context = context_;
    const ErrorHandler onError = errorHandler_;
    QMetaObject::invokeMethod(
        context,
        [connection, message, context, onError, handler = std::move(handler)] {
            auto* watcher = new QDBusPendingCallWatcher(connection.asyncCall(message), context);
            QObject::connect(
                watcher, &QDBusPendingCallWatcher::finished, context,
                [onError, handler](QDBusPendingCallWatcher* finished) {
                    finished->deleteLater();
                    const QDBusMessage reply = finished->reply();
                    if (reply.type() == QDBusMessage::ReplyMessage) {
                        handler(reply.arguments(), QString());
                    } else if (reply.errorName().startsWith(HelperProtocol::kErrorPrefix)) {
                        handler({}, reply.errorMessage());
                    } else if (onError) {
                        onError(reply.errorMessage());
                    }
                });
        },
        Qt::QueuedConnection);
}

void HelperToolProxy::successCall(const QString& method, const QList<QVariant>& arguments,
                                  SuccessReply reply) {
    send(method, arguments, [reply](const QList<QVariant>& out, const QString& error) {
        if (out.size() >= 2)
            reply(out.at(0).toBool(), out.at(1).toString());
        else
            reply(false, error.isEmpty() ? u"The helper tool sent a malformed reply."_s : error);
    });
}

void HelperToolProxy::runScriptAndDontWait(const QUrl& script, SuccessReply reply) {
    successCall(HelperProtocol::kRunScriptAndDontWait, {urlText(script)}, std::move(reply));
}

void HelperToolProxy::getVersion(VersionReply reply) {
    send(HelperProtocol::kGetVersion, {},
         [reply, onError = errorHandler_](const QList<QVariant>& out, const QString& error) {
             if (out.size() >= 3)
                 reply(out.at(0).toInt(), out.at(1).toInt(), out.at(2).toInt());
             else if (onError)
                 onError(error);
         });
}

void HelperToolProxy::readAllDefaultDomains(DomainsReply reply) {
    send(HelperProtocol::kReadAllDefaultDomains, {},
         [reply](const QList<QVariant>& out, const QString& error) {
             if (out.size() >= 3 && out.at(0).toBool())
                 reply(out.at(1).toStringList(), out.at(2).toString());
             else
                 reply(std::nullopt, out.size() >= 3 ? out.at(2).toString() : error);
         });
}

void HelperToolProxy::deleteDefaultsDomain(const QString& domain, SuccessReply reply) {
    successCall(HelperProtocol::kDeleteDefaultsDomain, {domain}, std::move(reply));
}

void HelperToolProxy::deleteFileAtUrl(const QUrl& file, SuccessReply reply) {
    successCall(HelperProtocol::kDeleteFileAtUrl, {urlText(file)}, std::move(reply));
}

void HelperToolProxy::copyFileAtUrl(const QUrl& source, const QUrl& destination,
                                    SuccessReply reply) {
    successCall(HelperProtocol::kCopyFileAtUrl, {urlText(source), urlText(destination)},
                std::move(reply));
}

void HelperToolProxy::setFileAttributes(const QVariantMap& attributes, const QUrl& file,
                                        SuccessReply reply) {
    // D-Bus has no date type: a date travels as ISO 8601 text.
    QVariantMap wire;
    for (auto it = attributes.cbegin(); it != attributes.cend(); ++it) {
        const QVariant value = it.value().typeId() == QMetaType::QDateTime
                                   ? QVariant(it.value().toDateTime().toString(Qt::ISODateWithMs))
                                   : it.value();
        wire.insert(it.key(), value);
    }
    successCall(HelperProtocol::kSetFileAttributes, {QVariant::fromValue(wire), urlText(file)},
                std::move(reply));
}

void HelperToolProxy::checkPlistsAtUrl(const QUrl& folder, CheckReply reply) {
    send(HelperProtocol::kCheckPlistsAtUrl, {urlText(folder)},
         [reply](const QList<QVariant>& out, const QString& error) {
             if (out.size() < 4) {
                 reply(false, std::nullopt, error);
                 return;
             }
             std::optional<PlistResults> results;
             if (out.at(1).toBool())
                 results = resultsFrom(out.at(2));
             reply(out.at(0).toBool(), results, out.at(3).toString());
         });
}

void HelperToolProxy::cancelPlistCheck(EmptyReply reply) {
    send(HelperProtocol::kCancelPlistCheck, {},
         [reply](const QList<QVariant>&, const QString&) { reply(); });
}

void HelperToolProxy::rebootComputer(ErrorReply reply) {
    send(HelperProtocol::kRebootComputer, {},
         [reply](const QList<QVariant>& out, const QString& error) {
             reply(out.isEmpty() ? error : out.at(0).toString());
         });
}
