#include "presentation/WarningAlert.h"

#include <QMessageBox>

void showWarningAlert(QWidget* parent, const QString& message, const QString& informativeText) {
    QMessageBox box(parent);
    box.setIcon(QMessageBox::Warning);
    box.setText(message);
    box.setInformativeText(informativeText);
    box.addButton(QMessageBox::Ok);
    box.exec();
}
