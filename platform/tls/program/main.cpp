// Makes a certificate, or says what it is, for programs that do not load the library for that.
#include <charconv>
#include <cstdio>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/tls/CertifiedKey.h"

namespace {

using namespace tarn::tls;
using Words = std::vector<std::string>;

constexpr std::chrono::hours aDay{24};
constexpr unsigned mostDays = 36'500;

unsigned daysIn(const std::string& text) {
    unsigned days = 0;
    const char* const end = text.data() + text.size();
    const auto read = std::from_chars(text.data(), end, days);
    if (read.ec != std::errc() || read.ptr != end || days == 0 || days > mostDays) {
        throw std::runtime_error("a certificate counts for 1 to 36500 days");
    }
    return days;
}

// From a day ago on: the clocks of two machines differ.
CertifiedKey make(const Words& words) {
    const auto now = std::chrono::system_clock::now();
    auto key =
        generateCertifiedKey(words[2], {.begin = now - aDay, .end = now + aDay * daysIn(words[3])});
    writeCertifiedKeyFile(words[1], key);
    return key;
}

void show(const CertifiedKey& key) {
    std::printf("fingerprint %s\nend %lld\n", key.fingerprint.c_str(),
                static_cast<long long>(std::chrono::system_clock::to_time_t(key.end)));
}

int run(const Words& words) {
    if (words.size() == 4 && words[0] == "make") {
        show(make(words));
        return 0;
    }
    if (words.size() == 3 && words[0] == "show") {
        show(readCertifiedKeyFile(words[1], words[2]));
        return 0;
    }
    std::fputs("tarnCertificate is started by tarnctl: \"tarnctl certificates\"\n", stderr);
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        const std::span words(argv, static_cast<std::size_t>(argc));
        return run(Words(words.begin() + 1, words.end()));
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "%s\n", failure.what());
        return 1;
    }
}
