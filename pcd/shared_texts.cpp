#include "pcd/shared_texts.h"

#include "zel_keyed_hash.h"

namespace CaRepositoryDsOdbcImport {

void SharedTexts::assign(ZELString& target, const char* bytes, size_t count) {
  // Short texts live inside the string: nothing to share.
  if (count <= ZELString::kSmallCapacity) {
    target.assign(bytes, count);
    return;
  }
  if (!slots_.empty()) {
    const size_t mask = slots_.size() - 1;
    for (size_t at = zel_hash::hashBytes(bytes, count) & mask;; at = (at + 1) & mask) {
      const ZELString& slot = slots_[at];
      if (slot.isEmpty()) break;
      if (slot.equals(bytes, count)) {
        target = slot;
        return;
      }
    }
  }
  target.assign(bytes, count);
  if (count_ >= kMaxTexts) return;
  // The table grows at half full; a failed growth only ends the sharing.
  if (2 * (count_ + 1) > slots_.size()) {
    try {
      std::vector<ZELString> larger(slots_.empty() ? 256 : 2 * slots_.size());
      const size_t mask = larger.size() - 1;
      for (ZELString& text : slots_) {
        if (text.isEmpty()) continue;
        size_t at = zel_hash::hashBytes(text.c_str(), text.length()) & mask;
        while (!larger[at].isEmpty()) at = (at + 1) & mask;
        larger[at] = std::move(text);
      }
      slots_.swap(larger);
    } catch (...) {
      return;
    }
  }
  const size_t mask = slots_.size() - 1;
  size_t at = zel_hash::hashBytes(bytes, count) & mask;
  while (!slots_[at].isEmpty()) at = (at + 1) & mask;
  slots_[at] = target;
  ++count_;
}

void SharedTexts::clear() noexcept {
  std::vector<ZELString>().swap(slots_);
  count_ = 0;
}

}  // namespace CaRepositoryDsOdbcImport
