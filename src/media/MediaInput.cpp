#include "media/MediaInput.h"

#include <QByteArray>
#include <QFile>
#include <QFileInfo>

namespace {

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

} // namespace

AvFormatContextHandle openMediaInput(const QString& path, const QString& notMedia, QString* failure) {
    auto fail = [failure](const QString& reason) {
        if (failure)
            *failure = reason;
        return AvFormatContextHandle();
    };
    const QFileInfo file(path);
    if (!file.exists())
        return fail(QStringLiteral("the file does not exist"));
    if (!file.isFile())
        return fail(QStringLiteral("it is not a file"));
    if (!file.isReadable())
        return fail(QStringLiteral("the file cannot be read"));
    if (file.size() == 0)
        return fail(QStringLiteral("the file is empty"));
    AVFormatContext* opened = nullptr;
    if (int error = avformat_open_input(&opened, QFile::encodeName(path).constData(), nullptr, nullptr);
        error < 0)
        return fail(describeOpenFailure(path, error, notMedia));
    AvFormatContextHandle input(opened);
    avformat_find_stream_info(opened, nullptr);
    return input;
}

QString codecNameOf(const AVCodecParameters& parameters) {
    if (parameters.codec_id != AV_CODEC_ID_NONE)
        return QString::fromUtf8(avcodec_get_name(parameters.codec_id));
    char fourcc[AV_FOURCC_MAX_STRING_SIZE] = {};
    return QString::fromUtf8(av_fourcc_make_string(fourcc, parameters.codec_tag)).trimmed();
}
