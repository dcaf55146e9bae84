#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QProcess>
#include <QString>

#include <memory>

#include <sys/types.h>

// A caller of the helper that is not root: a small python-dbus program run
// as another user (setpriv), so that the helper sees a plain user on the bus
// as it would in real use. It runs a list of steps and prints one result per
// step as JSON: {"reply": [...]} or {"error": name, "message": text}.
//
// Steps: call(method, signature, arguments) waits for the reply; send(...)
// does not; sleep(seconds) pauses. Arguments are JSON values in the order of
// the signature; a{sv} takes an object.
class UnprivilegedCaller {
public:
    static constexpr uid_t kNobody = 65534;

    explicit UnprivilegedCaller(QString busAddress, uid_t uid = kNobody, gid_t gid = kNobody);

    // Whether this machine can run one (root, setpriv, python3 with dbus).
    static bool isAvailable(QString* why);

    static QJsonObject call(const QString& method, const QString& signature,
                            const QJsonArray& arguments = {});
    static QJsonObject send(const QString& method, const QString& signature,
                            const QJsonArray& arguments = {});
    static QJsonObject sleep(double seconds);

    // Runs the steps and waits (up to timeoutMs) for their results.
    QJsonArray run(const QJsonArray& steps, int timeoutMs = 60000) const;
    // Starts the steps without waiting; results() collects them later.
    void start(const QJsonArray& steps);
    QJsonArray results(int timeoutMs = 60000);

    // The first reply argument of a call's result, or the error's name.
    static QJsonValue firstArgument(const QJsonValue& result);

private:
    QStringList command() const;

    QString address_;
    uid_t uid_;
    gid_t gid_;
    std::unique_ptr<QProcess> running_;
};
