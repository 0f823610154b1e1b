#include "fuzz/support/TextMutator.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

// The fuzzing engine's own: it knows what texts the program has just compared with. Not there where
// kept inputs are only run again.
extern "C" __attribute__((weak)) std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size,
                                                              std::size_t mostBytes);

namespace tarn::fuzz {

namespace {

using namespace std::string_view_literals;

constexpr std::array likelyTexts = {
    ""sv,
    "a"sv,
    "job-1"sv,
    "cam1"sv,
    "System"sv,
    "Endpoint"sv,
    "videotestsrc ! fakesink"sv,
    "ipc:///tmp/x"sv,
    "ipc://"sv,
    "tcp://*:65536"sv,
    "tcp://127.0.0.1:1"sv,
    "inproc://a"sv,
    "/tmp/../etc/passwd"sv,
    ".."sv,
    ".hidden"sv,
    "a/b"sv,
    "a\0b"sv,
    "x'; touch /tmp/owned; '"sv,
    "$(id)`id`\"\\\n&|<>"sv,
    "\xff\xfe\xc0\x80"sv,
    "\xf4\x8f\xbf\xbf"sv,
    "\x1b[2J\r\n\x7f"sv,
    "%s%n%d"sv,
    "4294967296"sv,
    "1 2,3;4"sv,
};

constexpr std::array<std::size_t, 6> lengths = {100, 127, 255, 256, 1000, 5000};
constexpr std::size_t room = 64;  // for what the engine adds

}  // namespace

std::string TextMutator::likely() {
    if (!said.empty() && random() % 2 == 0) {
        return said[random() % said.size()];
    }
    if (random() % 8 == 0) {
        const char filling = random() % 2 == 0 ? 'a' : static_cast<char>(random());
        return std::string(lengths[random() % lengths.size()], filling);
    }
    return std::string(likelyTexts[random() % likelyTexts.size()]);
}

std::string TextMutator::edited(std::string text) {
    if (&LLVMFuzzerMutate != nullptr) {
        const auto size = text.size();
        text.resize(size + room);
        auto* const bytes = static_cast<std::uint8_t*>(static_cast<void*>(text.data()));
        text.resize(LLVMFuzzerMutate(bytes, size, text.size()));
    }
    return text;
}

std::string TextMutator::changed(std::string text) {
    return random() % 3 == 0 ? likely() : edited(std::move(text));
}

}  // namespace tarn::fuzz
