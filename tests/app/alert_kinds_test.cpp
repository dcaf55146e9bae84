// Each alert the desktop application raises reaches the presenter with the
// kind that fits it, whether its sender says the kind or its headline does.
#include "app/app_delegate.h"
#include "app/sv_kolvane_packager.h"

#include "controls/show_alert.h"
#include "fixed_domains.h"
#include "recording_helper.h"
#include "recording_services.h"
#include "sandbox.h"
#include "test_bundles.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>

using namespace Qt::StringLiterals;

namespace {

class KindRecorder : public AlertPresenter {
public:
    void showAlert(const QString& message, const QString&) override {
        shown.append({message, std::nullopt});
    }
    void showAlertOfKind(AlertKind kind, const QString& message, const QString&) override {
        shown.append({message, kind});
    }
    QList<std::pair<QString, std::optional<AlertKind>>> shown;
};

class RaisedAlerts;

struct KindCase {
    const char* name;
    std::function<void(RaisedAlerts&)> raise;
    QString headline;
    AlertKind kind;
};

class RaisedAlerts : public ::testing::TestWithParam<KindCase> {
public:
    void SetUp() override {
        previous = setAlertPresenter(&recorder);
        delegate = std::make_unique<AppDelegate>(AppServices{helper, defaults, domains, running});
    }
    void TearDown() override {
        delegate.reset();
        setAlertPresenter(previous);
    }

    QUrl makeBundle(const QString& name, const QString& identifier) {
        QList<QPair<QString, QString>> info;
        if (!identifier.isNull())
            info.append({u"CFBundleIdentifier"_s, identifier});
        return QUrl::fromLocalFile(
            testbundles::makeBundle(sandbox.homePath(u"Applications/"_s + name), info));
    }

    Sandbox sandbox;
    RecordingHelper helper;
    RecordingDefaultsRunner defaults;
    FixedDomains domains;
    ScriptedRunningApplications running;
    KindRecorder recorder;
    AlertPresenter* previous = nullptr;
    std::unique_ptr<AppDelegate> delegate;
};

TEST_P(RaisedAlerts, EachAlertHasTheIconOfItsContent) {
    const KindCase& c = GetParam();
    c.raise(*this);
    ASSERT_EQ(recorder.shown.size(), 1);
    EXPECT_EQ(recorder.shown.first().first, c.headline);
    ASSERT_TRUE(recorder.shown.first().second.has_value()) << "the alert came without a kind";
    EXPECT_EQ(int(*recorder.shown.first().second), int(c.kind));
}

INSTANTIATE_TEST_SUITE_P(
    Alerts, RaisedAlerts,
    ::testing::Values(
        KindCase{"UpdatesAreNews", [](RaisedAlerts& f) { f.delegate->showUpdatemanager(); },
                 u"Sorvane Updates"_s, AlertKind::Information},
        KindCase{"RunningApplicationIsACaution",
                 [](RaisedAlerts& f) {
                     f.domains.user = {u"com.example.tool"_s};
                     f.delegate->setApplicationUrl(
                         f.makeBundle(u"Tool.app"_s, u"com.example.tool"_s));
                     f.running.answers = {true, true};
                     f.delegate->cleanAppPreferences();
                 },
                 u"Application Running"_s, AlertKind::Warning},
        KindCase{"UnidentifiedApplicationIsAFailure",
                 [](RaisedAlerts& f) {
                     f.delegate->setApplicationUrl(f.makeBundle(u"Anonymous.app"_s, QString()));
                     f.delegate->cleanAppPreferences();
                 },
                 u"The application could not be identified"_s, AlertKind::Error},
        KindCase{"NothingTickedIsACaution",
                 [](RaisedAlerts&) {
                     SVKolvanePackager packager;
                     packager.createPackage();
                 },
                 u"Package Could Not Be Created"_s, AlertKind::Warning},
        KindCase{"UnsupportedPackageIsAFailure",
                 [](RaisedAlerts& f) {
                     const QString file = f.sandbox.makeFile(f.sandbox.path() + u"/a.zip"_s);
                     EXPECT_EQ(SVKolvanePackager::initWithKolvaneUrl(QUrl::fromLocalFile(file),
                                                                     f.running),
                               nullptr);
                 },
                 u"Unsupported File Type"_s, AlertKind::Error}),
    [](const auto& test) { return std::string(test.param.name); });

} // namespace
