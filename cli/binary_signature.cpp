#include "binary_signature.h"

#include <cstring>

namespace pcd::cli {

namespace {

struct Signature {
  const char* magic;
  std::size_t length;
  const char* name;
};

// Formats a PCD extract is commonly shipped in by mistake.
const Signature kSignatures[] = {
    {"\x1f\x8b", 2, "a gzip-compressed file"},
    {"BZh", 3, "a bzip2-compressed file"},
    {"\xfd"
     "7zXZ\0",
     6, "an xz-compressed file"},
    {"\x28\xb5\x2f\xfd", 4, "a zstd-compressed file"},
    {"PK\x03\x04", 4, "a zip archive"},
    {"7z\xbc\xaf\x27\x1c", 6, "a 7-zip archive"},
    {"\x7f"
     "ELF",
     4, "an executable (ELF) file"},
    {"%PDF-", 5, "a PDF document"},
    {"\xd0\xcf\x11\xe0\xa1\xb1\x1a\xe1", 8, "an Office (OLE) document"},
    {"\xff\xfe", 2, "UTF-16 text (little-endian)"},
    {"\xfe\xff", 2, "UTF-16 text (big-endian)"},
};

}  // namespace

std::string describeBinaryStart(const unsigned char* bytes, std::size_t count) {
  for (const Signature& signature : kSignatures) {
    if (count >= signature.length && std::memcmp(bytes, signature.magic, signature.length) == 0) {
      return signature.name;
    }
  }
  return "";
}

}  // namespace pcd::cli
