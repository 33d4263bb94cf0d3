// Small helpers of the dialects' type mappings.
#pragma once

#include <algorithm>
#include <initializer_list>
#include <string>
#include <string_view>

namespace pcd::writers {

inline std::string withLength(std::string_view name, long length) {
  return std::string(name) + "(" + std::to_string(length) + ")";
}

inline std::string withPrecision(std::string_view name, long precision, long scale) {
  return std::string(name) + "(" + std::to_string(precision) + "," + std::to_string(scale) + ")";
}

inline bool isOneOf(std::string_view value, std::initializer_list<std::string_view> names) {
  return std::find(names.begin(), names.end(), value) != names.end();
}

}  // namespace pcd::writers
