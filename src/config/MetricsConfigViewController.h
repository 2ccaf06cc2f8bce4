#pragma once

#include <QList>
#include <QPointer>
#include <QSet>
#include <QStringList>
#include <QWidget>
#include <memory>

class Document;
class MediaGroup;
class MetricsConfigTableModel;
class PresentationWindowController;
class QCheckBox;
class QComboBox;
class QPushButton;
class QTableView;
class VideoPlaybackViewController;

// The overlay configuration of a media view or a presentation window: which metrics the overlays
// show after the gun and before it, which media group the view plays, and whether its sound is
// muted. Every change reaches the opener at once; there is nothing to apply or cancel. Keys are
// added from the available table with the buttons, by double click or by dragging; removed with
// the button, Delete, or by dragging back; reordered with the arrows or by dragging.
class MetricsConfigViewController : public QWidget {
    Q_OBJECT
public:
    explicit MetricsConfigViewController(QWidget* parent = nullptr);
    ~MetricsConfigViewController() override;

    // Opened from a media view: the lists, group and mute flag are read from it and given back.
    void setDelegateController(VideoPlaybackViewController* controller);
    // Opened from a window without a media view: the window keeps them.
    void setDelegateWindowController(PresentationWindowController* controller);
    VideoPlaybackViewController* delegateController() const;
    PresentationWindowController* delegateWindowController() const;
    Document* document() const;

    QTableView* overlayTableView() const { return overlayTableView_; }
    QTableView* overlayBeforeGunTableView() const { return overlayBeforeGunTableView_; }
    QTableView* availableTableView() const { return availableTableView_; }
    QComboBox* mediaGroupPopup() const { return mediaGroupPopup_; }
    QCheckBox* muteAudioCheckbox() const { return muteAudioCheckbox_; }

    const QStringList& overlayKeys() const { return overlayKeys_; }
    const QStringList& overlayKeysBeforeGun() const { return overlayKeysBeforeGun_; }
    const QSet<QString>& availableKeys() const { return availableKeys_; }
    const QStringList& availableKeysOrdered() const { return availableKeysOrdered_; }
    const std::shared_ptr<MediaGroup>& mediaGroup() const { return mediaGroup_; }
    bool muteAudio() const { return muteAudio_; }
    // Some log of the document holds the metric.
    bool hasData(const QString& key) const { return keysWithData_.contains(key); }

    // Reads the opener's state and the document's groups and metrics anew.
    void viewWillAppear();

    // The actions.
    void addToOverlay();
    void addToOverlayBeforeGun();
    // Removes the selected rows of the list table that has the focus (or of the after-gun list).
    void removeSelected();
    void removeSelected(QTableView* table);
    // Moves the selected rows of a list table by one place.
    void moveSelected(QTableView* table, int delta);
    void mediaGroupPopupAction();
    void muteAudioCheckboxAction();

    // The data source of the three tables; any other table is a programming error.
    int numberOfRows(const QTableView* table) const;
    QString objectValue(const QTableView* table, int row) const;
    // A drop of keys dragged from `source` (one of the three tables, or none from elsewhere)
    // onto `target` before `row`; false when nothing changes.
    bool dropKeys(QTableView* target, const QStringList& keys, const QTableView* source, int row);

protected:
    void showEvent(QShowEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QTableView* makeTable(const char* name);
    QStringList& listOf(const QTableView* table);
    void addSelected(QTableView* target);
    void reloadTables();
    void selectRows(QTableView* table, const QList<int>& rows);
    QList<int> selectedRows(const QTableView* table) const;
    // Hands the lists to the opener.
    void listsDidChange();

    QTableView* overlayTableView_;
    QTableView* overlayBeforeGunTableView_;
    QTableView* availableTableView_;
    QComboBox* mediaGroupPopup_;
    QCheckBox* muteAudioCheckbox_;
    MetricsConfigTableModel* overlayModel_;
    MetricsConfigTableModel* overlayBeforeGunModel_;
    MetricsConfigTableModel* availableModel_;

    QPointer<Document> document_;
    QStringList overlayKeys_;
    QStringList overlayKeysBeforeGun_;
    QSet<QString> availableKeys_;
    std::shared_ptr<MediaGroup> mediaGroup_;
    bool muteAudio_ = false;
    QStringList availableKeysOrdered_;
    QPointer<VideoPlaybackViewController> delegateController_;
    QPointer<PresentationWindowController> delegateWindowController_;
    // Keys some log of the document holds; the others are listed greyed.
    QSet<QString> keysWithData_;
};
