// Recognises files that are not PCD text by their first bytes, so that a
// compressed or binary file is named as such instead of being read as lines
// (most of which the reader would skip without a word).
#pragma once

#include <cstddef>
#include <string>

// How many leading bytes describeBinaryStart looks at, at most.
constexpr std::size_t kSignatureBytes = 4096;

// "" when `bytes` may start a text file; otherwise what the file is, e.g.
// "a gzip-compressed file" or "a binary file (NUL byte at offset 12)".
std::string describeBinaryStart(const unsigned char* bytes, std::size_t count);
