#include "tests/app/qt/TextRecorder.h"

#include <QPaintDevice>
#include <QPaintEngine>
#include <QPainterPath>
#include <QPen>
#include <QWidget>
#include <algorithm>
#include <vector>

namespace Kestrova::Test {
namespace {

struct Piece {
    QString strText;
    QRectF box;
    QColor colour;
    qreal nPoints = 0;
};

// Draws nothing and keeps the texts.
class RecordingEngine final : public QPaintEngine {
public:
    explicit RecordingEngine(qreal nPixelRatio) : QPaintEngine(AllFeatures), m_nPixelRatio(nPixelRatio) {}

    bool begin(QPaintDevice*) override { return true; }
    bool end() override { return true; }
    Type type() const override { return User; }
    void updateState(const QPaintEngineState& changed) override {
        if (changed.state().testFlag(DirtyTransform)) m_transform = changed.transform();
        if (changed.state().testFlag(DirtyPen)) m_colour = changed.pen().color();
    }
    void drawTextItem(const QPointF& place, const QTextItem& item) override {
        const QRectF box(place.x(), place.y() - item.ascent(), item.width(), item.ascent() + item.descent());
        const QTransform toWidget = m_transform * QTransform::fromScale(1 / m_nPixelRatio, 1 / m_nPixelRatio);
        m_pieces.push_back({item.text(), toWidget.mapRect(box), m_colour, item.font().pointSizeF()});
    }
    void drawPath(const QPainterPath&) override {}
    void drawPixmap(const QRectF&, const QPixmap&, const QRectF&) override {}
    void drawTiledPixmap(const QRectF&, const QPixmap&, const QPointF&) override {}
    void drawImage(const QRectF&, const QImage&, const QRectF&, Qt::ImageConversionFlags) override {}
    void drawPolygon(const QPointF*, int, PolygonDrawMode) override {}
    void drawPolygon(const QPoint*, int, PolygonDrawMode) override {}

    const std::vector<Piece>& Pieces() const { return m_pieces; }

private:
    const qreal m_nPixelRatio;
    QTransform m_transform;
    QColor m_colour;
    std::vector<Piece> m_pieces;
};

// As fine as the widget's own screen, so that its fonts come out the same.
class RecordingDevice final : public QPaintDevice {
public:
    explicit RecordingDevice(const QWidget& widget)
        : m_widget(widget), m_engine(widget.devicePixelRatioF()) {}

    QPaintEngine* paintEngine() const override { return &m_engine; }
    const std::vector<Piece>& Pieces() const { return m_engine.Pieces(); }

protected:
    int metric(PaintDeviceMetric metric) const override {
        switch (metric) {
            case PdmWidth: return m_widget.width();
            case PdmHeight: return m_widget.height();
            case PdmWidthMM: return m_widget.widthMM();
            case PdmHeightMM: return m_widget.heightMM();
            case PdmNumColors: return 0x1000000;
            case PdmDepth: return 32;
            case PdmDpiX: return m_widget.logicalDpiX();
            case PdmDpiY: return m_widget.logicalDpiY();
            case PdmPhysicalDpiX: return m_widget.physicalDpiX();
            case PdmPhysicalDpiY: return m_widget.physicalDpiY();
            case PdmDevicePixelRatio: return static_cast<int>(m_widget.devicePixelRatioF());
            case PdmDevicePixelRatioScaled:
                return static_cast<int>(m_widget.devicePixelRatioF() * devicePixelRatioFScale());
        }
        return 0;
    }

private:
    const QWidget& m_widget;
    mutable RecordingEngine m_engine;
};

}  // namespace

Drawing DrawnBy(QWidget& widget) {
    RecordingDevice device(widget);
    widget.render(&device, QPoint(), QRegion(), QWidget::RenderFlags());
    std::vector<Piece> pieces = device.Pieces();
    std::stable_sort(pieces.begin(), pieces.end(),
                     [](const Piece& a, const Piece& b) { return a.box.left() < b.box.left(); });
    Drawing drawing;
    for (const Piece& piece : pieces) {
        drawing.strText += piece.strText;
        drawing.box |= piece.box;
        drawing.colour = piece.colour;
        drawing.nPoints = piece.nPoints;
    }
    return drawing;
}

}  // namespace Kestrova::Test
