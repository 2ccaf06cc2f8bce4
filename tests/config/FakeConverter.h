#pragma once

#include <QString>
#include <QStringList>
#include <QTemporaryDir>

// A stand-in for logutils-cli, found through WAKELINE_CONVERTER while it lives: a shell script
// that notes each run, its arguments and its process id, then runs `body`, in which $out is the
// path after "-o".
class FakeConverter {
public:
    explicit FakeConverter(const QString& body);
    ~FakeConverter();
    FakeConverter(const FakeConverter&) = delete;
    FakeConverter& operator=(const FakeConverter&) = delete;

    int runs() const;
    QStringList arguments() const;
    qint64 pid() const;
    QString path(const QString& name) const { return dir_.filePath(name); }

    // A small converted log, as the converter would write it.
    static bool writeLog(const QString& path);
    // Shell quoting of a path for a body.
    static QString quoted(const QString& text);

private:
    QTemporaryDir dir_;
};
