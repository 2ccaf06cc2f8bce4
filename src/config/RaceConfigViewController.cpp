#include "config/RaceConfigViewController.h"

#include "config/ZonedDateTimeEdit.h"
#include "document/Document.h"
#include "presentation/EditPerformer.h"
#include "race/Race.h"

#include <QCheckBox>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QVBoxLayout>
#include <cmath>

namespace {

QString durationText(double seconds) {
    const auto total = static_cast<long long>(std::llround(std::fabs(seconds)));
    return QStringLiteral("%1%2:%3:%4")
        .arg(seconds < 0 ? QStringLiteral("−") : QString())
        .arg(total / 3600)
        .arg(total / 60 % 60, 2, 10, QLatin1Char('0'))
        .arg(total % 60, 2, 10, QLatin1Char('0'));
}

} // namespace

RaceConfigViewController::RaceConfigViewController(Document* document, std::shared_ptr<Race> race,
                                                   QWidget* parent)
    : QWidget(parent), document_(document), race_(std::move(race)), name_(new QLineEdit),
      gunTimeDatePicker_(new ZonedDateTimeEdit), raceEndDatePicker_(new ZonedDateTimeEdit),
      finishKnown_(new QCheckBox(tr("Finish:"))), zoneLabel_(new QLabel), durationLabel_(new QLabel) {
    setObjectName(QStringLiteral("RaceConfig"));
    name_->setObjectName(QStringLiteral("raceName"));
    name_->setPlaceholderText(tr("Race name"));
    gunTimeDatePicker_->setObjectName(QStringLiteral("gunTimeDatePicker"));
    raceEndDatePicker_->setObjectName(QStringLiteral("raceEndDatePicker"));
    finishKnown_->setObjectName(QStringLiteral("finishKnown"));
    finishKnown_->setToolTip(tr("Without a finish time the race is taken to last one hour"));
    zoneLabel_->setForegroundRole(QPalette::PlaceholderText);

    auto* form = new QFormLayout;
    form->setFieldGrowthPolicy(QFormLayout::FieldsStayAtSizeHint);
    name_->setMinimumWidth(260);
    form->addRow(tr("Name:"), name_);
    form->addRow(tr("Gun:"), gunTimeDatePicker_);
    auto* finishRow = new QHBoxLayout;
    finishRow->addWidget(raceEndDatePicker_);
    finishRow->addWidget(durationLabel_);
    finishRow->addStretch(1);
    form->addRow(finishKnown_, finishRow);
    form->addRow(QString(), zoneLabel_);

    auto* line = new QGroupBox(tr("Start line"));
    auto* grid = new QGridLayout(line);
    grid->addWidget(new QLabel(tr("Latitude")), 0, 1);
    grid->addWidget(new QLabel(tr("Longitude")), 0, 2);
    grid->addWidget(new QLabel(tr("Pin end:")), 1, 0);
    grid->addWidget(new QLabel(tr("Committee boat:")), 2, 0);
    const char* names[4] = {"pinLat", "pinLon", "rcLat", "rcLon"};
    for (int i = 0; i < 4; ++i) {
        auto* field = coordinates_[i] = new QLineEdit;
        field->setObjectName(QString::fromLatin1(names[i]));
        field->setPlaceholderText(i % 2 == 0 ? tr("e.g. 54.3542") : tr("e.g. 10.1689"));
        field->setToolTip(tr("Decimal degrees; south and west are negative"));
        grid->addWidget(field, 1 + i / 2, 1 + i % 2);
        connect(field, &QLineEdit::editingFinished, this, [this, i] { commitCoordinate(i); });
        connect(field, &QLineEdit::textEdited, this, [field, i](const QString& text) {
            field->setStyleSheet(isCoordinate(text.trimmed(), i % 2 == 1) ? QString()
                                                                          : QStringLiteral("color: #c62828"));
        });
    }
    grid->setColumnStretch(1, 1);
    grid->setColumnStretch(2, 1);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(line);
    layout->addStretch(1);

    connect(name_, &QLineEdit::editingFinished, this, [this] {
        ChangeRace::Fields fields = ChangeRace::Fields::of(*race_);
        fields.name = name_->text().trimmed();
        change(fields, tr("Rename Race"));
    });
    connect(gunTimeDatePicker_, &ZonedDateTimeEdit::instantEdited, this, [this](Instant gun) {
        ChangeRace::Fields fields = ChangeRace::Fields::of(*race_);
        // The race keeps its length when its gun moves.
        if (fields.finishTime)
            fields.finishTime = *fields.finishTime + (gun - fields.time);
        fields.time = gun;
        change(fields, tr("Change Gun Time"));
    });
    connect(raceEndDatePicker_, &ZonedDateTimeEdit::instantEdited, this, [this](Instant finish) {
        ChangeRace::Fields fields = ChangeRace::Fields::of(*race_);
        fields.finishTime = finish;
        change(fields, tr("Change Finish Time"));
    });
    connect(finishKnown_, &QCheckBox::clicked, this, [this](bool known) {
        ChangeRace::Fields fields = ChangeRace::Fields::of(*race_);
        fields.finishTime = known ? std::optional(race_->bestGuessFinishTime()) : std::nullopt;
        change(fields, tr("Change Finish Time"));
    });
    connect(race_.get(), &Race::raceUpdated, this, [this] { update(); });
    if (document_)
        connect(document_, &Document::documentAssetsUpdated, this, [this] { update(); });
    update();
}

bool RaceConfigViewController::isCoordinate(const QString& text, bool longitude) {
    if (text.isEmpty())
        return true;
    bool ok = false;
    double value = text.toDouble(&ok);
    return ok && std::isfinite(value) && std::fabs(value) <= (longitude ? 180.0 : 90.0);
}

void RaceConfigViewController::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    // The event's zone may have changed since the editor was made.
    update();
}

void RaceConfigViewController::change(ChangeRace::Fields fields, const QString& text) {
    if (!document_ || fields == ChangeRace::Fields::of(*race_))
        return;
    performEdit(*document_, std::make_unique<ChangeRace>(race_, std::move(fields), text));
}

void RaceConfigViewController::commitCoordinate(int which) {
    QLineEdit* field = coordinates_[which];
    const QString text = field->text().trimmed();
    if (!isCoordinate(text, which % 2 == 1)) {
        // Left red, uncommitted: the race keeps its last good value until the text is one.
        field->setStyleSheet(QStringLiteral("color: #c62828"));
        return;
    }
    field->setStyleSheet(QString());
    ChangeRace::Fields fields = ChangeRace::Fields::of(*race_);
    QString* targets[4] = {&fields.pinLat, &fields.pinLon, &fields.rcLat, &fields.rcLon};
    *targets[which] = text;
    change(fields, tr("Change Start Line"));
}

void RaceConfigViewController::update() {
    const TimeZone zone = document_ ? document_->eventTimezone() : TimeZone::utc();
    if (!name_->hasFocus())
        name_->setText(race_->name());
    gunTimeDatePicker_->setZone(zone);
    raceEndDatePicker_->setZone(zone);
    gunTimeDatePicker_->setInstant(race_->time());
    const bool known = race_->finishTime().has_value();
    finishKnown_->setChecked(known);
    raceEndDatePicker_->setEnabled(known);
    raceEndDatePicker_->setInstant(race_->bestGuessFinishTime());
    const double length = race_->bestGuessFinishTime() - race_->time();
    durationLabel_->setText(known ? tr("length %1").arg(durationText(length))
                                  : tr("length %1 (assumed)").arg(durationText(length)));
    durationLabel_->setStyleSheet(length < 0 ? QStringLiteral("color: #c62828") : QString());
    zoneLabel_->setText(tr("Times in the event's zone, %1").arg(QString::fromStdString(zone.identifier())));
    const QString values[4] = {race_->pinLat(), race_->pinLon(), race_->rcLat(), race_->rcLon()};
    for (int i = 0; i < 4; ++i)
        if (!coordinates_[i]->hasFocus()) {
            coordinates_[i]->setText(values[i]);
            coordinates_[i]->setStyleSheet(QString());
        }
}
