// ZELString: the host's byte string.
//
// Eight bytes wide: a pointer to a shared, reference-counted buffer, null
// for the empty string, or, for texts of up to kSmallCapacity bytes, the text
// itself (so the short field values a model is full of never allocate).
// Copies share a buffer; the first write to a shared buffer makes a private
// copy. Bytes are stored as they are: no character set is assumed and
// embedded NUL bytes are kept (c_str() then stops early). Reference counts are
// not atomic: a string and its copies belong to one thread at a time, as
// everything in a model does. The pointer c_str() returns for a short text
// points into the string object itself.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iosfwd>

class ZELString {
 public:
  constexpr ZELString() noexcept : bytes_{} {}
  // From a NUL-terminated byte string; null gives the empty string.
  ZELString(const char* text);  // NOLINT(google-explicit-constructor): strings convert freely
  ZELString(const char* bytes, size_t count);
  // The decimal text of a value ("-12").
  explicit ZELString(long value);

  ZELString(const ZELString& other) noexcept {
    std::memcpy(bytes_, other.bytes_, sizeof bytes_);
    if (Rep* rep = sharedRep()) ++rep->refs;
  }
  ZELString(ZELString&& other) noexcept {
    std::memcpy(bytes_, other.bytes_, sizeof bytes_);
    std::memset(other.bytes_, 0, sizeof other.bytes_);
  }
  // Inline: model building assigns shared names and types by the million.
  ZELString& operator=(const ZELString& other) noexcept {
    if (this == &other) return *this;
    if (Rep* incoming = other.sharedRep()) ++incoming->refs;  // first: both may share a buffer
    if (sharedRep() != nullptr) release();
    std::memcpy(bytes_, other.bytes_, sizeof bytes_);
    return *this;
  }
  ZELString& operator=(ZELString&& other) noexcept;
  ZELString& operator=(const char* text);
  ~ZELString() {
    if (sharedRep() != nullptr) release();
  }

  unsigned length() const noexcept {
    if (isSmall()) return static_cast<unsigned char>(bytes_[0]) >> 1;
    const Rep* rep = sharedRep();
    return rep ? rep->length : 0;
  }
  bool isEmpty() const noexcept { return length() == 0; }
  // Always NUL-terminated; "" for the empty string.
  const char* c_str() const noexcept {
    if (isSmall()) return bytes_ + 1;
    const Rep* rep = sharedRep();
    return rep ? rep->data : "";
  }
  const char* data() const noexcept { return c_str(); }
  // Byte at `index`; 0 at or past the end.
  char operator[](unsigned index) const noexcept {
    return index < length() ? c_str()[index] : '\0';
  }

  // `count` bytes from `start`, clipped to the string.
  ZELString mid(unsigned start, unsigned count) const;
  // The first `count` bytes (all of them when count >= length()).
  ZELString left(unsigned count) const;
  // Cuts the string to its first `count` bytes; longer counts change nothing.
  void truncate(unsigned count);
  // Replaces the content with `count` bytes from `bytes`, reusing the buffer
  // when it is unshared and large enough.
  void assign(const char* bytes, size_t count);
  void clear() noexcept;
  // Makes room for `capacity` bytes without changing the content.
  void reserve(size_t capacity);
  // Bytes the buffer holds without growing (0 for the empty string).
  size_t capacity() const noexcept {
    if (isSmall()) return kSmallCapacity;
    const Rep* rep = sharedRep();
    return rep ? rep->capacity : 0;
  }

  // Direct filling, for readers that write into the string's own buffer:
  // writableBuffer makes the buffer unshared with room for `capacity` bytes
  // (content kept) and returns it; after writing, setLength(n) with
  // n <= capacity() fixes the length and writes the terminator.
  char* writableBuffer(size_t capacity);
  void setLength(size_t length) noexcept;

  ZELString& operator+=(const ZELString& other);
  ZELString& operator+=(const char* text);
  ZELString& append(const char* bytes, size_t count);
  ZELString& append(char byte) { return append(&byte, 1); }

  // Index of the first occurrence of `byte`, or -1.
  long indexOf(char byte) const noexcept;
  // The same hash as stringHashCode(c_str()) for text without NUL bytes.
  unsigned long hashCode() const noexcept;
  // Byte-wise comparison, negative/zero/positive as memcmp with the shorter
  // string ordered first.
  int compare(const ZELString& other) const noexcept;
  bool equals(const char* bytes, size_t count) const noexcept {
    if (count != length()) return false;
    const char* text = c_str();
    return text == bytes || count == 0 || std::memcmp(text, bytes, count) == 0;
  }

  friend bool operator==(const ZELString& a, const ZELString& b) noexcept {
    // Equal eight bytes: the same short text, the same buffer, or both empty.
    // Short texts are zero-filled behind their bytes, so two that differ in
    // their eight bytes differ in text.
    if (std::memcmp(a.bytes_, b.bytes_, sizeof a.bytes_) == 0) return true;
    if (a.isSmall() && b.isSmall()) return false;
    return a.equals(b.c_str(), b.length());
  }
  friend bool operator!=(const ZELString& a, const ZELString& b) noexcept { return !(a == b); }
  friend bool operator==(const ZELString& a, const char* b) noexcept;
  friend bool operator!=(const ZELString& a, const char* b) noexcept { return !(a == b); }
  friend bool operator<(const ZELString& a, const ZELString& b) noexcept {
    return a.compare(b) < 0;
  }

  // Longest string the host keeps, in bytes.
  static constexpr size_t kMaxLength = 0xFFFFFFF0u;
  // Longest text kept inside the string object, without a buffer.
  static constexpr size_t kSmallCapacity = 6;

 private:
  struct Rep {
    uint32_t refs;
    uint32_t length;
    uint32_t capacity;  // bytes available for text, the terminator not counted
    char data[1];
  };
  // The bytes of a buffer for `capacity` bytes of text and the terminator.
  // Buffers come from the object pool (model/zel_object_pool.h): the many
  // short names of a model cost no heap header each.
  static size_t repBytes(size_t capacity) noexcept { return offsetof(Rep, data) + capacity + 1; }
  static Rep* allocate(size_t capacity);
  void makeUnique(size_t capacity);
  void release() noexcept;
  void setSmall(const char* bytes, size_t count) noexcept;

  // A short text is stored in place: byte 0 holds 2 * length + 1 (odd, where
  // a buffer pointer, being aligned, is even), bytes 1 to 6 the text, and
  // every byte behind the text is 0, so byte 7 always ends it.
  bool isSmall() const noexcept { return (bytes_[0] & 1) != 0; }
  // The buffer, or null for the empty string and for a short text.
  Rep* sharedRep() const noexcept {
    if (isSmall()) return nullptr;
    Rep* rep;
    std::memcpy(&rep, bytes_, sizeof rep);
    return rep;
  }
  void setRep(Rep* rep) noexcept { std::memcpy(bytes_, &rep, sizeof rep); }

  alignas(Rep*) char bytes_[sizeof(Rep*)];
};

ZELString operator+(const ZELString& a, const ZELString& b);
ZELString operator+(const ZELString& a, const char* b);
ZELString operator+(const char* a, const ZELString& b);
std::ostream& operator<<(std::ostream& out, const ZELString& text);

// Hash of a NUL-terminated text; equals ZELString(text).hashCode().
unsigned long stringHashCode(const char* text) noexcept;

// The host's shared empty string.
extern const ZELString emptyString;
