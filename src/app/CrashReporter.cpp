#include "app/CrashReporter.h"

#include "core/StateFolder.h"

#include <QDateTime>
#include <QDir>
#include <csignal>
#include <cstring>
#include <execinfo.h>
#include <fcntl.h>
#include <unistd.h>

namespace {
// Everything the handler writes is prepared beforehand: inside a signal handler only
// async-signal-safe calls (open, write, backtrace_symbols_fd) are allowed.
char reportPath[4096];
char reportHeader[1024];
volatile sig_atomic_t handling = 0;

void writeText(int fd, const char* text) {
    size_t length = std::strlen(text);
    while (length > 0) {
        ssize_t written = ::write(fd, text, length);
        if (written <= 0)
            return;
        text += written;
        length -= size_t(written);
    }
}

void writeNumber(int fd, int number) {
    char digits[16];
    int i = 15;
    digits[i] = '\0';
    bool negative = number < 0;
    unsigned value = negative ? unsigned(-number) : unsigned(number);
    do {
        digits[--i] = char('0' + value % 10);
        value /= 10;
    } while (value > 0 && i > 1);
    if (negative)
        digits[--i] = '-';
    writeText(fd, digits + i);
}

void handleCrash(int signalNumber) {
    if (handling) {
        ::signal(signalNumber, SIG_DFL);
        ::raise(signalNumber);
        return;
    }
    handling = 1;
    int fd = ::open(reportPath, O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (fd >= 0) {
        writeText(fd, reportHeader);
        writeText(fd, "signal: ");
        writeNumber(fd, signalNumber);
        writeText(fd, " (");
        writeText(fd, sigabbrev_np(signalNumber) ? sigabbrev_np(signalNumber) : "?");
        writeText(fd, ")\nbacktrace:\n");
        void* frames[128];
        int count = ::backtrace(frames, 128);
        ::backtrace_symbols_fd(frames, count, fd);
        ::close(fd);
        writeText(STDERR_FILENO, "Wakeline crashed; a report was written to ");
        writeText(STDERR_FILENO, reportPath);
        writeText(STDERR_FILENO, "\n");
    }
    // The default action then ends the process as the signal would have.
    ::signal(signalNumber, SIG_DFL);
    ::raise(signalNumber);
}
} // namespace

QString CrashReporter::reportFolder() {
    return wakelineStateFolder() + QStringLiteral("/crashes");
}

QString CrashReporter::pendingReportPath() {
    return QString::fromLocal8Bit(reportPath);
}

void CrashReporter::start(const QString& environment) {
    QDir().mkpath(reportFolder());
    const QString path =
        reportFolder() + QStringLiteral("/crash-%1-%2.txt")
                             .arg(QDateTime::currentDateTimeUtc().toString(QStringLiteral("yyyyMMdd-HHmmss")))
                             .arg(::getpid());
    QByteArray pathBytes = path.toLocal8Bit();
    std::strncpy(reportPath, pathBytes.constData(), sizeof reportPath - 1);
    QByteArray header = QStringLiteral("Wakeline %1 crash report\nenvironment: %2\nstarted: %3\n")
                            .arg(QStringLiteral(WAKELINE_VERSION), environment,
                                 QDateTime::currentDateTimeUtc().toString(Qt::ISODate))
                            .toUtf8();
    std::strncpy(reportHeader, header.constData(), sizeof reportHeader - 1);
    // Loads libgcc's unwinder now: the first backtrace() call may allocate.
    void* warmUp[1];
    ::backtrace(warmUp, 1);
    for (int signalNumber : {SIGSEGV, SIGABRT, SIGBUS, SIGFPE, SIGILL})
        ::signal(signalNumber, handleCrash);
}
