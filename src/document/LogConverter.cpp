#include "document/LogConverter.h"

#include "core/Diagnostics.h"
#include "core/NumberText.h"
#include "core/StreamReader.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>

namespace {

const QString converterName = QStringLiteral("logutils-cli");

bool isProgram(const QString& path) {
    QFileInfo info(path);
    return info.isFile() && info.isExecutable();
}

// ["convert", "-o", "/tmp/x.hdf5"]: how the run is shown in the diagnostic line.
QString describe(const QStringList& arguments) {
    QStringList quoted;
    for (QString argument : arguments) {
        argument.replace('\\', QStringLiteral("\\\\")).replace('"', QStringLiteral("\\\""));
        quoted << '"' + argument + '"';
    }
    return '[' + quoted.join(QStringLiteral(", ")) + ']';
}

void print(const QString& line) {
    Diagnostics::printLine(line.toStdString());
}

} // namespace

QString LogConverter::locate() {
    // An explicit choice is not second-guessed: a wrong one should fail, not run another program.
    const QString chosen = qEnvironmentVariable("WAKELINE_CONVERTER");
    if (!chosen.isEmpty())
        return isProgram(chosen) ? QFileInfo(chosen).absoluteFilePath() : QString();
    const QDir programDir(QCoreApplication::applicationDirPath());
    for (const QString& relative :
         {QStringLiteral("../tools/logutils/"), QStringLiteral("../libexec/wakeline/")}) {
        const QString candidate = QDir::cleanPath(programDir.filePath(relative + converterName));
        if (isProgram(candidate))
            return candidate;
    }
    return {};
}

QStringList LogConverter::arguments(const Request& request) {
    QStringList arguments{QStringLiteral("convert"),
                          QStringLiteral("-o"),
                          request.output,
                          QStringLiteral("--boatLength"),
                          QString::fromStdString(shortestText(request.boatLength)),
                          QStringLiteral("--gpsOffset"),
                          QString::fromStdString(shortestText(request.gpsOffset))};
    for (const QString& input : request.inputs)
        arguments << QFileInfo(input).absoluteFilePath();
    return arguments;
}

LogConverter::Result LogConverter::run(const Request& request,
                                       const std::function<void(const QString&)>& line,
                                       const std::atomic<bool>* cancel) {
    Result result;
    QElapsedTimer clock;
    clock.start();
    auto cancelled = [cancel] { return cancel && cancel->load(); };
    auto removeOutput = [&] { QFile::remove(request.output); };

    const QString program = locate();
    if (program.isEmpty()) {
        result.failure =
            QStringLiteral("The log converter %1 was not found; reinstall Wakeline.").arg(converterName);
        print("Warning: " + result.failure);
        return result;
    }
    const QStringList arguments = LogConverter::arguments(request);
    print("Running " + program + " with args " + describe(arguments));

    // A file left from an earlier run must not pass for this run's output.
    removeOutput();
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.setStandardInputFile(QProcess::nullDevice());
    process.start(program, arguments, QIODevice::ReadOnly);
    if (!process.waitForStarted(-1)) {
        result.failure = QStringLiteral("The log converter %1 could not be started: %2")
                             .arg(program, process.errorString());
        print("Warning: " + result.failure);
        return result;
    }

    StreamReader reader(&process);
    reader.setShouldStop(cancelled);
    while (auto text = reader.nextLine())
        if (line)
            line(*text);

    if (reader.isStopped()) {
        process.kill();
        process.waitForFinished(-1);
        removeOutput();
        result.cancelled = true;
        result.seconds = double(clock.nsecsElapsed()) / 1e9;
        print(QStringLiteral("Conversion cancelled after %1 sec").arg(result.seconds));
        return result;
    }
    process.waitForFinished(-1);
    // On a signal QProcess reports the signal's number as the exit code.
    result.exitStatus = process.exitCode();
    if (process.exitStatus() == QProcess::CrashExit && result.exitStatus == 0)
        result.exitStatus = -1;
    if (result.exitStatus != 0) {
        print("Warning: termination status: " + QString::number(result.exitStatus));
        result.failure =
            process.exitStatus() == QProcess::CrashExit
                ? QStringLiteral("The log converter crashed (signal %1).").arg(result.exitStatus)
                : QStringLiteral("The log converter failed (termination status %1).").arg(result.exitStatus);
        removeOutput();
    } else if (!QFileInfo(request.output).isFile()) {
        result.failure = QStringLiteral("The log converter wrote no log file.");
    }
    result.seconds = double(clock.nsecsElapsed()) / 1e9;
    print("Converted input files in " + QString::number(result.seconds) + " sec");
    return result;
}
