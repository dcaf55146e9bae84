#include "controls/message_box_alert_presenter.h"
#include "controls/show_alert.h"

#include <QApplication>
#include <QMessageBox>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <gtest/gtest.h>

#include <optional>
#include <thread>

using namespace Qt::StringLiterals;

namespace {

class RecordingPresenter : public AlertPresenter {
public:
    void showAlert(const QString& message, const QString& informative) override {
        alerts.append({message, informative, QThread::currentThread()});
    }

    struct Alert {
        QString message;
        QString informative;
        QThread* thread;
    };
    QList<Alert> alerts;
};

class ShowAlertTest : public ::testing::Test {
protected:
    void SetUp() override { previous = setAlertPresenter(&presenter); }
    void TearDown() override { setAlertPresenter(previous); }

    RecordingPresenter presenter;
    AlertPresenter* previous = nullptr;
};

TEST_F(ShowAlertTest, OnTheGuiThreadTheAlertIsShownBeforeReturning) {
    ShowAlert(u"Cannot clean"_s, u"Quit the application first."_s);
    ShowAlert(u"Only a message"_s);

    ASSERT_EQ(presenter.alerts.size(), 2);
    EXPECT_EQ(presenter.alerts[0].message, u"Cannot clean"_s);
    EXPECT_EQ(presenter.alerts[0].informative, u"Quit the application first."_s);
    EXPECT_TRUE(presenter.alerts[1].informative.isNull());
}

TEST_F(ShowAlertTest, OffTheGuiThreadTheAlertIsQueuedToIt) {
    std::thread worker([] { ShowAlert(u"From a job"_s, u"details"_s); });
    worker.join();
    EXPECT_TRUE(presenter.alerts.isEmpty()) << "the worker must not show the alert itself";

    ASSERT_TRUE(QTest::qWaitFor([&] { return !presenter.alerts.isEmpty(); }, 1000));
    EXPECT_EQ(presenter.alerts[0].message, u"From a job"_s);
    EXPECT_EQ(presenter.alerts[0].informative, u"details"_s);
    EXPECT_EQ(presenter.alerts[0].thread, qApp->thread());
}

struct BoxCase {
    QString message;
    QString informative;
    std::optional<AlertKind> kind; // none: the alert comes without one
    QMessageBox::Icon icon;
};

void PrintTo(const BoxCase& texts, std::ostream* out) {
    *out << '"' << texts.message.toStdString() << "\" / \"" << texts.informative.toStdString()
         << '"';
}

class MessageBoxAlert : public ::testing::TestWithParam<BoxCase> {};

TEST_P(MessageBoxAlert, ShowsThePresentTextsWithTheIconOfTheKindUntilDismissed) {
    QString shownText;
    QString shownInformative;
    QMessageBox::Icon shownIcon = QMessageBox::NoIcon;
    bool dismissed = false;
    // Answers the box as soon as it is up, however long that takes.
    QTimer closer;
    QObject::connect(&closer, &QTimer::timeout, &closer, [&] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (!box)
            return;
        shownText = box->text();
        shownInformative = box->informativeText();
        shownIcon = box->icon();
        dismissed = true;
        box->accept();
    });
    closer.start(10);
    const BoxCase& c = GetParam();
    MessageBoxAlertPresenter presenter;
    if (c.kind)
        presenter.showAlertOfKind(*c.kind, c.message, c.informative);
    else
        presenter.showAlert(c.message, c.informative);

    ASSERT_TRUE(dismissed) << "no message box was shown";
    EXPECT_EQ(shownText, c.message);
    EXPECT_EQ(shownInformative, c.informative);
    EXPECT_EQ(shownIcon, c.icon);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, MessageBoxAlert,
    ::testing::Values(
        BoxCase{u"Title"_s, u"Informative"_s, AlertKind::Information, QMessageBox::Information},
        BoxCase{u"Title only"_s, QString(), AlertKind::Warning, QMessageBox::Warning},
        BoxCase{QString(), u"Informative only"_s, AlertKind::Error, QMessageBox::Critical},
        // Without a kind the headline decides; one nobody knows is a caution.
        BoxCase{u"No Package Found"_s, u"x"_s, std::nullopt, QMessageBox::Critical},
        BoxCase{u"Something New"_s, u"x"_s, std::nullopt, QMessageBox::Warning}));

class KindPresenter : public AlertPresenter {
public:
    void showAlert(const QString& message, const QString&) override {
        shown.append({message, std::nullopt});
    }
    void showAlertOfKind(AlertKind kind, const QString& message, const QString&) override {
        shown.append({message, kind});
    }
    QList<std::pair<QString, std::optional<AlertKind>>> shown;
};

struct HeadlineCase {
    QString headline;
    AlertKind kind;
};

void PrintTo(const HeadlineCase& c, std::ostream* out) {
    *out << '"' << c.headline.toStdString() << '"';
}

class AlertWithoutKind : public ::testing::TestWithParam<HeadlineCase> {};

// The packager's core and the self-deploying package say no kind: the
// headline of each of their alerts decides it, and the presenter gets it.
TEST_P(AlertWithoutKind, TakesTheKindOfItsHeadline) {
    KindPresenter presenter;
    AlertPresenter* previous = setAlertPresenter(&presenter);
    ShowAlert(GetParam().headline, u"details"_s);
    std::thread worker([] { ShowAlert(AlertKind::Information, u"From a job"_s); });
    worker.join();
    ASSERT_TRUE(QTest::qWaitFor([&] { return presenter.shown.size() == 2; }, 1000));
    setAlertPresenter(previous);

    EXPECT_EQ(presenter.shown.at(0).first, GetParam().headline);
    ASSERT_TRUE(presenter.shown.at(0).second.has_value());
    EXPECT_EQ(int(*presenter.shown.at(0).second), int(GetParam().kind));
    // A kind the sender gives survives the trip to the GUI thread.
    EXPECT_EQ(presenter.shown.at(1),
              std::make_pair(u"From a job"_s, std::optional(AlertKind::Information)));
}

INSTANTIATE_TEST_SUITE_P(
    Headlines, AlertWithoutKind,
    ::testing::Values(HeadlineCase{u"Application Running"_s, AlertKind::Warning},
                      HeadlineCase{u"No Settings Found"_s, AlertKind::Warning},
                      HeadlineCase{u"Package Could Not Be Created"_s, AlertKind::Error},
                      HeadlineCase{u"Package Could Not Be Saved"_s, AlertKind::Error},
                      HeadlineCase{u"Error Saving Kolvane"_s, AlertKind::Error},
                      HeadlineCase{u"Error Reading Package"_s, AlertKind::Error},
                      HeadlineCase{u"Unsupported File Type"_s, AlertKind::Error},
                      HeadlineCase{u"Sorvane Updates"_s, AlertKind::Information},
                      HeadlineCase{u"package could not be created"_s, AlertKind::Warning},
                      HeadlineCase{QString(), AlertKind::Warning}));

} // namespace
