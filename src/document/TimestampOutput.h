#pragma once

#include "core/Instant.h"
#include "document/TimestampWriteMode.h"

#include <QString>
#include <memory>
#include <string>

class QFile;

// Publishes the playback time for other tools on the same computer: a file that always holds the
// latest time, or a named pipe that receives one time after another.
class TimestampOutput {
public:
    // "~/Documents/Tolvik/Media/Vesko.txt" in the user's home.
    static QString path();
    // The text written for an instant. The integer formats stop the program for a time that is
    // not finite or does not fit 64 bits.
    static std::string text(Instant instant, TimestampFormat format);

    // Removes what lies at the path, makes the folder, creates the file or the FIFO and opens it
    // for writing; none when it cannot be opened. In Pipe mode this waits for a reader.
    static std::unique_ptr<QFile> open(TimestampWriteMode mode);
    // One time as UTF-16LE without terminator, flushed to disk. In File mode the file is emptied
    // first, so it always holds exactly one time.
    static void write(QFile& handle, TimestampWriteMode mode, Instant instant, TimestampFormat format);
};
