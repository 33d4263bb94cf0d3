// JsonWriter: writes one JSON document to a stdio stream as it goes, without
// building it in memory first: pretty-printed with two-space indentation
// (capped at 32 levels), or compact, with no white space at all.
//
// Callers open and close objects and arrays and write keys and scalar
// values; the writer places commas, line breaks and indentation. Strings are
// byte strings: they are escaped as JSON requires, and every byte that is not
// part of a well-formed UTF-8 sequence is written as U+FFFD, so the output is
// always valid UTF-8 whatever the input bytes.
#pragma once

#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace pcd::writers {

class JsonWriter {
 public:
  enum class Style { kPretty, kCompact };
  explicit JsonWriter(std::FILE* out, Style style = Style::kPretty);
  // A writer that keeps its output in memory: one value laid out as it would
  // be at `depth` levels of nesting, to be placed later with raw() by a writer
  // at that depth. Taken with fragment(); clearFragment() starts the next.
  JsonWriter(Style style, size_t depth);
  JsonWriter(const JsonWriter&) = delete;
  JsonWriter& operator=(const JsonWriter&) = delete;

  void beginObject();
  void endObject();
  void beginArray();
  void endArray();
  // The member name inside an object; the next value written is its value.
  void key(std::string_view name);

  void string(std::string_view bytes);
  void integer(long long value);
  void boolean(bool value);
  void null();

  // A value laid out in advance by a memory writer of this style at this
  // writer's depth(), copied as it stands.
  void raw(std::string_view value);

  // Levels of nesting open where the next value goes.
  size_t depth() const { return levels_.size(); }
  Style style() const { return compact_ ? Style::kCompact : Style::kPretty; }
  // A memory writer's value so far, and a fresh start for the next one.
  std::string_view fragment() const { return {buffer_.data(), used_}; }
  void clearFragment();

  // Writes the final line break and hands everything to the stream. False
  // when the stream reported a write error at any point.
  bool finish();

  // Appends `bytes` to `out` as the content of a JSON string (no quotes).
  static void appendEscaped(std::string& out, std::string_view bytes);

 private:
  void beforeValue();
  void openContainer(char bracket);
  void closeContainer(char bracket);
  void newLine(size_t depth);
  void flushIfFull();
  // Appends to the buffer, which is written out (or grows) when full. Plain
  // copies into a buffer of our own: a document of a big model is tens of
  // millions of small appends.
  void put(char byte) {
    if (used_ == buffer_.size()) makeRoom(1);
    buffer_[used_++] = byte;
  }
  void put(const char* bytes, size_t count) {
    if (buffer_.size() - used_ < count) makeRoom(count);
    std::memcpy(buffer_.data() + used_, bytes, count);
    used_ += count;
  }
  void makeRoom(size_t count);
  void writeOut();

  struct Level {
    bool isObject;
    long members;  // values (or keys) written so far
  };

  std::FILE* out_;            // null: the output stays in buffer_
  std::vector<char> buffer_;  // written to out_ in large blocks
  size_t used_ = 0;
  std::vector<Level> levels_;
  bool compact_;
  bool afterKey_ = false;
  size_t baseDepth_ = 0;  // of a memory writer: the levels below its value
  bool failed_ = false;
};

}  // namespace pcd::writers
