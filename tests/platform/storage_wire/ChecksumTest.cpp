#include "platform/storage_wire/Checksum.h"

#include <gtest/gtest.h>

#include <boost/crc.hpp>
#include <string>

namespace tarn::storage_wire {
namespace {

std::uint32_t reference(const std::string& bytes) {
    boost::crc_optimal<32, 0x1EDC6F41, 0xFFFFFFFF, 0xFFFFFFFF, true, true> crc;
    crc.process_bytes(bytes.data(), bytes.size());
    return crc.checksum();
}

std::string someBytes(std::size_t size) {
    std::string bytes(size, '\0');
    std::uint32_t state = 1;
    for (auto& byte : bytes) {
        state = state * 1664525 + 1013904223;
        byte = static_cast<char>(state >> 24U);
    }
    return bytes;
}

TEST(ChecksumTest, IsTheOneThatIsKnownByThisName) {
    const std::string digits = "123456789";
    EXPECT_EQ(checksum(digits.data(), digits.size()), 0xE3069283U);
    EXPECT_EQ(checksum(nullptr, 0), 0U);
}

TEST(ChecksumTest, IsTheSameHoweverItIsMade) {
    const auto bytes = someBytes(70'000);
    for (const std::size_t size :
         {1U, 7U, 8U, 9U, 63U, 4096U, 12'287U, 12'288U, 12'289U, 24'576U, 36'871U, 69'990U}) {
        for (const std::size_t begin : {0U, 1U, 5U}) {
            const auto expected = reference(bytes.substr(begin, size));
            EXPECT_EQ(checksum(bytes.data() + begin, size), expected) << size << " from " << begin;
        }
    }
}

TEST(ChecksumTest, GoesOnWhereAnotherHasEnded) {
    const auto bytes = someBytes(50'000);
    const auto all = reference(bytes);
    for (const std::size_t first : {0U, 1U, 13U, 12'288U, 40'000U, 50'000U}) {
        const auto begin = checksum(bytes.data(), first);
        EXPECT_EQ(checksum(bytes.data() + first, bytes.size() - first, begin), all) << first;
    }
}

TEST(ChecksumTest, NoticesEveryFlippedBit) {
    auto bytes = someBytes(20'000);
    const auto before = checksum(bytes.data(), bytes.size());
    for (std::size_t bit = 0; bit < 8 * bytes.size(); bit += 997) {
        bytes[bit / 8] = static_cast<char>(bytes[bit / 8] ^ (1 << bit % 8));
        EXPECT_NE(checksum(bytes.data(), bytes.size()), before) << bit;
        bytes[bit / 8] = static_cast<char>(bytes[bit / 8] ^ (1 << bit % 8));
    }
}

}  // namespace
}  // namespace tarn::storage_wire
