#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tarn::program {

/// Bytes as people write them: "4096", "10G", "1.5 GiB", "2TB". K, M, G, T and P are powers of
/// 1024, with "iB" behind them too; with "B" alone they are powers of 1000. Nothing for text that
/// is no size, and for sizes of 2^63 bytes or more.
std::optional<std::uint64_t> parseByteSize(const std::string& text);

}  // namespace tarn::program
