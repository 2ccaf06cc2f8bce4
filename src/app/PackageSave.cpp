#include "app/PackageSave.h"

#include "app/ProgressWindowController.h"
#include "document/Document.h"

#include <QEventLoop>
#include <QPointer>
#include <atomic>
#include <thread>

std::optional<DocumentSavingError> PackageSave::run(Document& document, const QString& packagePath,
                                                    QWidget* window,
                                                    const DocumentPackageWriter::FailureInjection& inject) {
    auto planned = DocumentPackageWriter::plan(document, packagePath);
    if (auto* error = std::get_if<DocumentSavingError>(&planned))
        return *error;
    const auto plan = std::get<PackageWritePlan>(std::move(planned));

    document.setActivity(Document::Activity::saving);
    QEventLoop loop;
    std::atomic<bool> cancel = false;
    std::atomic<int> shownPermille = -1;
    QPointer<ProgressWindowController> progress;
    // The window comes only when there is something to watch: linking logs takes no time.
    auto showProgress = [&](qint64 done, qint64 total) {
        int permille = int(double(done) / double(total) * 1000.0);
        if (shownPermille.exchange(permille) == permille)
            return;
        QMetaObject::invokeMethod(
            &loop,
            [&, done, total] {
                if (!progress) {
                    progress = new ProgressWindowController(window);
                    progress->setAttribute(Qt::WA_DeleteOnClose);
                    progress->setAutoClose(true);
                    progress->begin(QObject::tr("Saving document…"));
                    progress->setCancelHandler([&cancel] { cancel = true; });
                }
                progress->setByteProgress(done, total);
            },
            Qt::QueuedConnection);
    };
    std::optional<DocumentSavingError> result;
    std::thread worker([&] {
        try {
            result = DocumentPackageWriter::run(plan, DocumentPackageWriter::Placement::linkOrCopy,
                                                showProgress, inject, &cancel);
        } catch (const std::exception& error) {
            result = DocumentSavingError{
                DocumentSavingError::Kind::fileContentGeneration, {}, QString::fromLocal8Bit(error.what())};
        }
        QMetaObject::invokeMethod(&loop, &QEventLoop::quit, Qt::QueuedConnection);
    });
    loop.exec();
    worker.join();
    if (progress)
        progress->done();

    if (!result)
        DocumentPackageWriter::apply(document, plan);
    // Edits that waited for the save run now, on the saved document.
    document.setActivity(Document::Activity::ready);
    return result;
}
