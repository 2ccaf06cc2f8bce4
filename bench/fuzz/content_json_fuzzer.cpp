// content.json decoding: any bytes give a description or a DecodingError, never a crash.

#include "core/DecodingError.h"
#include "core/UserDefaults.h"
#include "document/DocumentReference.h"

#include <cstddef>
#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static bool settings = [] {
        UserDefaults::useFile("/tmp/wakeline-fuzz-settings.ini");
        return true;
    }();
    (void)settings;
    try {
        DocumentReference reference =
            DocumentReference::decode(std::string(reinterpret_cast<const char*>(data), size));
        // What was read must write back.
        (void)reference.encode();
    } catch (const DecodingError&) {
    }
    return 0;
}
