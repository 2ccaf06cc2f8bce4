#include "config/PreferencesViewController.h"

#include "core/UserDefaults.h"
#include "document/ShiftAssets.h"
#include "map/MapView.h"
#include "map/TrackIntervals.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QDateTime>
#include <QDoubleSpinBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTimeEdit>
#include <QTimeZone>
#include <QVBoxLayout>
#include <cmath>

const char* const PreferencesViewController::intervalKeys[4] = {
    "pastBoatTrackInterval", "futureBoatTrackInterval", "pastAuxBoatTrackInterval",
    "futureAuxBoatTrackInterval"};

namespace {

const QString timestampModeKey = QStringLiteral("writeTimestampMode");
const QString timestampFrequencyKey = QStringLiteral("writeTimestampFrequency");
const QString preferFileMtimeKey = QStringLiteral("preferFileMtime");
const QString boatLengthKey = QStringLiteral("boatLength");
const QString gpsOffsetKey = QStringLiteral("gpsAntennaLoc");

// Track intervals are stored as the instant whose time of day in GMT is the interval, on the
// reference day, as they always were.
QDateTime intervalInstant(QTime time) {
    return QDateTime(QDate(2001, 1, 1), time, QTimeZone::utc());
}

QTime intervalTime(double seconds) {
    const int whole = static_cast<int>(std::lround(std::clamp(seconds, 0.0, 86399.0)));
    return QTime(0, 0).addSecs(whole);
}

QGroupBox* section(const QString& title, QLayout* content) {
    auto* box = new QGroupBox(title);
    box->setLayout(content);
    return box;
}

} // namespace

PreferencesViewController::PreferencesViewController(QWidget* parent) : QWidget(parent, Qt::Window) {
    setObjectName("Preferences");
    setWindowTitle(tr("Preferences"));
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(makeTracks());
    layout->addWidget(makeMap());
    layout->addWidget(makeTimestamps());
    layout->addWidget(makeMedia());
    layout->addWidget(makeBoats());
    layout->addStretch();
    reload();
}

QWidget* PreferencesViewController::makeTracks() {
    auto* form = new QFormLayout;
    const QString titles[4] = {tr("Track behind each boat:"), tr("Track ahead of each boat:"),
                               tr("Track behind other boats:"), tr("Track ahead of other boats:")};
    for (int i = 0; i < 4; ++i) {
        auto* picker = new QTimeEdit;
        picker->setObjectName(intervalKeys[i]);
        // Hours, minutes and seconds of a length of time, never a clock time: 24-hour form.
        picker->setDisplayFormat(QStringLiteral("HH:mm:ss"));
        picker->setTimeSpec(Qt::UTC);
        picker->setToolTip(tr("How much of the track is drawn; 00:00:00 draws none."));
        connect(picker, &QTimeEdit::timeChanged, this, [this, i](QTime time) {
            if (!loading_)
                UserDefaults::standard().setValue(intervalKeys[i], intervalInstant(time));
        });
        pickers_[i] = picker;
        form->addRow(titles[i], picker);
    }
    return section(tr("Tracks on the map"), form);
}

QWidget* PreferencesViewController::makeMap() {
    offlineChart_ = new QRadioButton(tr("Offline chart (coastlines drawn by Wakeline)"));
    mapTiles_ = new QRadioButton(tr("Map tiles from a tile server"));
    chartFile_ = new QRadioButton(tr("Chart file (MBTiles)"));
    offlineChart_->setObjectName("offlineChart");
    mapTiles_->setObjectName("mapTiles");
    chartFile_->setObjectName("chartFile");
    auto* choice = new QButtonGroup(this);
    for (auto* button : {offlineChart_, mapTiles_, chartFile_})
        choice->addButton(button);
    connect(choice, &QButtonGroup::buttonToggled, this, [this](QAbstractButton* button, bool on) {
        if (loading_ || !on)
            return;
        const QString name = button == mapTiles_    ? QStringLiteral("tiles")
                             : button == chartFile_ ? QStringLiteral("mbtiles")
                                                    : QStringLiteral("offline");
        UserDefaults::standard().setValue(MapView::backgroundKey, name);
    });

    tileUrl_ = new QLineEdit;
    tileUrl_->setObjectName("tileUrlTemplate");
    tileUrl_->setPlaceholderText(QStringLiteral("https://tiles.example.org/{z}/{x}/{y}.png"));
    tileAttribution_ = new QLineEdit;
    tileAttribution_->setObjectName("tileAttribution");
    tileAttribution_->setPlaceholderText(tr("Attribution the tile provider requires"));
    connect(tileUrl_, &QLineEdit::editingFinished, this, [this] {
        if (!loading_)
            UserDefaults::standard().setValue(MapView::tileUrlTemplateKey, tileUrl_->text().trimmed());
    });
    connect(tileAttribution_, &QLineEdit::editingFinished, this, [this] {
        if (!loading_)
            UserDefaults::standard().setValue(MapView::tileAttributionKey, tileAttribution_->text());
    });

    chartPath_ = new QLineEdit;
    chartPath_->setObjectName("chartPath");
    chartPath_->setReadOnly(true);
    auto* choose = new QPushButton(tr("Choose…"));
    connect(choose, &QPushButton::clicked, this, &PreferencesViewController::chooseChartFile);
    auto* chartRow = new QHBoxLayout;
    chartRow->addWidget(chartPath_);
    chartRow->addWidget(choose);

    auto* form = new QFormLayout;
    form->addRow(offlineChart_);
    form->addRow(mapTiles_);
    form->addRow(tr("Tile address ({z}, {x}, {y}):"), tileUrl_);
    form->addRow(tr("Attribution:"), tileAttribution_);
    form->addRow(chartFile_);
    form->addRow(tr("Chart file:"), chartRow);
    return section(tr("Map background"), form);
}

void PreferencesViewController::chooseChartFile() {
    const QString current = chartPath_->text();
    const QString path =
        QFileDialog::getOpenFileName(this, tr("Choose Chart File"), QFileInfo(current).path(),
                                     tr("MBTiles charts (*.mbtiles);;All files (*)"));
    if (path.isEmpty())
        return;
    chartPath_->setText(path);
    UserDefaults::standard().setValue(MapView::mbTilesPathKey, path);
    chartFile_->setChecked(true);
}

QWidget* PreferencesViewController::makeTimestamps() {
    timestampMode_ = new QComboBox;
    timestampMode_->setObjectName("timestampMode");
    timestampMode_->addItem(tr("Off"), 0);
    timestampMode_->addItem(tr("To a file"), 1);
    timestampMode_->addItem(tr("To a named pipe"), 2);
    connect(timestampMode_, &QComboBox::currentIndexChanged, this, [this] {
        if (!loading_)
            UserDefaults::standard().setValue(timestampModeKey, timestampMode_->currentData().toInt());
    });
    timestampInterval_ = new QDoubleSpinBox;
    timestampInterval_->setObjectName("timestampInterval");
    timestampInterval_->setRange(0.04, 3600.0);
    timestampInterval_->setDecimals(2);
    timestampInterval_->setSuffix(tr(" s"));
    connect(timestampInterval_, &QDoubleSpinBox::valueChanged, this, [this](double seconds) {
        // Kept as text: that is how it has always been stored and read.
        if (!loading_)
            UserDefaults::standard().setValue(timestampFrequencyKey, QString::number(seconds, 'g', 6));
    });
    auto* form = new QFormLayout;
    form->addRow(tr("Write the playback time:"), timestampMode_);
    form->addRow(tr("Every:"), timestampInterval_);
    return section(tr("Timestamp output (while playing)"), form);
}

QWidget* PreferencesViewController::makeMedia() {
    preferFileMtime_ = new QCheckBox(tr("Date videos by their file's modification time, not by the camera's "
                                        "recording date"));
    shiftWholeGroup_ = new QCheckBox(tr("Shifting an asset's time shifts every asset of its media group"));
    shiftMovesVideo_ = new QCheckBox(tr("Shifting moves the picture and keeps the playback position"));
    preferFileMtime_->setObjectName("preferFileMtime");
    shiftWholeGroup_->setObjectName("applyToAllAssetsInGroup");
    shiftMovesVideo_->setObjectName("moveVideo");
    const QString keys[3] = {preferFileMtimeKey, QString::fromLatin1(ShiftAssets::applyToAllAssetsInGroupKey),
                             QString::fromLatin1(ShiftAssets::moveVideoKey)};
    QCheckBox* boxes[3] = {preferFileMtime_, shiftWholeGroup_, shiftMovesVideo_};
    auto* column = new QVBoxLayout;
    for (int i = 0; i < 3; ++i) {
        connect(boxes[i], &QCheckBox::toggled, this, [this, key = keys[i]](bool on) {
            if (!loading_)
                UserDefaults::standard().setValue(key, on);
        });
        column->addWidget(boxes[i]);
    }
    return section(tr("Photos and videos"), column);
}

QWidget* PreferencesViewController::makeBoats() {
    boatLength_ = new QDoubleSpinBox;
    boatLength_->setObjectName("boatLength");
    gpsOffset_ = new QDoubleSpinBox;
    gpsOffset_->setObjectName("gpsAntennaLoc");
    for (auto* box : {boatLength_, gpsOffset_}) {
        box->setRange(0.0, 100.0);
        box->setDecimals(2);
        box->setSuffix(tr(" m"));
    }
    connect(boatLength_, &QDoubleSpinBox::valueChanged, this, [this](double metres) {
        if (!loading_)
            UserDefaults::standard().setValue(boatLengthKey, metres);
    });
    connect(gpsOffset_, &QDoubleSpinBox::valueChanged, this, [this](double metres) {
        if (!loading_)
            UserDefaults::standard().setValue(gpsOffsetKey, metres);
    });
    auto* form = new QFormLayout;
    form->addRow(tr("Boat length:"), boatLength_);
    form->addRow(tr("GPS antenna from the bow:"), gpsOffset_);
    return section(tr("New boats"), form);
}

void PreferencesViewController::showEvent(QShowEvent* event) {
    // Another window (the map's menu, a shift panel) may have changed a setting meanwhile.
    reload();
    QWidget::showEvent(event);
}

void PreferencesViewController::reload() {
    loading_ = true;
    const UserDefaults& defaults = UserDefaults::standard();
    for (int i = 0; i < 4; ++i)
        pickers_[i]->setTime(intervalTime(TrackIntervals::intervalOf(defaults.value(intervalKeys[i]))));

    const QString background = defaults.stringValue(MapView::backgroundKey).value_or(QString()).toLower();
    (background == QLatin1String("tiles")     ? mapTiles_
     : background == QLatin1String("mbtiles") ? chartFile_
                                              : offlineChart_)
        ->setChecked(true);
    tileUrl_->setText(defaults.stringValue(MapView::tileUrlTemplateKey).value_or(QString()));
    tileAttribution_->setText(defaults.stringValue(MapView::tileAttributionKey).value_or(QString()));
    chartPath_->setText(defaults.stringValue(MapView::mbTilesPathKey).value_or(QString()));

    const int mode = defaults.value(timestampModeKey).toInt();
    timestampMode_->setCurrentIndex(std::max(0, timestampMode_->findData(mode)));
    bool parsed = false;
    const double interval =
        defaults.stringValue(timestampFrequencyKey).value_or(QStringLiteral("1")).toDouble(&parsed);
    timestampInterval_->setValue(parsed ? interval : 1.0);

    preferFileMtime_->setChecked(defaults.boolValue(preferFileMtimeKey));
    shiftWholeGroup_->setChecked(defaults.boolValue(ShiftAssets::applyToAllAssetsInGroupKey));
    shiftMovesVideo_->setChecked(defaults.boolValue(ShiftAssets::moveVideoKey));
    boatLength_->setValue(defaults.value(boatLengthKey).toDouble());
    gpsOffset_->setValue(defaults.value(gpsOffsetKey).toDouble());
    loading_ = false;
}
