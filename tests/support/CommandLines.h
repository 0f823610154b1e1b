#pragma once

#include <functional>
#include <sstream>
#include <string>
#include <vector>

#include "platform/program/CommandLine.h"

namespace tarn::test {

/// Command lines of one program, parsed here; what the last one came to can be looked at.
class CommandLines {
  public:
    explicit CommandLines(std::string program) : name(std::move(program)) {}

    /// What `parser` makes of the words behind the program's name.
    template <typename Parser>
    auto parse(Parser parser, std::vector<const char*> words) {
        words.insert(words.begin(), name.c_str());
        std::ostringstream outStream;
        std::ostringstream errStream;
        program::CommandLine line(static_cast<int>(words.size()), words.data(), outStream,
                                  errStream);
        auto options = parser(line);
        exitStatus = line.exitStatus();
        out = outStream.str();
        err = errStream.str();
        return options;
    }

    int exitStatus = -1;
    std::string out;
    std::string err;

  private:
    const std::string name;
};

}  // namespace tarn::test
