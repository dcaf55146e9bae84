#include "controls/message_box_alert_presenter.h"
#include "controls/show_alert.h"

#include <QApplication>
#include <QMessageBox>
#include <QTest>
#include <QThread>
#include <QTimer>

#include <gtest/gtest.h>

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
};

void PrintTo(const BoxCase& texts, std::ostream* out) {
    *out << '"' << texts.message.toStdString() << "\" / \"" << texts.informative.toStdString()
         << '"';
}

class MessageBoxAlert : public ::testing::TestWithParam<BoxCase> {};

TEST_P(MessageBoxAlert, ShowsThePresentTextsUntilDismissed) {
    QString shownText;
    QString shownInformative;
    bool dismissed = false;
    // Answers the box as soon as it is up, however long that takes.
    QTimer closer;
    QObject::connect(&closer, &QTimer::timeout, &closer, [&] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (!box)
            return;
        shownText = box->text();
        shownInformative = box->informativeText();
        dismissed = true;
        box->accept();
    });
    closer.start(10);
    MessageBoxAlertPresenter().showAlert(GetParam().message, GetParam().informative);

    ASSERT_TRUE(dismissed) << "no message box was shown";
    EXPECT_EQ(shownText, GetParam().message);
    EXPECT_EQ(shownInformative, GetParam().informative);
}

INSTANTIATE_TEST_SUITE_P(Texts, MessageBoxAlert,
                         ::testing::Values(BoxCase{u"Title"_s, u"Informative"_s},
                                           BoxCase{u"Title only"_s, QString()},
                                           BoxCase{QString(), u"Informative only"_s}));

} // namespace
