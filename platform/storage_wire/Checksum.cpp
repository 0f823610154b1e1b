#include "platform/storage_wire/Checksum.h"

#if defined(__x86_64__)
#include <nmmintrin.h>
#endif

#include <array>
#include <cstring>

namespace tarn::storage_wire {

namespace {

// Bit 31 of a state is the coefficient of the lowest power: everything is mirrored.
constexpr std::uint32_t polynomial = 0x82f63b78;
constexpr std::size_t wordSize = 8;

using ByteTable = std::array<std::uint32_t, 256>;

constexpr std::uint32_t afterZeroBits(std::uint32_t state, int bits) {
    for (int i = 0; i < bits; ++i) {
        state = (state >> 1U) ^ ((state & 1U) != 0 ? polynomial : 0);
    }
    return state;
}

// Of a word's bytes at once: the table of a byte knows what the zeros behind it do.
constexpr std::array<ByteTable, wordSize> makeWordTables() {
    std::array<ByteTable, wordSize> tables{};
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
        tables[0][byte] = afterZeroBits(byte, 8);
    }
    for (std::size_t i = 1; i < wordSize; ++i) {
        for (std::size_t byte = 0; byte < 256; ++byte) {
            const auto before = tables[i - 1][byte];
            tables[i][byte] = (before >> 8U) ^ tables[0][before & 0xffU];
        }
    }
    return tables;
}

constexpr auto wordTables = makeWordTables();

std::uint32_t addByte(std::uint32_t state, unsigned char byte) {
    return (state >> 8U) ^ wordTables[0][(state ^ byte) & 0xffU];
}

std::uint64_t wordAt(const unsigned char* bytes) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

std::uint32_t addWord(std::uint32_t state, std::uint64_t word) {
    word ^= state;
    std::uint32_t result = 0;
    for (std::size_t i = 0; i < wordSize; ++i) {
        result ^= wordTables[wordSize - 1 - i][(word >> (8 * i)) & 0xffU];
    }
    return result;
}

#if defined(__x86_64__)

// What many zero bytes make of a state, by the state's bits: the same squared is twice as many.
using BitTable = std::array<std::uint32_t, 32>;

constexpr std::uint32_t apply(const BitTable& table, std::uint32_t state) {
    std::uint32_t result = 0;
    for (const auto ofBit : table) {
        result ^= (state & 1U) != 0 ? ofBit : 0;
        state >>= 1U;
    }
    return result;
}

constexpr BitTable squared(const BitTable& table) {
    BitTable result{};
    for (std::size_t bit = 0; bit < result.size(); ++bit) {
        result[bit] = apply(table, table[bit]);
    }
    return result;
}

// The instruction takes three times as long as it is until the next one may begin: three lanes keep
// it busy, and their states are put together when each has got that far.
constexpr int laneSizeBits = 12;
constexpr std::size_t laneSize = std::size_t(1) << laneSizeBits;

constexpr std::array<ByteTable, 4> makeLaneTables() {
    BitTable zeros{};
    for (std::size_t bit = 0; bit < zeros.size(); ++bit) {
        zeros[bit] = afterZeroBits(std::uint32_t(1) << bit, 8);
    }
    for (int i = 0; i < laneSizeBits; ++i) {
        zeros = squared(zeros);
    }
    std::array<ByteTable, 4> tables{};
    for (std::size_t i = 0; i < tables.size(); ++i) {
        for (std::uint32_t byte = 0; byte < 256; ++byte) {
            tables[i][byte] = apply(zeros, byte << (8 * i));
        }
    }
    return tables;
}

constexpr auto laneTables = makeLaneTables();

std::uint64_t afterLane(std::uint64_t state) {
    return laneTables[0][state & 0xffU] ^ laneTables[1][(state >> 8U) & 0xffU] ^
           laneTables[2][(state >> 16U) & 0xffU] ^ laneTables[3][(state >> 24U) & 0xffU];
}

__attribute__((target("sse4.2"))) std::uint64_t addLanes(std::uint64_t state,
                                                         const unsigned char* bytes) {
    std::uint64_t second = 0;
    std::uint64_t third = 0;
    for (std::size_t i = 0; i < laneSize; i += wordSize) {
        state = _mm_crc32_u64(state, wordAt(bytes + i));
        second = _mm_crc32_u64(second, wordAt(bytes + laneSize + i));
        third = _mm_crc32_u64(third, wordAt(bytes + 2 * laneSize + i));
    }
    return afterLane(afterLane(state) ^ second) ^ third;
}

__attribute__((target("sse4.2"))) std::uint32_t checksumByInstruction(const void* bytes,
                                                                      std::size_t size,
                                                                      std::uint32_t before) {
    const auto* next = static_cast<const unsigned char*>(bytes);
    std::uint64_t state = static_cast<std::uint32_t>(~before);
    for (; size >= 3 * laneSize; size -= 3 * laneSize, next += 3 * laneSize) {
        state = addLanes(state, next);
    }
    for (; size >= wordSize; size -= wordSize, next += wordSize) {
        state = _mm_crc32_u64(state, wordAt(next));
    }
    auto rest = static_cast<std::uint32_t>(state);
    for (; size > 0; --size, ++next) {
        rest = _mm_crc32_u8(rest, *next);
    }
    return ~rest;
}

const bool hasInstruction = __builtin_cpu_supports("sse4.2") != 0;

#endif

}  // namespace

std::uint32_t checksumByTable(const void* bytes, std::size_t size, std::uint32_t before) {
    const auto* next = static_cast<const unsigned char*>(bytes);
    auto state = ~before;
    for (; size >= wordSize; size -= wordSize, next += wordSize) {
        state = addWord(state, wordAt(next));
    }
    for (; size > 0; --size, ++next) {
        state = addByte(state, *next);
    }
    return ~state;
}

std::uint32_t checksum(const void* bytes, std::size_t size, std::uint32_t before) {
#if defined(__x86_64__)
    if (hasInstruction) {
        return checksumByInstruction(bytes, size, before);
    }
#endif
    return checksumByTable(bytes, size, before);
}

}  // namespace tarn::storage_wire
