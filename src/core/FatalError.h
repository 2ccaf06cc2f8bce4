#pragma once

#include <string_view>

// Stops the program on a programming error: prints the message to stderr and aborts.
// Bad files and bad user input never come here; they get a message and the program goes on.
[[noreturn]] void fatalError(std::string_view message);
