#include "presentation/MetricsTableViewController.h"

#include "boatlog/BoatLogView.h"
#include "config/MetricsTableConfigViewController.h"
#include "document/BoatLogLookup.h"
#include "document/Document.h"
#include "metrics/BoatMetric.h"
#include "metrics/MetricPresentation.h"
#include "presentation/PresentationWindowController.h"

#include <QAction>
#include <QColor>
#include <QHeaderView>
#include <QPainter>
#include <QPixmap>
#include <QTableWidget>
#include <QVBoxLayout>
#include <cmath>

const QString MetricsTableViewController::noValueText = QStringLiteral("—");

namespace {

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
    table_->setContextMenuPolicy(Qt::ActionsContextMenu);
    auto* choose = new QAction(tr("Choose Rows and Boats…"), table_);
    choose->setObjectName("chooseRows");
    connect(choose, &QAction::triggered, this, [this] { openRowsConfig(); });
    table_->addAction(choose);
    rebuild();
}

MetricsTableViewController::~MetricsTableViewController() = default;

QStringList MetricsTableViewController::defaultMetrics() {
    return {"SOG", "COG", "BoatSpeed", "Heading", "TWS", "TWA", "TWD", "VMG", "Heel"};
}

void MetricsTableViewController::setDisplayedMetrics(const QStringList& metrics, const QStringList& boats) {
    if (metrics == displayedMetrics_ && boats == displayedBoats_)
        return;
    displayedMetrics_ = metrics;
    displayedBoats_ = boats;
    rebuild();
}

void MetricsTableViewController::openRowsConfig() {
    if (!rowsConfig_) {
        auto* config = new MetricsTableConfigViewController(this, window());
        rowsConfig_ = config;
    }
    rowsConfig_->show();
    rowsConfig_->raise();
    rowsConfig_->activateWindow();
}

void MetricsTableViewController::refresh() {
    rebuild();
}

void MetricsTableViewController::viewDidAppear() {
    DocumentObservingViewController::viewDidAppear();
    if (auto* window = windowController()) {
        displayedMetrics_ = window->tableMetrics();
        displayedBoats_ = window->tableBoats();
    }
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
        rows_.emplace_back(BoatMetric(key.toStdString()));

    for (const auto& connection : boatConnections_)
        disconnect(connection);
    boatConnections_.clear();
    boats_.clear();
    if (Document* d = document())
        for (const auto& boat : d->boats())
            if (displayedBoats_.isEmpty() || displayedBoats_.contains(boat->fullName()))
                boats_.push_back(boat);
    for (const auto& boat : boats_)
        for (auto signal : {&Boat::fullNameChanged, &Boat::shortNameChanged, &Boat::colorChanged})
            boatConnections_.append(connect(boat.get(), signal, this, [this] { updateBoatHeaders(); }));

    table_->clear();
    table_->setRowCount(static_cast<int>(rows_.size()));
    table_->setColumnCount(static_cast<int>(boats_.size()));
    for (int r = 0; r < table_->rowCount(); ++r) {
        table_->setVerticalHeaderItem(r, new QTableWidgetItem(rows_[r].title()));
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
    auto fillColumn = [this](int c, const BoatLogView* view) {
        for (int r = 0; r < static_cast<int>(rows_.size()); ++r) {
            QString text = view ? rows_[r].text(view->value(rows_[r].metric())) : noValueText;
            QTableWidgetItem* item = table_->item(r, c);
            // Unchanged cells are left alone, so a paused clock repaints nothing.
            if (item->text() != text)
                item->setText(text);
        }
    };
    for (int c = 0; c < static_cast<int>(boats_.size()); ++c) {
        std::optional<BoatLogView> view;
        if (position)
            view = BoatLogLookup::view(*d, boats_[c], *position);
        fillColumn(c, view ? &*view : nullptr);
    }
}
