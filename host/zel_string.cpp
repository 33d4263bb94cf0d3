#include "zel_string.h"

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>
#include <ostream>
#include <stdexcept>

#include "model/zel_object_pool.h"
#include "zel_keyed_hash.h"

namespace {

void checkLength(size_t length) {
  if (length > ZELString::kMaxLength) throw std::length_error("ZELString: text too long");
}

// Keyed per process (see zel_keyed_hash.h): names come from input files.
uint64_t hashBytes(const char* bytes, size_t count) noexcept {
  return zel_hash::hashBytes(bytes, count);
}

}  // namespace

static_assert(sizeof(ZELString) == 8, "a string is one pointer wide");
static_assert(sizeof(void*) == 8 && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "short texts share the pointer's bytes, the lowest first");

const ZELString emptyString;

ZELString::Rep* ZELString::allocate(size_t capacity) {
  checkLength(capacity);
  Rep* rep = static_cast<Rep*>(zel_pool::allocate(repBytes(capacity)));
  rep->refs = 1;
  rep->length = 0;
  rep->capacity = static_cast<uint32_t>(capacity);
  rep->data[0] = '\0';
  return rep;
}

// Ensures an unshared buffer with room for `capacity` bytes, keeping the
// content: an unshared buffer that is large enough stays, any other is
// copied into a new buffer. An unshared buffer is copied whole, bytes behind
// the length included: a reader filling writableBuffer grows it before it
// sets the length.
void ZELString::makeUnique(size_t capacity) {
  Rep* rep = sharedRep();
  if (rep && rep->refs == 1) {
    if (rep->capacity >= capacity) return;
    Rep* grown = allocate(capacity);
    std::memcpy(grown->data, rep->data, rep->capacity + 1);
    grown->length = rep->length;
    zel_pool::release(rep, repBytes(rep->capacity));
    setRep(grown);
    return;
  }
  const size_t length = this->length();
  Rep* copy = allocate(capacity > length ? capacity : length);
  if (length) std::memcpy(copy->data, c_str(), length);
  copy->length = static_cast<uint32_t>(length);
  copy->data[length] = '\0';
  release();
  setRep(copy);
}

void ZELString::release() noexcept {
  Rep* rep = sharedRep();
  if (rep && --rep->refs == 0) zel_pool::release(rep, repBytes(rep->capacity));
  std::memset(bytes_, 0, sizeof bytes_);
}

// Stores `count` (<= kSmallCapacity) bytes in place, dropping any buffer.
// The bytes may lie in this string's own text: they are copied first.
void ZELString::setSmall(const char* bytes, size_t count) noexcept {
  char fresh[sizeof bytes_] = {};
  fresh[0] = static_cast<char>(count * 2 + 1);
  if (count) std::memcpy(fresh + 1, bytes, count);
  release();
  std::memcpy(bytes_, fresh, sizeof bytes_);
}

ZELString::ZELString(const char* text) : bytes_{} {
  if (text) assign(text, std::strlen(text));
}

ZELString::ZELString(const char* bytes, size_t count) : bytes_{} {
  assign(bytes, count);
}

ZELString::ZELString(long value) : bytes_{} {
  char digits[24];
  char* end = digits + sizeof digits;
  char* at = end;
  // Unsigned negation keeps LONG_MIN exact.
  unsigned long magnitude =
      value < 0 ? 0ul - static_cast<unsigned long>(value) : static_cast<unsigned long>(value);
  do {
    *--at = static_cast<char>('0' + magnitude % 10);
    magnitude /= 10;
  } while (magnitude);
  if (value < 0) *--at = '-';
  assign(at, static_cast<size_t>(end - at));
}

ZELString& ZELString::operator=(ZELString&& other) noexcept {
  if (this != &other) {
    release();
    std::memcpy(bytes_, other.bytes_, sizeof bytes_);
    std::memset(other.bytes_, 0, sizeof other.bytes_);
  }
  return *this;
}

ZELString& ZELString::operator=(const char* text) {
  assign(text, text ? std::strlen(text) : 0);
  return *this;
}

ZELString ZELString::mid(unsigned start, unsigned count) const {
  const unsigned length = this->length();
  if (start >= length || count == 0) return ZELString();
  if (count > length - start) count = length - start;
  if (start == 0 && count == length) return *this;  // shares the buffer
  return ZELString(c_str() + start, count);
}

ZELString ZELString::left(unsigned count) const {
  return mid(0, count);
}

void ZELString::truncate(unsigned count) {
  if (count >= length()) return;
  Rep* rep = sharedRep();
  if (rep == nullptr || rep->refs == 1) {
    setLength(count);
  } else {
    assign(rep->data, count);
  }
}

void ZELString::assign(const char* bytes, size_t count) {
  if (!bytes) count = 0;
  checkLength(count);
  Rep* rep = sharedRep();
  if (rep && rep->refs == 1 && rep->capacity >= count) {
    if (count) std::memmove(rep->data, bytes, count);  // bytes may lie in this buffer
    setLength(count);
    return;
  }
  if (count == 0) {
    release();
    return;
  }
  if (count <= kSmallCapacity) {
    setSmall(bytes, count);
    return;
  }
  Rep* fresh = allocate(count);
  std::memcpy(fresh->data, bytes, count);  // before release: bytes may lie in the old buffer
  fresh->length = static_cast<uint32_t>(count);
  fresh->data[count] = '\0';
  release();
  setRep(fresh);
}

void ZELString::clear() noexcept {
  release();
}

void ZELString::reserve(size_t capacity) {
  if (capacity <= this->capacity()) return;
  if (sharedRep() == nullptr && capacity <= kSmallCapacity) return;  // fits in place
  makeUnique(capacity);
}

char* ZELString::writableBuffer(size_t capacity) {
  if (sharedRep() == nullptr && capacity <= kSmallCapacity) {
    if (!isSmall()) bytes_[0] = 1;  // an empty short text
    return bytes_ + 1;
  }
  makeUnique(capacity);
  return sharedRep()->data;
}

void ZELString::setLength(size_t length) noexcept {
  if (isSmall()) {
    bytes_[0] = static_cast<char>(length * 2 + 1);
    std::memset(bytes_ + 1 + length, 0, sizeof bytes_ - 1 - length);
    return;
  }
  Rep* rep = sharedRep();
  if (!rep) return;
  rep->length = static_cast<uint32_t>(length);
  rep->data[length] = '\0';
}

ZELString& ZELString::operator+=(const ZELString& other) {
  return append(other.c_str(), other.length());
}

ZELString& ZELString::operator+=(const char* text) {
  return text ? append(text, std::strlen(text)) : *this;
}

ZELString& ZELString::append(const char* bytes, size_t count) {
  if (count == 0 || !bytes) return *this;
  const size_t length = this->length();
  if (count > kMaxLength - length) throw std::length_error("ZELString: text too long");
  const size_t needed = length + count;
  Rep* rep = sharedRep();
  if (rep == nullptr && needed <= kSmallCapacity) {
    // Stays in place; `bytes` may be this string's own text.
    char joined[kSmallCapacity];
    std::memcpy(joined, c_str(), length);
    std::memcpy(joined + length, bytes, count);
    setSmall(joined, needed);
    return *this;
  }
  if (!rep || rep->refs > 1 || rep->capacity < needed) {
    // Geometric growth keeps repeated appends linear.
    size_t capacity = needed;
    if (rep && needed < 2 * static_cast<size_t>(rep->capacity)) capacity = 2 * rep->capacity;
    if (capacity > kMaxLength) capacity = kMaxLength;
    const char* base = c_str();
    if (bytes >= base && bytes <= base + length) {
      // The bytes are this string's own text: a copy keeps them alive (a
      // shared buffer, or the short text) while the buffer changes.
      const ZELString source(*this);
      makeUnique(capacity);
      std::memcpy(sharedRep()->data + length, source.c_str() + (bytes - base), count);
    } else {
      makeUnique(capacity);
      std::memcpy(sharedRep()->data + length, bytes, count);
    }
  } else {
    std::memcpy(rep->data + length, bytes, count);
  }
  setLength(needed);
  return *this;
}

long ZELString::indexOf(char byte) const noexcept {
  const char* text = c_str();
  const void* found = std::memchr(text, byte, length());
  return found ? static_cast<const char*>(found) - text : -1;
}

unsigned long ZELString::hashCode() const noexcept {
  return hashBytes(c_str(), length());
}

int ZELString::compare(const ZELString& other) const noexcept {
  const unsigned a = length(), b = other.length();
  const unsigned common = a < b ? a : b;
  if (common) {
    const int byBytes = std::memcmp(c_str(), other.c_str(), common);
    if (byBytes) return byBytes;
  }
  return a < b ? -1 : (a > b ? 1 : 0);
}

bool operator==(const ZELString& a, const char* b) noexcept {
  return b ? a.equals(b, std::strlen(b)) : a.isEmpty();
}

ZELString operator+(const ZELString& a, const ZELString& b) {
  ZELString result;
  result.reserve(a.length() + b.length());
  result.append(a.c_str(), a.length());
  result.append(b.c_str(), b.length());
  return result;
}

ZELString operator+(const ZELString& a, const char* b) {
  const size_t count = b ? std::strlen(b) : 0;
  ZELString result;
  result.reserve(a.length() + count);
  result.append(a.c_str(), a.length());
  result.append(b, count);
  return result;
}

ZELString operator+(const char* a, const ZELString& b) {
  const size_t count = a ? std::strlen(a) : 0;
  ZELString result;
  result.reserve(count + b.length());
  result.append(a, count);
  result.append(b.c_str(), b.length());
  return result;
}

std::ostream& operator<<(std::ostream& out, const ZELString& text) {
  return out.write(text.c_str(), static_cast<std::streamsize>(text.length()));
}

unsigned long stringHashCode(const char* text) noexcept {
  return text ? hashBytes(text, std::strlen(text)) : hashBytes("", 0);
}
