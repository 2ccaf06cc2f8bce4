#include "media/MediaFileAdder.h"

#include "document/AddMediaAssets.h"
#include "document/Document.h"
#include "media/MediaTypes.h"
#include "media/PhotoAsset.h"
#include "media/VideoAsset.h"

#include <QCoreApplication>
#include <QFileInfo>
#include <QPointer>
#include <QThreadPool>

QString MediaFileAdder::Result::alertInformativeText() const {
    return "The following files could not be added: " + failures.join(", ") +
           ". Please check that they are in a supported format.";
}

MediaFileAdder::Result MediaFileAdder::examine(const QList<QUrl>& urls,
                                               const std::shared_ptr<MediaGroup>& group,
                                               const TimeZone& zone) {
    Result result;
    for (const QUrl& url : urls) {
        std::shared_ptr<MediaAsset> asset;
        if (isSupportedVideo(url))
            asset = VideoAsset::create(url, zone, group);
        else if (isSupportedPhoto(url))
            asset = PhotoAsset::create(url, zone, group);
        if (asset)
            result.assets.push_back(std::move(asset));
        else
            result.failures.append(QFileInfo(url.toLocalFile()).fileName());
    }
    return result;
}

void MediaFileAdder::add(Document* document, QList<QUrl> urls, std::shared_ptr<MediaGroup> group,
                         TimeZone zone, std::function<void(const Result&)> done, Perform perform) {
    QPointer<Document> target(document);
    QThreadPool::globalInstance()->start([target, urls = std::move(urls), group = std::move(group),
                                          zone = std::move(zone), done = std::move(done),
                                          perform = std::move(perform)]() mutable {
        auto result = std::make_shared<Result>(examine(urls, group, zone));
        // The application object lives on the main thread; the document is looked at only there.
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [target, group, result, done = std::move(done), perform = std::move(perform)] {
                if (!target)
                    return;
                // A save that started meanwhile writes the document as it was; the files join
                // once it is done.
                target->whenEditable([target, group, result, done, perform] {
                    if (!target)
                        return;
                    auto edit = std::make_unique<AddMediaAssets>(result->assets, group);
                    if (perform)
                        perform(*target, std::move(edit));
                    else
                        edit->apply(*target);
                    if (done)
                        done(*result);
                });
            },
            Qt::QueuedConnection);
    });
}
