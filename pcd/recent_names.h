// The scanner indexes of the record names met last. The name table does not
// change while a file is read and a file names few kinds of record, so most
// lines are matched here and skip the table's lookup (hashing and comparing
// the name).
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace CaRepositoryDsOdbcImport {

class RecentNames {
 public:
  // The index of the `length` bytes at `name`, from `lookUp()` unless known.
  template <class LookUp>
  intptr_t find(const char* name, size_t length, LookUp lookUp) {
    Known& known = known_[(length + static_cast<unsigned char>(name[0])) % kCount];
    if (known.length == length && length <= sizeof known.name &&
        std::memcmp(known.name, name, length) == 0) {
      return known.index;
    }
    const intptr_t index = lookUp();
    if (length <= sizeof known.name) {
      std::memcpy(known.name, name, length);
      known.length = length;
      known.index = index;
    }
    return index;
  }

 private:
  static constexpr size_t kCount = 8;
  struct Known {
    size_t length = SIZE_MAX;  // none yet
    char name[16];
    intptr_t index = 0;
  };
  Known known_[kCount];
};

}  // namespace CaRepositoryDsOdbcImport
