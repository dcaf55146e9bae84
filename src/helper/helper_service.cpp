#include "helper/helper_service.h"

#include "helper/helper_file_operations.h"
#include "helper/plist_check_job.h"
#include "helper/system_dconf_domain.h"
#include "helper/trusted_script.h"
#include "platform/defaults_store.h"
#include "platform/library_folders.h"
#include "platform/tool_locations.h"
#include "privileged/helper_protocol.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusMetaType>
#include <QDBusReply>
#include <QFileInfo>
#include <QPointer>
#include <QProcess>
#include <QThread>
#include <QUrl>

#include <optional>

#include <pwd.h>

using namespace Qt::StringLiterals;
namespace P = HelperProtocol;

namespace {

// How long a property-list check may run before it answers with what it has:
// under the application's 10 s so that the answer arrives in time.
constexpr int kCheckBudgetMs = 8000;
// How long the reboot program may take to take the machine down before its
// failure is reported.
constexpr int kRebootWaitMs = 60000;

const QString kBadArguments = P::kErrorPrefix + u"InvalidArguments"_s;

// A file URL's local path as the bytes the file system sees, or nothing when
// the text is not a local file URL.
std::optional<QByteArray> pathBytes(const QVariant& urlText) {
    const QUrl url(urlText.toString(), QUrl::StrictMode);
    if (!url.isValid() || !url.isLocalFile() || !url.host().isEmpty())
        return std::nullopt;
    return QByteArray::fromPercentEncoding(url.path(QUrl::FullyEncoded).toLatin1());
}

QByteArray auditTarget(const QVariant& urlText) {
    return pathBytes(urlText).value_or(urlText.toString().toUtf8());
}

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

int weight(AllowedPlaces::Kind kind) {
    switch (kind) {
    case AllowedPlaces::Kind::CallerLibrary:
        return 0;
    case AllowedPlaces::Kind::OtherUserLibrary:
        return 1;
    case AllowedPlaces::Kind::SystemLibrary:
    case AllowedPlaces::Kind::RootLibrary:
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

} // namespace

HelperService::HelperService(QDBusConnection bus, Version version, QObject* parent)
    : QDBusVirtualObject(parent)
    , bus_(bus)
    , version_(version)
    , authority_(bus)
    , checkCancelled_(std::make_shared<std::atomic<bool>>(false)) {
    qDBusRegisterMetaType<QMap<QString, QString>>();
}

HelperService::~HelperService() = default;

QString HelperService::introspect(const QString& path) const {
    return path == P::kObjectPath ? kIntrospection : QString();
}

bool HelperService::handleMessage(const QDBusMessage& message, const QDBusConnection&) {
    if (message.interface() != P::kInterface && !message.interface().isEmpty())
        return false;
    const QString member = message.member();
    const QString signature = message.signature();
    const auto expect = [&](const char* wanted) {
        if (signature == QLatin1StringView(wanted))
            return true;
        replyError(message, kBadArguments,
                   u"%1 takes (%2)"_s.arg(member, QLatin1StringView(wanted)));
        return false;
    };
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
            authorizeThen(message, P::kActionReadDomains,
                          bind(&HelperService::readAllDefaultDomains));
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
        // The budget runs from the request's arrival: the caller's clock
        // started before polkit was asked.
        const QDeadlineTimer deadline(kCheckBudgetMs);
        if (expect("s"))
            authorizeThen(
                message, P::kActionCheckPlists,
                [this, deadline](const QDBusMessage& m) { checkPlistsAtUrl(m, deadline); },
                auditTarget(message.arguments().at(0)));
    } else if (member == P::kCancelPlistCheck) {
        if (expect(""))
            authorizeThen(message, P::kActionCheckPlists, bind(&HelperService::cancelPlistCheck));
    } else if (member == P::kRebootComputer) {
        if (expect(""))
            authorizeThen(message, P::kActionReboot, bind(&HelperService::rebootComputer));
    } else if (member == P::kRunScriptAndDontWait) {
        if (expect("s"))
            runScriptChecked(message);
    } else {
        return false;
    }
    return true;
}

HelperService::Caller HelperService::callerOf(const QDBusMessage& message) const {
    Caller caller;
    const QDBusConnectionInterface* daemon = bus_.interface();
    if (!daemon)
        return caller;
    const QDBusReply<uint> uid = daemon->serviceUid(message.service());
    const QDBusReply<uint> pid = daemon->servicePid(message.service());
    if (uid.isValid()) {
        caller.uid = uid.value();
        const passwd* user = ::getpwuid(caller.uid);
        caller.gid = user ? user->pw_gid : static_cast<gid_t>(-1);
    }
    if (pid.isValid())
        caller.pid = pid.value();
    return caller;
}

HelperAudit::Entry HelperService::auditEntry(const QDBusMessage& message, const Caller& caller,
                                             const QByteArray& target) const {
    HelperAudit::Entry entry;
    entry.caller = message.service();
    entry.uid = caller.uid;
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
    replySuccess(message, false, error);
}

std::optional<AllowedPlaces::Target> HelperService::targetOrRefuse(const QDBusMessage& message,
                                                                   const Caller& caller,
                                                                   const QVariant& url) {
    const std::optional<QByteArray> path = pathBytes(url);
    QString error = u"Not a file URL."_s;
    std::optional<AllowedPlaces::Target> target;
    if (caller.uid == static_cast<uid_t>(-1))
        error = u"The caller is not known to the bus."_s;
    else if (path)
        target = AllowedPlaces(caller.uid, testHome_).resolve(*path, &error);
    if (!target)
        refuse(message, caller, auditTarget(url), error);
    return target;
}

void HelperService::authorizeThen(const QDBusMessage& message, const QString& actionId,
                                  Operation operation, const QByteArray& target) {
    QPointer<HelperService> self(this);
    HelperAudit::Entry entry = auditEntry(message, callerOf(message), target);
    entry.action = actionId;
    authority_.checkAuthorization(
        actionId, message.service(), message.isInteractiveAuthorizationAllowed(), this,
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

void HelperService::reply(const QDBusMessage& message, const QList<QVariant>& arguments) {
    bus_.send(message.createReply(arguments));
}

void HelperService::replySuccess(const QDBusMessage& message, bool success, const QString& error) {
    reply(message, {success, success ? QString() : error});
}

void HelperService::replyError(const QDBusMessage& message, const QString& name,
                               const QString& text) {
    bus_.send(message.createErrorReply(name, text));
}

void HelperService::readAllDefaultDomains(const QDBusMessage& message) {
    const DefaultsStore store(LibraryFolders::rootHomeFolder());
    reply(message, {true, store.domains(), QString()});
}

void HelperService::deleteDefaultsDomain(const QDBusMessage& message) {
    const QString domain = message.arguments().at(0).toString();
    if (!AllowedPlaces::isPlainName(domain)) {
        refuse(message, callerOf(message), domain.toUtf8(),
               u"%1 is not a plain domain name."_s.arg(domain));
        return;
    }
    authorizeThen(
        message, P::kActionDelete,
        [this, domain](const QDBusMessage& m) {
            QString error;
            // The Linux desktop's system domains live in the dconf databases;
            // anything else is one of root's defaults domains.
            if (SystemDconfDomain::exists(domain)) {
                const bool removed = SystemDconfDomain::remove(domain, &error);
                replySuccess(m, removed, error);
                return;
            }
            const DefaultsStore store(LibraryFolders::rootHomeFolder());
            const bool deleted = store.deleteDomain(domain, &error);
            replySuccess(m, deleted, error);
        },
        domain.toUtf8());
}

void HelperService::deleteFileAtUrl(const QDBusMessage& message) {
    const Caller caller = callerOf(message);
    const auto target = targetOrRefuse(message, caller, message.arguments().at(0));
    if (!target)
        return;
    authorizeThen(
        message, actionFor(P::kActionDelete, target->kind),
        [this, target](const QDBusMessage& m) {
            QString error;
            const bool deleted = HelperFileOperations::deleteItem(*target, &error);
            replySuccess(m, deleted, error);
        },
        target->path().toUtf8());
}

void HelperService::copyFileAtUrl(const QDBusMessage& message) {
    const Caller caller = callerOf(message);
    const auto source = targetOrRefuse(message, caller, message.arguments().at(0));
    if (!source)
        return;
    const auto destination = targetOrRefuse(message, caller, message.arguments().at(1));
    if (!destination)
        return;
    const AllowedPlaces::Kind kind =
        weight(source->kind) >= weight(destination->kind) ? source->kind : destination->kind;
    const HelperFileOperations::Caller who{caller.uid, caller.gid};
    authorizeThen(
        message, actionFor(P::kActionCopy, kind),
        [this, source, destination, who](const QDBusMessage& m) {
            QString error;
            const bool copied = HelperFileOperations::copyItem(*source, *destination, who, &error);
            replySuccess(m, copied, error);
        },
        source->path().toUtf8() + " -> " + destination->path().toUtf8());
}

void HelperService::setFileAttributes(const QDBusMessage& message) {
    const Caller caller = callerOf(message);
    const auto target = targetOrRefuse(message, caller, message.arguments().at(1));
    if (!target)
        return;
    const QVariantMap attributes = attributesFrom(message.arguments().at(0));
    const HelperFileOperations::Caller who{caller.uid, caller.gid};
    authorizeThen(
        message, actionFor(P::kActionSetAttributes, target->kind),
        [this, target, attributes, who](const QDBusMessage& m) {
            QString error;
            const bool applied =
                HelperFileOperations::setAttributes(attributes, *target, who, &error);
            replySuccess(m, applied, error);
        },
        target->path().toUtf8());
}

void HelperService::runScriptChecked(const QDBusMessage& message) {
    const std::optional<QByteArray> script = pathBytes(message.arguments().at(0));
    QString error = u"Not a file URL."_s;
    if (!script || !TrustedScript::isTrusted(*script, &error)) {
        refuse(message, callerOf(message), auditTarget(message.arguments().at(0)), error);
        return;
    }
    authorizeThen(
        message, P::kActionRunScript, [this](const QDBusMessage& m) { runScriptAndDontWait(m); },
        *script);
}

void HelperService::checkPlistsAtUrl(const QDBusMessage& message, QDeadlineTimer deadline) {
    const std::optional<QByteArray> path = pathBytes(message.arguments().at(0));
    const QString folder =
        path && AllowedPlaces::isValidPath(*path, nullptr) ? QString::fromUtf8(*path) : QString();
    if (folder.isEmpty() || !QFileInfo(folder).isDir()) {
        reply(message, {false, false, QVariant::fromValue(QMap<QString, QString>()),
                        u"There is no folder at %1."_s.arg(message.arguments().at(0).toString())});
        return;
    }
    // A new check starts uncancelled; a cancel reaches every check running.
    checkCancelled_->store(false);
    checkOwner_ = message.service();
    const auto cancelled = checkCancelled_;
    QPointer<HelperService> self(this);
    QThread* job = QThread::create([self, message, folder, cancelled, deadline] {
        const PlistCheckJob::Results results = PlistCheckJob::run(folder, *cancelled, deadline);
        QMetaObject::invokeMethod(self, [self, message, results] {
            if (self)
                self->reply(message, {true, true, QVariant::fromValue(results), QString()});
        });
    });
    connect(job, &QThread::finished, job, &QObject::deleteLater);
    job->start();
}

void HelperService::cancelPlistCheck(const QDBusMessage& message) {
    if (message.service() == checkOwner_)
        checkCancelled_->store(true);
    reply(message, {});
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
    const QString script = QString::fromUtf8(pathBytes(message.arguments().at(0)).value_or(""));
    QProcess process;
    process.setProgram(script);
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
