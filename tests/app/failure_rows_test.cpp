// The check's failure rows show why each file failed in the row itself, as
// painted, while the cell keeps its path as text and its message as tool tip.
#include "app/app_delegate.h"
#include "app/main_window.h"

#include "controls/panel_runner.h"
#include "controls/show_alert.h"
#include "fixed_domains.h"
#include "recording_helper.h"
#include "recording_services.h"
#include "sandbox.h"

#include <QAbstractItemDelegate>
#include <QPaintEngine>
#include <QPainter>
#include <QTableWidget>
#include <QTextItem>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// Keeps the texts drawn on it and nothing else.
class TextRecorder : public QPaintDevice {
public:
    QStringList texts() const { return engine_.texts; }

    QPaintEngine* paintEngine() const override { return &engine_; }

protected:
    int metric(PaintDeviceMetric metric) const override {
        switch (metric) {
        case PdmWidth:
        case PdmHeight:
            return 2000;
        case PdmWidthMM:
        case PdmHeightMM:
            return 500;
        case PdmDpiX:
        case PdmDpiY:
        case PdmPhysicalDpiX:
        case PdmPhysicalDpiY:
            return 96;
        case PdmDepth:
            return 32;
        case PdmNumColors:
            return 1 << 24;
        case PdmDevicePixelRatio:
            return 1;
        case PdmDevicePixelRatioScaled:
            return int(devicePixelRatioFScale());
        default:
            return 0;
        }
    }

private:
    class Engine : public QPaintEngine {
    public:
        Engine()
            : QPaintEngine(AllFeatures) {}
        bool begin(QPaintDevice*) override { return true; }
        bool end() override { return true; }
        void updateState(const QPaintEngineState&) override {}
        Type type() const override { return User; }
        void drawPixmap(const QRectF&, const QPixmap&, const QRectF&) override {}
        void drawPath(const QPainterPath&) override {}
        void drawPolygon(const QPointF*, int, PolygonDrawMode) override {}
        void drawTextItem(const QPointF&, const QTextItem& item) override {
            texts.append(item.text());
        }
        QStringList texts;
    };
    mutable Engine engine_;
};

struct RowCase {
    const char* name;
    QString path;
    QString message;
    QString firstLineEnd; // the first line shows at least this end of the path
    QString secondLine;   // the message as the row reads it
};

class FailureRows : public ::testing::TestWithParam<RowCase> {
protected:
    void SetUp() override {
        previousAlerts = setAlertPresenter(&alerts);
        delegate = std::make_unique<AppDelegate>(AppServices{helper, defaults, domains, running});
        delegate->window->resize(900, 640);
        delegate->window->show();
    }
    void TearDown() override {
        delegate.reset();
        setAlertPresenter(previousAlerts);
    }

    Sandbox sandbox;
    RecordingHelper helper;
    RecordingDefaultsRunner defaults;
    FixedDomains domains;
    ScriptedRunningApplications running;
    RecordingAlerts alerts;
    AlertPresenter* previousAlerts = nullptr;
    std::unique_ptr<AppDelegate> delegate;
};

TEST_P(FailureRows, ShowTheMessageUnderThePathWithoutHovering) {
    const RowCase& c = GetParam();
    delegate->plutilErrors = {{c.path, c.message}};
    delegate->reloadFailuresTable();
    QTableWidget* table = delegate->plutilFailuresTable;
    const QTableWidgetItem* cell = table->item(0, 1);
    ASSERT_NE(cell, nullptr);
    EXPECT_EQ(cell->text(), c.path);
    EXPECT_EQ(cell->toolTip(), c.message);

    const QFontMetrics metrics(table->font());
    EXPECT_GE(table->rowHeight(0), 2 * metrics.height()) << "no room for a second line";
    QStyleOptionViewItem option;
    option.initFrom(table);
    option.rect = table->visualItemRect(cell);
    option.font = table->font();
    TextRecorder recorder;
    {
        QPainter painter(&recorder);
        table->itemDelegateForColumn(1)->paint(&painter, option, table->model()->index(0, 1));
    }
    const QStringList lines = recorder.texts();
    ASSERT_EQ(lines.size(), 2) << lines.join(u" | "_s).toStdString();
    EXPECT_TRUE(lines.at(0).endsWith(c.firstLineEnd)) << lines.at(0).toStdString();
    EXPECT_LE(metrics.horizontalAdvance(lines.at(0)), option.rect.width());
    EXPECT_EQ(lines.at(1), c.secondLine);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, FailureRows,
    ::testing::Values(RowCase{"Short", u"/p/bad.plist"_s, u"Unexpected character at line 3"_s,
                              u"/p/bad.plist"_s, u"Unexpected character at line 3"_s},
                      RowCase{"LongPathKeepsItsFileName",
                              u"/home/"_s + QString(300, u'x') +
                                  u"/Library/Preferences/com.example.bad.plist"_s,
                              u"Truncated"_s, u"/com.example.bad.plist"_s, u"Truncated"_s},
                      RowCase{"MessageOfSeveralLinesReadsAsOne", u"/p/two.plist"_s,
                              u"Bad value\n  at key \"size\""_s, u"/p/two.plist"_s,
                              u"Bad value at key \"size\""_s}),
    [](const auto& test) { return std::string(test.param.name); });

} // namespace
