// A yes-or-no question through the presenters: the message box agrees only
// when its agreeing button is pressed (Cancel is the default and Escape's),
// ShowConfirmation reaches the installed presenter on the GUI thread and
// refuses anywhere else, and a presenter that cannot ask refuses.
#include "controls/message_box_alert_presenter.h"
#include "controls/show_alert.h"

#include <QAbstractButton>
#include <QApplication>
#include <QMessageBox>
#include <QPushButton>
#include <QTimer>

#include <gtest/gtest.h>

#include <thread>

using namespace Qt::StringLiterals;

namespace {

enum class Press { Agree, Cancel, Escape, Default };

struct PressCase {
    const char* name;
    Press press;
    bool agreed;
};

class MessageBoxConfirmation : public ::testing::TestWithParam<PressCase> {};

TEST_P(MessageBoxConfirmation, AgreesOnlyThroughItsOwnButton) {
    QString shownText;
    QStringList buttons;
    QTimer answer;
    QObject::connect(&answer, &QTimer::timeout, &answer, [&] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        if (!box || !shownText.isNull())
            return;
        shownText = box->text();
        for (QAbstractButton* button : box->buttons())
            buttons.append(button->text().remove(u'&'));
        switch (GetParam().press) {
        case Press::Agree:
            for (QAbstractButton* button : box->buttons())
                if (button->text() == u"Clean Anyway"_s)
                    button->click();
            break;
        case Press::Cancel:
            box->button(QMessageBox::Cancel)->click();
            break;
        case Press::Escape:
            box->reject();
            break;
        case Press::Default:
            box->defaultButton()->click();
            break;
        }
    });
    answer.start(10);
    MessageBoxAlertPresenter presenter;
    const bool agreed =
        presenter.confirm(AlertKind::Warning, u"Go on?"_s, u"Really."_s, u"Clean Anyway"_s);
    EXPECT_EQ(shownText, u"Go on?"_s);
    EXPECT_EQ(buttons.size(), 2);
    EXPECT_TRUE(buttons.contains(u"Clean Anyway"_s)) << qPrintable(buttons.join(u", "_s));
    EXPECT_EQ(agreed, GetParam().agreed);
}

INSTANTIATE_TEST_SUITE_P(Presses, MessageBoxConfirmation,
                         ::testing::Values(PressCase{"Agree", Press::Agree, true},
                                           PressCase{"Cancel", Press::Cancel, false},
                                           PressCase{"Escape", Press::Escape, false},
                                           PressCase{"Default", Press::Default, false}),
                         [](const ::testing::TestParamInfo<PressCase>& tested) {
                             return std::string(tested.param.name);
                         });

class AnsweringPresenter : public AlertPresenter {
public:
    void showAlert(const QString& message, const QString&) override { shown.append(message); }
    bool confirm(AlertKind, const QString& message, const QString&, const QString&) override {
        asked.append(message);
        return true;
    }
    QStringList shown;
    QStringList asked;
};

TEST(ShowConfirmation, AsksTheInstalledPresenterOnTheGuiThreadOnly) {
    AnsweringPresenter presenter;
    AlertPresenter* previous = setAlertPresenter(&presenter);
    EXPECT_TRUE(ShowConfirmation(AlertKind::Warning, u"Here?"_s, QString(), u"Yes"_s));
    bool offThread = true;
    std::thread worker([&] {
        offThread = ShowConfirmation(AlertKind::Warning, u"There?"_s, QString(), u"Yes"_s);
    });
    worker.join();
    setAlertPresenter(previous);
    EXPECT_FALSE(offThread);
    EXPECT_EQ(presenter.asked, QStringList{u"Here?"_s});

    // A presenter that cannot ask shows the question and refuses.
    EXPECT_FALSE(static_cast<AlertPresenter&>(presenter).AlertPresenter::confirm(
        AlertKind::Warning, u"Anyone?"_s, QString(), u"Yes"_s));
    EXPECT_EQ(presenter.shown, QStringList{u"Anyone?"_s});
}

} // namespace
