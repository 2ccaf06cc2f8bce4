#include "config/TimeZoneComboBox.h"

#include <QCompleter>
#include <QLineEdit>
#include <QSignalBlocker>

TimeZoneComboBox::TimeZoneComboBox(QWidget* parent) : QComboBox(parent) {
    setEditable(true);
    setInsertPolicy(QComboBox::NoInsert);
    setMaxVisibleItems(20);
    QStringList names;
    for (const std::string& identifier : TimeZone::knownIdentifiers())
        names << QString::fromStdString(identifier);
    names << QStringLiteral("UTC");
    addItems(names);
    completer()->setCompletionMode(QCompleter::PopupCompletion);
    completer()->setCaseSensitivity(Qt::CaseInsensitive);
    completer()->setFilterMode(Qt::MatchContains);
    setCurrentIndex(-1);
    connect(this, &QComboBox::activated, this, [this] { commit(); });
    connect(lineEdit(), &QLineEdit::editingFinished, this, [this] { commit(); });
}

void TimeZoneComboBox::setZone(const std::optional<TimeZone>& zone) {
    setting_ = true;
    QSignalBlocker block(this);
    shown_ = zone ? QString::fromStdString(zone->identifier()) : QString();
    int index = shown_.isEmpty() ? -1 : findText(shown_, Qt::MatchFixedString);
    setCurrentIndex(index);
    setEditText(shown_);
    setting_ = false;
}

std::optional<TimeZone> TimeZoneComboBox::zone() const {
    return TimeZone::fromIdentifier(currentText().trimmed().toStdString());
}

void TimeZoneComboBox::commit() {
    if (setting_)
        return;
    const QString text = currentText().trimmed();
    if (text == shown_)
        return;
    std::optional<TimeZone> chosen = zone();
    if (!chosen) {
        // Not a zone: show the one in force again rather than leave a text that means nothing.
        setZone(TimeZone::fromIdentifier(shown_.toStdString()));
        return;
    }
    shown_ = QString::fromStdString(chosen->identifier());
    emit zoneChosen(*chosen);
}
