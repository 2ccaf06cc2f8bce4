#pragma once

#include "presentation/PresentationLayout.h"

#include <QMainWindow>
#include <QPointer>
#include <QStringList>
#include <QVariantMap>
#include <vector>

class Document;
class DocumentObservingViewController;
class MediaCommands;
class QAction;
class QSplitter;
class VideoPlaybackViewController;

// A window that shows one document in one of its layouts. The document window is one too;
// further ones (another screen, say) follow the active document and keep their own layout, metric
// selection and media group. Handles the playback commands while it is the active window.
class PresentationWindowController : public QMainWindow {
    Q_OBJECT
public:
    explicit PresentationWindowController(QWidget* parent = nullptr);
    ~PresentationWindowController() override;

    virtual Document* currentDocument() const;
    virtual void setCurrentDocument(Document* document);

    PresentationLayout layout() const { return layout_; }
    void setLayout(PresentationLayout layout) { layout_ = layout; }
    // Replaces the child views with those of the current layout, each given the document.
    void applyLayout();
    // The child views of the current layout, in layout order.
    const std::vector<DocumentObservingViewController*>& rootViews() const { return rootViews_; }
    // The first child view of a class, if the layout has one.
    template <class View> View* rootView() const {
        for (auto* view : rootViews_)
            if (auto* v = qobject_cast<View*>(view))
                return v;
        return nullptr;
    }
    VideoPlaybackViewController* videoViewController() const;

    const QStringList& displayedMetrics() const { return displayedMetrics_; }
    const QStringList& displayedMetricsBeforeGun() const { return displayedMetricsBeforeGun_; }
    // The overlay lists after and before the gun, handed to the media view.
    void setDisplayedMetrics(const QStringList& metrics, const QStringList& beforeGun);
    const QString& initialMediaGroupName() const { return initialMediaGroupName_; }
    // Also shows the group of that name in the media view.
    void setInitialMediaGroupName(const QString& name);
    bool muteAudio() const { return muteAudio_; }
    void setMuteAudio(bool mute);
    // The metric the map colours the past tracks by, as a raw key; empty for the boats' own colours.
    const QString& trackColorMetric() const { return trackColorMetric_; }
    void setTrackColorMetric(const QString& rawKey);
    // The rows of the metrics table, apart from the overlays: a table has room for more.
    const QStringList& tableMetrics() const { return tableMetrics_; }
    // Full names of the boats the table shows; empty for all boats.
    const QStringList& tableBoats() const { return tableBoats_; }
    void setTableMetrics(const QStringList& metrics, const QStringList& boats);
    // The overlay configuration: the media view's when the layout has one, else the window's.
    void openMetricsConfig();

    // The state record: restoring reads "frame", "initialDisplayedMetrics",
    // "initialDisplayedMetricsBeforeGun", "tableMetrics", "tableBoats", "initialMediaGroup",
    // "layout", "muteAudio", "trackColorMetric", "graphMetrics" and "graphBoats", ignoring any
    // that is missing or of the wrong type.
    void restoreState(const QVariantMap& state);
    QVariantMap stateRecord() const;
    // Re-reads the document into every child view.
    void refreshViews();

    // The playback commands, by identifier: "PlayPause", "SeekBack01" … "SeekForward10",
    // "SeekPreviousAsset", "SeekNextAsset", "FocusRace".
    static QStringList playbackCommandIdentifiers();
    QAction* playbackAction(const QString& identifier) const;
    // Frame stepping and asset shifting.
    MediaCommands* mediaCommands() const { return mediaCommands_; }
    void seekMenuAction(QObject* sender);
    void focusRaceMenuAction(QObject* sender);
    bool validateMenuItem(const QAction* item) const;
    // Enables each playback command by the state of the document.
    void validatePlaybackActions();
    // The layout named by the sender's data (a raw layout value).
    void updateCurrentWindowLayout(QObject* sender);

    // The timeline's "add media" button; the document window runs the flow, others hand it there.
    virtual void addAssets();

    // Seconds of the seek commands.
    static constexpr double shortSeek = 0.1;
    static constexpr double mediumSeek = 1.0;
    static constexpr double longSeek = 10.0;

signals:
    void currentDocumentChanged(Document* document);
    void layoutApplied();

protected:
    void createPlaybackActions();
    void watchDocument();

    QPointer<Document> currentDocument_;
    std::vector<DocumentObservingViewController*> rootViews_;
    QStringList initialDisplayedMetrics_;
    QStringList initialDisplayedMetricsBeforeGun_;
    QStringList displayedMetrics_;
    QStringList displayedMetricsBeforeGun_;
    QStringList tableMetrics_;
    QStringList tableBoats_;
    QPointer<QWidget> metricsWindowController_;
    QString initialMediaGroupName_;
    PresentationLayout layout_ = PresentationLayout::videoMapTimeline;
    bool muteAudio_ = false;
    QString trackColorMetric_;
    std::vector<QAction*> playbackActions_;
    MediaCommands* mediaCommands_ = nullptr;
    QList<QMetaObject::Connection> documentConnections_;
};
