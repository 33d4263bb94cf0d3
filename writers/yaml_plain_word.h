// A key or word of a YAML document's own, letters only, which YAML takes as
// it is. yaml-cpp's emitter checks every string it is given against its
// patterns for plain text, a character at a time, which took three quarters
// of the time of a Liquibase changelog; a word needs no check, so it goes
// through WriteStreamable, which writes it unchecked where the string would
// have gone: the same bytes.
#pragma once

#include <yaml-cpp/yaml.h>

#include <ostream>

namespace pcd::writers {

struct YamlWord {
  const char* text;  // letters only
  // WriteStreamable compiles its branch for floating-point values with any
  // type; for a word it is never taken.
  operator double() const { return 0; }
};

inline std::ostream& operator<<(std::ostream& out, const YamlWord& word) {
  return out << word.text;
}

inline YAML::Emitter& operator<<(YAML::Emitter& out, const YamlWord& word) {
  return out.WriteStreamable(word);
}

}  // namespace pcd::writers
