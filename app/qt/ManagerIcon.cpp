#include "app/qt/ManagerIcon.h"

#include <QPainter>
#include <QPainterPath>
#include <cmath>
#include <numbers>

namespace Kestrova {
namespace {

constexpr QRgb kPaper = 0xff1f3a4d, kWave = 0xffe8a33d, kKey = 0xfff2efe6;
constexpr int kSizes[] = {16, 22, 24, 32, 48, 64, 128, 256};

// In a square of 1 by 1: three swings that die away, from the left edge to the right.
QPainterPath WavePath() {
    constexpr int kPoints = 96;
    QPainterPath path;
    for (int i = 0; i <= kPoints; ++i) {
        const double t = static_cast<double>(i) / kPoints;
        const double swing = std::exp(-2.2 * t) * std::sin(6 * std::numbers::pi * t);
        const QPointF point(0.12 + 0.76 * t, 0.36 - 0.22 * swing);
        if (i == 0)
            path.moveTo(point);
        else
            path.lineTo(point);
    }
    return path;
}

QPixmap DrawnIcon(int nSize) {
    QPixmap pixmap(nSize, nSize);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(nSize, nSize);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor::fromRgba(kPaper));
    painter.drawRoundedRect(QRectF(0.03, 0.03, 0.94, 0.94), 0.18, 0.18);
    painter.setBrush(QColor::fromRgba(kKey));
    for (int i = 0; i < 4; ++i) painter.drawRect(QRectF(0.14 + i * 0.185, 0.62, 0.165, 0.24));
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(QColor::fromRgba(kWave), 0.07, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.drawPath(WavePath());
    return pixmap;
}

}  // namespace

QIcon ManagerIcon() {
    QIcon icon;
    for (const int nSize : kSizes) icon.addPixmap(DrawnIcon(nSize));
    return icon;
}

}  // namespace Kestrova
