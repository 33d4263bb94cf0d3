// Keyed hashing for every table whose keys come from an input file.
//
// A fixed, public hash lets an input choose keys that all land in one probe
// run or bucket, which turns each insertion into a walk over the others.
// These functions mix in a key drawn at random once per process, as hardened
// hash tables do (SipHash-1-3 with a 128-bit key), so no fixed set of keys
// collides. Nothing may depend on hash values beyond one process: iteration
// and output orders never do.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace zel_hash {

struct SipKey {
  uint64_t k0;
  uint64_t k1;
};

// The process's key: random, drawn on first use from the system's random
// source (getrandom, else /dev/urandom). Without one there is no key: the
// process ends with a message (a program calls drawProcessKey first to
// refuse cleanly instead).
const SipKey& processKey() noexcept;

namespace detail {
// The key once processKey() has drawn it, else null: read inline by the
// hash functions below, which run once per probe of an id table, instead of
// a call into the library and a check of its static's guard each time.
extern std::atomic<const SipKey*> drawnKey;
inline const SipKey& key() noexcept {
  const SipKey* drawn = drawnKey.load(std::memory_order_acquire);
  return drawn != nullptr ? *drawn : processKey();
}
}  // namespace detail

// Draws the process's key now: true, or false with why no random bytes
// could be had in `error`.
bool drawProcessKey(std::string& error);

namespace detail {

inline uint64_t rotl(uint64_t x, int bits) noexcept {
  return (x << bits) | (x >> (64 - bits));
}

struct SipState {
  uint64_t v0, v1, v2, v3;
  explicit SipState(const SipKey& key) noexcept
      : v0(key.k0 ^ 0x736f6d6570736575ull),
        v1(key.k1 ^ 0x646f72616e646f6dull),
        v2(key.k0 ^ 0x6c7967656e657261ull),
        v3(key.k1 ^ 0x7465646279746573ull) {}
  void round() noexcept {
    v0 += v1;
    v1 = rotl(v1, 13);
    v1 ^= v0;
    v0 = rotl(v0, 32);
    v2 += v3;
    v3 = rotl(v3, 16);
    v3 ^= v2;
    v0 += v3;
    v3 = rotl(v3, 21);
    v3 ^= v0;
    v2 += v1;
    v1 = rotl(v1, 17);
    v1 ^= v2;
    v2 = rotl(v2, 32);
  }
  template <int Rounds>
  void absorb(uint64_t word) noexcept {
    v3 ^= word;
    for (int i = 0; i < Rounds; ++i) round();
    v0 ^= word;
  }
  template <int Rounds>
  uint64_t finish() noexcept {
    v2 ^= 0xff;
    for (int i = 0; i < Rounds; ++i) round();
    return v0 ^ v1 ^ v2 ^ v3;
  }
};

inline uint64_t loadLittleEndian(const char* bytes, size_t count) noexcept {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
  if (count == 8) {  // a whole word: one load where the machine's order is the hash's
    uint64_t word;
    std::memcpy(&word, bytes, 8);
    return word;
  }
#endif
  uint64_t word = 0;
  for (size_t i = 0; i < count; ++i) {
    word |= static_cast<uint64_t>(static_cast<unsigned char>(bytes[i])) << (8 * i);
  }
  return word;
}

}  // namespace detail

// SipHash-c-d of `count` bytes under `key`.
template <int CompressionRounds, int FinalRounds>
uint64_t sipHash(const SipKey& key, const char* bytes, size_t count) noexcept {
  detail::SipState state(key);
  const size_t whole = count & ~size_t{7};
  for (size_t at = 0; at < whole; at += 8) {
    state.absorb<CompressionRounds>(detail::loadLittleEndian(bytes + at, 8));
  }
  const uint64_t last =
      (static_cast<uint64_t>(count) << 56) | detail::loadLittleEndian(bytes + whole, count - whole);
  state.absorb<CompressionRounds>(last);
  return state.finish<FinalRounds>();
}

// The keyed hash of a byte string.
inline uint64_t hashBytes(const char* bytes, size_t count) noexcept {
  return sipHash<1, 3>(detail::key(), bytes, count);
}

// The keyed hash of one 64-bit word; equals hashBytes of its eight bytes in
// little-endian order. Inline and without a loop: id tables call it per probe.
inline uint64_t hashWord(uint64_t word) noexcept {
  detail::SipState state(detail::key());
  state.absorb<1>(word);
  state.absorb<1>(uint64_t{8} << 56);
  return state.finish<3>();
}

// The keyed hash of two words (a pointer and a number, say).
inline uint64_t hashWords(uint64_t first, uint64_t second) noexcept {
  detail::SipState state(detail::key());
  state.absorb<1>(first);
  state.absorb<1>(second);
  state.absorb<1>(uint64_t{16} << 56);
  return state.finish<3>();
}

// Hash functors for standard containers whose keys come from input files:
// names and texts, and the files' numeric ids.
struct TextHash {
  size_t operator()(std::string_view text) const noexcept {
    return static_cast<size_t>(hashBytes(text.data(), text.size()));
  }
};
struct IdHash {
  size_t operator()(long long id) const noexcept {
    return static_cast<size_t>(hashWord(static_cast<uint64_t>(id)));
  }
};

}  // namespace zel_hash
