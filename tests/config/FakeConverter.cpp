#include "config/FakeConverter.h"

#include "support/LogFixture.h"

#include <QFile>

FakeConverter::FakeConverter(const QString& body) {
    QFile script(dir_.filePath("logutils-cli"));
    script.open(QIODevice::WriteOnly);
    const QString dir = quoted(dir_.path());
    script.write(("#!/bin/sh\n"
                  "echo run >> " +
                  dir +
                  "/runs\n"
                  "printf '%s\\n' \"$@\" > " +
                  dir +
                  "/args\n"
                  "echo $$ > " +
                  dir +
                  "/pid\n"
                  "out=\n"
                  "while [ $# -gt 0 ]; do [ \"$1\" = -o ] && out=\"$2\"; shift; done\n" +
                  body + "\n")
                     .toUtf8());
    script.close();
    script.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    qputenv("WAKELINE_CONVERTER", script.fileName().toLocal8Bit());
}

FakeConverter::~FakeConverter() {
    qunsetenv("WAKELINE_CONVERTER");
}

namespace {
QString contents(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
}
} // namespace

int FakeConverter::runs() const {
    return int(contents(dir_.filePath("runs")).count(QStringLiteral("run")));
}

QStringList FakeConverter::arguments() const {
    QStringList lines = contents(dir_.filePath("args")).split('\n');
    if (!lines.isEmpty() && lines.back().isEmpty())
        lines.pop_back();
    return lines;
}

qint64 FakeConverter::pid() const {
    return contents(dir_.filePath("pid")).trimmed().toLongLong();
}

bool FakeConverter::writeLog(const QString& path) {
    const double t0 = 1685620800.0; // 2023-06-01T12:00:00
    LogFixture log;
    log.columns = {"BSP", "TWS"};
    log.times = {t0, t0 + 1, t0 + 2};
    log.values = {6.0, 12.0, 6.5, 12.5, 7.0, 13.0};
    return log.write(path);
}

QString FakeConverter::quoted(const QString& text) {
    QString inner = text;
    return '\'' + inner.replace('\'', QStringLiteral("'\\''")) + '\'';
}
