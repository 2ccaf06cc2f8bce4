#pragma once

#include <cstddef>
#include <future>
#include <thread>

// Work over the rows of a table on both cores. The bodies given here compute each row from the
// inputs alone, never from another row's result, so two halves give the numbers one pass gives.
namespace Parallel {

// Below this many rows a second thread costs more than it saves.
constexpr std::size_t minimumRows = 1 << 15;

// body(begin, end) over [0, rows): the second half on another thread, the first on this one. An
// exception on either thread reaches the caller once both halves have stopped.
template <typename Body> void forRows(std::size_t rows, const Body& body) {
    if (rows < minimumRows || std::thread::hardware_concurrency() < 2) {
        body(std::size_t{0}, rows);
        return;
    }
    const std::size_t middle = rows / 2;
    std::future<void> secondHalf = std::async(std::launch::async, [&] { body(middle, rows); });
    try {
        body(std::size_t{0}, middle);
    } catch (...) {
        secondHalf.wait();
        throw;
    }
    secondHalf.get();
}

} // namespace Parallel
