#include <google/protobuf/stubs/logging.h>

#include <iostream>

#include "cli/CommandLine.h"
#include "cli/output/Output.h"
#include "cli/output/Terminal.h"

int main(int argc, char** argv) {
    // What the library has to say of a bad message must not mix with our one line of complaint.
    google::protobuf::SetLogHandler(nullptr);
    tarn::cli::Output output(std::cout, std::cerr, tarn::cli::Terminal::ofThisProcess());
    return static_cast<int>(tarn::cli::runCommandLine({argv + 1, argv + argc}, output));
}
