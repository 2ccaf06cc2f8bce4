#pragma once

#include <QList>
#include <QUrl>
#include <functional>
#include <memory>

class Document;
class MediaGroup;
class ProgressWindowController;
class QString;
class QWidget;

// Adds photos and videos to a media group, from the group's editor or a drop on the outline: the
// files are examined off the main thread while a progress window shows "Loading media files…",
// they join the group as one undoable edit, and the files that could not be added are named in
// one alert.
class MediaFileAddition {
public:
    using Alert =
        std::function<void(QWidget* parent, const QString& message, const QString& informativeText)>;

    // The progress window, or null when there is no local file to add. `alert` defaults to a
    // warning box over `parent`.
    static ProgressWindowController* start(QWidget* parent, Document* document,
                                           std::shared_ptr<MediaGroup> group, const QList<QUrl>& urls,
                                           Alert alert = {});

    // The local files among `urls`; a folder stands for the files in it and its
    // subfolders, by name (hidden files stay out, as in the file chooser).
    static QList<QUrl> filesOf(const QList<QUrl>& urls);
};
