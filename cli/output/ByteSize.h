#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tarn::cli {

/// Bytes as people write them: "4096", "10G", "1.5 GiB", "2TB". K, M, G, T and P are powers of
/// 1024, with "iB" behind them too; with "B" alone they are powers of 1000. Nothing for text that
/// is no size, and for sizes of 2^63 bytes or more.
std::optional<std::uint64_t> parseByteSize(const std::string& text);

/// Why the text is no size; empty for one.
std::string checkByteSize(const std::string& text);

/// "512 B", "10 GiB", "1.5 TiB": rounded to a tenth.
std::string byteSizeText(std::uint64_t bytes);

/// The same for numbers that came from outside: as they are where they are no size.
std::string byteSizeText(const std::string& bytes);

}  // namespace tarn::cli
