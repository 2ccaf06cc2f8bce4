#include "core/StreamReader.h"

#include "core/FatalError.h"

#include <QIODevice>
#include <QProcess>
#include <algorithm>

StreamReader::StreamReader(QIODevice* device, qint64 chunkSize, QByteArray delimiter)
    : device_(device), chunkSize_(chunkSize), delimiter_(std::move(delimiter)) {
    if (!device_ || chunkSize_ <= 0 || delimiter_.isEmpty())
        fatalError("StreamReader needs a device, a positive chunk size and a delimiter");
}

void StreamReader::setShouldStop(std::function<bool()> shouldStop, int waitMilliseconds) {
    shouldStop_ = std::move(shouldStop);
    waitMilliseconds_ = std::max(1, waitMilliseconds);
}

bool StreamReader::isAtEnd() const {
    // A process's pipe has nothing to read for a while yet is not at its end until the process
    // has ended, by which time QProcess has taken in all that remained.
    if (auto* process = qobject_cast<QProcess*>(device_))
        return process->state() == QProcess::NotRunning && process->bytesAvailable() == 0;
    return !device_->isOpen() || device_->atEnd();
}

std::optional<QString> StreamReader::nextLine() {
    for (;;) {
        if (isStopped_)
            return std::nullopt;
        qsizetype cut = buffer_.indexOf(delimiter_, searched_);
        if (cut >= 0) {
            QString line = QString::fromUtf8(buffer_.constData(), cut);
            buffer_.remove(0, cut + delimiter_.size());
            searched_ = 0;
            return line;
        }
        // A delimiter of several bytes may straddle the end of what has arrived so far.
        searched_ = std::max<qsizetype>(0, buffer_.size() - delimiter_.size() + 1);
        if (isAtEOF_) {
            if (buffer_.isEmpty())
                return std::nullopt;
            QString last = QString::fromUtf8(buffer_);
            buffer_.clear();
            searched_ = 0;
            return last;
        }

        QByteArray chunk = device_->read(chunkSize_);
        if (!chunk.isEmpty()) {
            buffer_ += chunk;
            continue;
        }
        if (isAtEnd()) {
            isAtEOF_ = true;
            continue;
        }
        if (shouldStop_ && shouldStop_()) {
            isStopped_ = true;
            continue;
        }
        device_->waitForReadyRead(waitMilliseconds_);
    }
}
