#include "text_deployment.h"

#include "embedded_package.h"
#include "problem_log.h"
#include "stream_alert_presenter.h"

#include "packager/package_deployer.h"
#include "packager/package_reader.h"

#include <QDir>
#include <QUrl>

using namespace Qt::StringLiterals;

namespace {

QString counted(qsizetype count, const QString& singular, const QString& plural) {
    return u"%1 %2"_s.arg(count).arg(count == 1 ? singular : plural);
}

} // namespace

TextDeployment::TextDeployment(QTextStream& out, QTextStream& err, RunningApplicationQuery& running,
                               bool verbose)
    : out_(out)
    , err_(err)
    , running_(running)
    , verbose_(verbose) {}

int TextDeployment::run(const EmbeddedPackage& package, bool listOnly) {
    StreamAlertPresenter alerts(err_);
    if (!package.exists()) {
        alerts.printLine(package.missingMessage());
        return 1;
    }
    // Reading logs lines of its own (counts, unpacking errors); what the user
    // must know arrives as an alert.
    ProblemLog log(verbose_);
    PackageReader reader(alerts, package.version());
    if (!reader.initWithKolvaneUrl(QUrl::fromLocalFile(package.packagePath())))
        return 1;
    out_ << u"%1 (%2)"_s.arg(package.displayName(), package.packagePath()) << Qt::endl;
    printItems(reader.systemSettings(), reader.applications());
    if (listOnly)
        return 0;
    log.takeLines();
    return deploy(reader.systemSettings(), reader.applications(), alerts, log);
}

int TextDeployment::deploy(const Items& systemSettings, const Items& applications,
                           StreamAlertPresenter& alerts, ProblemLog& log) {
    const auto print = [this](const QString& text) { out_ << text << Qt::endl; };
    PackageDeployer deployer(nullptr, alerts, running_, {print, print, {}});
    // The pauses let a reader follow the progress sheet; a terminal has none.
    deployer.setPause(std::chrono::milliseconds(0));
    if (!deployer.promptUserToQuitApplications(applications))
        return 1;
    deployer.background_deployPreferences(systemSettings, applications);

    qsizetype domains = 0, files = 0;
    for (const Items* items : {&systemSettings, &applications}) {
        for (const auto& item : *items)
            domains += item->prefsDomains().size();
    }
    for (const auto& item : applications)
        files += item->extraFilePaths().size();
    const QString what = u"%1 and %2"_s.arg(counted(domains, u"domain"_s, u"domains"_s),
                                            counted(files, u"file"_s, u"files"_s));
    const QStringList problems = log.takeLines();
    for (const QString& problem : problems)
        alerts.printLine(problem);
    if (!problems.isEmpty()) {
        print(u"Deployment into %1 finished with %2 (%3 in the package)."_s.arg(
            QDir::homePath(), counted(problems.size(), u"problem"_s, u"problems"_s), what));
        return 1;
    }
    print(u"Deployed %1 into %2."_s.arg(what, QDir::homePath()));
    return 0;
}

void TextDeployment::printItems(const Items& systemSettings, const Items& applications) {
    out_ << u"System settings: %1"_s.arg(systemSettings.size()) << Qt::endl;
    for (const auto& item : systemSettings) {
        out_ << u"  "_s << item->displayName();
        if (!item->description().isEmpty())
            out_ << u" - "_s << item->description();
        out_ << Qt::endl;
        for (const QString& domain : item->prefsDomains())
            out_ << u"    domain "_s << domain << Qt::endl;
    }
    out_ << u"Applications: %1"_s.arg(applications.size()) << Qt::endl;
    for (const auto& item : applications) {
        out_ << u"  "_s << item->displayName();
        if (!item->appId().isEmpty())
            out_ << u" ("_s << item->appId() << u')';
        out_ << Qt::endl;
        for (const QString& domain : item->prefsDomains())
            out_ << u"    domain "_s << domain << Qt::endl;
        for (const QString& path : item->extraFilePaths()) {
            const qsizetype size = item->fileContentsForPath(path).value_or(QByteArray()).size();
            out_ << u"    file "_s << path << u" ("_s << counted(size, u"byte"_s, u"bytes"_s)
                 << u')' << Qt::endl;
        }
    }
}
