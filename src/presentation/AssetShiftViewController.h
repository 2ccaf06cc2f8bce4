#pragma once

#include "core/DateFormat.h"
#include "document/Document.h"

#include <QFrame>
#include <QPointer>
#include <memory>
#include <vector>

class MediaAsset;
class QCheckBox;
class QLabel;
class QPushButton;

// The panel that nudges the displayed photo or video earlier or later against the boats' data,
// shown as a popover of the media view. Each button adds its step to the asset's offset (or its
// group's), and by default moves the playback position along so the picture stays put.
class AssetShiftViewController : public QFrame {
    Q_OBJECT
public:
    explicit AssetShiftViewController(QWidget* parent = nullptr);

    Document* document() const { return document_; }
    const std::shared_ptr<MediaAsset>& asset() const { return asset_; }
    void setDocument(Document* document);
    void setAsset(std::shared_ptr<MediaAsset> asset);
    // One frame of the displayed video, for the ±1 frame buttons; 0.04 s for a photo.
    void setFrameDuration(double seconds);

    // The three labels.
    QString eventPlaybackPositionString() const;
    QString assetOffsetString() const;
    QString assetMediaGroupName() const;

    // The action of every shift button: its step, in milliseconds in the "tag" property (and in
    // seconds in "seconds", exact for a frame).
    void modifyOffset(QObject* sender);
    // Shifts by `seconds` as a button would.
    void shift(double seconds);
    // "Sync to Data": lines the video's camera GPS up with the main boat's logs and, when the match
    // is confident, shifts by it as a button would; the outcome is shown under the buttons.
    void syncToData();

    const std::vector<QPushButton*>& shiftButtons() const { return buttons_; }
    QCheckBox* applyToGroupBox() const { return applyToGroup_; }
    QCheckBox* moveVideoBox() const { return moveVideo_; }
    QPushButton* syncButton() const { return syncButton_; }
    QLabel* syncLabel() const { return syncLabel_; }

    // Shows the panel as a popover below `anchor`'s top right corner.
    void popUp(QWidget* anchor);

private:
    void updateLabels();
    void updateFrameButtons();

    QPointer<Document> document_;
    std::shared_ptr<MediaAsset> asset_;
    double frameDuration_ = 0.04;
    QLabel* positionLabel_;
    QLabel* offsetLabel_;
    QLabel* groupLabel_;
    QCheckBox* applyToGroup_;
    QCheckBox* moveVideo_;
    std::vector<QPushButton*> buttons_;
    QPushButton* syncButton_;
    QLabel* syncLabel_;
    mutable std::unique_ptr<DateFormat> positionFormat_;
    mutable TimeZone positionZone_;
    QMetaObject::Connection positionConnection_;
    QMetaObject::Connection assetsConnection_;
};
