// Draws the self-deploying package application's icon at build time: the
// same picture as Sorvane's own icon (a blue tile with three sliders) with a
// down arrow that says "deploys", as a PNG the template bundle names in its
// CFBundleIconFile. Drawn rather than converted from the SVG so that the
// build needs nothing beyond Qt's core image support.
#include <QColor>
#include <QImage>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QString>

#include <cstdio>

namespace {

constexpr int kSize = 256;

void drawTile(QPainter& painter) {
    QLinearGradient background(0, 16, 0, 240);
    background.setColorAt(0, QColor(0x3f, 0x7f, 0xd1));
    background.setColorAt(1, QColor(0x23, 0x50, 0x8f));
    painter.setPen(Qt::NoPen);
    painter.setBrush(background);
    painter.drawRoundedRect(QRectF(16, 16, 224, 224), 48, 48);
}

void drawSliders(QPainter& painter) {
    painter.setPen(QPen(Qt::white, 14, Qt::SolidLine, Qt::RoundCap));
    for (int y : {84, 128, 172})
        painter.drawLine(64, y, 160, y);
    painter.setPen(QPen(QColor(0x23, 0x50, 0x8f), 6));
    painter.setBrush(QColor(0xff, 0xd3, 0x4d));
    painter.drawEllipse(QPointF(96, 84), 16, 16);
    painter.drawEllipse(QPointF(136, 128), 16, 16);
    painter.drawEllipse(QPointF(80, 172), 16, 16);
}

void drawArrow(QPainter& painter) {
    QPainterPath arrow;
    arrow.moveTo(188, 92);
    arrow.lineTo(212, 92);
    arrow.lineTo(212, 150);
    arrow.lineTo(228, 150);
    arrow.lineTo(200, 188);
    arrow.lineTo(172, 150);
    arrow.lineTo(188, 150);
    arrow.closeSubpath();
    painter.setPen(QPen(QColor(0x23, 0x50, 0x8f), 4));
    painter.setBrush(QColor(0xff, 0xd3, 0x4d));
    painter.drawPath(arrow);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <icon.png>\n", argv[0]);
        return 2;
    }
    QImage image(kSize, kSize, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    {
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        drawTile(painter);
        drawSliders(painter);
        drawArrow(painter);
    }
    if (!image.save(QString::fromLocal8Bit(argv[1]), "PNG")) {
        std::fprintf(stderr, "%s: cannot write %s\n", argv[0], argv[1]);
        return 1;
    }
    return 0;
}
