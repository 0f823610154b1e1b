#include "platform/tls/CertificateProgram.h"

#include <sys/mman.h>
#include <sys/wait.h>

#include <charconv>
#include <chrono>
#include <string_view>
#include <vector>

#include "platform/keys/Fingerprint.h"
#include "platform/keys/KeyLines.h"
#include "platform/keys/PrivateFile.h"
#include "platform/os/FileDescriptor.h"
#include "platform/os/SmallFile.h"
#include "platform/os/Subprocess.h"

namespace tarn::tls {

namespace {

constexpr std::chrono::seconds patience{10};
constexpr std::size_t mostOutput = 4096;

std::string outputOf(const std::vector<std::string>& words) {
    const os::FileDescriptor output(::memfd_create("output", MFD_CLOEXEC));
    std::vector<std::string> arguments{os::besideThisProgram(certificateProgramName)};
    arguments.insert(arguments.end(), words.begin(), words.end());
    os::Subprocess program({.arguments = arguments, .output = output.get()});
    const auto status = program.waitForEnd(patience);
    const auto text =
        os::readBeginning("/proc/self/fd/" + std::to_string(output.get()), mostOutput).value_or("");
    if (!status) {
        throw keys::KeyFileError(arguments.front() + " does not end");
    }
    if (!WIFEXITED(*status) || WEXITSTATUS(*status) != 0) {
        throw keys::KeyFileError(text.substr(0, text.find('\n')));
    }
    return text;
}

// "fingerprint DIGITS" and "end SECONDS", each on a line.
CertificateFacts factsIn(const std::string& text) {
    const auto lines = keys::linesOf(text);
    if (lines.size() == 2 && lines[0].words.size() == 2 && lines[1].words.size() == 2) {
        const auto fingerprint = keys::fingerprintIn(lines[0].words[1]);
        const auto& number = lines[1].words[1];
        std::time_t seconds = 0;
        const auto read = std::from_chars(number.data(), number.data() + number.size(), seconds);
        if (fingerprint && read.ec == std::errc()) {
            return {*fingerprint, std::chrono::system_clock::from_time_t(seconds)};
        }
    }
    throw keys::KeyFileError(std::string(certificateProgramName) + " is of another version");
}

CertificateFacts factsBy(const std::vector<std::string>& words) {
    try {
        return factsIn(outputOf(words));
    } catch (const std::system_error& failure) {
        throw keys::KeyFileError(std::string(certificateProgramName) +
                                 " cannot be run: " + failure.what());
    }
}

}  // namespace

CertificateFacts makeCertificateFile(const std::string& path, const std::string& name,
                                     unsigned days) {
    return factsBy({"make", path, name, std::to_string(days)});
}

CertificateFacts lookAtCertificateFile(const std::string& path, const std::string& alsoTrusted) {
    return factsBy({"show", path, alsoTrusted});
}

}  // namespace tarn::tls
