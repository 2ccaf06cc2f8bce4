#pragma once

#include "document/ChangeRace.h"

#include <QPointer>
#include <QWidget>
#include <memory>

class Document;
class QCheckBox;
class QLabel;
class QLineEdit;
class Race;
class ZonedDateTimeEdit;

// The race editor: name, gun and finish time in the event's zone, and the two ends of the start
// line. Every field commits when the user leaves it, as one undoable change.
class RaceConfigViewController : public QWidget {
    Q_OBJECT
public:
    RaceConfigViewController(Document* document, std::shared_ptr<Race> race, QWidget* parent = nullptr);

    Document* document() const { return document_; }
    const std::shared_ptr<Race>& race() const { return race_; }
    QLineEdit* nameField() const { return name_; }
    ZonedDateTimeEdit* gunTimeDatePicker() const { return gunTimeDatePicker_; }
    ZonedDateTimeEdit* raceEndDatePicker() const { return raceEndDatePicker_; }
    QCheckBox* finishKnownCheckBox() const { return finishKnown_; }
    QLineEdit* pinLatField() const { return coordinates_[0]; }
    QLineEdit* pinLonField() const { return coordinates_[1]; }
    QLineEdit* rcLatField() const { return coordinates_[2]; }
    QLineEdit* rcLonField() const { return coordinates_[3]; }

    // Whether text is a latitude (or, for `longitude`, a longitude) in decimal degrees, or empty.
    static bool isCoordinate(const QString& text, bool longitude);

protected:
    void showEvent(QShowEvent* event) override;

private:
    void update();
    void change(ChangeRace::Fields fields, const QString& text);
    void commitCoordinate(int which);

    QPointer<Document> document_;
    std::shared_ptr<Race> race_;
    QLineEdit* name_;
    ZonedDateTimeEdit* gunTimeDatePicker_;
    ZonedDateTimeEdit* raceEndDatePicker_;
    QCheckBox* finishKnown_;
    QLabel* zoneLabel_;
    QLabel* durationLabel_;
    QLineEdit* coordinates_[4];
};
