// The self-deploying application's window, offscreen, over items opened from
// a real package file and the real defaults program.
#include "app/self_deploy_window.h"

#include "self_deploying_fixture.h"

#include "packager/package_reader.h"

#include <QFile>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QSignalSpy>
#include <QTreeWidget>

using namespace Qt::StringLiterals;

namespace {

class SelfDeployWindowTest : public SelfDeployingFixture {
protected:
    const QStringList domains = {u"com.example.one"_s, u"com.example.two"_s,
                                 u"com.example.Editor"_s};
    std::unique_ptr<PackageReader> reader;
    std::unique_ptr<SelfDeployWindow> window;

    // Two components and an application with a file, captured, written to
    // a package file, removed from the home folder and opened again.
    void SetUp() override {
        for (const QString& domain : domains)
            runDefaults({u"write"_s, domain, u"{ key = \"%1\"; n = <*I7>; }"_s.arg(domain)});
        sandbox.makeFile(sandbox.homePath(u"Library/Editor/state.db"_s), "state");
        knownApps("<applist><app id=\"com.example.Editor\"><path>~/Library/Editor/state.db</path>"
                  "</app></applist>");
        const QByteArray bytes = createPackage(
            {tickedComponent(u"One"_s, {domains[0]}), tickedComponent(u"Two"_s, {domains[1]})},
            {tickedApplication(u"Editor"_s, domains[2])});
        const QString file = sandbox.makeFile(sandbox.path() + u"/Team.Kolvane2"_s, bytes);
        for (const QString& domain : domains)
            runDefaults({u"delete"_s, domain});
        QFile::remove(sandbox.homePath(u"Library/Editor/state.db"_s));
        reader = std::make_unique<PackageReader>(alerts, u"1.0"_s);
        ASSERT_TRUE(reader->initWithKolvaneUrl(QUrl::fromLocalFile(file)));
        window = std::make_unique<SelfDeployWindow>(u"Team"_s, QImage(), reader->systemSettings(),
                                                    reader->applications(), alerts, running);
        window->setPause(std::chrono::milliseconds(0));
        window->show();
    }

    void TearDown() override {
        window.reset();
        SelfDeployingFixture::TearDown();
    }

    // The rows of one group ("System Settings" or "Applications").
    QList<QTreeWidgetItem*> rows(int group) const {
        QList<QTreeWidgetItem*> found;
        QTreeWidgetItem* parent = window->itemsTree->topLevelItem(group);
        for (int i = 0; parent && i < parent->childCount(); ++i)
            found.append(parent->child(i));
        return found;
    }

    bool deployed(const QString& domain) const {
        return runDefaults({u"read"_s, domain}).contains(domain);
    }
};

TEST_F(SelfDeployWindowTest, ListsEveryItemTickedWithTheApplicationsIcons) {
    ASSERT_EQ(window->itemsTree->topLevelItemCount(), 2);
    EXPECT_EQ(window->itemsTree->topLevelItem(0)->text(0), u"System Settings"_s);
    EXPECT_EQ(window->itemsTree->topLevelItem(1)->text(0), u"Applications"_s);
    const auto components = rows(0);
    const auto apps = rows(1);
    ASSERT_EQ(components.size(), 2);
    ASSERT_EQ(apps.size(), 1);
    EXPECT_EQ(components[0]->text(0), u"One"_s);
    EXPECT_EQ(components[1]->text(0), u"Two"_s);
    EXPECT_EQ(apps[0]->text(0), u"Editor"_s);
    EXPECT_EQ(apps[0]->text(1), u"1 domain, 1 file"_s);
    EXPECT_EQ(apps[0]->toolTip(0), u"com.example.Editor\n~/Library/Editor/state.db"_s);
    for (QTreeWidgetItem* row : components + apps)
        EXPECT_EQ(row->checkState(0), Qt::Checked) << row->text(0).toStdString();
    EXPECT_FALSE(apps[0]->icon(0).isNull());
    EXPECT_TRUE(components[0]->icon(0).isNull());
    EXPECT_TRUE(window->deployButton->isEnabled());
    EXPECT_FALSE(window->progressBar->isVisible());
}

TEST_F(SelfDeployWindowTest, DeployWritesOnlyTheTickedItems) {
    rows(0)[1]->setCheckState(0, Qt::Unchecked);
    EXPECT_FALSE(reader->systemSettings()[1]->enabled());
    QSignalSpy started(window.get(), &SelfDeployWindow::deploymentStarted);
    QSignalSpy finished(window.get(), &SelfDeployWindow::deploymentFinished);
    window->deployButton->click();
    EXPECT_EQ(started.size(), 1);
    EXPECT_TRUE(window->isDeploying());
    EXPECT_FALSE(window->deployButton->isEnabled());
    EXPECT_EQ(window->closeButton->text(), u"&Cancel"_s);
    ASSERT_TRUE(finished.wait(30000));

    EXPECT_TRUE(deployed(domains[0]));
    EXPECT_FALSE(deployed(domains[1]));
    EXPECT_TRUE(deployed(domains[2]));
    QFile file(sandbox.homePath(u"Library/Editor/state.db"_s));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), QByteArray("state"));
    EXPECT_EQ(window->statusLabel->text(), u"The settings were deployed."_s);
    EXPECT_FALSE(window->isDeploying());
    EXPECT_EQ(window->closeButton->text(), u"&Quit"_s);
    EXPECT_TRUE(alerts.shown.isEmpty());
}

TEST_F(SelfDeployWindowTest, ARunningApplicationIsNamedAndNothingIsWritten) {
    running.answers = {true};
    QSignalSpy started(window.get(), &SelfDeployWindow::deploymentStarted);
    window->deployButton->click();
    EXPECT_EQ(started.size(), 0);
    EXPECT_FALSE(window->isDeploying());
    ASSERT_EQ(alerts.shown.size(), 1);
    EXPECT_EQ(alerts.shown[0].first, u"Application Running"_s);
    EXPECT_TRUE(alerts.shown[0].second.startsWith(u"Please quit Editor. "_s));
    for (const QString& domain : domains)
        EXPECT_FALSE(deployed(domain)) << domain.toStdString();
}

TEST_F(SelfDeployWindowTest, NothingTickedLeavesNothingToDeploy) {
    for (QTreeWidgetItem* row : rows(0) + rows(1))
        row->setCheckState(0, Qt::Unchecked);
    EXPECT_FALSE(window->deployButton->isEnabled());
    rows(1)[0]->setCheckState(0, Qt::Checked);
    EXPECT_TRUE(window->deployButton->isEnabled());
}

TEST_F(SelfDeployWindowTest, ProblemsAreToldInOneAlert) {
    window->showProblems({});
    EXPECT_TRUE(alerts.shown.isEmpty());
    window->showProblems({u"Error writing defaults: a"_s, u"Error writing defaults: b"_s});
    ASSERT_EQ(alerts.shown.size(), 1);
    EXPECT_EQ(alerts.shown[0].first, u"Some Settings Were Not Deployed"_s);
    EXPECT_EQ(alerts.shown[0].second, u"Error writing defaults: a\nError writing defaults: b"_s);
    EXPECT_EQ(window->statusLabel->text(), u"The deployment finished with 2 problems."_s);
}

TEST_F(SelfDeployWindowTest, ClosingDuringADeploymentCancelsAndClosesWhenItStops) {
    QSignalSpy finished(window.get(), &SelfDeployWindow::deploymentFinished);
    window->deployButton->click();
    ASSERT_TRUE(window->isDeploying());
    EXPECT_FALSE(window->close());
    EXPECT_TRUE(window->isVisible());
    ASSERT_TRUE(finished.wait(30000));
    EXPECT_FALSE(window->isVisible());
    EXPECT_EQ(window->statusLabel->text(), u"The deployment was cancelled."_s);
    // The cancel came before the first write was checked: at most one domain.
    int written = 0;
    for (const QString& domain : domains)
        written += deployed(domain) ? 1 : 0;
    EXPECT_LE(written, 1);
}

} // namespace
