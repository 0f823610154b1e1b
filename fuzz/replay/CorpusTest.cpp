// The fuzzers without their engine: every input that is kept runs again in every build, and a few
// changes of each, always the same ones.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

using Feed = int (*)(const std::uint8_t*, std::size_t);
using Mutate = std::size_t (*)(std::uint8_t*, std::size_t, std::size_t, unsigned);

// Those that take any bytes have no mutator.
#define TARN_FUZZER(name)                                        \
    extern "C" int feed##name(const std::uint8_t*, std::size_t); \
    extern "C" __attribute__((weak))                             \
    std::size_t mutate##name(std::uint8_t*, std::size_t, std::size_t, unsigned);
#include "Fuzzers.inc"
#undef TARN_FUZZER

namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<std::uint8_t>;

struct Fuzzer {
    const char* name;
    Feed feed;
    Mutate mutate;
};

const Fuzzer fuzzers[] = {
#define TARN_FUZZER(name) {#name, feed##name, mutate##name},
#include "Fuzzers.inc"
#undef TARN_FUZZER
};

constexpr std::size_t mostBytes = 4096;

Bytes contentOf(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

// What was kept, and what was made of texts; at least nothing at all.
std::vector<Bytes> corpusOf(const std::string& name) {
    std::vector<fs::path> files;
    for (const auto* const root : {TARN_KEPT_CORPUS, TARN_MADE_CORPUS}) {
        std::error_code none;
        for (const auto& entry : fs::directory_iterator(fs::path(root) / name, none)) {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    std::vector<Bytes> corpus(1);
    std::transform(files.begin(), files.end(), std::back_inserter(corpus), contentOf);
    return corpus;
}

// One byte becomes another, goes, or is doubled.
void changeAByte(Bytes& input, std::minstd_rand& random) {
    if (input.empty()) {
        input.push_back(static_cast<std::uint8_t>(random()));
        return;
    }
    const auto place = input.begin() + static_cast<std::ptrdiff_t>(random() % input.size());
    switch (random() % 3) {
        case 0:
            *place = static_cast<std::uint8_t>(random());
            return;
        case 1:
            input.erase(place);
            return;
        default:
            input.insert(place, *place);
    }
}

Bytes changed(const Fuzzer& fuzzer, Bytes input, unsigned seed) {
    if (fuzzer.mutate == nullptr) {
        std::minstd_rand random(seed);
        changeAByte(input, random);
        return input;
    }
    const auto size = input.size();
    input.resize(std::max(size, mostBytes));
    input.resize(fuzzer.mutate(input.data(), size, input.size(), seed));
    return input;
}

unsigned changesOfEach() {
    const char* const wanted = std::getenv("TARN_FUZZ_CHANGES");
    return wanted == nullptr ? 20 : static_cast<unsigned>(std::atoi(wanted));
}

// What is being fed, for who reads that a finding has ended the process.
const Bytes* fed = nullptr;

void feed(const Fuzzer& fuzzer, const Bytes& input) {
    fed = &input;
    fuzzer.feed(input.data(), input.size());
}

extern "C" void showFed(int) {
    std::fprintf(stderr, "\nAn input with a finding, in hexadecimal: ");
    for (const auto byte : *fed) {
        std::fprintf(stderr, "%02x", byte);
    }
    std::fprintf(stderr, "\n");
}

class CorpusTest : public testing::TestWithParam<Fuzzer> {};

TEST_P(CorpusTest, HasNoFinding) {
    const auto& fuzzer = GetParam();
    std::signal(SIGABRT, showFed);
    unsigned seed = 1;
    for (const auto& kept : corpusOf(fuzzer.name)) {
        auto input = kept;
        feed(fuzzer, input);
        for (unsigned i = 0; i < changesOfEach(); ++i) {
            input = changed(fuzzer, input, seed++);
            feed(fuzzer, input);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Of, CorpusTest, testing::ValuesIn(fuzzers),
                         [](const auto& tested) { return std::string(tested.param.name); });

}  // namespace
