#include "presentation/MetricsTableViewController.h"

#include "boatlog/BoatLogView.h"
#include "boatlog/LogFileAsset.h"
#include "document/Document.h"
#include "metrics/BoatMetric.h"
#include "metrics/DurationFormatter.h"
#include "metrics/NumberFormatter.h"
#include "metrics/TimeIntervalFormatter.h"
#include "metrics/ZeroBasedAngleFormatter.h"
#include "presentation/PresentationWindowController.h"

#include <QColor>
#include <QHeaderView>
#include <QPainter>
#include <QPixmap>
#include <QTableWidget>
#include <QVBoxLayout>
#include <cmath>

using Case = BoatMetric::Case;

const QString MetricsTableViewController::noValueText = QStringLiteral("—");

// How one metric is shown: its title, the unit its values are converted to, and its formatter.
struct MetricsTableViewController::Row {
    BoatMetric metric;
    QString title;
    const Unit* displayUnit;
    std::shared_ptr<const Formatter> formatter;
    // A compass direction: shown in 0…359, so that 359.7 reads 0 rather than 360.
    bool isDirection = false;
};

namespace {

std::shared_ptr<const NumberFormatter> decimals(int digits, QString suffix = {}) {
    auto formatter = std::make_shared<NumberFormatter>();
    // A fixed number of digits, so that a column of changing values does not jitter.
    formatter->minimumFractionDigits = digits;
    formatter->maximumFractionDigits = digits;
    formatter->suffix = std::move(suffix);
    return formatter;
}

std::shared_ptr<const Formatter> zeroBasedAngle(int digits) {
    return std::make_shared<BoatMetric::ZeroBasedAngleFormatter>(decimals(digits));
}

std::shared_ptr<const Formatter> duration() {
    auto base = std::make_shared<TimeIntervalFormatter>();
    // Start-line times are minutes and seconds; hours would only take room.
    base->showHours = false;
    return std::make_shared<BoatMetric::DurationFormatter>(base);
}

QString displayName(const BoatMetric& metric) {
    switch (metric.metricCase()) {
    case Case::BoatSpeed:
        return "BSP";
    case Case::TargetBoatSpeed:
        return "Target BSP";
    case Case::BoatSpeedPercOfTarget:
        return "BSP of target";
    case Case::TargetVMG:
        return "Target VMG";
    case Case::VMGPercOfTarget:
        return "VMG of target";
    case Case::TargetTWA:
        return "Target TWA";
    case Case::TargetHeel:
        return "Target heel";
    case Case::TimeToGun:
        return "Time to gun";
    case Case::TimeToLine:
        return "Time to line";
    case Case::TimeToBurn:
        return "Time to burn";
    case Case::BelowLine:
        return "Below line";
    case Case::DistanceToLine:
        return "Distance to line";
    case Case::TimeToLineReaching:
        return "Time to line, reaching";
    case Case::DistanceToLineReaching:
        return "Distance to line, reaching";
    case Case::CurrentAngleTrue:
        return "Current direction";
    case Case::CurrentSpeed:
        return "Current speed";
    default:
        return QString::fromStdString(metric.rawKey());
    }
}

QString symbol(const Unit& unit) {
    return QString::fromUtf8(unit.symbol().data(), unit.symbol().size());
}

MetricsTableViewController::Row makeRow(const BoatMetric& metric) {
    MetricsTableViewController::Row row{metric, displayName(metric), &metric.unit(), nullptr};
    const Unit& unit = metric.unit();
    bool showUnit = true;
    switch (unit.dimension()) {
    case Unit::Dimension::angle:
        row.displayUnit = &UnitAngle::degrees();
        switch (metric.metricCase()) {
        case Case::Lat:
        case Case::Lon:
        case Case::MkLat:
        case Case::MkLon:
        case Case::Portlat:
        case Case::Portlon:
        case Case::Stbdlat:
        case Case::Stbdlon:
            // About a metre.
            row.formatter = decimals(5);
            break;
        case Case::Heading:
        case Case::COG:
        case Case::TWD:
        case Case::CurrentAngleTrue:
            row.formatter = decimals(0);
            row.isDirection = true;
            break;
        case Case::Rake:
        case Case::TargetRake:
            row.formatter = decimals(1);
            break;
        default:
            // Angles to the bow or the vertical: port and leeward read negative.
            row.formatter = zeroBasedAngle(0);
            break;
        }
        break;
    case Unit::Dimension::speed:
        row.displayUnit = &UnitSpeed::knots();
        switch (metric.metricCase()) {
        case Case::BoatSpeed:
        case Case::TargetBoatSpeed:
        case Case::SOG:
        case Case::VMG:
        case Case::TargetVMG:
            row.formatter = decimals(2);
            break;
        default:
            row.formatter = decimals(1);
            break;
        }
        break;
    case Unit::Dimension::mass:
        row.displayUnit = &UnitMass::metricTons();
        row.formatter = decimals(2);
        break;
    case Unit::Dimension::duration:
        row.displayUnit = &UnitDuration::seconds();
        row.formatter = duration();
        showUnit = false;
        break;
    case Unit::Dimension::length:
        row.displayUnit = &UnitLength::meters();
        row.formatter = decimals(1);
        break;
    case Unit::Dimension::scalar:
        if (&unit == &UnitScalar::percent()) {
            row.displayUnit = &UnitScalar::percent();
            row.formatter = decimals(0, "%");
            showUnit = false;
        } else {
            row.displayUnit = &UnitScalar::scalar();
            row.formatter = decimals(2);
        }
        break;
    }
    QString unitSymbol = symbol(*row.displayUnit);
    if (showUnit && !unitSymbol.isEmpty())
        row.title += " (" + unitSymbol + ")";
    return row;
}

QString valueText(const MetricsTableViewController::Row& row, const std::optional<Measurement>& measurement) {
    if (!measurement || !measurement->canConvert(*row.displayUnit))
        return MetricsTableViewController::noValueText;
    double value = measurement->converted(*row.displayUnit).value();
    if (!std::isfinite(value))
        return decimals(0)->string(value);
    if (row.isDirection) {
        value = std::fmod(value, 360.0);
        if (value < 0)
            value += 360.0;
        if (std::nearbyint(value) >= 360.0)
            value = 0.0;
    }
    return row.formatter->string(QVariant(value));
}

// The boat's state at `t` from whichever of its logs covers it.
std::optional<BoatLogView> boatView(const Document& document, const std::shared_ptr<Boat>& boat, Instant t) {
    for (const auto& asset : document.logAssets(boat))
        if (const auto& log = asset->boatLog())
            if (auto view = log->view(t, true))
                return view;
    return std::nullopt;
}

QIcon colorSwatch(const QColor& color) {
    QPixmap pixmap(12, 12);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(color.darker(140), 1));
    painter.setBrush(color);
    painter.drawEllipse(QRectF(0.5, 0.5, 11, 11));
    return QIcon(pixmap);
}

} // namespace

MetricsTableViewController::MetricsTableViewController(QWidget* parent)
    : DocumentObservingViewController(parent), table_(new QTableWidget(this)) {
    setObjectName("MetricsTable");
    table_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table_->setSelectionMode(QAbstractItemView::NoSelection);
    table_->setFocusPolicy(Qt::NoFocus);
    table_->setAlternatingRowColors(true);
    table_->setWordWrap(false);
    // Sizes never follow the contents: a tick must not measure text or lay the table out again.
    table_->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
    table_->horizontalHeader()->setMinimumSectionSize(72);
    table_->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    table_->verticalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(table_);
    rebuild();
}

MetricsTableViewController::~MetricsTableViewController() = default;

QStringList MetricsTableViewController::defaultMetrics() {
    return {"SOG", "COG", "BoatSpeed", "Heading", "TWS", "TWA", "TWD", "VMG", "Heel"};
}

void MetricsTableViewController::setDisplayedMetrics(const QStringList& metrics) {
    if (metrics == displayedMetrics_)
        return;
    displayedMetrics_ = metrics;
    rebuild();
}

void MetricsTableViewController::refresh() {
    rebuild();
}

void MetricsTableViewController::viewDidAppear() {
    DocumentObservingViewController::viewDidAppear();
    if (auto* window = windowController())
        displayedMetrics_ = window->displayedMetrics();
    // Nothing was heard while hidden.
    rebuild();
}

void MetricsTableViewController::documentDidChange() {
    rebuild();
}

void MetricsTableViewController::didUpdateAssets() {
    // Time zones and offsets of logs may have changed.
    updateValues();
}

void MetricsTableViewController::didUpdateBoats() {
    rebuild();
}

void MetricsTableViewController::didUpdatePlaybackPosition(std::optional<Instant>, bool) {
    updateValues();
}

void MetricsTableViewController::rebuild() {
    rows_.clear();
    const QStringList& keys = displayedMetrics_.isEmpty() ? defaultMetrics() : displayedMetrics_;
    for (const QString& key : keys)
        rows_.push_back(makeRow(BoatMetric(key.toStdString())));

    for (const auto& connection : boatConnections_)
        disconnect(connection);
    boatConnections_.clear();
    boats_.clear();
    if (Document* d = document())
        boats_ = d->boats();
    for (const auto& boat : boats_)
        for (auto signal : {&Boat::fullNameChanged, &Boat::shortNameChanged, &Boat::colorChanged})
            boatConnections_.append(connect(boat.get(), signal, this, [this] { updateBoatHeaders(); }));

    table_->clear();
    table_->setRowCount(static_cast<int>(rows_.size()));
    table_->setColumnCount(static_cast<int>(boats_.size()));
    for (int r = 0; r < table_->rowCount(); ++r) {
        table_->setVerticalHeaderItem(r, new QTableWidgetItem(rows_[r].title));
        for (int c = 0; c < table_->columnCount(); ++c) {
            auto* item = new QTableWidgetItem(noValueText);
            item->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
            table_->setItem(r, c, item);
        }
    }
    updateBoatHeaders();
    updateValues();
}

void MetricsTableViewController::updateBoatHeaders() {
    for (int c = 0; c < static_cast<int>(boats_.size()); ++c) {
        const Boat& boat = *boats_[c];
        RgbColor rgb = boat.color();
        QColor color = QColor::fromRgbF(rgb.red, rgb.green, rgb.blue);
        auto* header = new QTableWidgetItem(boat.shortName().isEmpty() ? boat.fullName() : boat.shortName());
        // A pale boat colour (yellow, white) would vanish on the header; its darker shade still
        // reads as the boat's.
        double luminance = 0.299 * rgb.red + 0.587 * rgb.green + 0.114 * rgb.blue;
        header->setForeground(luminance > 0.6 ? color.darker(170) : color);
        // The swatch keeps a pale boat colour recognisable on a pale header.
        header->setIcon(colorSwatch(color));
        header->setToolTip(boat.fullName());
        table_->setHorizontalHeaderItem(c, header);
    }
}

void MetricsTableViewController::updateValues() {
    Document* d = document();
    std::optional<Instant> position = d ? d->eventPlaybackPosition() : std::nullopt;
    for (int c = 0; c < static_cast<int>(boats_.size()); ++c) {
        std::optional<BoatLogView> view = position ? boatView(*d, boats_[c], *position) : std::nullopt;
        for (int r = 0; r < static_cast<int>(rows_.size()); ++r) {
            QString text = view ? valueText(rows_[r], view->value(rows_[r].metric)) : noValueText;
            QTableWidgetItem* item = table_->item(r, c);
            // Unchanged cells are left alone, so a paused clock repaints nothing.
            if (item->text() != text)
                item->setText(text);
        }
    }
}
