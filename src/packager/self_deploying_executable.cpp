#include "packager/self_deploying_executable.h"

#include "packager/self_deploying_trailer.h"
#include "platform/tool_locations.h"
#include "util/logging.h"
#include "workflows/alert_presenter.h"

#include <QFile>
#include <QSaveFile>

using namespace Qt::StringLiterals;

namespace {

constexpr QFileDevice::Permissions kExecutable =
    QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner |
    QFileDevice::ReadUser | QFileDevice::WriteUser | QFileDevice::ExeUser | QFileDevice::ReadGroup |
    QFileDevice::ExeGroup | QFileDevice::ReadOther | QFileDevice::ExeOther;

QByteArray trailerFor(qsizetype length) {
    const std::string trailer = self_deploying_trailer::trailerFor(std::uint64_t(length));
    return QByteArray(trailer.data(), qsizetype(trailer.size()));
}

} // namespace

SelfDeployingExecutable::SelfDeployingExecutable(AlertPresenter& alerts, QString program)
    : alerts_(alerts)
    , program_(std::move(program)) {}

SelfDeployingExecutable SelfDeployingExecutable::forRunningApplication(AlertPresenter& alerts) {
    return SelfDeployingExecutable(alerts, ToolLocations::linuxDeployTool());
}

bool SelfDeployingExecutable::fail(const QString& why) {
    sv::log(u"Self-deploying package not saved: %1"_s.arg(why));
    alerts_.showAlert(u"Package Could Not Be Saved"_s,
                      u"An error occurred while writing the package to disk: %1"_s.arg(why));
    return false;
}

bool SelfDeployingExecutable::assemble(const QByteArray& packageBytes, const QUrl& destination) {
    QFile program(program_);
    if (!program.open(QIODevice::ReadOnly))
        return fail(
            u"the deploying program %1 cannot be read (%2)"_s.arg(program_, program.errorString()));
    const QByteArray programBytes = program.readAll();
    // A copy that already carries a package would carry two, and deploy the first.
    if (programBytes.isEmpty() || packageInBytes(programBytes))
        return fail(u"%1 is not the deploying program"_s.arg(program_));
    QSaveFile file(destination.toLocalFile());
    if (!file.open(QIODevice::WriteOnly) || !file.setPermissions(kExecutable) ||
        file.write(programBytes) != programBytes.size() ||
        file.write(packageBytes) != packageBytes.size() ||
        file.write(trailerFor(packageBytes.size())) != qsizetype(self_deploying_trailer::kSize) ||
        !file.commit())
        return fail(file.errorString());
    return true;
}

std::optional<QByteArray> SelfDeployingExecutable::packageInBytes(const QByteArray& bytes) {
    const qsizetype trailerSize = qsizetype(self_deploying_trailer::kSize);
    if (bytes.size() < trailerSize)
        return std::nullopt;
    const QByteArray trailer = bytes.right(trailerSize);
    const auto length = self_deploying_trailer::packageLength(
        std::string_view(trailer.constData(), std::size_t(trailer.size())));
    if (!length || *length == 0 || *length > std::uint64_t(bytes.size() - trailerSize))
        return std::nullopt;
    return bytes.mid(bytes.size() - trailerSize - qsizetype(*length), qsizetype(*length));
}

std::optional<QByteArray> SelfDeployingExecutable::packageIn(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    return packageInBytes(file.readAll());
}
