#pragma once

#include "workflows/helper_operations.h"

#include <QString>
#include <QStringList>

#include <memory>
#include <optional>

class LinkHelperOperations;
class LinkToHelperTool;

// The privileged helper as sorvanectl uses it. Before the first use the bus
// is asked, cheaply, whether the helper's name is owned or activatable and
// whether the helper answers its version query; when it is not there, every
// operation fails at once instead of waiting for the link's time-outs.
// sorvanectl never installs the helper: a script tool must not start an
// authorization prompt; installHint() says how to install it.
class HelperAccess : public HelperOperations {
public:
    // How long the version query may take, the helper's start included; well
    // under the link's own 5-second wait.
    static constexpr int kProbeTimeoutMs = 3000;

    HelperAccess();
    ~HelperAccess() override;

    bool reachable() const { return link_ != nullptr; }
    // Why the helper cannot be used; empty when it can.
    QString problem() const { return problem_; }
    static QString installHint();

    // Root's defaults domains; nothing when the helper is not reachable.
    std::optional<QStringList> readAllDefaultsDomains();

    bool deleteDefaultsDomain(const QString& domain) override;
    bool deleteFileAtUrl(const QUrl& file) override;
    std::optional<QMap<QString, QString>> checkPlistsAtUrl(const QUrl& folder) override;
    void cancelPlutilChecks() override;
    void rebootComputer() override;

private:
    // Empty when the helper answered with the expected version.
    static QString probe();

    QString problem_;
    std::unique_ptr<LinkToHelperTool> link_;
    std::unique_ptr<LinkHelperOperations> operations_;
};
