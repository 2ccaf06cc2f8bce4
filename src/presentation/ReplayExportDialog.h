#pragma once

#include "presentation/ReplayExportJob.h"

#include <QDialog>

class PresentationWindowController;
class QCheckBox;
class QComboBox;
class QDialogButtonBox;
class QLabel;
class QLineEdit;
class QPushButton;
class ZonedDateTimeEdit;

// File ▸ Export Replay Video…: what to export (the selected race, the range the timeline shows, or
// two times), in which layout or as overlays alone, at which size, rate and speed, with or without
// sound, and where to. The choices are kept for the next export.
class ReplayExportDialog : public QDialog {
    Q_OBJECT
public:
    explicit ReplayExportDialog(PresentationWindowController& window, QWidget* parent = nullptr);

    // What the dialog says now; its `output` empty until a file is named.
    ReplayExportJob::Settings settings() const;
    // Why Export is disabled; empty when it is enabled.
    QString problem() const;

    QComboBox* rangeChooser() const { return range_; }
    QComboBox* layoutChooser() const { return layout_; }
    QComboBox* sizeChooser() const { return size_; }
    QComboBox* rateChooser() const { return rate_; }
    QComboBox* speedChooser() const { return speed_; }
    QCheckBox* soundCheckBox() const { return sound_; }
    QLineEdit* outputField() const { return output_; }
    ZonedDateTimeEdit* fromEdit() const { return from_; }
    ZonedDateTimeEdit* toEdit() const { return to_; }

    void accept() override;

private:
    void fillRanges();
    void fillSizes();
    void update();
    void chooseOutput();
    // The folder films go to: the last one used, else Videos/Wakeline.
    QString outputFolder() const;
    // A name after the range's start, while the user has not named the film.
    void suggestOutput();
    void remember() const;
    void recall();

    PresentationWindowController& window_;
    QComboBox* range_;
    ZonedDateTimeEdit* from_;
    ZonedDateTimeEdit* to_;
    QComboBox* layout_;
    QComboBox* size_;
    QComboBox* rate_;
    QComboBox* speed_;
    QCheckBox* sound_;
    QLineEdit* output_;
    QLabel* summary_;
    QDialogButtonBox* buttons_;
    QPushButton* exportButton_;
    QString suggestedOutput_;
};
