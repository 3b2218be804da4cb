// zlib's CRC-32 (the reflected polynomial 0xEDB88320), continued the way zlib continues it.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kiv::sector {

// The CRC of size bytes, continued from crc (0 to start).
uint32_t Crc32(const void* data, size_t size, uint32_t crc = 0);
// The same CRC of `from`, computed while its bytes are copied to `to` (which it must not overlap),
// so that a record is read from memory once.
uint32_t Crc32Copy(void* to, const void* from, size_t size, uint32_t crc = 0);

}  // namespace kiv::sector
