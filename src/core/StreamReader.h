#pragma once

#include <QByteArray>
#include <QString>
#include <functional>
#include <optional>

class QIODevice;

// Hands out the lines of a stream one by one: reads chunks of up to `chunkSize` bytes, cuts them
// at each delimiter and decodes each whole piece as UTF-8, so a chunk that ends inside a line or
// inside a character never splits it. A last piece without delimiter comes out at end of file.
// Works on files and buffers as well as on a process's pipe, whose data arrive while it runs.
class StreamReader {
public:
    explicit StreamReader(QIODevice* device, qint64 chunkSize = 4096, QByteArray delimiter = "\n");

    // The next line without its delimiter; none at end of file, or once `shouldStop` answers true.
    std::optional<QString> nextLine();

    // Asked while waiting for data, about every `waitMilliseconds`; a reader that must stop early
    // (a cancelled import) stops waiting for a child that keeps quiet.
    void setShouldStop(std::function<bool()> shouldStop, int waitMilliseconds = 50);

    qint64 chunkSize() const { return chunkSize_; }
    const QByteArray& delimiter() const { return delimiter_; }
    bool isAtEOF() const { return isAtEOF_; }
    bool isStopped() const { return isStopped_; }

private:
    bool isAtEnd() const;

    QIODevice* device_;
    qint64 chunkSize_;
    QByteArray delimiter_;
    QByteArray buffer_;
    // Where the search for the delimiter resumes: the buffer before it holds none.
    qsizetype searched_ = 0;
    bool isAtEOF_ = false;
    bool isStopped_ = false;
    std::function<bool()> shouldStop_;
    int waitMilliseconds_ = 50;
};
