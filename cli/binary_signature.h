// Recognises files that are not PCD text by their first bytes, so that a
// compressed or binary file is named as such instead of being read as lines
// (most of which the reader would skip without a word). Only known
// signatures count: a NUL byte inside a record is data the reader keeps.
#pragma once

#include <cstddef>
#include <string>

namespace pcd::cli {

// How many leading bytes describeBinaryStart needs at most.
constexpr std::size_t kSignatureBytes = 16;

// "" when `bytes` may start a text file; otherwise what the file is, e.g.
// "a gzip-compressed file".
std::string describeBinaryStart(const unsigned char* bytes, std::size_t count);

}  // namespace pcd::cli
