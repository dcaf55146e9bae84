#pragma once

#include "privileged/bvu_helper_tool_protocol.h"

#include <QMap>
#include <QStringList>
#include <QVariantMap>

#include <optional>

// What Sorvane's privileged helper does for the application. The link's
// proxy implements it over D-Bus; the replies run on the link's own thread.
class SorvaneHelperProtocol : public BVUHelperToolProtocol {
public:
    using VersionReply = std::function<void(int major, int minor, int patch)>;
    using DomainsReply =
        std::function<void(const std::optional<QStringList>& domains, const QString& error)>;
    // Full path of each checked file to "OK" or the checker's message.
    using PlistResults = QMap<QString, QString>;
    using CheckReply = std::function<void(bool success, const std::optional<PlistResults>& results,
                                          const QString& error)>;
    using EmptyReply = std::function<void()>;
    using ErrorReply = std::function<void(const QString& error)>;

    virtual void getVersion(VersionReply reply) = 0;
    virtual void readAllDefaultDomains(DomainsReply reply) = 0;
    virtual void deleteDefaultsDomain(const QString& domain, SuccessReply reply) = 0;
    virtual void deleteFileAtUrl(const QUrl& file, SuccessReply reply) = 0;
    virtual void copyFileAtUrl(const QUrl& source, const QUrl& destination, SuccessReply reply) = 0;
    // Keys as the file manager names them (HelperProtocol::kFile...).
    virtual void setFileAttributes(const QVariantMap& attributes, const QUrl& file,
                                   SuccessReply reply) = 0;
    virtual void checkPlistsAtUrl(const QUrl& folder, CheckReply reply) = 0;
    virtual void cancelPlistCheck(EmptyReply reply) = 0;
    virtual void rebootComputer(ErrorReply reply) = 0;
};
