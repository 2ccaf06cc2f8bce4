#pragma once

#include <QString>
#include <QStringList>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// Writes boat-log files through the HDF5 layer, with knobs for every way a real file can differ
// or be broken.
class Boat;
class Document;

struct LogFixture {
    std::vector<std::string> columns;
    std::vector<double> times;  // axis1, seconds since 1970 as wall-clock time
    std::vector<double> values; // row-major
    bool variableLengthNames = false;
    bool integerTimes = false; // axis1 stored as int64
    bool omitNames = false;
    bool omitTimes = false;
    bool omitValues = false;
    bool valuesAsMatrix = true; // rank 2 (records × columns) rather than flat
    // The shape block0_values is written with, for values that do not fit their table; as many
    // values as it holds are written.
    std::optional<std::vector<std::uint64_t>> valuesShape;
    // pandas' layout of mixed dtypes: `block0Items` names the columns of block0_values, and each
    // further block brings its own items and values (records × items).
    struct Block {
        std::vector<std::string> items;
        std::vector<double> values;
    };
    std::optional<std::vector<std::string>> block0Items;
    std::vector<Block> moreBlocks;
    std::optional<std::string> meta;
    std::optional<std::string> meta0;
    std::optional<std::string> parseContext;

    // True when the file was written.
    bool write(const QString& path) const;
    // Writes the file at `path` and adds it to `document` as a log of `boat` (UTC, no offset), as an
    // import would; false when the file could not be written or read back.
    bool addTo(Document& document, const std::shared_ptr<Boat>& boat, const QString& path) const;
};

// Captures the program's diagnostic lines for the duration of a scope.
class DiagnosticsCapture {
public:
    DiagnosticsCapture();
    ~DiagnosticsCapture();
    std::string text() const;

private:
    std::FILE* file_;
};

// Runs Debian's Python with `script` and the given arguments; answers its exit code.
int runSystemPython(const std::string& script, const QStringList& arguments, QString* output = nullptr);
