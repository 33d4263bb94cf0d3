// Conversions of record values into the host's narrower fields.
#pragma once

#include <cstdint>

// The low 16 bits of a record integer, as a signed value (65537 -> 1,
// 40000 -> -25536).
inline short low16(long value) {
  return static_cast<short>(static_cast<int16_t>(static_cast<uint16_t>(value & 0xFFFF)));
}
