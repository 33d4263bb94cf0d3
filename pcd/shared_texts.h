// Texts that many records repeat, kept once: a file of a million columns
// names them with a few hundred names, and each column node would otherwise
// hold a buffer of its own. Equal texts share one string buffer (the host's
// strings copy on write), so the model is the same.
//
// The table holds at most kMaxTexts texts: past that, texts are still found
// but no longer added, so a file of all-different names costs a bounded
// table. Texts are hashed with the process's key, since they come from the file.
#pragma once

#include <cstddef>
#include <vector>

#include "zel_string.h"

namespace CaRepositoryDsOdbcImport {

class SharedTexts {
 public:
  // Sets `target` to the `count` bytes at `bytes`, sharing the buffer of an
  // equal text met before.
  void assign(ZELString& target, const char* bytes, size_t count);
  // Forgets every text. Allocates nothing.
  void clear() noexcept;

 private:
  static constexpr size_t kMaxTexts = size_t{1} << 16;
  std::vector<ZELString> slots_;  // open addressing; empty string: a free slot
  size_t count_ = 0;
};

}  // namespace CaRepositoryDsOdbcImport
