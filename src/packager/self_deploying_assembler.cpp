#include "packager/self_deploying_assembler.h"

#include "platform/bundle.h"
#include "platform/tool_locations.h"
#include "privileged/sv_task_master.h"
#include "util/logging.h"
#include "workflows/alert_presenter.h"

#include <QDir>
#include <QFileInfo>
#include <QSaveFile>

#include <atomic>

using namespace Qt::StringLiterals;

namespace {

const QString kBundleName = u"Self-Deploying Kolvane2.app"_s;

} // namespace

SelfDeployingAssembler::SelfDeployingAssembler(AlertPresenter& alerts, QString templateZip,
                                               QString scratchFolder)
    : alerts_(alerts)
    , templateZip_(std::move(templateZip))
    , scratchFolder_(std::move(scratchFolder)) {}

SelfDeployingAssembler SelfDeployingAssembler::forRunningApplication(AlertPresenter& alerts) {
    const Bundle bundle = Bundle::mainBundle();
    return SelfDeployingAssembler(alerts, bundle.pathForResource(u"sdkv2"_s, u"zip"_s),
                                  QDir::tempPath() + u'/' + bundle.bundleIdentifier());
}

bool SelfDeployingAssembler::fail(int code) {
    alerts_.showAlert(
        u"Error Saving Kolvane"_s,
        u"The PreferencePackage could not be saved because an internal error occurred (%1)"_s.arg(
            code));
    return false;
}

bool SelfDeployingAssembler::assemble(const QByteArray& packageBytes, const QUrl& destination) {
    if (templateZip_.isEmpty() || !QFileInfo::exists(templateZip_))
        return fail(4001);
    if (!QDir().mkpath(scratchFolder_))
        return fail(4002);
    // A stop flag of its own that nothing sets: an unzip is never cancelled.
    const std::atomic<bool> neverStop{false};
    SVTaskMaster unzip;
    if (!unzip.runTaskWithProgram(ToolLocations::unzipTool(),
                                  {templateZip_, u"-d"_s, scratchFolder_}, &neverStop)) {
        sv::log(u"unzip task failed : %1"_s.arg(unzip.errorMessage().value_or(u"(null)"_s)));
        return fail(4005);
    }
    const QString bundlePath = scratchFolder_ + u'/' + kBundleName;
    if (!QFileInfo::exists(bundlePath))
        return fail(4004);

    QSaveFile package(bundlePath + u"/Contents/Resources/Package.Kolvane2"_s);
    QString error;
    if (!package.open(QIODevice::WriteOnly))
        error = package.errorString();
    else if (package.write(packageBytes) != packageBytes.size() || !package.commit())
        error = package.errorString();
    if (!error.isNull()) {
        sv::log(u"Archive write error: %1"_s.arg(error));
        alerts_.showAlert(u"Package Could Not Be Saved"_s,
                          u"An error occurred while writing the package to disk: %1"_s.arg(error));
        QDir(bundlePath).removeRecursively();
        return false;
    }
    const QString target = destination.toLocalFile();
    // rename(2) would replace an empty folder; an existing application must stay.
    if (QFileInfo::exists(target) || !QDir().rename(bundlePath, target)) {
        QDir(bundlePath).removeRecursively();
        return fail(4003);
    }
    return true;
}
