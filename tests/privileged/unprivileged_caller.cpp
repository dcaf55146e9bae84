#include "unprivileged_caller.h"

#include "privileged/helper_protocol.h"

#include <QJsonDocument>
#include <QStandardPaths>

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

const QString kPython = u"/usr/bin/python3"_s;

// Reads the steps from standard input; every D-Bus type is turned back into
// plain JSON so that the test can compare it.
const QString kProgram = uR"PY(
import json, sys, time
import dbus, dbus.lowlevel

NAME = sys.argv[2]
PATH = sys.argv[3]
bus = dbus.bus.BusConnection(sys.argv[1])

def plain(value):
    if isinstance(value, dbus.Boolean):
        return bool(value)
    if isinstance(value, (dbus.Dictionary, dict)):
        return {str(k): plain(v) for k, v in value.items()}
    if isinstance(value, (dbus.Array, dbus.Struct, list, tuple)):
        return [plain(v) for v in value]
    if isinstance(value, (dbus.String, dbus.ObjectPath, str)):
        return str(value)
    if isinstance(value, (int, float)):
        return value
    return str(value)

results = []
for step in json.load(sys.stdin):
    kind = step["kind"]
    if kind == "sleep":
        time.sleep(step["seconds"])
        results.append({})
        continue
    if kind == "send":
        message = dbus.lowlevel.MethodCallMessage(NAME, PATH, NAME, step["method"])
        if step["signature"]:
            message.append(signature=step["signature"], *step["arguments"])
        bus.send_message(message)
        results.append({})
        continue
    try:
        reply = bus.call_blocking(NAME, PATH, NAME, step["method"], step["signature"],
                                  step["arguments"], timeout=60)
        if reply is None:
            reply = []
        elif not isinstance(reply, tuple):
            reply = [reply]
        results.append({"reply": plain(list(reply))})
    except dbus.DBusException as error:
        results.append({"error": error.get_dbus_name(), "message": error.get_dbus_message()})
    sys.stdout.flush()
print(json.dumps(results))
)PY"_s;

QJsonObject step(const QString& kind, const QString& method, const QString& signature,
                 const QJsonArray& arguments) {
    return {{u"kind"_s, kind},
            {u"method"_s, method},
            {u"signature"_s, signature},
            {u"arguments"_s, arguments}};
}

QJsonArray parse(QProcess& process) {
    const QByteArray output = process.readAllStandardOutput();
    const QJsonDocument document = QJsonDocument::fromJson(output.trimmed().split('\n').last());
    return document.array();
}

} // namespace

UnprivilegedCaller::UnprivilegedCaller(QString busAddress, uid_t uid, gid_t gid)
    : address_(std::move(busAddress))
    , uid_(uid)
    , gid_(gid) {}

bool UnprivilegedCaller::isAvailable(QString* why) {
    if (::geteuid() != 0) {
        *why = u"an unprivileged caller beside the helper needs a run as root"_s;
        return false;
    }
    if (QStandardPaths::findExecutable(u"setpriv"_s).isEmpty()) {
        *why = u"setpriv is not installed"_s;
        return false;
    }
    QProcess probe;
    probe.start(kPython, {u"-c"_s, u"import dbus"_s});
    if (!probe.waitForFinished(20000) || probe.exitCode() != 0) {
        *why = u"python3 with its dbus module (python3-dbus) is not installed"_s;
        return false;
    }
    return true;
}

QJsonObject UnprivilegedCaller::call(const QString& method, const QString& signature,
                                     const QJsonArray& arguments) {
    return step(u"call"_s, method, signature, arguments);
}

QJsonObject UnprivilegedCaller::send(const QString& method, const QString& signature,
                                     const QJsonArray& arguments) {
    return step(u"send"_s, method, signature, arguments);
}

QJsonObject UnprivilegedCaller::sleep(double seconds) {
    return {{u"kind"_s, u"sleep"_s}, {u"seconds"_s, seconds}};
}

QStringList UnprivilegedCaller::command() const {
    return {u"--reuid=%1"_s.arg(uid_),
            u"--regid=%1"_s.arg(gid_),
            u"--clear-groups"_s,
            kPython,
            u"-c"_s,
            kProgram,
            address_,
            HelperProtocol::kLabel,
            HelperProtocol::kObjectPath};
}

void UnprivilegedCaller::start(const QJsonArray& steps) {
    running_ = std::make_unique<QProcess>();
    running_->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    running_->start(QStandardPaths::findExecutable(u"setpriv"_s), command());
    // Nothing runs an event loop meanwhile: the steps are handed over now.
    running_->waitForStarted(20000);
    running_->write(QJsonDocument(steps).toJson(QJsonDocument::Compact));
    running_->waitForBytesWritten(20000);
    running_->closeWriteChannel();
}

QJsonArray UnprivilegedCaller::results(int timeoutMs) {
    if (!running_ || !running_->waitForFinished(timeoutMs))
        return {};
    const QJsonArray answer = parse(*running_);
    running_.reset();
    return answer;
}

QJsonArray UnprivilegedCaller::run(const QJsonArray& steps, int timeoutMs) const {
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(QStandardPaths::findExecutable(u"setpriv"_s), command());
    process.write(QJsonDocument(steps).toJson(QJsonDocument::Compact));
    process.closeWriteChannel();
    if (!process.waitForFinished(timeoutMs))
        return {};
    return parse(process);
}

QJsonValue UnprivilegedCaller::firstArgument(const QJsonValue& result) {
    const QJsonObject object = result.toObject();
    if (object.contains(u"error"_s))
        return object.value(u"error"_s);
    return object.value(u"reply"_s).toArray().first();
}
