// A host string's bytes as the writers read them.
#pragma once

#include <string_view>

#include "zel_string.h"

namespace pcd::writers {

// The bytes of a name or text, embedded NUL bytes included.
inline std::string_view bytesOf(const ZELString& text) {
  return {text.data(), text.length()};
}

}  // namespace pcd::writers
