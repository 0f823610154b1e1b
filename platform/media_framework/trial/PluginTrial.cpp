#include "platform/media_framework/trial/PluginTrial.h"

#include <string.h>
#include <sys/wait.h>

#include <exception>
#include <sstream>
#include <utility>

#include "platform/media_framework/trial/TrialOutput.h"
#include "platform/os/Subprocess.h"
#include "platform/utils/Printable.h"

namespace tarn::media_framework {

namespace {

std::string seconds(std::chrono::milliseconds time) {
    std::ostringstream text;
    text << std::chrono::duration<double>(time).count() << " s";
    return text.str();
}

std::string signalText(int signal) {
    const char* const name = ::sigdescr_np(signal);
    return std::to_string(signal) + " (" + (name != nullptr ? name : "unknown") + ")";
}

std::string withOutput(const std::string& failure, const std::string& output) {
    constexpr std::size_t longestOutput = 400;
    return output.empty() ? failure : failure + ": " + utils::printable(output, longestOutput);
}

}  // namespace

PluginTrial::PluginTrial(std::string program, std::chrono::milliseconds bound)
    : program(std::move(program)), bound(bound) {}

std::optional<std::string> PluginTrial::failureOf(const std::string& plugin) const {
    try {
        const TrialOutput output;
        os::Subprocess process({.arguments = {program, plugin}, .output = output.descriptor()});
        const auto status = process.waitForEnd(bound);
        if (!status) {
            return withOutput("did not start within " + seconds(bound) + " when it was tried",
                              output.text());
        }
        if (WIFSIGNALED(*status)) {
            return withOutput("crashed when it was tried: signal " + signalText(WTERMSIG(*status)),
                              output.text());
        }
        if (WEXITSTATUS(*status) != survived) {
            return withOutput("ended the process when it was tried: status " +
                                  std::to_string(WEXITSTATUS(*status)),
                              output.text());
        }
        return std::nullopt;
    } catch (const std::exception& e) {
        return std::string("cannot be tried: ") + e.what();
    }
}

}  // namespace tarn::media_framework
