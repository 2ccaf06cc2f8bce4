#pragma once

#include <QList>
#include <QPointer>
#include <QUrl>
#include <QWidget>
#include <functional>
#include <memory>
#include <vector>

class Document;
class MediaAsset;
class MediaAssetTableModel;
class MediaGroup;
class ProgressWindowController;
class QDoubleSpinBox;
class QLineEdit;
class QMimeData;
class QPushButton;
class QTableView;
class TimeZoneComboBox;
class ZonedDateTimeEdit;

// The editor of one media group in the configuration window: its name, its photos and videos (added
// from a file chooser or by dropping files, removed with the button or Delete), and where the
// selected files sit in time: their offset, the time zone of their clock and the start that clock
// read. Every change is one undoable edit; the editor follows the document, so undo shows at once.
class MediaGroupConfigViewController : public QWidget {
    Q_OBJECT
public:
    MediaGroupConfigViewController(Document* document, std::shared_ptr<MediaGroup> group,
                                   QWidget* parent = nullptr);
    ~MediaGroupConfigViewController() override;

    Document* document() const { return document_; }
    const std::shared_ptr<MediaGroup>& mediaGroup() const { return group_; }

    // Reads the group's assets from the document again, keeping the selected ones selected.
    void reloadTable();

    QLineEdit* nameField() const { return nameField_; }
    QTableView* assetsTableView() const { return table_; }
    MediaAssetTableModel* assetsModel() const { return model_; }
    QPushButton* addButton() const { return addButton_; }
    QPushButton* removeButton() const { return removeButton_; }
    QPushButton* syncButton() const { return syncButton_; }
    // The spin box is both the stepper and the field of the seconds.
    QDoubleSpinBox* secondsStepper() const { return seconds_; }
    QDoubleSpinBox* secondsField() const { return seconds_; }
    TimeZoneComboBox* assetTimezoneComboBox() const { return zoneBox_; }
    ZonedDateTimeEdit* fileTimestampPicker() const { return timestampPicker_; }
    // The window that shows the files being examined, while it is open.
    ProgressWindowController* progressWindow() const;

    std::vector<std::shared_ptr<MediaAsset>> selectedAssets() const;

    // What the editor asks of the user; tests put their own in.
    using FileChooser = std::function<QList<QUrl>(QWidget* parent)>;
    using Alert =
        std::function<void(QWidget* parent, const QString& message, const QString& informativeText)>;
    void setFileChooser(FileChooser chooser) { chooseFiles_ = std::move(chooser); }
    void setAlert(Alert alert) { alert_ = std::move(alert); }

    // The button actions.
    void addFiles();
    void removeSelectedAssets();
    // "Sync to Data": each selected video (every video of the group when none is selected) lined up
    // by its camera's GPS with the main boat's logs; the confident ones move as one undoable edit,
    // and an alert says what was found for each.
    void syncToData();
    // Adds the files (the files inside folders) to the group while the progress window shows.
    void addUrls(const QList<QUrl>& urls);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void buildView();
    void renameGroup();
    void didUpdateAssets();
    void updateTimeControls();
    void setOffset(double seconds);
    void stepOffset(double seconds);
    // Local files a drag carries, or none for this group's own rows coming back.
    QList<QUrl> droppableUrls(const QMimeData* mime) const;
    bool groupIsInDocument() const;

    QPointer<Document> document_;
    std::shared_ptr<MediaGroup> group_;
    QLineEdit* nameField_ = nullptr;
    QTableView* table_ = nullptr;
    MediaAssetTableModel* model_ = nullptr;
    QPushButton* addButton_ = nullptr;
    QPushButton* removeButton_ = nullptr;
    QPushButton* syncButton_ = nullptr;
    QDoubleSpinBox* seconds_ = nullptr;
    TimeZoneComboBox* zoneBox_ = nullptr;
    ZonedDateTimeEdit* timestampPicker_ = nullptr;
    QPointer<ProgressWindowController> progress_;
    FileChooser chooseFiles_;
    Alert alert_;
    // While the controls are filled from the model, their signals change nothing.
    bool updating_ = false;
};
