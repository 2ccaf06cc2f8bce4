#include "presentation/MetricsOverlayView.h"

#include <QFontMetricsF>
#include <QImage>
#include <QPaintEvent>
#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <cmath>

namespace {

QColor qColor(const RgbColor& rgb) {
    return QColor::fromRgbF(float(rgb.red), float(rgb.green), float(rgb.blue));
}

// A boat colour that reads on the dark panel: dark blues and blacks are lifted.
QColor onDark(const RgbColor& rgb) {
    QColor color = qColor(rgb);
    if (color.lightnessF() < 0.55)
        color = QColor::fromHslF(color.hslHueF(), color.hslSaturationF(), 0.62f);
    return color;
}

QFont panelFont(double pixels, bool bold) {
    QFont f(QStringLiteral("DejaVu Sans"));
    f.setPixelSize(std::max(1, int(std::lround(pixels))));
    f.setBold(bold);
    return f;
}

// Column widths in row heights: wide enough for "Distance to line" and "-12:34", fixed, so that
// changing numbers never move the panel.
constexpr double nameWidth = 4.6;
constexpr double valueWidth = 2.7;
constexpr double unitWidth = 1.1;
constexpr double padding = 0.35;

} // namespace

struct MetricsOverlayView::Geometry {
    double rowHeight = 0;
    QRectF panel;
    double headerHeight = 0;
    bool secondary = false;

    Geometry(const QRectF& picture, Side side, std::size_t rowCount, bool hasSecondary)
        : secondary(hasSecondary) {
        if (rowCount == 0 || picture.isEmpty())
            return;
        const double columns =
            nameWidth + valueWidth + unitWidth + (secondary ? valueWidth : 0.0) + 2 * padding;
        // Readable on a phone-sized view and on a 4K export alike; never wider than half the
        // picture, so that the two panels cannot meet.
        rowHeight = std::clamp(picture.height() / 16.0, 10.0, 120.0);
        rowHeight = std::min(rowHeight, picture.width() * 0.48 / (columns + 0.5));
        const double margin = rowHeight * 0.5;
        headerHeight = secondary ? rowHeight * 0.8 : 0.0;
        const double width = columns * rowHeight;
        const double height = 2 * padding * rowHeight + headerHeight + double(rowCount) * rowHeight;
        const double x = side == Side::left ? picture.left() + margin : picture.right() - margin - width;
        panel = QRectF(x, picture.bottom() - margin - height, width, height);
    }

    QRectF rowRect(std::size_t i) const {
        return QRectF(panel.left(), panel.top() + padding * rowHeight + headerHeight + double(i) * rowHeight,
                      panel.width(), rowHeight);
    }
};

MetricsOverlayView::MetricsOverlayView(Side side, QWidget* parent) : QWidget(parent), side_(side) {
    setObjectName(side == Side::left ? "metricsViewLeft" : "metricsView");
    setAttribute(Qt::WA_TransparentForMouseEvents);
    setAttribute(Qt::WA_NoSystemBackground);
}

void MetricsOverlayView::setPictureRect(const QRectF& rect) {
    if (rect == picture_)
        return;
    picture_ = rect;
    panel_.reset();
    update();
}

std::vector<MetricsOverlayContent::Row>
MetricsOverlayView::rowsOfSide(const MetricsOverlayContent::Content& content, Side side) {
    // The left panel takes the first half, rounded up: a list read left to right.
    const std::size_t leftCount = (content.rows.size() + 1) / 2;
    auto middle = content.rows.begin() + std::ptrdiff_t(leftCount);
    return side == Side::left ? std::vector<MetricsOverlayContent::Row>(content.rows.begin(), middle)
                              : std::vector<MetricsOverlayContent::Row>(middle, content.rows.end());
}

void MetricsOverlayView::setContent(const MetricsOverlayContent::Content& content) {
    std::vector<MetricsOverlayContent::Row> rows = rowsOfSide(content, side_);
    // The names and units of the rows and the boats are drawn once into the panel's image.
    bool sameShape = rows.size() == rows_.size() && content.mainBoat == content_.mainBoat &&
                     content.secondaryBoat == content_.secondaryBoat;
    for (std::size_t i = 0; sameShape && i < rows.size(); ++i)
        sameShape = rows[i].name == rows_[i].name && rows[i].unit == rows_[i].unit;
    if (sameShape) {
        Geometry geometry(picture_, side_, rows.size(), content.secondaryBoat.has_value());
        for (std::size_t i = 0; i < rows.size(); ++i)
            if (!(rows[i] == rows_[i]))
                update(geometry.rowRect(i).toAlignedRect().adjusted(-1, -1, 1, 1));
    } else {
        panel_.reset();
        update();
    }
    content_ = content;
    rows_ = std::move(rows);
}

QRectF MetricsOverlayView::panelRect() const {
    return Geometry(picture_, side_, rows_.size(), content_.secondaryBoat.has_value()).panel;
}

// A panel ready to draw: its fonts and columns, and an image of everything that does not change
// from tick to tick (the plate, the names, the units, the boats), so that a tick draws one image
// and the numbers.
struct MetricsOverlayView::Panel {
    Geometry g;
    QFont nameFont, valueFont, unitFont, headerFont;
    QRectF valueColumn, secondColumn, unitColumn, nameColumn;
    QImage background;
    QImage composed;
    std::vector<MetricsOverlayContent::Row> composedRows;
    QColor secondaryColor = Qt::white;

    Panel(const Geometry& geometry, const std::vector<MetricsOverlayContent::Row>& rows,
          const MetricsOverlayContent::Content& content, qreal pixelRatio)
        : g(geometry) {
        if (rows.empty() || g.panel.isEmpty())
            return;
        const double h = g.rowHeight;
        nameFont = panelFont(h * 0.40, false);
        valueFont = panelFont(h * 0.62, true);
        unitFont = panelFont(h * 0.38, false);
        headerFont = panelFont(h * 0.36, true);
        const double left = g.panel.left() + padding * h;
        nameColumn = QRectF(left, 0, nameWidth * h, h);
        valueColumn = QRectF(nameColumn.right(), 0, valueWidth * h, h);
        // The secondary boat's number sits right beside the main boat's; the unit serves both.
        secondColumn = QRectF(valueColumn.right(), 0, g.secondary ? valueWidth * h : 0.0, h);
        unitColumn = QRectF(secondColumn.right() + 0.15 * h, 0, (unitWidth - 0.15) * h, h);
        if (content.secondaryBoat)
            secondaryColor = onDark(content.secondaryBoat->color);

        const QSize size = (g.panel.size() * pixelRatio).toSize() + QSize(1, 1);
        background = QImage(size, QImage::Format_ARGB32_Premultiplied);
        background.setDevicePixelRatio(pixelRatio);
        background.fill(Qt::transparent);
        QPainter painter(&background);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setRenderHint(QPainter::TextAntialiasing);
        painter.translate(-g.panel.topLeft());
        // Dark and see-through: numbers read on sunlit water and on a dark cabin alike.
        painter.setPen(Qt::NoPen);
        painter.setBrush(QColor(0, 0, 0, 170));
        painter.drawRoundedRect(g.panel, h * 0.25, h * 0.25);
        if (g.secondary) {
            const QRectF header(g.panel.left(), g.panel.top() + padding * h, g.panel.width(), g.headerHeight);
            painter.setFont(headerFont);
            auto name = [&](const QRectF& column,
                            const std::optional<MetricsOverlayContent::BoatLabel>& boat) {
                if (!boat)
                    return;
                painter.setPen(onDark(boat->color));
                painter.drawText(
                    QRectF(column.left(), header.top(), column.width(), header.height()),
                    Qt::AlignRight | Qt::AlignVCenter,
                    painter.fontMetrics().elidedText(boat->name, Qt::ElideRight, int(column.width())));
            };
            name(valueColumn, content.mainBoat);
            name(secondColumn, content.secondaryBoat);
        }
        for (std::size_t i = 0; i < rows.size(); ++i) {
            const QRectF row = g.rowRect(i);
            auto at = [&](const QRectF& column) {
                return QRectF(column.left(), row.top(), column.width(), h);
            };
            painter.setFont(nameFont);
            painter.setPen(QColor(0xd8, 0xd8, 0xd8));
            painter.drawText(
                at(nameColumn), Qt::AlignLeft | Qt::AlignVCenter,
                painter.fontMetrics().elidedText(rows[i].name, Qt::ElideRight, int(nameColumn.width())));
            painter.setFont(unitFont);
            painter.setPen(QColor(0xc0, 0xc0, 0xc0));
            painter.drawText(at(unitColumn), Qt::AlignLeft | Qt::AlignVCenter, rows[i].unit);
        }
    }

    bool isEmpty() const { return background.isNull(); }

    // Draws the panel; the numbers are drawn into a second image only when they changed, so that a
    // repaint of the picture under an unchanged panel is one image.
    void paint(QPainter& painter, const std::vector<MetricsOverlayContent::Row>& rows) {
        if (isEmpty())
            return;
        if (composed.isNull() || rows != composedRows) {
            if (composed.isNull()) {
                composed = QImage(background.size(), background.format());
                composed.setDevicePixelRatio(background.devicePixelRatio());
            }
            QPainter image(&composed);
            image.setCompositionMode(QPainter::CompositionMode_Source);
            image.drawImage(QPointF(0, 0), background);
            image.setCompositionMode(QPainter::CompositionMode_SourceOver);
            image.translate(-g.panel.topLeft());
            drawValues(image, rows);
            composedRows = rows;
        }
        painter.drawImage(g.panel.topLeft(), composed);
    }

    void drawValues(QPainter& painter, const std::vector<MetricsOverlayContent::Row>& rows) const {
        painter.setRenderHint(QPainter::TextAntialiasing);
        painter.setFont(valueFont);
        const QFontMetricsF metrics(valueFont, painter.device());
        // Numbers right-aligned by their advance: plain text drawing, no layout per call.
        auto draw = [&](const QRectF& column, const QRectF& row, const QString& text) {
            const double baseline = row.top() + (row.height() + metrics.ascent() - metrics.descent()) / 2.0;
            painter.drawText(QPointF(column.right() - metrics.horizontalAdvance(text), baseline), text);
        };
        for (std::size_t i = 0; i < rows.size(); ++i) {
            const QRectF row = g.rowRect(i);
            painter.setPen(Qt::white);
            draw(valueColumn, row, rows[i].value);
            if (g.secondary) {
                painter.setPen(secondaryColor);
                draw(secondColumn, row, rows[i].secondaryValue);
            }
        }
    }
};

void MetricsOverlayView::paintOverlays(QPainter& painter, const QRectF& picture,
                                       const MetricsOverlayContent::Content& content) {
    for (Side side : {Side::left, Side::right}) {
        auto rows = rowsOfSide(content, side);
        Panel(Geometry(picture, side, rows.size(), content.secondaryBoat.has_value()), rows, content, 1.0)
            .paint(painter, rows);
    }
}

void MetricsOverlayView::paintEvent(QPaintEvent*) {
    if (!panel_)
        panel_ = std::make_unique<Panel>(
            Geometry(picture_, side_, rows_.size(), content_.secondaryBoat.has_value()), rows_, content_,
            devicePixelRatioF());
    QPainter painter(this);
    panel_->paint(painter, rows_);
}

MetricsOverlayView::~MetricsOverlayView() = default;
