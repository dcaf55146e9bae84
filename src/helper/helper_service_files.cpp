// The helper's file operations and domain deletion: checked, authorized,
// then run off the event thread.
#include "helper/helper_service.h"

#include "helper/helper_file_operations.h"
#include "helper/system_dconf_domain.h"
#include "platform/defaults_store.h"
#include "platform/library_folders.h"
#include "privileged/helper_protocol.h"

#include <QDBusArgument>
#include <QDBusVariant>

using namespace Qt::StringLiterals;
namespace P = HelperProtocol;

namespace {

// Which question polkit gets: acting on one's own Library is the mildest,
// another user's is asked separately, and the system's or root's keeps the
// plain action names.
QString actionFor(const QString& base, AllowedPlaces::Kind kind) {
    switch (kind) {
    case AllowedPlaces::Kind::CallerLibrary:
        return base + P::kOwnLibrarySuffix;
    case AllowedPlaces::Kind::OtherUserLibrary:
        return base + P::kOtherUserSuffix;
    case AllowedPlaces::Kind::SystemLibrary:
    case AllowedPlaces::Kind::RootLibrary:
        break;
    }
    return base;
}

// How much a kind of place asks of polkit: another user's Library needs an
// administrator every time, so it outranks the system's, which outranks the
// caller's own.
int weight(AllowedPlaces::Kind kind) {
    switch (kind) {
    case AllowedPlaces::Kind::CallerLibrary:
        return 0;
    case AllowedPlaces::Kind::SystemLibrary:
    case AllowedPlaces::Kind::RootLibrary:
        return 1;
    case AllowedPlaces::Kind::OtherUserLibrary:
        break;
    }
    return 2;
}

QVariantMap attributesFrom(const QVariant& value) {
    QVariantMap attributes;
    if (value.canConvert<QDBusArgument>())
        value.value<QDBusArgument>() >> attributes;
    else
        attributes = value.toMap();
    for (auto it = attributes.begin(); it != attributes.end(); ++it) {
        if (it.value().canConvert<QDBusVariant>())
            it.value() = it.value().value<QDBusVariant>().variant();
    }
    return attributes;
}

QList<QVariant> successReply(bool success, const QString& error) {
    return {success, success ? QString() : error};
}

} // namespace

void HelperService::deleteDefaultsDomain(const QDBusMessage& message) {
    const Caller caller = callerOf(message);
    const QString domain = message.arguments().at(0).toString();
    if (!AllowedPlaces::isPlainName(domain)) {
        refuse(message, caller, domain.toUtf8(), u"%1 is not a plain domain name."_s.arg(domain));
        return;
    }
    authorizeThen(message, caller, P::kActionDelete, domain.toUtf8(),
                  {{u"operation"_s, message.member()},
                   {u"domain"_s, domain},
                   {u"path"_s, u"the defaults domain "_s + domain}},
                  [this, caller, domain](const QDBusMessage& m) {
                      runOffEventThread(m, caller, [domain] {
                          QString error;
                          // The Linux desktop's system domains live in the
                          // dconf databases; anything else is one of root's
                          // defaults domains.
                          if (SystemDconfDomain::exists(domain))
                              return successReply(SystemDconfDomain::remove(domain, &error), error);
                          const DefaultsStore store(LibraryFolders::rootHomeFolder());
                          return successReply(store.deleteDomain(domain, &error), error);
                      });
                  });
}

void HelperService::deleteFileAtUrl(const QDBusMessage& message) {
    const Caller caller = callerOf(message);
    const auto target = targetOrRefuse(message, caller, message.arguments().at(0));
    if (!target)
        return;
    authorizeThen(message, caller, actionFor(P::kActionDelete, target->kind),
                  target->path().toUtf8(),
                  {{u"operation"_s, message.member()}, {u"path"_s, target->path()}},
                  [this, caller, target](const QDBusMessage& m) {
                      runOffEventThread(m, caller, [target] {
                          QString error;
                          const bool deleted = HelperFileOperations::deleteItem(*target, &error);
                          return successReply(deleted, error);
                      });
                  });
}

void HelperService::copyFileAtUrl(const QDBusMessage& message) {
    const Caller caller = callerOf(message);
    const auto source = targetOrRefuse(message, caller, message.arguments().at(0));
    if (!source)
        return;
    const auto destination = targetOrRefuse(message, caller, message.arguments().at(1));
    if (!destination)
        return;
    // The action follows the most privileged place the copy touches.
    const AllowedPlaces::Kind kind =
        weight(source->kind) >= weight(destination->kind) ? source->kind : destination->kind;
    authorizeThen(message, caller, actionFor(P::kActionCopy, kind),
                  source->path().toUtf8() + " -> " + destination->path().toUtf8(),
                  {{u"operation"_s, message.member()},
                   {u"source"_s, source->path()},
                   {u"path"_s, destination->path()}},
                  [this, caller, source, destination](const QDBusMessage& m) {
                      runOffEventThread(m, caller, [caller, source, destination] {
                          QString error;
                          const bool copied = HelperFileOperations::copyItem(
                              *source, *destination, caller.identity, &error);
                          return successReply(copied, error);
                      });
                  });
}

void HelperService::setFileAttributes(const QDBusMessage& message) {
    const Caller caller = callerOf(message);
    const auto target = targetOrRefuse(message, caller, message.arguments().at(1));
    if (!target)
        return;
    const QVariantMap attributes = attributesFrom(message.arguments().at(0));
    authorizeThen(message, caller, actionFor(P::kActionSetAttributes, target->kind),
                  target->path().toUtf8(),
                  {{u"operation"_s, message.member()}, {u"path"_s, target->path()}},
                  [this, caller, target, attributes](const QDBusMessage& m) {
                      runOffEventThread(m, caller, [caller, target, attributes] {
                          QString error;
                          const bool applied = HelperFileOperations::setAttributes(
                              attributes, *target, caller.identity, &error);
                          return successReply(applied, error);
                      });
                  });
}
