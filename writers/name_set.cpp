#include "name_set.h"

#include <algorithm>
#include <cstring>

#include "string_bytes.h"

namespace pcd::writers {

std::string_view NameArena::keep(std::string_view text) {
  if (text.size() > kBlockBytes / 4) return long_.emplace_back(text);
  if (left_ < text.size()) {
    size_t bytes = nextBlockBytes_;
    while (bytes < text.size()) bytes *= 2;
    blocks_.push_back(std::unique_ptr<char[]>(new char[bytes]));
    at_ = blocks_.back().get();
    left_ = bytes;
    nextBlockBytes_ = std::min(2 * bytes, kBlockBytes);
  }
  if (!text.empty()) std::memcpy(at_, text.data(), text.size());
  const std::string_view kept(at_, text.size());
  at_ += text.size();
  left_ -= text.size();
  return kept;
}

bool NameSet::holdsKey(std::string_view key) const {
  if (hashed_) return many_.find(key) != nullptr;
  for (size_t i = 0; i < fewCount_; ++i) {
    if (few_[i] == key) return true;
  }
  return false;
}

void NameSet::keepKey(std::string_view key) {
  const std::string_view kept = arena_.keep(key);
  if (!hashed_ && fewCount_ < kFew) {
    few_[fewCount_++] = kept;
    return;
  }
  if (!hashed_) {
    for (const std::string_view name : few_) many_.add(name, &kHeld);
    hashed_ = true;
  }
  many_.add(kept, &kHeld);
}

std::string_view NameSet::folded(std::string_view name) const {
  if (!ignoreCase_) return name;
  lowerAsciiInto(folded_, name);
  return folded_;
}

}  // namespace pcd::writers
