#pragma once

#include <QWidget>

class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QLineEdit;
class QRadioButton;
class QTimeEdit;

// The Preferences window: what the user sets once for every document. Every control writes its user
// default as soon as it changes, so the views that read them (the map's tracks and background,
// timestamp output, media time detection, the asset shift, new boats) follow at once.
class PreferencesViewController : public QWidget {
    Q_OBJECT
public:
    explicit PreferencesViewController(QWidget* parent = nullptr);

    // The four track intervals, in the order of their keys.
    QTimeEdit* pastDatePicker() const { return pickers_[0]; }
    QTimeEdit* futureDatePicker() const { return pickers_[1]; }
    QTimeEdit* pastAuxDatePicker() const { return pickers_[2]; }
    QTimeEdit* futureAuxDatePicker() const { return pickers_[3]; }
    static const char* const intervalKeys[4];

    // Reads every control from the user defaults again.
    void reload();

protected:
    void showEvent(QShowEvent* event) override;

private:
    QWidget* makeTracks();
    QWidget* makeMap();
    QWidget* makeTimestamps();
    QWidget* makeMedia();
    QWidget* makeBoats();
    void chooseChartFile();

    QTimeEdit* pickers_[4];
    QRadioButton* offlineChart_;
    QRadioButton* mapTiles_;
    QRadioButton* chartFile_;
    QLineEdit* tileUrl_;
    QLineEdit* tileAttribution_;
    QLineEdit* chartPath_;
    QComboBox* timestampMode_;
    QDoubleSpinBox* timestampInterval_;
    QCheckBox* preferFileMtime_;
    QCheckBox* shiftWholeGroup_;
    QCheckBox* shiftMovesVideo_;
    QDoubleSpinBox* boatLength_;
    QDoubleSpinBox* gpsOffset_;
    // While controls are filled from the defaults, their signals write nothing back.
    bool loading_ = false;
};
