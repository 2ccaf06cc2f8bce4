#pragma once

#include <QSize>
#include <QString>
#include <QStringList>
#include <optional>

// Arguments the drawing verbs share.
namespace VerbArguments {

// "BoatSpeed, TWA" as keys; an empty text is an empty list (no overlays on that side of the gun).
QStringList metricKeys(const QString& text);
// "1280x720"; none unless both sides are numbers of 2 to 5 digits.
std::optional<QSize> size(const QString& text);

} // namespace VerbArguments
