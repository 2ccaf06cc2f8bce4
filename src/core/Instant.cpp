#include "core/Instant.h"

#include <chrono>

Instant Instant::now() {
    auto since1970 = std::chrono::system_clock::now().time_since_epoch();
    return fromUnix(std::chrono::duration<double>(since1970).count());
}
