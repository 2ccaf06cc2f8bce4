#include "media/VaapiDevice.h"

#include "media/AvHandle.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QtGlobal>
#include <mutex>

extern "C" {
#include <libavutil/hwcontext.h>
}

namespace {

AvBufferHandle open() {
    const QDir nodes("/dev/dri");
    const QStringList renderNodes = nodes.entryList({"renderD*"}, QDir::System, QDir::Name);
    if (renderNodes.isEmpty())
        return nullptr;
    // libva prints its driver search on stdout, where the command-line verbs write their JSON.
    if (!qEnvironmentVariableIsSet("LIBVA_MESSAGING_LEVEL"))
        qputenv("LIBVA_MESSAGING_LEVEL", "1");
    for (const QString& node : renderNodes) {
        const QString path = nodes.filePath(node);
        if (!QFileInfo(path).isReadable())
            continue;
        AVBufferRef* device = nullptr;
        // Naming the node keeps libva away from the X display, which a machine without a GPU may have.
        if (av_hwdevice_ctx_create(&device, AV_HWDEVICE_TYPE_VAAPI, QFile::encodeName(path).constData(),
                                   nullptr, 0) == 0)
            return AvBufferHandle(device);
    }
    return nullptr;
}

} // namespace

AVBufferRef* VaapiDevice::shared() {
    static std::once_flag once;
    static AvBufferHandle device;
    std::call_once(once, [] { device = open(); });
    return device.get();
}
