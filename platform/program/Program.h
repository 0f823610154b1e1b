#pragma once

#include <functional>
#include <iostream>

#include "platform/program/CommandLine.h"

namespace tarn::program {

/// What a server program sets for itself before it does anything else: a reader that has gone is an
/// error of the write, as many descriptors as it may have, log lines to standard error. Main
/// thread.
void setUpProcess();

/// The body's exit status. What it throws is the last line of the log, and the status `failed`.
int runBody(const std::function<int()>& body);

/// The whole of a server program: its options as `parse` makes them of a CommandLine&, an optional;
/// then `body` with them, which returns the exit status.
template <typename Parse, typename Body>
int run(int argc, const char* const* argv, Parse parse, Body body) {
    CommandLine line(argc, argv, std::cout, std::cerr);
    const auto options = parse(line);
    if (!options) {
        return line.exitStatus();
    }
    setUpProcess();
    return runBody([&] { return body(*options); });
}

}  // namespace tarn::program
