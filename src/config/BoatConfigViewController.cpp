#include "config/BoatConfigViewController.h"

#include "boatlog/LogFileAsset.h"
#include "config/LogAssetTableModel.h"
#include "config/LogImportController.h"
#include "config/TimeZoneComboBox.h"
#include "document/ChangeBoat.h"
#include "document/Document.h"
#include "document/RemoveLogAssets.h"
#include "document/SetLogTimeZone.h"
#include "metrics/Boat.h"
#include "presentation/EditPerformer.h"
#include "presentation/WarningAlert.h"

#include <QColorDialog>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFileDialog>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QMimeData>
#include <QPainter>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTableView>
#include <QVBoxLayout>
#include <algorithm>

namespace {

QColor qColor(RgbColor color) {
    return QColor::fromRgbF(float(color.red), float(color.green), float(color.blue));
}

RgbColor rgbColor(const QColor& color) {
    const QColor rgb = color.toRgb();
    return {rgb.redF(), rgb.greenF(), rgb.blueF()};
}

QIcon swatch(const QColor& color) {
    QPixmap pixmap(28, 14);
    pixmap.fill(color);
    QPainter painter(&pixmap);
    painter.setPen(QColor(0, 0, 0, 90));
    painter.drawRect(pixmap.rect().adjusted(0, 0, -1, -1));
    return QIcon(pixmap);
}

// The metrics of a log by their catalogue names, in catalogue order, the log's own after.
QString metricsText(const LogFileAsset& asset) {
    if (!asset.boatLog())
        return {};
    std::vector<BoatMetric> metrics = asset.boatLog()->availableMetrics();
    std::stable_sort(metrics.begin(), metrics.end(), [](const BoatMetric& a, const BoatMetric& b) {
        if (a.isCustom() != b.isCustom())
            return !a.isCustom();
        return a.isCustom() ? a.customName() < b.customName() : a.fixedIndex() < b.fixedIndex();
    });
    QStringList names;
    for (const BoatMetric& metric : metrics)
        names << QString::fromStdString(metric.rawKey());
    return names.join(QStringLiteral(", "));
}

bool measuresHull(const LogFileAsset& asset) {
    if (!asset.boatLog())
        return false;
    const std::vector<BoatMetric> metrics = asset.boatLog()->availableMetrics();
    auto has = [&](BoatMetric::Case c) {
        return std::find(metrics.begin(), metrics.end(), c) != metrics.end();
    };
    using Case = BoatMetric::Case;
    return has(Case::LatBow) && has(Case::LonBow) && has(Case::LatStern) && has(Case::LonStern);
}

QDoubleSpinBox* metresBox(double minimum, double maximum) {
    auto* box = new QDoubleSpinBox;
    box->setRange(minimum, maximum);
    box->setDecimals(2);
    box->setSingleStep(0.1);
    box->setSuffix(QObject::tr(" m"));
    // One edit when the figure is entered, not one per keystroke.
    box->setKeyboardTracking(false);
    return box;
}

} // namespace

BoatConfigViewController::BoatConfigViewController(Document* document, std::shared_ptr<Boat> boat,
                                                   QWidget* parent)
    : QWidget(parent), document_(document) {
    setObjectName("BoatConfig");
    setAcceptDrops(true);

    questions_.chooseColor = [this](const QColor& current) -> std::optional<QColor> {
        const QColor chosen = QColorDialog::getColor(current, this, tr("Boat Colour"));
        return chosen.isValid() ? std::optional(chosen) : std::nullopt;
    };
    questions_.chooseLogFiles = [this] {
        QFileDialog dialog(this, tr("Choose a file"));
        dialog.setFileMode(QFileDialog::ExistingFiles);
        dialog.setNameFilters({tr("Boat logs (*.csv *.gpx *.vcc *.kml *.log *.hdf5)"), tr("All files (*)")});
        dialog.setSizeGripEnabled(true);
        return dialog.exec() == QDialog::Accepted ? dialog.selectedFiles() : QStringList();
    };
    questions_.askReloadRaces = [this] {
        QMessageBox box(this);
        box.setIcon(QMessageBox::Question);
        box.setText(tr("Changing log file time zone"));
        box.setInformativeText(tr("Derive the races, legs, tacks and gybes again from the logs at their new "
                                  "times? Races found in the logs replace the event's races."));
        QPushButton* reload = box.addButton(tr("Reload races"), QMessageBox::AcceptRole);
        QPushButton* skip = box.addButton(tr("Skip"), QMessageBox::RejectRole);
        box.setDefaultButton(reload);
        box.setEscapeButton(skip);
        box.exec();
        return box.clickedButton() == reload;
    };
    questions_.alert = [this](const QString& message, const QString& informativeText) {
        showWarningAlert(this, message, informativeText);
    };

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(makeSettings());
    layout->addWidget(makeLogs(), 1);

    if (document_) {
        // Log imports and removals announce themselves as boat changes too.
        connect(document_, &Document::documentBoatsUpdated, this, [this] { reloadAssets(); });
        connect(document_, &Document::documentAssetsUpdated, this, [this] { reloadAssets(); });
    }
    setBoat(std::move(boat));
}

BoatConfigViewController::~BoatConfigViewController() = default;

Document* BoatConfigViewController::document() const {
    return document_;
}

QWidget* BoatConfigViewController::makeSettings() {
    fullName_ = new QLineEdit;
    fullName_->setObjectName("fullName");
    shortName_ = new QLineEdit;
    shortName_->setObjectName("shortName");
    shortName_->setPlaceholderText(tr("Shown on the map beside the boat"));
    color_ = new QPushButton;
    color_->setObjectName("color");
    color_->setToolTip(tr("The colour of the boat and its track"));
    displayMode_ = new QComboBox;
    displayMode_->setObjectName("displayMode");
    displayMode_->addItems({tr("Main"), tr("Secondary"), tr("Other")});
    displayMode_->setToolTip(tr("One boat is Main and one Secondary; choosing either for this boat makes "
                                "the boat that had it Other."));
    boatLength_ = metresBox(0.0, 200.0);
    boatLength_->setObjectName("boatLength");
    gpsOffset_ = metresBox(-50.0, 200.0);
    gpsOffset_->setObjectName("gpsOffset");
    gpsOffset_->setToolTip(tr("How far forward of the stern the GPS antenna sits; used when log files are "
                              "converted"));

    connect(fullName_, &QLineEdit::editingFinished, this, [this] { commitFullName(); });
    connect(shortName_, &QLineEdit::editingFinished, this, [this] { commitShortName(); });
    connect(color_, &QPushButton::clicked, this, [this] { chooseColor(); });
    connect(displayMode_, &QComboBox::activated, this, [this](int index) { setBoatDisplayModeIndex(index); });
    connect(boatLength_, &QDoubleSpinBox::valueChanged, this, [this](double metres) {
        if (!loading_ && boat_ && document_ && metres != boat_->boatLength())
            performEdit(*document_, ChangeBoat::boatLength(boat_, metres));
    });
    connect(gpsOffset_, &QDoubleSpinBox::valueChanged, this, [this](double metres) {
        if (!loading_ && boat_ && document_ && metres != boat_->gpsOffset())
            performEdit(*document_, ChangeBoat::gpsOffset(boat_, metres));
    });

    auto* form = new QFormLayout;
    // Names take the width; numbers and choices keep theirs.
    form->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);
    form->addRow(tr("Name:"), fullName_);
    form->addRow(tr("Short name:"), shortName_);
    auto* colorRow = new QHBoxLayout;
    colorRow->addWidget(color_);
    colorRow->addStretch();
    form->addRow(tr("Colour:"), colorRow);
    form->addRow(tr("Display:"), displayMode_);
    form->addRow(tr("Length:"), boatLength_);
    form->addRow(tr("GPS antenna:"), gpsOffset_);
    auto* box = new QGroupBox(tr("Boat"));
    box->setLayout(form);
    return box;
}

QWidget* BoatConfigViewController::makeLogs() {
    model_ = new LogAssetTableModel(this);
    table_ = new QTableView;
    table_->setObjectName("assetsTable");
    table_->setModel(model_);
    table_->setSelectionBehavior(QAbstractItemView::SelectRows);
    table_->setSelectionMode(QAbstractItemView::ExtendedSelection);
    table_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table_->setWordWrap(false);
    table_->verticalHeader()->hide();
    // The figures keep their width; the file name, a UUID mostly, gives way in its middle.
    table_->horizontalHeader()->setSectionResizeMode(QHeaderView::ResizeToContents);
    table_->horizontalHeader()->setSectionResizeMode(LogAssetTableModel::File, QHeaderView::Stretch);
    table_->setTextElideMode(Qt::ElideMiddle);
    table_->setSortingEnabled(true);
    table_->sortByColumn(LogAssetTableModel::Start, Qt::AscendingOrder);
    table_->installEventFilter(this);
    connect(table_->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            [this] { selectionChanged(); });
    // Unloaded rows show their reason across the columns they have no values for.
    connect(model_, &QAbstractItemModel::modelReset, this, [this] { updateSpans(); });
    connect(model_, &QAbstractItemModel::layoutChanged, this, [this] { updateSpans(); });

    add_ = new QPushButton(tr("Add Log Files…"));
    add_->setObjectName("addLogFiles");
    add_->setToolTip(tr("Import instrument logs for this boat; you can also drop log files here"));
    remove_ = new QPushButton(tr("Remove"));
    remove_->setObjectName("removeLogFiles");
    connect(add_, &QPushButton::clicked, this, [this] { addLogFiles(); });
    connect(remove_, &QPushButton::clicked, this, [this] { removeLogFiles(); });

    zone_ = new TimeZoneComboBox;
    zone_->setObjectName("logTimeZone");
    zone_->setToolTip(tr("The zone the clock times of the selected logs are read in"));
    connect(zone_, &TimeZoneComboBox::zoneChosen, this, [this](const TimeZone& zone) { zoneChosen(zone); });

    metrics_ = new QPlainTextEdit;
    metrics_->setObjectName("metrics");
    metrics_->setReadOnly(true);
    metrics_->setMaximumHeight(fontMetrics().lineSpacing() * 4 + 12);
    metricsLabel_ = new QLabel(tr("Metrics:"));

    auto* buttons = new QHBoxLayout;
    buttons->addWidget(add_);
    buttons->addWidget(remove_);
    buttons->addSpacing(16);
    buttons->addWidget(new QLabel(tr("Time zone:")));
    buttons->addWidget(zone_, 1);

    auto* layout = new QVBoxLayout;
    layout->addWidget(table_, 1);
    layout->addLayout(buttons);
    layout->addWidget(metricsLabel_);
    layout->addWidget(metrics_);
    auto* box = new QGroupBox(tr("Log files"));
    box->setLayout(layout);
    return box;
}

void BoatConfigViewController::setBoat(std::shared_ptr<Boat> boat) {
    for (const auto& connection : boatConnections_)
        disconnect(connection);
    boatConnections_.clear();
    boat_ = std::move(boat);
    setEnabled(boat_ && document_);
    observeBoat();
    table_->clearSelection();
    reloadAssets();
}

void BoatConfigViewController::observeBoat() {
    if (!boat_)
        return;
    Boat* boat = boat_.get();
    for (auto signal : {&Boat::fullNameChanged, &Boat::shortNameChanged, &Boat::colorChanged,
                        &Boat::displayModeChanged, &Boat::boatLengthChanged, &Boat::gpsOffsetChanged})
        boatConnections_.push_back(connect(boat, signal, this, [this] { reloadSettings(); }));
}

void BoatConfigViewController::reloadSettings() {
    if (!boat_)
        return;
    loading_ = true;
    // A field the user is typing in keeps the text until they finish it.
    if (!fullName_->isModified())
        fullName_->setText(boat_->fullName());
    if (!shortName_->isModified())
        shortName_->setText(boat_->shortName());
    const QColor color = qColor(boat_->color());
    color_->setIcon(swatch(color));
    color_->setText(QString::fromStdString(Boat::colorText(boat_->color())));
    displayMode_->setCurrentIndex(boatDisplayModeIndex());
    // Setting an equal value would still throw away a figure being typed.
    if (boatLength_->value() != boat_->boatLength())
        boatLength_->setValue(boat_->boatLength());
    if (gpsOffset_->value() != boat_->gpsOffset())
        gpsOffset_->setValue(boat_->gpsOffset());
    const bool canChange = canChangeBoatLength();
    boatLength_->setEnabled(canChange);
    boatLength_->setToolTip(canChange ? tr("Used when log files are converted")
                                      : tr("The logs of this boat measure its bow and stern: its length is "
                                           "theirs"));
    // The outline deletes a removed boat's editor; until then it edits nothing.
    if (document_) {
        const auto& boats = document_->boats();
        setEnabled(std::find(boats.begin(), boats.end(), boat_) != boats.end());
    }
    loading_ = false;
}

void BoatConfigViewController::reloadAssets() {
    std::vector<const LogFileAsset*> selected;
    std::vector<QUuid> selectedUnloadedLogs = selectedUnloaded();
    for (const auto& asset : selectedAssets())
        selected.push_back(asset.get());

    std::vector<std::shared_ptr<LogFileAsset>> assets;
    std::vector<UnloadedLogAsset> unloaded;
    if (document_ && boat_) {
        assets = document_->logAssets(boat_);
        unloaded = document_->packageRemainder().unloadedLogsOf(boat_.get());
    }
    // Times in the event's zone, as everywhere else in the configuration window, so that a log can be
    // held against the races and the videos; the log's own zone is in its column.
    const TimeZone zone = document_ ? document_->eventTimezone() : TimeZone::current();
    model_->setContent(std::move(assets), std::move(unloaded), zone);

    // The same logs stay selected across a change, an undo, or a new sort.
    QItemSelection selection;
    auto select = [&](int row) {
        if (row >= 0)
            selection.select(model_->index(row, 0), model_->index(row, LogAssetTableModel::ColumnCount - 1));
    };
    for (const LogFileAsset* asset : selected)
        select(model_->rowOf(asset));
    for (const QUuid& uuid : selectedUnloadedLogs)
        select(model_->rowOfUnloaded(uuid));
    table_->selectionModel()->select(selection, QItemSelectionModel::ClearAndSelect);
    reloadSettings();
    selectionChanged();
}

void BoatConfigViewController::updateSpans() {
    table_->clearSpans();
    const int first = LogAssetTableModel::Start, last = LogAssetTableModel::Records;
    for (int row = 0; row < model_->rowCount(); ++row)
        if (model_->unloadedAt(row))
            table_->setSpan(row, first, 1, last - first + 1);
}

void BoatConfigViewController::selectionChanged() {
    const auto assets = selectedAssets();
    const auto rows = table_->selectionModel()->selectedRows();

    // One zone for all the selected logs shows; differing zones show none.
    std::optional<TimeZone> zone;
    if (!assets.empty()) {
        zone = assets.front()->fileTimeZone();
        for (const auto& asset : assets)
            if (!(asset->fileTimeZone() == *zone))
                zone.reset();
    }
    zone_->setZone(zone);
    // Only loaded logs have a zone to change.
    zone_->setEnabled(!assets.empty());

    QString text;
    if (rows.size() == 1) {
        if (auto asset = model_->assetAt(rows.front().row()))
            text = metricsText(*asset);
        else if (const UnloadedLogAsset* log = model_->unloadedAt(rows.front().row()))
            text = tr("Not loaded: %1").arg(log->reason);
    }
    metrics_->setPlainText(text);
}

std::vector<std::shared_ptr<LogFileAsset>> BoatConfigViewController::selectedAssets() const {
    std::vector<int> rows;
    for (const QModelIndex& index : table_->selectionModel()->selectedRows())
        rows.push_back(index.row());
    std::sort(rows.begin(), rows.end());
    std::vector<std::shared_ptr<LogFileAsset>> assets;
    for (int row : rows)
        if (auto asset = model_->assetAt(row))
            assets.push_back(std::move(asset));
    return assets;
}

std::vector<QUuid> BoatConfigViewController::selectedUnloaded() const {
    std::vector<QUuid> logs;
    for (const QModelIndex& index : table_->selectionModel()->selectedRows())
        if (const UnloadedLogAsset* log = model_->unloadedAt(index.row()))
            logs.push_back(log->reference.uuid);
    return logs;
}

int BoatConfigViewController::boatDisplayModeIndex() const {
    if (!boat_)
        return 2;
    switch (boat_->displayMode()) {
    case Boat::DisplayMode::Main:
        return 0;
    case Boat::DisplayMode::Secondary:
        return 1;
    case Boat::DisplayMode::Other:
        return 2;
    }
    return 2;
}

void BoatConfigViewController::setBoatDisplayModeIndex(int index) {
    if (!boat_ || !document_)
        return;
    const Boat::DisplayMode mode = index == 0   ? Boat::DisplayMode::Main
                                   : index == 1 ? Boat::DisplayMode::Secondary
                                                : Boat::DisplayMode::Other;
    if (mode == boat_->displayMode())
        return;
    performEdit(*document_, ChangeBoat::displayMode(boat_, mode));
}

bool BoatConfigViewController::canChangeBoatLength() const {
    if (!document_ || !boat_)
        return false;
    // A log that measured the bow and the stern fixes the boat's length: the map draws the hull from
    // those positions and the converter derived the start-line figures with the length the boat had.
    // Another figure here would contradict the boat's own data.
    const auto& assets = document_->logAssets(boat_);
    return std::none_of(assets.begin(), assets.end(), [](const auto& asset) { return measuresHull(*asset); });
}

const std::vector<std::shared_ptr<LogFileAsset>>& BoatConfigViewController::assets() const {
    return model_->assets();
}

std::vector<std::shared_ptr<LogFileAsset>> BoatConfigViewController::sortedAssets() const {
    std::vector<std::shared_ptr<LogFileAsset>> sorted;
    for (int row = 0; row < model_->rowCount(); ++row)
        if (auto asset = model_->assetAt(row))
            sorted.push_back(std::move(asset));
    return sorted;
}

void BoatConfigViewController::commitFullName() {
    if (loading_ || !boat_ || !document_)
        return;
    const QString name = fullName_->text().trimmed();
    fullName_->setModified(false);
    // A boat is always called something: an emptied name goes back to the one it has.
    if (name.isEmpty() || name == boat_->fullName()) {
        fullName_->setText(boat_->fullName());
        return;
    }
    performEdit(*document_, ChangeBoat::fullName(boat_, name));
}

void BoatConfigViewController::commitShortName() {
    if (loading_ || !boat_ || !document_)
        return;
    const QString name = shortName_->text().trimmed();
    shortName_->setModified(false);
    if (name == boat_->shortName()) {
        shortName_->setText(name);
        return;
    }
    performEdit(*document_, ChangeBoat::shortName(boat_, name));
}

void BoatConfigViewController::chooseColor() {
    if (!boat_ || !document_)
        return;
    QPointer<BoatConfigViewController> self(this);
    const std::optional<QColor> chosen = questions_.chooseColor(qColor(boat_->color()));
    // The dialog runs an event loop: the outline may have replaced this editor meanwhile.
    if (!self || !chosen || !boat_ || !document_)
        return;
    const RgbColor color = rgbColor(*chosen);
    // Compared as stored, so that a colour the text cannot tell apart is no change.
    if (Boat::colorText(color) == Boat::colorText(boat_->color()))
        return;
    performEdit(*document_, ChangeBoat::color(boat_, color));
}

void BoatConfigViewController::addLogFiles() {
    if (!boat_ || !document_)
        return;
    QPointer<BoatConfigViewController> self(this);
    const QStringList files = questions_.chooseLogFiles();
    if (!self || files.isEmpty())
        return;
    if (!importLogFiles(files))
        questions_.alert(tr("No log files chosen"),
                         tr("Wakeline imports logs ending in .csv, .gpx, .vcc, .kml, .log or .hdf5."));
}

bool BoatConfigViewController::importLogFiles(const QStringList& files) {
    if (!boat_ || !document_)
        return false;
    const QStringList logs = LogImportController::logFilesAmong(files);
    if (logs.isEmpty())
        return false;
    return LogImportController::start(document_, boat_, logs) != nullptr;
}

void BoatConfigViewController::removeLogFiles() {
    if (!boat_ || !document_)
        return;
    auto assets = selectedAssets();
    auto unloaded = selectedUnloaded();
    if (assets.empty() && unloaded.empty()) {
        questions_.alert(tr("No assets selected"), tr("Select some assets to remove"));
        return;
    }
    performEdit(*document_, std::make_unique<RemoveLogAssets>(boat_, std::move(assets), std::move(unloaded)));
}

void BoatConfigViewController::zoneChosen(const TimeZone& zone) {
    if (!boat_ || !document_)
        return;
    auto assets = selectedAssets();
    if (std::all_of(assets.begin(), assets.end(),
                    [&](const auto& asset) { return asset->fileTimeZone() == zone; })) {
        selectionChanged();
        return;
    }
    // Asked before the change is made, so that the zone and the races it moves are one undo step.
    QPointer<BoatConfigViewController> self(this);
    const bool reloadRaces = questions_.askReloadRaces();
    if (!self || !document_)
        return;
    performEdit(*document_, std::make_unique<SetLogTimeZone>(std::move(assets), zone, reloadRaces));
}

void BoatConfigViewController::dragEnterEvent(QDragEnterEvent* event) {
    if (boat_ && document_ && !LogImportController::logFilesOf(event->mimeData()).isEmpty())
        event->acceptProposedAction();
}

void BoatConfigViewController::dragMoveEvent(QDragMoveEvent* event) {
    if (boat_ && document_ && !LogImportController::logFilesOf(event->mimeData()).isEmpty())
        event->acceptProposedAction();
}

void BoatConfigViewController::dropEvent(QDropEvent* event) {
    const QStringList files = LogImportController::logFilesOf(event->mimeData());
    if (!boat_ || !document_ || files.isEmpty())
        return;
    event->acceptProposedAction();
    // The drag's source waits for the drop to return: the import starts after it.
    QPointer<Document> document(document_);
    std::shared_ptr<Boat> boat = boat_;
    QMetaObject::invokeMethod(
        document_,
        [document, boat, files] {
            if (document)
                LogImportController::start(document, boat, files);
        },
        Qt::QueuedConnection);
}

bool BoatConfigViewController::eventFilter(QObject* watched, QEvent* event) {
    if (watched == table_ && event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if (key == Qt::Key_Delete || key == Qt::Key_Backspace) {
            removeLogFiles();
            return true;
        }
    }
    return QWidget::eventFilter(watched, event);
}
