#pragma once

#include <QPointer>
#include <QWidget>

class Document;
class QLabel;
class TimeZoneComboBox;

// The event editor: the time zone every time of the event is shown and entered in.
class EventConfigViewController : public QWidget {
    Q_OBJECT
public:
    explicit EventConfigViewController(Document* document, QWidget* parent = nullptr);

    Document* document() const { return document_; }
    TimeZoneComboBox* eventTimeZonePicker() const { return eventTimeZonePicker_; }

    // The zone chosen in the picker becomes the event's, as an undoable edit.
    void timeZoneValueChanged();

protected:
    void showEvent(QShowEvent* event) override;

private:
    void update();

    QPointer<Document> document_;
    TimeZoneComboBox* eventTimeZonePicker_;
    QLabel* summary_;
};
