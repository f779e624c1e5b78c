// TextRecorder.h - the text a widget really draws, its place and its colour.
#pragma once

#include <QColor>
#include <QRectF>
#include <QString>

class QWidget;

namespace Kestrova::Test {

struct Drawing {
    QString strText;    // all of it, from left to right
    QRectF box;         // from the first letter's left to the last one's right, in the widget
    QColor colour;      // of the last letter
    qreal nPoints = 0;  // size of its font
};

// Has the widget draw itself, without its children.
Drawing DrawnBy(QWidget& widget);

}  // namespace Kestrova::Test
