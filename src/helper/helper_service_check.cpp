// The helper's settings check: confined to the settings places, run in a
// worker process as the caller, one at a time for each caller.
#include "helper/helper_service.h"

#include "helper/settings_check_run.h"
#include "privileged/helper_protocol.h"

using namespace Qt::StringLiterals;
namespace P = HelperProtocol;

namespace {

// How long a check may run before it answers with what it has: under the
// application's 10 s so that the answer arrives in time.
constexpr int kCheckBudgetMs = 8000;

} // namespace

void HelperService::checkPlistsAtUrl(const QDBusMessage& message) {
    // The budget runs from the request's arrival: the caller's clock started
    // before polkit was asked.
    const QDeadlineTimer deadline(kCheckBudgetMs);
    const Caller caller = callerOf(message);
    const QVariant url = message.arguments().at(0);
    const std::optional<QByteArray> path = pathOf(url);
    QString error = u"There is no folder at %1."_s.arg(url.toString());
    std::optional<AllowedPlaces::Target> folder;
    if (!caller.known())
        error = u"The caller is not known to the bus."_s;
    else if (path)
        folder = places(caller).resolveFolder(*path, &error);
    if (!folder) {
        refuse(message, caller, auditTarget(url), error);
        return;
    }
    authorizeThen(message, caller, P::kActionCheckPlists, folder->path().toUtf8(),
                  {{u"operation"_s, message.member()}, {u"path"_s, folder->path()}},
                  [this, caller, folder, deadline](const QDBusMessage& m) {
                      startCheck(m, caller, *folder, deadline);
                  });
}

void HelperService::startCheck(const QDBusMessage& message, const Caller& caller,
                               const AllowedPlaces::Target& folder, QDeadlineTimer deadline) {
    const QString connection = message.service();
    const uid_t uid = caller.identity.uid;
    if (checks_.value(connection) || !checkLimits_.tryAcquire(uid)) {
        replyFailure(message, u"Another check is running; try again when it has finished."_s);
        return;
    }
    QPointer<HelperService> self(this);
    auto* run = new SettingsCheckRun(
        folder, caller.identity, deadline,
        [self, message, connection, uid](bool ok, const SettingsCheckRun::Results& results,
                                         const QString& error) {
            if (!self)
                return;
            self->checkLimits_.release(uid);
            self->checks_.remove(connection);
            if (ok)
                self->reply(message, {true, true, QVariant::fromValue(results), QString()});
            else
                self->replyFailure(message, error);
        },
        this);
    checks_.insert(connection, run);
    run->start();
}

void HelperService::cancelPlistCheck(const QDBusMessage& message) {
    // Only the connection that started a check can reach it.
    if (const QPointer<SettingsCheckRun> run = checks_.value(message.service()))
        run->cancel();
    reply(message, {});
}
