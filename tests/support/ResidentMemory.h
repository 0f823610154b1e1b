#pragma once

#include <unistd.h>

#include <cstddef>
#include <fstream>

namespace tarn::test {

/// How much memory this process has in use, in bytes.
inline std::size_t residentBytes() {
    std::size_t all = 0;
    std::size_t resident = 0;
    std::ifstream("/proc/self/statm") >> all >> resident;
    return resident * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

}  // namespace tarn::test
