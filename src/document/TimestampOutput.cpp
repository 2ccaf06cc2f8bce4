#include "document/TimestampOutput.h"

#include "core/Diagnostics.h"
#include "core/FatalError.h"
#include "core/NumberText.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <cmath>
#include <sys/stat.h>
#include <unistd.h>

QString TimestampOutput::path() {
    return QDir::homePath() + "/Documents/Tolvik/Media/Vesko.txt";
}

std::string TimestampOutput::text(Instant instant, TimestampFormat format) {
    double t70 = instant.unixSeconds();
    auto integer = [](double value) {
        // 2^63 is exactly representable; anything at or beyond it does not fit.
        if (!std::isfinite(value) || value >= 9223372036854775808.0 || value < -9223372036854775808.0)
            fatalError("Timestamp out of range");
        return std::to_string(static_cast<long long>(std::trunc(value)));
    };
    switch (format) {
    case TimestampFormat::UnixSecFloat:
        return shortestText(t70);
    case TimestampFormat::UnixSecInt:
        return integer(t70);
    case TimestampFormat::DelphiMsecInt:
        // Milliseconds since 1899-12-30, the day count of spreadsheet and Delphi clocks.
        return integer((t70 + 2209161600.0) * 1000.0);
    }
    fatalError("Unknown timestamp format");
}

std::unique_ptr<QFile> TimestampOutput::open(TimestampWriteMode mode) {
    const QString target = path();
    QFileInfo info(target);
    if (info.exists() || info.isSymLink()) {
        if (::unlink(QFile::encodeName(target).constData()) != 0)
            fatalError("Could not remove the old timestamp output");
    }
    if (!QDir().mkpath(info.absolutePath()))
        fatalError("Could not create the folder of the timestamp output");

    if (mode == TimestampWriteMode::Pipe) {
        if (::mkfifo(QFile::encodeName(target).constData(), 0666) != 0)
            Diagnostics::printLine("Failed to create pipe");
    } else {
        QFile create(target);
        create.open(QIODevice::WriteOnly);
    }
    auto handle = std::make_unique<QFile>(target);
    // Unbuffered: each time goes out whole at once. A FIFO blocks here until a reader comes.
    if (!handle->open(QIODevice::WriteOnly | QIODevice::Unbuffered))
        return nullptr;
    return handle;
}

void TimestampOutput::write(QFile& handle, TimestampWriteMode mode, Instant instant, TimestampFormat format) {
    if (mode == TimestampWriteMode::File) {
        handle.resize(0);
        handle.seek(0);
    }
    QString text = QString::fromStdString(TimestampOutput::text(instant, format));
    QByteArray bytes(reinterpret_cast<const char*>(text.utf16()), text.size() * 2);
    if constexpr (Q_BYTE_ORDER == Q_BIG_ENDIAN) {
        for (qsizetype i = 0; i + 1 < bytes.size(); i += 2)
            std::swap(bytes[i], bytes[i + 1]);
    }
    handle.write(bytes);
    handle.flush();
    ::fsync(handle.handle());
}
