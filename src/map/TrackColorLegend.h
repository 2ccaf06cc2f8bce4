#pragma once

#include "metrics/BoatMetric.h"

#include <QImage>
#include <QString>
#include <QWidget>
#include <memory>
#include <optional>

class TrackColorScale;

// The key to coloured tracks, in a corner of the map: a small translucent panel with the metric's
// name, the colour scale and the values at its two ends; when no log has the metric, a line that
// says so. The map under it repaints at every tick, so the panel is drawn once per change and
// copied after that. Clicks and drags go through to the map.
class TrackColorLegend : public QWidget {
    Q_OBJECT
public:
    explicit TrackColorLegend(QWidget* parent = nullptr);

    // What the panel shows; without a metric it hides.
    void setContent(const std::optional<BoatMetric>& metric, std::shared_ptr<const TrackColorScale> scale);

    // The texts shown, for checks: the metric's name, and the two ends' values (empty without a
    // scale).
    const QString& title() const { return title_; }
    const QString& lowText() const { return lowText_; }
    const QString& highText() const { return highText_; }

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void render();

    std::optional<BoatMetric> metric_;
    std::shared_ptr<const TrackColorScale> scale_;
    QString title_;
    QString lowText_;
    QString highText_;
    QImage image_;
};
