#include "helper/helper_service.h"

#include "helper/helper_file_operations.h"
#include "helper/plist_check_job.h"
#include "platform/defaults_store.h"
#include "platform/library_folders.h"
#include "platform/tool_locations.h"
#include "privileged/helper_protocol.h"

#include <QDBusArgument>
#include <QDBusMetaType>
#include <QFileInfo>
#include <QPointer>
#include <QProcess>
#include <QThread>
#include <QUrl>

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

// A file URL's local path, or empty when the text is not a file URL.
QString localPath(const QVariant& urlText) {
    const QUrl url(urlText.toString(), QUrl::StrictMode);
    return url.isValid() && url.isLocalFile() ? url.toLocalFile() : QString();
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
        if (expect(""))
            reply(message, {version_.major, version_.minor, version_.patch});
    } else if (member == P::kReadAllDefaultDomains) {
        if (expect(""))
            authorizeThen(message, P::kActionReadDomains,
                          bind(&HelperService::readAllDefaultDomains));
    } else if (member == P::kDeleteDefaultsDomain) {
        if (expect("s"))
            authorizeThen(message, P::kActionDelete, bind(&HelperService::deleteDefaultsDomain));
    } else if (member == P::kDeleteFileAtUrl) {
        if (expect("s"))
            authorizeThen(message, P::kActionDelete, bind(&HelperService::deleteFileAtUrl));
    } else if (member == P::kCopyFileAtUrl) {
        if (expect("ss"))
            authorizeThen(message, P::kActionCopy, bind(&HelperService::copyFileAtUrl));
    } else if (member == P::kSetFileAttributes) {
        if (expect("a{sv}s"))
            authorizeThen(message, P::kActionSetAttributes,
                          bind(&HelperService::setFileAttributes));
    } else if (member == P::kCheckPlistsAtUrl) {
        // The budget runs from the request's arrival: the caller's clock
        // started before polkit was asked.
        const QDeadlineTimer deadline(kCheckBudgetMs);
        if (expect("s"))
            authorizeThen(message, P::kActionCheckPlists, [this, deadline](const QDBusMessage& m) {
                checkPlistsAtUrl(m, deadline);
            });
    } else if (member == P::kCancelPlistCheck) {
        if (expect(""))
            authorizeThen(message, P::kActionCheckPlists, bind(&HelperService::cancelPlistCheck));
    } else if (member == P::kRebootComputer) {
        if (expect(""))
            authorizeThen(message, P::kActionReboot, bind(&HelperService::rebootComputer));
    } else if (member == P::kRunScriptAndDontWait) {
        if (expect("s"))
            authorizeThen(message, P::kActionRunScript, bind(&HelperService::runScriptAndDontWait));
    } else {
        return false;
    }
    return true;
}

void HelperService::authorizeThen(const QDBusMessage& message, const QString& actionId,
                                  Operation operation) {
    QPointer<HelperService> self(this);
    authority_.checkAuthorization(
        actionId, message.service(), message.isInteractiveAuthorizationAllowed(), this,
        [self, message, operation](bool authorized, const QString& reason) {
            if (!self)
                return;
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
    const DefaultsStore store(LibraryFolders::rootHomeFolder());
    QString error;
    const bool deleted = store.deleteDomain(domain, &error);
    replySuccess(message, deleted, error);
}

void HelperService::deleteFileAtUrl(const QDBusMessage& message) {
    const QString path = localPath(message.arguments().at(0));
    QString error = u"Not a file URL."_s;
    const bool deleted = !path.isEmpty() && HelperFileOperations::deleteItem(path, &error);
    replySuccess(message, deleted, error);
}

void HelperService::copyFileAtUrl(const QDBusMessage& message) {
    const QString source = localPath(message.arguments().at(0));
    const QString destination = localPath(message.arguments().at(1));
    QString error = u"Not a file URL."_s;
    const bool copied = !source.isEmpty() && !destination.isEmpty() &&
                        HelperFileOperations::copyItem(source, destination, &error);
    replySuccess(message, copied, error);
}

void HelperService::setFileAttributes(const QDBusMessage& message) {
    const QVariantMap attributes = attributesFrom(message.arguments().at(0));
    const QString path = localPath(message.arguments().at(1));
    QString error = u"Not a file URL."_s;
    const bool applied =
        !path.isEmpty() && HelperFileOperations::setAttributes(attributes, path, &error);
    replySuccess(message, applied, error);
}

void HelperService::checkPlistsAtUrl(const QDBusMessage& message, QDeadlineTimer deadline) {
    const QString folder = localPath(message.arguments().at(0));
    if (folder.isEmpty() || !QFileInfo(folder).isDir()) {
        reply(message, {false, false, QVariant::fromValue(QMap<QString, QString>()),
                        u"There is no folder at %1."_s.arg(message.arguments().at(0).toString())});
        return;
    }
    // A new check starts uncancelled; a cancel reaches every check running.
    checkCancelled_->store(false);
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
    const QString script = localPath(message.arguments().at(0));
    if (script.isEmpty()) {
        replySuccess(message, false, u"Not a file URL."_s);
        return;
    }
    QProcess process;
    process.setProgram(script);
    const bool started = process.startDetached();
    replySuccess(message, started,
                 started ? QString() : u"Cannot start %1: %2"_s.arg(script, process.errorString()));
}
