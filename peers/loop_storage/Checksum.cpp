#include "peers/loop_storage/Checksum.h"

#include <boost/crc.hpp>

namespace tarn::peers::loop_storage {

std::uint32_t checksum(const void* bytes, std::size_t size) {
    boost::crc_optimal<32, 0x1EDC6F41, 0xFFFFFFFF, 0xFFFFFFFF, true, true> crc;
    crc.process_bytes(bytes, size);
    return crc.checksum();
}

}  // namespace tarn::peers::loop_storage
