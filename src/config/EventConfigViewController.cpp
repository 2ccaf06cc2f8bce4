#include "config/EventConfigViewController.h"

#include "config/TimeZoneComboBox.h"
#include "core/DateFormat.h"
#include "document/Document.h"
#include "document/SetEventTimeZone.h"
#include "presentation/EditPerformer.h"

#include <QFormLayout>
#include <QLabel>
#include <QVBoxLayout>

EventConfigViewController::EventConfigViewController(Document* document, QWidget* parent)
    : QWidget(parent), document_(document), eventTimeZonePicker_(new TimeZoneComboBox), summary_(new QLabel) {
    setObjectName(QStringLiteral("EventConfig"));
    eventTimeZonePicker_->setObjectName(QStringLiteral("eventTimeZonePicker"));
    eventTimeZonePicker_->setMinimumContentsLength(28);
    summary_->setObjectName(QStringLiteral("eventSummary"));
    summary_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    summary_->setWordWrap(true);

    auto* hint = new QLabel(tr("Gun and finish times, the timeline and the clock are shown in this zone. "
                               "Logs and media keep their own zones."));
    hint->setWordWrap(true);
    hint->setForegroundRole(QPalette::PlaceholderText);

    auto* form = new QFormLayout;
    form->setFieldGrowthPolicy(QFormLayout::FieldsStayAtSizeHint);
    form->addRow(tr("Time zone:"), eventTimeZonePicker_);
    form->addRow(QString(), hint);
    form->addRow(tr("Event:"), summary_);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addStretch(1);

    connect(eventTimeZonePicker_, &TimeZoneComboBox::zoneChosen, this, [this] { timeZoneValueChanged(); });
    if (document_)
        for (auto signal : {&Document::documentAssetsUpdated, &Document::documentBoatsUpdated,
                            &Document::documentRacesUpdated})
            connect(document_, signal, this, [this] { update(); });
    update();
}

void EventConfigViewController::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    update();
}

void EventConfigViewController::timeZoneValueChanged() {
    if (!document_)
        return;
    std::optional<TimeZone> zone = eventTimeZonePicker_->zone();
    if (!zone || *zone == document_->eventTimezone())
        return;
    performEdit(*document_, std::make_unique<SetEventTimeZone>(*zone));
}

void EventConfigViewController::update() {
    if (!document_)
        return;
    eventTimeZonePicker_->setZone(document_->eventTimezone());
    QString range = tr("no times yet");
    auto start = document_->eventStartTime();
    auto end = document_->eventEndTime();
    if (start && end) {
        DateFormat format("yyyy-MM-dd HH:mm", document_->eventTimezone());
        range = QString::fromStdString(format.format(*start)) + QStringLiteral(" – ") +
                QString::fromStdString(format.format(*end));
    }
    auto count = [](size_t n, const QString& one, const QString& many) {
        return QString::number(n) + QLatin1Char(' ') + (n == 1 ? one : many);
    };
    summary_->setText(count(document_->boats().size(), tr("boat"), tr("boats")) + QStringLiteral(", ") +
                      count(document_->races().size(), tr("race"), tr("races")) + QStringLiteral(", ") +
                      count(document_->assets().size(), tr("photo or video"), tr("photos and videos")) +
                      QLatin1Char('\n') + range);
}
