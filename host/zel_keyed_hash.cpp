#include "zel_keyed_hash.h"

#include <sys/random.h>

#include <chrono>

namespace zel_hash {
namespace {

SipKey drawKey() noexcept {
  SipKey key{0, 0};
  if (getrandom(&key, sizeof key, GRND_NONBLOCK) == static_cast<ssize_t>(sizeof key)) return key;
  // No entropy source: the clock and the addresses of this run (randomised
  // by the loader) still differ from run to run.
  const auto now = static_cast<uint64_t>(
      std::chrono::steady_clock::now().time_since_epoch().count());
  key.k0 = now ^ reinterpret_cast<uintptr_t>(&key);
  key.k1 = (now * 0x9E3779B97F4A7C15ull) ^ reinterpret_cast<uintptr_t>(&drawKey);
  return key;
}

}  // namespace

const SipKey& processKey() noexcept {
  // Drawn once; a function-local static so that tables built while other
  // libraries initialise already see the final key.
  static const SipKey key = drawKey();
  return key;
}

}  // namespace zel_hash
