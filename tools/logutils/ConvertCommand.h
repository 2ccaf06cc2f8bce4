#pragma once

#include <optional>
#include <string>
#include <vector>

// `logutils-cli convert`: reads the input files, merges them onto one time grid and writes one
// boat-log file. Reports its progress line by line on stdout, as the desktop program shows it;
// a failure is one line on stderr, exit code 2, and no output file.
struct ConvertOptions {
    std::string output;
    double boatLength = 0.0;
    double gpsOffset = 0.0;
    std::optional<double> rate;
    std::optional<std::string> zone;
    std::vector<std::string> inputs;
    bool timings = false; // one line on stderr with the time each stage took
};

namespace ConvertCommand {

// The arguments after "convert". False, with the reason in `error`, when they are not usable.
bool parseArguments(const std::vector<std::string>& arguments, ConvertOptions& options, std::string& error);
// The exit code: 0, or 2 on failure.
int run(const ConvertOptions& options);

} // namespace ConvertCommand
