#include "helper/polkit_authority.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusPendingCallWatcher>
#include <QDBusVariant>
#include <QMap>
#include <QObject>

using namespace Qt::StringLiterals;

namespace {

// polkit's Subject: a kind and its details, here the caller's unique bus name.
struct PolkitSubject {
    QString kind;
    QVariantMap details;
};

QDBusArgument& operator<<(QDBusArgument& argument, const PolkitSubject& subject) {
    argument.beginStructure();
    argument << subject.kind << subject.details;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, PolkitSubject& subject) {
    argument.beginStructure();
    argument >> subject.kind >> subject.details;
    argument.endStructure();
    return argument;
}

// CheckAuthorizationFlags: AllowUserInteraction.
constexpr uint kAllowUserInteraction = 1;

} // namespace

Q_DECLARE_METATYPE(PolkitSubject)

PolkitAuthority::PolkitAuthority(QDBusConnection bus)
    : bus_(std::move(bus)) {
    qDBusRegisterMetaType<PolkitSubject>();
    qDBusRegisterMetaType<QMap<QString, QString>>();
}

void PolkitAuthority::checkAuthorization(const QString& actionId, const Details& details,
                                         const QString& senderBusName, bool allowInteraction,
                                         QObject* context, Answer answer) const {
    QDBusMessage call = QDBusMessage::createMethodCall(
        u"org.freedesktop.PolicyKit1"_s, u"/org/freedesktop/PolicyKit1/Authority"_s,
        u"org.freedesktop.PolicyKit1.Authority"_s, u"CheckAuthorization"_s);
    const PolkitSubject subject{u"system-bus-name"_s,
                                {{u"name"_s, QVariant::fromValue(senderBusName)}}};
    call << QVariant::fromValue(subject) << actionId << QVariant::fromValue(details)
         << QVariant::fromValue(allowInteraction ? kAllowUserInteraction : 0u) << QString();
    // A user answering a prompt may take long; D-Bus's own limit would cut
    // them off.
    constexpr int kNoTimeout = 0x7fffffff;
    auto* watcher = new QDBusPendingCallWatcher(bus_.asyncCall(call, kNoTimeout), context);
    QObject::connect(
        watcher, &QDBusPendingCallWatcher::finished, context,
        [answer](QDBusPendingCallWatcher* finished) {
            finished->deleteLater();
            const QDBusMessage reply = finished->reply();
            if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
                answer(false, u"The authority could not be asked: %1"_s.arg(reply.errorMessage()));
                return;
            }
            const auto result = reply.arguments().first().value<QDBusArgument>();
            bool authorized = false;
            bool challenge = false;
            QMap<QString, QString> resultDetails;
            result.beginStructure();
            result >> authorized >> challenge >> resultDetails;
            result.endStructure();
            answer(authorized, authorized ? QString() : u"Not authorized."_s);
        });
}
