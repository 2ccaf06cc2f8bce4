#pragma once

#include <QString>

class QWidget;

// A warning with one OK button over `parent`: how the media view and its exports tell the user
// what could not be done.
void showWarningAlert(QWidget* parent, const QString& message, const QString& informativeText);
