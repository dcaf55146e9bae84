#pragma once

#include <QString>
#include <QUrl>

#include <functional>

// The one operation that the update framework needs of a privileged helper.
// Every operation of the helper protocols is asynchronous and calls its reply
// exactly once; an absent error is an empty text.
class BVUHelperToolProtocol {
public:
    virtual ~BVUHelperToolProtocol() = default;

    using SuccessReply = std::function<void(bool success, const QString& error)>;

    // Starts the script with root rights and does not wait for it to end.
    virtual void runScriptAndDontWait(const QUrl& script, SuccessReply reply) = 0;
};
