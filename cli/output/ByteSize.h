#pragma once

#include <cstdint>
#include <string>

namespace tarn::cli {

/// "512 B", "10 GiB", "1.5 TiB": rounded to a tenth.
std::string byteSizeText(std::uint64_t bytes);

/// The same for numbers that came from outside: as they are where they are no size.
std::string byteSizeText(const std::string& bytes);

}  // namespace tarn::cli
