#include "helper/helper_service.h"

#include "helper/settings_check_run.h"
#include "helper/trusted_script.h"
#include "platform/defaults_store.h"
#include "platform/library_folders.h"
#include "platform/tool_locations.h"
#include "privileged/helper_protocol.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusMetaType>
#include <QProcess>
#include <QThread>
#include <QUrl>

#include <optional>

#include <pwd.h>

using namespace Qt::StringLiterals;
namespace P = HelperProtocol;

namespace {

// How long the reboot program may take to take the machine down before its
// failure is reported.
constexpr int kRebootWaitMs = 60000;

const QString kIntrospection = uR"(<interface name="com.brisvale.Sorvane.Helper">
  <method name="runScriptAndDontWait"><arg name="script" type="s" direction="in"/><arg name="success" type="b" direction="out"/><arg name="error" type="s" direction="out"/></method>
  <method name="getVersion"><arg name="major" type="i" direction="out"/><arg name="minor" type="i" direction="out"/><arg name="patch" type="i" direction="out"/></method>
  <method name="readAllDefaultDomains"><arg name="hasDomains" type="b" direction="out"/><arg name="domains" type="as" direction="out"/><arg name="error" type="s" direction="out"/></method>
  <method name="deleteDefaultsDomain"><arg name="domain" type="s" direction="in"/><arg name="success" type="b" direction="out"/><arg name="error" type="s" direction="out"/></method>
  <method name="deleteFileAtUrl"><arg name="file" type="s" direction="in"/><arg name="success" type="b" direction="out"/><arg name="error" type="s" direction="out"/></method>
  <method name="copyFileAtUrl"><arg name="source" type="s" direction="in"/><arg name="destination" type="s" direction="in"/><arg name="success" type="b" direction="out"/><arg name="error" type="s" direction="out"/></method>
  <method name="setFileAttributes"><arg name="attributes" type="a{sv}" direction="in"/><arg name="file" type="s" direction="in"/><arg name="success" type="b" direction="out"/><arg name="error" type="s" direction="out"/></method>
  <method name="checkPlistsAtUrl"><arg name="folder" type="s" direction="in"/><arg name="success" type="b" direction="out"/><arg name="hasResults" type="b" direction="out"/><arg name="results" type="a{ss}" direction="out"/><arg name="error" type="s" direction="out"/></method>
  <method name="cancelPlistCheck"/>
  <method name="rebootComputer"><arg name="error" type="s" direction="out"/></method>
</interface>
)"_s;

// Answers to malformed requests travel as D-Bus errors under this name.
const QString kBadArguments = P::kErrorPrefix + u"InvalidArguments"_s;

} // namespace

HelperService::HelperService(QDBusConnection bus, Version version, QObject* parent)
    : QDBusVirtualObject(parent)
    , bus_(bus)
    , version_(version)
    , authority_(bus) {
    qDBusRegisterMetaType<QMap<QString, QString>>();
}

HelperService::~HelperService() = default;

void HelperService::setTestHomes(const QString& home, const QString& otherHome) {
    testHome_ = home;
    otherTestHome_ = otherHome;
}

QString HelperService::introspect(const QString& path) const {
    return path == P::kObjectPath ? kIntrospection : QString();
}

std::optional<QByteArray> HelperService::pathOf(const QVariant& urlText) {
    const QUrl url(urlText.toString(), QUrl::StrictMode);
    if (!url.isValid() || !url.isLocalFile() || !url.host().isEmpty())
        return std::nullopt;
    return QByteArray::fromPercentEncoding(url.path(QUrl::FullyEncoded).toLatin1());
}

QByteArray HelperService::auditTarget(const QVariant& urlText) {
    return pathOf(urlText).value_or(urlText.toString().toUtf8());
}

bool HelperService::handleMessage(const QDBusMessage& message, const QDBusConnection&) {
    if (message.interface() != P::kInterface && !message.interface().isEmpty())
        return false;
    const QString member = message.member();
    const auto expect = [&](const char* wanted) { return expectSignature(message, wanted); };
    const auto bind = [this](void (HelperService::*operation)(const QDBusMessage&)) {
        return [this, operation](const QDBusMessage& m) { (this->*operation)(m); };
    };

    if (member == P::kGetVersion) {
        if (expect("")) {
            // Needs no authorization, but is a request like any other.
            HelperAudit::Entry entry = auditEntry(message, callerOf(message), {});
            entry.verdict = u"allowed"_s;
            HelperAudit::record(entry);
            reply(message, {version_.major, version_.minor, version_.patch});
        }
    } else if (member == P::kReadAllDefaultDomains) {
        if (expect(""))
            authorizeThen(message, callerOf(message), P::kActionReadDomains, {},
                          {{u"operation"_s, member}}, bind(&HelperService::readAllDefaultDomains));
    } else if (member == P::kDeleteDefaultsDomain) {
        if (expect("s"))
            deleteDefaultsDomain(message);
    } else if (member == P::kDeleteFileAtUrl) {
        if (expect("s"))
            deleteFileAtUrl(message);
    } else if (member == P::kCopyFileAtUrl) {
        if (expect("ss"))
            copyFileAtUrl(message);
    } else if (member == P::kSetFileAttributes) {
        if (expect("a{sv}s"))
            setFileAttributes(message);
    } else if (member == P::kCheckPlistsAtUrl) {
        if (expect("s"))
            checkPlistsAtUrl(message);
    } else if (member == P::kCancelPlistCheck) {
        // Reaches only the caller's own check, so it needs no authorization.
        if (expect("")) {
            HelperAudit::Entry entry = auditEntry(message, callerOf(message), {});
            entry.verdict = u"allowed"_s;
            HelperAudit::record(entry);
            cancelPlistCheck(message);
        }
    } else if (member == P::kRebootComputer) {
        if (expect(""))
            authorizeThen(message, callerOf(message), P::kActionReboot, {},
                          {{u"operation"_s, member}}, bind(&HelperService::rebootComputer));
    } else if (member == P::kRunScriptAndDontWait) {
        if (expect("s"))
            runScriptChecked(message);
    } else {
        // Not one of ours: the bus library answers that, but it is audited.
        HelperAudit::Entry entry = auditEntry(message, callerOf(message), {});
        entry.verdict = u"malformed"_s;
        HelperAudit::record(entry);
        return false;
    }
    return true;
}

bool HelperService::expectSignature(const QDBusMessage& message, const char* wanted) {
    if (message.signature() == QLatin1StringView(wanted))
        return true;
    HelperAudit::Entry entry =
        auditEntry(message, callerOf(message), u"(%1)"_s.arg(message.signature()).toUtf8());
    entry.verdict = u"malformed"_s;
    HelperAudit::record(entry);
    replyError(message, kBadArguments,
               u"%1 takes (%2)"_s.arg(message.member(), QLatin1StringView(wanted)));
    return false;
}

HelperService::Caller HelperService::callerOf(const QDBusMessage& message) const {
    Caller caller;
    caller.identity.uid = static_cast<uid_t>(-1);
    caller.identity.gid = static_cast<gid_t>(-1);
    QDBusMessage call =
        QDBusMessage::createMethodCall(u"org.freedesktop.DBus"_s, u"/org/freedesktop/DBus"_s,
                                       u"org.freedesktop.DBus"_s, u"GetConnectionCredentials"_s);
    call << message.service();
    const QDBusMessage answer = bus_.call(call);
    if (answer.type() != QDBusMessage::ReplyMessage || answer.arguments().isEmpty())
        return caller;
    const auto credentials = qdbus_cast<QVariantMap>(answer.arguments().first());
    bool known = false;
    const uint uid = credentials.value(u"UnixUserID"_s).toUInt(&known);
    if (!known)
        return caller;
    caller.identity.uid = uid;
    if (credentials.contains(u"ProcessID"_s))
        caller.pid = credentials.value(u"ProcessID"_s).toLongLong();
    const passwd* user = ::getpwuid(uid);
    const gid_t primary = user ? user->pw_gid : static_cast<gid_t>(-1);
    if (credentials.contains(u"UnixGroupIDs"_s)) {
        // The groups of the caller's process as the kernel knows them.
        const auto groups = qdbus_cast<QList<uint>>(credentials.value(u"UnixGroupIDs"_s));
        for (const uint group : groups)
            caller.identity.groups.append(group);
        caller.identity.gid = caller.identity.groups.contains(primary) || groups.isEmpty()
                                  ? primary
                                  : caller.identity.groups.first();
    } else {
        caller.identity = CallerIdentity::ofUser(uid);
    }
    return caller;
}

AllowedPlaces HelperService::places(const Caller& caller) const {
    return AllowedPlaces(caller.identity.uid, testHome_, otherTestHome_);
}

HelperAudit::Entry HelperService::auditEntry(const QDBusMessage& message, const Caller& caller,
                                             const QByteArray& target) {
    HelperAudit::Entry entry;
    entry.request = ++requests_;
    entry.caller = message.service();
    entry.uid = caller.identity.uid;
    entry.pid = caller.pid;
    entry.operation = message.member();
    entry.target = target;
    return entry;
}

void HelperService::refuse(const QDBusMessage& message, const Caller& caller,
                           const QByteArray& target, const QString& error) {
    HelperAudit::Entry entry = auditEntry(message, caller, target);
    entry.verdict = u"refused"_s;
    HelperAudit::record(entry);
    replyFailure(message, error);
}

std::optional<AllowedPlaces::Target> HelperService::targetOrRefuse(const QDBusMessage& message,
                                                                   const Caller& caller,
                                                                   const QVariant& url) {
    const std::optional<QByteArray> path = pathOf(url);
    QString error = u"Not a file URL."_s;
    std::optional<AllowedPlaces::Target> target;
    if (!caller.known())
        error = u"The caller is not known to the bus."_s;
    else if (path)
        target = places(caller).resolve(*path, &error);
    if (!target)
        refuse(message, caller, auditTarget(url), error);
    return target;
}

void HelperService::authorizeThen(const QDBusMessage& message, const Caller& caller,
                                  const QString& actionId, const QByteArray& target,
                                  const PolkitAuthority::Details& details, Operation operation) {
    QPointer<HelperService> self(this);
    HelperAudit::Entry entry = auditEntry(message, caller, target);
    entry.action = actionId;
    entry.verdict = u"asked"_s;
    HelperAudit::record(entry);
    authority_.checkAuthorization(
        actionId, details, message.service(), message.isInteractiveAuthorizationAllowed(), this,
        [self, message, operation, entry](bool authorized, const QString& reason) mutable {
            if (!self)
                return;
            entry.verdict = authorized ? u"allowed"_s : u"denied"_s;
            HelperAudit::record(entry);
            if (authorized)
                operation(message);
            else
                self->replyError(message, P::kNotAuthorizedError, reason);
        });
}

void HelperService::runOffEventThread(const QDBusMessage& message, const Caller& caller,
                                      Work work) {
    const uid_t uid = caller.identity.uid;
    if (!fileOperations_.tryAcquire(uid)) {
        replyFailure(message, u"Too many of your requests are running; try again when they "
                              u"have finished."_s);
        return;
    }
    QPointer<HelperService> self(this);
    QThread* job = QThread::create([self, message, uid, work] {
        const QList<QVariant> answer = work();
        QMetaObject::invokeMethod(self, [self, message, uid, answer] {
            if (!self)
                return;
            self->fileOperations_.release(uid);
            self->reply(message, answer);
        });
    });
    connect(job, &QThread::finished, job, &QObject::deleteLater);
    job->start();
}

void HelperService::reply(const QDBusMessage& message, const QList<QVariant>& arguments) {
    bus_.send(message.createReply(arguments));
}

void HelperService::replySuccess(const QDBusMessage& message, bool success, const QString& error) {
    reply(message, {success, success ? QString() : error});
}

void HelperService::replyFailure(const QDBusMessage& message, const QString& error) {
    if (message.member() == P::kCheckPlistsAtUrl)
        reply(message, {false, false, QVariant::fromValue(QMap<QString, QString>()), error});
    else
        replySuccess(message, false, error);
}

void HelperService::replyError(const QDBusMessage& message, const QString& name,
                               const QString& text) {
    bus_.send(message.createErrorReply(name, text));
}

void HelperService::readAllDefaultDomains(const QDBusMessage& message) {
    const DefaultsStore store(LibraryFolders::rootHomeFolder());
    reply(message, {true, store.domains(), QString()});
}

void HelperService::runScriptChecked(const QDBusMessage& message) {
    const Caller caller = callerOf(message);
    const std::optional<QByteArray> script = pathOf(message.arguments().at(0));
    QString error = u"Not a file URL."_s;
    if (!script || !TrustedScript::isTrusted(*script, &error)) {
        refuse(message, caller, auditTarget(message.arguments().at(0)), error);
        return;
    }
    authorizeThen(message, caller, P::kActionRunScript, *script,
                  {{u"operation"_s, message.member()}, {u"path"_s, QString::fromUtf8(*script)}},
                  [this](const QDBusMessage& m) { runScriptAndDontWait(m); });
}

void HelperService::rebootComputer(const QDBusMessage& message) {
    QPointer<HelperService> self(this);
    QThread* job = QThread::create([self, message] {
        QProcess reboot;
        reboot.start(ToolLocations::rebootTool(), {u"now"_s});
        QString error;
        if (!reboot.waitForStarted(-1))
            error = u"Cannot start %1: %2"_s.arg(ToolLocations::rebootTool(), reboot.errorString());
        else if (!reboot.waitForFinished(kRebootWaitMs))
            error = u"The restart did not happen in time."_s;
        else if (reboot.exitStatus() != QProcess::NormalExit || reboot.exitCode() != 0)
            error =
                u"%1 failed: %2"_s.arg(ToolLocations::rebootTool(),
                                       QString::fromUtf8(reboot.readAllStandardError()).trimmed());
        QMetaObject::invokeMethod(self, [self, message, error] {
            if (self)
                self->reply(message, {error});
        });
    });
    connect(job, &QThread::finished, job, &QObject::deleteLater);
    job->start();
}

void HelperService::runScriptAndDontWait(const QDBusMessage& message) {
    const QString script = QString::fromUtf8(pathOf(message.arguments().at(0)).value_or(""));
    const QStringList command =
        TrustedScript::launchCommand(script, TrustedScript::runningUnderSystemd());
    QProcess process;
    process.setProgram(command.first());
    process.setArguments(command.mid(1));
    // A clean environment: nothing of the helper's own start-up reaches it.
    QProcessEnvironment clean;
    clean.insert(u"PATH"_s, u"/usr/sbin:/usr/bin:/sbin:/bin"_s);
    clean.insert(u"LANG"_s, u"C.UTF-8"_s);
    process.setProcessEnvironment(clean);
    process.setWorkingDirectory(u"/"_s);
    const bool started = process.startDetached();
    replySuccess(message, started,
                 started ? QString() : u"Cannot start %1: %2"_s.arg(script, process.errorString()));
}
