#pragma once

#include "core/TimeZone.h"

#include <QList>
#include <QString>
#include <QStringList>
#include <QUrl>
#include <functional>
#include <memory>
#include <vector>

class Document;
class DocumentEdit;
class MediaAsset;
class MediaGroup;

// Examines photo and video files for a media group: the files are examined on the thread pool, the
// assets join the document on the main thread as one AddMediaAssets edit, and the caller gets the
// files that could not be added together with the texts of the warning to show.
class MediaFileAdder {
public:
    struct Result {
        std::vector<std::shared_ptr<MediaAsset>> assets; // in the order of the files
        QStringList failures;                            // file names

        bool hasFailures() const { return !failures.isEmpty(); }
        static QString alertMessage() { return "Could not add media files"; }
        QString alertInformativeText() const;
        static QString alertButton() { return "OK"; }
    };

    // Examines the files in order, on the calling thread: a video asset for video, movie and audio
    // files, a photo asset for images; every other file, and every file that gives no asset, is a
    // failure.
    static Result examine(const QList<QUrl>& urls, const std::shared_ptr<MediaGroup>& group,
                          const TimeZone& zone);

    // Hands the edit to the undo history, say; without it the edit is applied as it is.
    using Perform = std::function<void(Document&, std::unique_ptr<DocumentEdit>)>;

    // Examines the files on the thread pool; then, on the main thread, adds the assets (and the
    // group, when the document lacks it) with an AddMediaAssets edit and calls `done`. Nothing
    // happens on the main thread if the document is gone by then.
    static void add(Document* document, QList<QUrl> urls, std::shared_ptr<MediaGroup> group, TimeZone zone,
                    std::function<void(const Result&)> done, Perform perform = {});
};
