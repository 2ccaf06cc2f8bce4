#include "config/LogImportController.h"

#include "app/ProgressWindowController.h"
#include "document/AddLogAsset.h"
#include "document/Document.h"
#include "document/LogImport.h"
#include "presentation/EditPerformer.h"

#include <QApplication>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QFileDialog>
#include <QInputDialog>
#include <QMessageBox>
#include <QMimeData>
#include <QThreadPool>
#include <QUrl>
#include <algorithm>
#include <mutex>

namespace {

bool carriesOtherFiles(const QMimeData* mime, const QStringList& logs) {
    for (const QUrl& url : mime->urls())
        if (url.isLocalFile() && !logs.contains(url.toLocalFile()))
            return true;
    return false;
}

// Takes drags that carry log files; the others pass on to the window as before.
class LogDropFilter : public QObject {
public:
    LogDropFilter(QWidget* window, std::function<Document*()> document)
        : QObject(window), window_(window), document_(std::move(document)) {}

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (watched != window_)
            return false;
        switch (event->type()) {
        case QEvent::DragEnter:
        case QEvent::DragMove: {
            auto* drag = static_cast<QDragMoveEvent*>(event);
            if (LogImportController::logFilesOf(drag->mimeData()).isEmpty())
                return false;
            drag->acceptProposedAction();
            return true;
        }
        case QEvent::Drop: {
            auto* drop = static_cast<QDropEvent*>(event);
            const QStringList files = LogImportController::logFilesOf(drop->mimeData());
            if (files.isEmpty())
                return false;
            drop->acceptProposedAction();
            // The drag's source waits for the drop to return: no dialog inside it.
            QPointer<QWidget> window(window_);
            QPointer<Document> document(document_());
            QMetaObject::invokeMethod(
                this,
                [window, document, files] {
                    if (window && document)
                        LogImportController::importDropped(window, document, files);
                },
                Qt::QueuedConnection);
            // Photos and videos dropped with the logs still reach the window.
            return !carriesOtherFiles(drop->mimeData(), files);
        }
        default:
            return false;
        }
    }

private:
    QWidget* window_;
    std::function<Document*()> document_;
};

} // namespace

// The worker's way back. It may outlive the controller (the document window closed during a
// conversion), so it checks under its lock that there is still someone to tell.
struct LogImportController::Relay {
    std::mutex mutex;
    LogImportController* owner = nullptr;

    void line(const QString& text) {
        std::lock_guard lock(mutex);
        if (owner)
            owner->progress_->appendLog(text);
    }
    void finish(const LogImportResult& result) {
        std::lock_guard lock(mutex);
        if (owner)
            QMetaObject::invokeMethod(
                owner, [target = owner, result] { target->complete(result); }, Qt::QueuedConnection);
    }
    void detach() {
        std::lock_guard lock(mutex);
        owner = nullptr;
    }
};

LogImportController::LogImportController(Document* document, std::shared_ptr<Boat> boat)
    : document_(document), boat_(std::move(boat)), progress_(new ProgressWindowController()),
      cancel_(std::make_shared<std::atomic<bool>>(false)), relay_(std::make_shared<Relay>()) {
    relay_->owner = this;
    progress_->setWindowTitle(tr("Import Boat Logs"));
    progress_->installEventFilter(this);
}

LogImportController::~LogImportController() {
    cancel_->store(true);
    relay_->detach();
    delete progress_;
}

LogImportController* LogImportController::start(Document* document, std::shared_ptr<Boat> boat,
                                                QStringList files) {
    if (!document || !boat || logImportRoad(files) == LogImportRoad::none)
        return nullptr;
    auto* controller = new LogImportController(document, std::move(boat));
    controller->run(std::move(files));
    return controller;
}

void LogImportController::run(QStringList files) {
    running_ = true;
    progress_->begin(tr("Loading boat data files…"));
    progress_->setCancelHandler([this] { cancel(); });
    // Neither a closed document nor a quitting program waits for a conversion nobody will use.
    connect(document_, &QObject::destroyed, this, &LogImportController::cancel);
    connect(qApp, &QCoreApplication::aboutToQuit, this, &LogImportController::cancel);
    QThreadPool::globalInstance()->start([files = std::move(files), boat = boat_,
                                          zone = document_->eventTimezone(), cancel = cancel_,
                                          relay = relay_] {
        LogImportResult result = importLogs(
            files, boat, zone, [&relay](const QString& text) { relay->line(text); }, cancel.get());
        relay->finish(result);
    });
}

void LogImportController::cancel() {
    cancel_->store(true);
}

void LogImportController::complete(const LogImportResult& result) {
    running_ = false;
    progress_->setCancelHandler({});
    bool added = false;
    QString failure = result.failure;
    if (result.cancelled) {
        progress_->appendLog(tr("Cancelled; nothing was imported."));
    } else if (result.asset) {
        const auto& boats = document_ ? document_->boats() : std::vector<std::shared_ptr<Boat>>{};
        if (!document_)
            failure = tr("The document was closed before its logs were imported.");
        else if (std::find(boats.begin(), boats.end(), boat_) == boats.end())
            failure = tr("The boat was removed before its logs were imported.");
        else {
            performEdit(*document_, std::make_unique<AddLogAsset>(boat_, result.asset));
            added = true;
        }
    } else if (failure.isEmpty()) {
        failure = tr("None of the files is a boat log Wakeline can read.");
    }
    if (!failure.isEmpty())
        progress_->appendLog(failure);
    // A failure waits for the user to read why; anything else needs no more of their attention.
    progress_->setAutoClose(failure.isEmpty());
    progress_->done();
    emit finished(added);
    if (!progress_->isVisible())
        deleteLater();
}

// The window closed while the converter runs means "stop"; the controller goes once the work is
// over and its window closed.
bool LogImportController::eventFilter(QObject* watched, QEvent* event) {
    if (watched == progress_ && event->type() == QEvent::Close) {
        if (running_)
            cancel();
        else
            deleteLater();
    }
    return QObject::eventFilter(watched, event);
}

std::shared_ptr<Boat> LogImportController::chooseBoat(QWidget* window, Document& document) {
    std::vector<std::shared_ptr<Boat>> boats = document.boats();
    std::stable_partition(boats.begin(), boats.end(),
                          [](const auto& boat) { return boat->displayMode() == Boat::DisplayMode::Main; });
    if (boats.size() <= 1)
        return boats.empty() ? nullptr : boats.front();
    QStringList names;
    for (const auto& boat : boats)
        names << boat->fullName();
    bool ok = false;
    const QString chosen = QInputDialog::getItem(window, tr("Import Boat Logs"),
                                                 tr("The logs belong to the boat:"), names, 0, false, &ok);
    const auto index = names.indexOf(chosen);
    return ok && index >= 0 ? boats[std::size_t(index)] : nullptr;
}

void LogImportController::chooseAndImport(QWidget* window, Document* document) {
    if (!document || !document->isEditable() || document->boats().empty()) {
        QApplication::beep();
        return;
    }
    const QStringList files =
        QFileDialog::getOpenFileNames(window, tr("Import Boat Logs"), QString(),
                                      tr("Boat logs (*.csv *.gpx *.vcc *.kml *.log *.hdf5 *.CSV *.GPX *.VCC "
                                         "*.KML *.LOG *.HDF5);;All files (*)"));
    if (files.isEmpty())
        return;
    if (auto boat = chooseBoat(window, *document))
        start(document, boat, files);
}

QStringList LogImportController::logFilesAmong(const QStringList& files) {
    QStringList logs;
    for (const QString& file : files)
        if (isConvertibleLogFile(file))
            logs << file;
    return logs;
}

QStringList LogImportController::logFilesOf(const QMimeData* mime) {
    QStringList files;
    if (mime)
        for (const QUrl& url : mime->urls())
            if (url.isLocalFile())
                files << url.toLocalFile();
    return logFilesAmong(files);
}

bool LogImportController::importDropped(QWidget* window, Document* document, const QStringList& files) {
    const QStringList logs = logFilesAmong(files);
    if (logs.isEmpty())
        return false;
    if (!document || !document->isEditable()) {
        QApplication::beep();
        return true;
    }
    if (document->boats().empty()) {
        QMessageBox::information(window, tr("Import Boat Logs"),
                                 tr("Add a boat to the event first: every log belongs to a boat."));
        return true;
    }
    if (auto boat = chooseBoat(window, *document))
        start(document, boat, logs);
    return true;
}

void LogImportController::acceptLogDrops(QWidget* window, std::function<Document*()> document) {
    window->setAcceptDrops(true);
    window->installEventFilter(new LogDropFilter(window, std::move(document)));
}
