#include "controls/ft_path_control.h"
#include "controls/ft_path_control_delegate.h"
#include "controls/panel_runner.h"
#include "sandbox.h"
#include "util/path_utils.h"

#include <QApplication>
#include <QDropEvent>
#include <QFileDialog>
#include <QMenu>
#include <QMimeData>
#include <QTest>

#include <gtest/gtest.h>

#include <thread>

using namespace Qt::StringLiterals;

namespace {

// Sends what the window system sends for a double click: a click, then a
// double-click press and its release.
void doubleClick(QWidget* widget, QPoint position) {
    QTest::mouseClick(widget, Qt::LeftButton, {}, position);
    QTest::mouseDClick(widget, Qt::LeftButton, {}, position);
    QTest::mouseRelease(widget, Qt::LeftButton, {}, position);
}

// An owner like the main window's: it accepts only application bundles and
// records every question and notice.
class RecordingPathDelegate : public FTPathControlDelegate {
public:
    bool pathControlShouldUseSavePanelToGetInitalValue(FTPathControl*) override {
        return wantsSavePanel;
    }
    void pathControlWillDisplaySavePanel(FTPathControl*, QFileDialog* panel) override {
        notices.append({u"save"_s, panel});
    }
    void pathControlWillDisplayOpenPanel(FTPathControl*, QFileDialog* panel) override {
        notices.append({u"open"_s, panel});
    }
    bool pathControlInitialValueWasSet(FTPathControl*, const QUrl& url) override {
        initialValues.append(url);
        return sv::pathExtension(url.toLocalFile()).compare(u"app"_s, Qt::CaseInsensitive) == 0;
    }
    bool pathControlShouldDragItem(FTPathControl*, const QUrl& item, QMimeData*) override {
        dragQuestions.append(item);
        return false;
    }
    Qt::DropAction pathControlValidateDrop(FTPathControl*, const QMimeData*) override {
        ++validateCount;
        return Qt::CopyAction;
    }
    bool pathControlAcceptDrop(FTPathControl*, const QMimeData*) override {
        ++acceptCount;
        return true;
    }
    void pathControlWillPopUpMenu(FTPathControl*, QMenu* menu) override {
        for (QAction* choice : menu->actions())
            menuItems.append(choice->text());
        menuChoice = menu->actions().value(1);
    }
    void pathControlClicked(FTPathControl* control) override {
        clicked.append(control->clickedPathItem());
    }
    void pathControlDoubleClicked(FTPathControl*) override { ++doubleClicked; }

    bool wantsSavePanel = false;
    QList<std::pair<QString, QFileDialog*>> notices;
    QList<QUrl> initialValues;
    QList<QUrl> dragQuestions;
    int validateCount = 0;
    int acceptCount = 0;
    QList<QUrl> clicked;
    int doubleClicked = 0;
    QStringList menuItems;
    QPointer<QAction> menuChoice;
};

class FTPathControlTest : public ::testing::Test {
protected:
    void SetUp() override {
        previousRunner = PanelRunner::setRunner([this](QFileDialog& panel) {
            panels.append(&panel);
            panelModes.append(panel.acceptMode());
            noticedBeforeRun.append(!delegate.notices.isEmpty() &&
                                    delegate.notices.last().second == &panel);
            if (answer.isEmpty())
                return int(QDialog::Rejected);
            panel.selectFile(answer);
            return int(QDialog::Accepted);
        });
        control.resize(400, 24);
        control.setDelegate(&delegate);
        control.connectProperActionsTo(&delegate);
        control.awakeFromNib();
        control.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&control));
    }

    void TearDown() override { PanelRunner::setRunner(previousRunner); }

    QImage placeholderImage() {
        FTPathControl fresh;
        fresh.resize(control.size());
        fresh.awakeFromNib();
        return fresh.grab().toImage();
    }

    // Picks a file through the unset control's panel with a single click.
    void pickThroughPanel(const QString& path) {
        answer = path;
        QTest::mouseClick(&control, Qt::LeftButton, {}, QPoint(200, 12));
        answer.clear();
    }

    Sandbox sandbox;
    FTPathControl control;
    RecordingPathDelegate delegate;
    PanelRunner::Runner previousRunner;
    QString answer;
    QList<QFileDialog*> panels;
    QList<QFileDialog::AcceptMode> panelModes;
    QList<bool> noticedBeforeRun;
};

// The placeholder's ink, for a control of a given height.
class FTPathControlPlaceholder : public ::testing::TestWithParam<int> {};

TEST_P(FTPathControlPlaceholder, IsCentredAndFourPixelsShorterThanTheControl) {
    FTPathControl control;
    control.resize(420, GetParam());
    control.awakeFromNib();
    const QImage image = control.grab().toImage();
    const QRgb background = control.palette().color(QPalette::Base).rgb();

    QRect ink;
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x)
            if (image.pixel(x, y) != background)
                ink |= QRect(x, y, 1, 1);
    ASSERT_FALSE(ink.isEmpty()) << "nothing drawn";

    QFont expected = QApplication::font();
    expected.setPixelSize(GetParam() - 4);
    EXPECT_EQ(control.placeholderFont(), expected);
    const QRectF glyphs =
        QFontMetricsF(expected).tightBoundingRect(FTPathControl::placeholderText());
    EXPECT_NEAR(ink.width(), glyphs.width(), 2.0);
    EXPECT_NEAR(ink.height(), glyphs.height(), 2.0);
    EXPECT_NEAR(ink.center().x(), image.width() / 2.0, 2.0);
    EXPECT_GE(ink.top(), 0);
    EXPECT_LT(ink.top(), GetParam() / 2) << "the text starts at the top";
}

INSTANTIATE_TEST_SUITE_P(Heights, FTPathControlPlaceholder, ::testing::Values(22, 30, 44));

TEST_F(FTPathControlTest, SingleClickOnUnsetControlOpensThePanelDoubleClickNoSecondOne) {
    QTest::mouseClick(&control, Qt::LeftButton, {}, QPoint(5, 5));
    EXPECT_EQ(panels.size(), 1);
    EXPECT_EQ(panelModes.value(0), QFileDialog::AcceptOpen);
    ASSERT_EQ(delegate.notices.size(), 1);
    EXPECT_EQ(delegate.notices[0].first, u"open"_s);

    panels.clear();
    doubleClick(&control, QPoint(5, 5));
    EXPECT_EQ(panels.size(), 1) << "a fresh unset control has no double action";
}

TEST_F(FTPathControlTest, CancelledPanelLeavesTheControlUnset) {
    const QImage before = placeholderImage();
    QTest::mouseClick(&control, Qt::LeftButton, {}, QPoint(200, 12));

    ASSERT_EQ(panels.size(), 1);
    EXPECT_TRUE(control.URL().isEmpty());
    EXPECT_TRUE(control.targetIsControl());
    EXPECT_TRUE(delegate.initialValues.isEmpty());
    EXPECT_EQ(control.grab().toImage(), before);
}

TEST_F(FTPathControlTest, SavePanelWhenTheOwnerAsksForOne) {
    delegate.wantsSavePanel = true;
    QTest::mouseClick(&control, Qt::LeftButton, {}, QPoint(200, 12));
    ASSERT_EQ(panelModes.size(), 1);
    EXPECT_EQ(panelModes[0], QFileDialog::AcceptSave);
    ASSERT_EQ(delegate.notices.size(), 1);
    EXPECT_EQ(delegate.notices[0].first, u"save"_s);
    EXPECT_EQ(noticedBeforeRun, QList<bool>{true}) << "the notice must come before the panel runs";
}

struct PickCase {
    QString name;
    bool accepted;
};

void PrintTo(const PickCase& pick, std::ostream* out) {
    *out << pick.name.toStdString() << (pick.accepted ? " accepted" : " rejected");
}

class FTPathControlPick : public FTPathControlTest,
                          public ::testing::WithParamInterface<PickCase> {};

TEST_P(FTPathControlPick, OwnerVerdictDecidesTheState) {
    const QString path = sandbox.makeFile(sandbox.homePath(u"Applications/"_s + GetParam().name));
    pickThroughPanel(path);

    ASSERT_EQ(delegate.initialValues, QList<QUrl>{QUrl::fromLocalFile(path)});
    if (GetParam().accepted) {
        EXPECT_EQ(control.URL(), QUrl::fromLocalFile(path));
        EXPECT_FALSE(control.targetIsControl());
        EXPECT_EQ(control.pathItems().last(), QUrl::fromLocalFile(path));
        EXPECT_EQ(control.pathItems().first(), QUrl::fromLocalFile(u"/"_s));
        return;
    }
    EXPECT_TRUE(control.URL().isEmpty());
    EXPECT_TRUE(control.targetIsControl());
    EXPECT_EQ(control.grab().toImage(), placeholderImage());
    panels.clear();
    doubleClick(&control, QPoint(200, 12));
    EXPECT_EQ(panels.size(), 2) << "after a rejection the double click picks a value too";
    EXPECT_TRUE(delegate.clicked.isEmpty());
}

INSTANTIATE_TEST_SUITE_P(Names, FTPathControlPick,
                         ::testing::Values(PickCase{u"Mail Tool.app"_s, true},
                                           PickCase{u"SHOUT.APP"_s, true},
                                           PickCase{u"notes.txt"_s, false},
                                           PickCase{u"app"_s, false}));

TEST_F(FTPathControlTest, SetControlSendsClicksToItsProperActions) {
    const QString path = sandbox.homePath(u"Applications/Mail Tool.app"_s);
    control.setURL(QUrl::fromLocalFile(path));
    EXPECT_TRUE(delegate.initialValues.isEmpty()) << "setting a URL directly never asks";

    QTest::mouseClick(&control, Qt::LeftButton, {}, QPoint(6, 12));
    ASSERT_EQ(delegate.clicked.size(), 1);
    EXPECT_EQ(delegate.clicked[0], QUrl::fromLocalFile(u"/"_s));

    // A double click is reported as its first click, then as a double click.
    doubleClick(&control, QPoint(6, 12));
    EXPECT_EQ(delegate.clicked.size(), 2);
    EXPECT_EQ(delegate.doubleClicked, 1);
    EXPECT_TRUE(panels.isEmpty()) << "a set control never opens the panel itself";
}

TEST_F(FTPathControlTest, NilUrlShowsThePlaceholderButKeepsProperActions) {
    control.setURL(QUrl::fromLocalFile(sandbox.homePath(u"A.app"_s)));
    control.setURL(QUrl());

    EXPECT_FALSE(control.targetIsControl());
    EXPECT_EQ(control.grab().toImage(), placeholderImage());
    QTest::mouseClick(&control, Qt::LeftButton, {}, QPoint(200, 12));
    EXPECT_EQ(delegate.clicked.size(), 1);
    EXPECT_TRUE(panels.isEmpty());
}

TEST_F(FTPathControlTest, UrlSetFromAnotherThreadIsReadAtOnceAndShownLater) {
    const QUrl url = QUrl::fromLocalFile(sandbox.homePath(u"Threads.app"_s));
    std::thread worker([&] { control.setURL(url); });
    worker.join();

    EXPECT_EQ(control.URL(), url);
    EXPECT_FALSE(control.targetIsControl());
    EXPECT_TRUE(QTest::qWaitFor(
        [&] { return !control.pathItems().isEmpty() && control.pathItems().last() == url; }, 1000));
}

TEST_F(FTPathControlTest, NothingIsDraggedOutOfAnUnsetControl) {
    // A rejected value leaves its path items behind the placeholder.
    pickThroughPanel(sandbox.makeFile(sandbox.homePath(u"notes.txt"_s)));
    ASSERT_FALSE(control.pathItems().isEmpty());
    QMimeData data;
    EXPECT_FALSE(control.shouldDragItem(control.pathItems().first(), &data));
    QTest::mousePress(&control, Qt::LeftButton, {}, QPoint(6, 12));
    QTest::mouseMove(&control, QPoint(60, 12));
    QTest::mouseRelease(&control, Qt::LeftButton, {}, QPoint(60, 12));
    EXPECT_TRUE(delegate.dragQuestions.isEmpty());

    control.setURL(QUrl::fromLocalFile(sandbox.homePath(u"Set.app"_s)));
    QTest::mousePress(&control, Qt::LeftButton, {}, QPoint(6, 12));
    QTest::mouseMove(&control, QPoint(60, 12));
    QTest::mouseRelease(&control, Qt::LeftButton, {}, QPoint(60, 12));
    EXPECT_EQ(delegate.dragQuestions, QList<QUrl>{QUrl::fromLocalFile(u"/"_s)});
    EXPECT_TRUE(delegate.clicked.isEmpty()) << "a drag is not a click";
}

TEST_F(FTPathControlTest, DropsOfUrlsAreForwardedToTheOwner) {
    QMimeData urls;
    urls.setUrls({QUrl::fromLocalFile(sandbox.homePath(u"Drop.app"_s))});
    QMimeData text;
    text.setText(u"not a url"_s);

    for (const QMimeData* data : {&text, &urls}) {
        QDragEnterEvent enter(QPoint(10, 10), Qt::CopyAction, data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(&control, &enter);
        EXPECT_EQ(enter.isAccepted(), data == &urls);
        QDropEvent dropped(QPointF(10, 10), Qt::CopyAction, data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(&control, &dropped);
        EXPECT_EQ(dropped.isAccepted(), data == &urls);
    }
    EXPECT_EQ(delegate.validateCount, 1);
    EXPECT_EQ(delegate.acceptCount, 1);

    control.setDelegate(nullptr);
    EXPECT_EQ(control.validateDrop(&urls), Qt::IgnoreAction);
    EXPECT_FALSE(control.acceptDrop(&urls));
}

TEST_F(FTPathControlTest, MenuOfPathItemsIsOfferedToTheOwnerAndClicksTheChosenItem) {
    QContextMenuEvent unsetMenu(QContextMenuEvent::Mouse, QPoint(10, 10),
                                control.mapToGlobal(QPoint(10, 10)));
    QApplication::sendEvent(&control, &unsetMenu);
    EXPECT_TRUE(delegate.menuItems.isEmpty()) << "an unset control has no path items to offer";

    const QString path = sandbox.homePath(u"Menu.app"_s);
    control.setURL(QUrl::fromLocalFile(path));
    QContextMenuEvent setMenu(QContextMenuEvent::Keyboard, QPoint(10, 10),
                              control.mapToGlobal(QPoint(10, 10)));
    QApplication::sendEvent(&control, &setMenu);

    QStringList expected = sv::pathComponents(path);
    std::reverse(expected.begin(), expected.end());
    EXPECT_EQ(delegate.menuItems, expected);
    ASSERT_FALSE(delegate.menuChoice.isNull());
    delegate.menuChoice->trigger();
    EXPECT_EQ(delegate.clicked,
              QList<QUrl>{QUrl::fromLocalFile(sv::stringByDeletingLastPathComponent(path))});
}

TEST_F(FTPathControlTest, KeyboardPicksAndClicksItems) {
    control.setFocus();
    QTest::keyClick(&control, Qt::Key_Space);
    EXPECT_EQ(panels.size(), 1);

    const QString path = sandbox.homePath(u"Applications/Keys.app"_s);
    control.setURL(QUrl::fromLocalFile(path));
    QTest::keyClick(&control, Qt::Key_Left);
    QTest::keyClick(&control, Qt::Key_Return);
    ASSERT_EQ(delegate.clicked.size(), 1);
    EXPECT_EQ(delegate.clicked[0],
              QUrl::fromLocalFile(sv::stringByDeletingLastPathComponent(path)));
    QTest::keyClick(&control, Qt::Key_Return, Qt::ShiftModifier);
    EXPECT_EQ(delegate.doubleClicked, 1);
}

} // namespace
