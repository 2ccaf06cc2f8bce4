#include "config/PreferencesViewController.h"
#include "core/UserDefaults.h"
#include "map/MapView.h"
#include "map/TrackIntervals.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QLineEdit>
#include <QRadioButton>
#include <QTimeEdit>
#include <QTimeZone>
#include <gtest/gtest.h>

TEST(Preferences, EveryControlWritesTheSettingItsReadersUse) {
    UserDefaults& defaults = UserDefaults::standard();
    defaults.setValue("pastBoatTrackInterval",
                      QDateTime(QDate(2001, 1, 1), QTime(0, 2, 0), QTimeZone::utc()));
    defaults.setValue(MapView::backgroundKey, "mbtiles");
    defaults.setValue("writeTimestampFrequency", "0.5");
    PreferencesViewController preferences;

    // Read as they are stored.
    EXPECT_EQ(preferences.pastDatePicker()->time(), QTime(0, 2, 0));
    EXPECT_TRUE(preferences.findChild<QRadioButton*>("chartFile")->isChecked());
    EXPECT_DOUBLE_EQ(preferences.findChild<QDoubleSpinBox*>("timestampInterval")->value(), 0.5);

    // A track interval entered as 0:05:00 is what the map reads as 300 s; in 24-hour form.
    EXPECT_EQ(preferences.futureAuxDatePicker()->displayFormat(), "HH:mm:ss");
    preferences.futureAuxDatePicker()->setTime(QTime(0, 5, 0));
    EXPECT_DOUBLE_EQ(TrackIntervals::read(defaults).futureAux, 300.0);
    preferences.pastDatePicker()->setTime(QTime(1, 0, 0));
    EXPECT_DOUBLE_EQ(TrackIntervals::read(defaults).past, 3600.0);

    // The map background, read by every map at once.
    auto* url = preferences.findChild<QLineEdit*>("tileUrlTemplate");
    url->setText(" https://tiles.example.org/{z}/{x}/{y}.png ");
    emit url->editingFinished();
    preferences.findChild<QRadioButton*>("mapTiles")->setChecked(true);
    EXPECT_EQ(defaults.stringValue(MapView::backgroundKey), "tiles");
    EXPECT_EQ(defaults.stringValue(MapView::tileUrlTemplateKey), "https://tiles.example.org/{z}/{x}/{y}.png");

    // Timestamps, media, new boats.
    auto* mode = preferences.findChild<QComboBox*>("timestampMode");
    mode->setCurrentIndex(mode->findData(2));
    EXPECT_EQ(defaults.value("writeTimestampMode").toInt(), 2);
    preferences.findChild<QDoubleSpinBox*>("timestampInterval")->setValue(2.0);
    EXPECT_EQ(defaults.stringValue("writeTimestampFrequency"), "2");
    preferences.findChild<QCheckBox*>("preferFileMtime")->setChecked(true);
    EXPECT_TRUE(defaults.boolValue("preferFileMtime"));
    preferences.findChild<QCheckBox*>("moveVideo")->setChecked(true);
    EXPECT_TRUE(defaults.boolValue("AssetShiftMoveVideo"));
    preferences.findChild<QDoubleSpinBox*>("boatLength")->setValue(12.5);
    preferences.findChild<QDoubleSpinBox*>("gpsAntennaLoc")->setValue(3.0);
    EXPECT_DOUBLE_EQ(defaults.value("boatLength").toDouble(), 12.5);
    EXPECT_DOUBLE_EQ(defaults.value("gpsAntennaLoc").toDouble(), 3.0);

    // A setting changed elsewhere shows when the window comes back.
    defaults.setValue("AssetShiftMoveVideo", false);
    preferences.show();
    EXPECT_FALSE(preferences.findChild<QCheckBox*>("moveVideo")->isChecked());

    for (const char* key : {"pastBoatTrackInterval", "futureAuxBoatTrackInterval", "mapBackground",
                            "mapTileURLTemplate", "writeTimestampMode", "writeTimestampFrequency",
                            "preferFileMtime", "AssetShiftMoveVideo", "boatLength", "gpsAntennaLoc"})
        defaults.remove(key);
}
