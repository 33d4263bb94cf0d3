#include "pcd/shared_texts.h"

#include <utility>

#include "zel_keyed_hash.h"

namespace CaRepositoryDsOdbcImport {

namespace {

// Puts `text` into the first free slot of its probe run.
void place(std::vector<ZELString>& slots, ZELString text) {
  const size_t mask = slots.size() - 1;
  size_t at = zel_hash::hashBytes(text.c_str(), text.length()) & mask;
  while (!slots[at].isEmpty()) at = (at + 1) & mask;
  slots[at] = std::move(text);
}

}  // namespace

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
      for (ZELString& text : slots_) {
        if (!text.isEmpty()) place(larger, std::move(text));
      }
      slots_.swap(larger);
    } catch (...) {
      return;
    }
  }
  place(slots_, target);
  ++count_;
}

void SharedTexts::clear() noexcept {
  std::vector<ZELString>().swap(slots_);
  count_ = 0;
}

}  // namespace CaRepositoryDsOdbcImport
