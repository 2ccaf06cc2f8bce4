#include "support/LogFixture.h"

#include "boatlog/LogFileAsset.h"
#include "boatlog/hdf5/Hdf5File.h"
#include "core/Diagnostics.h"
#include "core/SerialQueue.h"
#include "document/Document.h"

#include <QProcess>
#include <QStringList>
#include <QUuid>
#include <algorithm>
#include <cstdio>

namespace {
std::vector<std::int64_t> bytesOf(const std::string& text) {
    std::vector<std::int64_t> bytes;
    for (unsigned char c : text)
        bytes.push_back(c);
    return bytes;
}
} // namespace

bool LogFixture::write(const QString& path) const {
    bool ok = true;
    SerialQueue::hdf().sync([&] {
        auto file = Hdf5File::create(path.toStdString());
        if (!file) {
            ok = false;
            return;
        }
        ok &= file->createGroup("/log0");
        if (!omitNames)
            ok &= file->writeStrings("/log0/axis0", columns,
                                     variableLengthNames ? Hdf5File::StringStorage::variableLength
                                                         : Hdf5File::StringStorage::fixedLength);
        if (!omitTimes) {
            if (integerTimes) {
                std::vector<std::int64_t> stamps(times.begin(), times.end());
                ok &= file->writeIntegers("/log0/axis1", stamps, Hdf5File::IntegerType::int64);
            } else {
                ok &= file->writeDoubles("/log0/axis1", times.data(), {times.size()});
            }
        }
        if (!omitValues) {
            std::vector<std::uint64_t> shape{values.size()};
            if (valuesAsMatrix && !columns.empty())
                shape = {values.size() / columns.size(), columns.size()};
            ok &= file->writeDoubles("/log0/block0_values", values.data(), valuesShape.value_or(shape));
        }
        const auto names = Hdf5File::StringStorage::fixedLength;
        if (block0Items)
            ok &= file->writeStrings("/log0/block0_items", *block0Items, names);
        for (std::size_t b = 0; b < moreBlocks.size(); ++b) {
            const Block& block = moreBlocks[b];
            const std::string prefix = "/log0/block" + std::to_string(b + 1);
            ok &= file->writeStrings(prefix + "_items", block.items, names);
            std::uint64_t width = std::max<std::size_t>(1, block.items.size());
            ok &= file->writeDoubles(prefix + "_values", block.values.data(),
                                     {block.values.size() / width, width});
        }
        auto writeJson = [&](const char* name, const std::optional<std::string>& json) {
            if (!json)
                return;
            ok &= file->createGroup(std::string("/") + name);
            ok &= file->writeIntegers(std::string("/") + name + "/values", bytesOf(*json),
                                      Hdf5File::IntegerType::uint8);
        };
        writeJson("meta", meta);
        writeJson("meta0", meta0);
        writeJson("parseContext", parseContext);
    });
    return ok;
}

DiagnosticsCapture::DiagnosticsCapture() : file_(std::tmpfile()) {
    Diagnostics::setStream(file_);
}

DiagnosticsCapture::~DiagnosticsCapture() {
    Diagnostics::setStream(stdout);
    std::fclose(file_);
}

std::string DiagnosticsCapture::text() const {
    std::fflush(file_);
    std::rewind(file_);
    std::string out;
    char buffer[4096];
    std::size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, file_)) > 0)
        out.append(buffer, n);
    return out;
}

int runSystemPython(const std::string& script, const QStringList& arguments, QString* output) {
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(SYSTEM_PYTHON, QStringList{"-c", QString::fromStdString(script)} + arguments);
    process.waitForFinished(120000);
    if (output)
        *output = QString::fromUtf8(process.readAll());
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

bool LogFixture::addTo(Document& document, const std::shared_ptr<Boat>& boat, const QString& path) const {
    if (!write(path))
        return false;
    auto asset = LogFileAsset::open(path, boat, QUuid::createUuid(), 0.0, TimeZone::utc());
    if (!asset || !asset->boatLog())
        return false;
    document.addLogAsset(boat, asset);
    return true;
}
