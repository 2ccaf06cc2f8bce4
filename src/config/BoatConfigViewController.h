#pragma once

#include <QColor>
#include <QPointer>
#include <QUuid>
#include <QWidget>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

class Boat;
class Document;
class LogAssetTableModel;
class LogFileAsset;
class QComboBox;
class QDoubleSpinBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QTableView;
class TimeZone;
class TimeZoneComboBox;

// The editor of one boat in the configuration window: its names, colour, display mode, length and
// GPS antenna position, and its log files (add, list, time zone, remove). Every change is an edit
// in the document's undo history; the editor follows the document, so an undo shows at once.
class BoatConfigViewController : public QWidget {
    Q_OBJECT
public:
    BoatConfigViewController(Document* document, std::shared_ptr<Boat> boat, QWidget* parent = nullptr);
    ~BoatConfigViewController() override;

    const std::shared_ptr<Boat>& boat() const { return boat_; }
    Document* document() const;
    // Shows another boat; the log table and its selection start afresh.
    void setBoat(std::shared_ptr<Boat> boat);

    // 0 Main, 1 Secondary, 2 Other; setting any other value makes the boat Other.
    int boatDisplayModeIndex() const;
    void setBoatDisplayModeIndex(int index);
    bool canChangeBoatLength() const;

    // The boat's logs, as the document holds them and as the table shows them.
    const std::vector<std::shared_ptr<LogFileAsset>>& assets() const;
    std::vector<std::shared_ptr<LogFileAsset>> sortedAssets() const;

    QTableView* assetsTableView() const { return table_; }
    LogAssetTableModel* assetsModel() const { return model_; }
    TimeZoneComboBox* timeZoneComboBox() const { return zone_; }
    QPlainTextEdit* metricsTextField() const { return metrics_; }
    QLineEdit* fullNameField() const { return fullName_; }
    QLineEdit* shortNameField() const { return shortName_; }
    QPushButton* colorButton() const { return color_; }
    QComboBox* displayModeComboBox() const { return displayMode_; }
    QDoubleSpinBox* boatLengthField() const { return boatLength_; }
    QDoubleSpinBox* gpsOffsetField() const { return gpsOffset_; }
    QPushButton* addButton() const { return add_; }
    QPushButton* removeButton() const { return remove_; }

    // What the editor asks the user. Tests replace them.
    struct Questions {
        // A new colour; none when the user cancels.
        std::function<std::optional<QColor>(const QColor& current)> chooseColor;
        // Log files to import; empty when the user cancels.
        std::function<QStringList()> chooseLogFiles;
        // "Reload races" (true) or "Skip" after a time zone change.
        std::function<bool()> askReloadRaces;
        std::function<void(const QString& message, const QString& informativeText)> alert;
    };
    Questions& questions() { return questions_; }

    // Button actions.
    void addLogFiles();
    void removeLogFiles();
    void chooseColor();
    // Imports log files for this boat, as a drop does; false when none of them is a log file.
    bool importLogFiles(const QStringList& files);

protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QWidget* makeSettings();
    QWidget* makeLogs();
    void observeBoat();
    void reloadSettings();
    void reloadAssets();
    void selectionChanged();
    void updateSpans();
    void commitFullName();
    void commitShortName();
    void zoneChosen(const TimeZone& zone);
    // The loaded logs of the selected rows, in table order.
    std::vector<std::shared_ptr<LogFileAsset>> selectedAssets() const;
    std::vector<QUuid> selectedUnloaded() const;
    bool isEditable() const;

    QPointer<Document> document_;
    std::shared_ptr<Boat> boat_;
    std::vector<QMetaObject::Connection> boatConnections_;
    Questions questions_;

    QLineEdit* fullName_;
    QLineEdit* shortName_;
    QPushButton* color_;
    QComboBox* displayMode_;
    QDoubleSpinBox* boatLength_;
    QDoubleSpinBox* gpsOffset_;
    QTableView* table_;
    LogAssetTableModel* model_;
    TimeZoneComboBox* zone_;
    QPlainTextEdit* metrics_;
    QLabel* metricsLabel_;
    QPushButton* add_;
    QPushButton* remove_;
    // While controls are filled from the model, their signals make no edits.
    bool loading_ = false;
};
