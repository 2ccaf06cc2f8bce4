#include "media/OpenFailure.h"

#include <QByteArray>
#include <QFile>

extern "C" {
#include <libavformat/avformat.h>
}

QString describeOpenFailure(const QString& path, int error, const QString& notMedia) {
    if (error == AVERROR(ENOENT))
        return QStringLiteral("the file does not exist");
    if (error == AVERROR(EACCES))
        return QStringLiteral("the file cannot be read");
    QFile file(path);
    QByteArray head;
    if (file.open(QIODevice::ReadOnly))
        head = file.read(1 << 16);
    head.append(QByteArray(AVPROBE_PADDING_SIZE, '\0'));
    AVProbeData probe{};
    const QByteArray name = QFile::encodeName(path);
    probe.filename = name.constData();
    probe.buf = reinterpret_cast<unsigned char*>(head.data());
    probe.buf_size = static_cast<int>(head.size() - AVPROBE_PADDING_SIZE);
    int score = 0;
    if (const AVInputFormat* format = av_probe_input_format2(&probe, 1, &score);
        format && score > AVPROBE_SCORE_EXTENSION)
        return QStringLiteral("the %1 file is damaged or incomplete")
            .arg(QString::fromUtf8(format->long_name));
    return notMedia;
}
