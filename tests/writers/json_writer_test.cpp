// The program's JSON writer, on its own: layout, escaping, UTF-8 repair and
// streaming through its buffer.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <gtest/gtest.h>

#include "json_writer.h"

using namespace pcd::writers;

namespace {

// Runs `write` on a writer over a memory stream and returns the text.
template <class Write>
std::string render(Write write, JsonWriter::Style style = JsonWriter::Style::kPretty) {
  char* data = nullptr;
  size_t size = 0;
  std::FILE* stream = open_memstream(&data, &size);
  {
    JsonWriter json(stream, style);
    write(json);
    EXPECT_TRUE(json.finish());
  }
  std::fclose(stream);
  std::string text(data, size);
  std::free(data);
  return text;
}

std::string escaped(const std::string& bytes) {
  std::string out;
  JsonWriter::appendEscaped(out, bytes);
  return out;
}

const std::string kFffd = "\xEF\xBF\xBD";

// What the sample document does not hold: empty containers, null, negative
// and large integers, a key that needs escaping.
TEST(JsonWriter, LaysOutNestedValuesPrettyOrCompact) {
  const auto write = [](JsonWriter& json) {
    json.beginObject();
    json.key("a\"b");
    json.beginArray();
    json.integer(-12);
    json.null();
    json.beginObject();
    json.endObject();
    json.beginArray();
    json.endArray();
    json.endArray();
    json.key("big");
    json.integer(9007199254740993LL);
    json.endObject();
  };
  EXPECT_EQ(render(write),
            "{\n  \"a\\\"b\": [\n    -12,\n    null,\n    {},\n    []\n  ],\n"
            "  \"big\": 9007199254740993\n}\n");
  EXPECT_EQ(render(write, JsonWriter::Style::kCompact),
            "{\"a\\\"b\":[-12,null,{},[]],\"big\":9007199254740993}\n");
}

// What JSON requires is escaped and nothing else; plain text is scanned
// eight bytes at a time, so each byte is tried at every place in a long run.
TEST(JsonWriter, EscapesWhatJsonRequiresAtEveryPlaceInLongRuns) {
  const std::pair<std::string, std::string> specials[] = {
      {"\"", "\\\""},      {"\\", "\\\\"},      {"\n", "\\n"},   {"\r", "\\r"},
      {"\t", "\\t"},       {"\b", "\\b"},       {"\f", "\\f"},   {std::string(1, '\0'), "\\u0000"},
      {"\x01", "\\u0001"}, {"\x1F", "\\u001f"}, {"\x80", kFffd}, {"\xC3\xA9", "\xC3\xA9"},
      {"\x7F", "\x7F"},    {"/", "/"}};
  for (const auto& [special, expected] : specials) {
    for (size_t at = 0; at <= 17; ++at) {
      const std::string before(at, ' ');
      const std::string after(17 - at, '~');
      EXPECT_EQ(escaped(before + special + after), before + expected + after) << at;
    }
  }
}

TEST(JsonWriter, KeepsWellFormedUtf8AndReplacesEveryOtherByte) {
  for (const char* sequence : {"\xC2\x80", "\xDF\xBF",                     // U+0080, U+07FF
                               "\xE0\xA0\x80", "\xED\x9F\xBF",             // U+0800, U+D7FF
                               "\xEE\x80\x80", "\xEF\xBF\xBF",             // U+E000, U+FFFF
                               "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF"}) {  // U+10000, U+10FFFF
    EXPECT_EQ(escaped(std::string("a") + sequence + "b"), std::string("a") + sequence + "b");
  }
  const std::pair<std::string, int> cases[] = {
      {"\x80", 1},              // lone continuation byte
      {"\xC0\x80", 2},          // overlong NUL
      {"\xE0\x9F\xBF", 3},      // overlong just below U+0800
      {"\xED\xA0\x80", 3},      // surrogate U+D800
      {"\xF0\x8F\xBF\xBF", 4},  // overlong four-byte form
      {"\xF4\x90\x80\x80", 4},  // above U+10FFFF
      {"\xF5\x80\x80\x80", 4},  // lead byte that never starts a sequence
      {"\xE2\x82", 2},          // truncated at the end of the string
  };
  for (const auto& [in, replacements] : cases) {
    std::string expected;
    for (int i = 0; i < replacements; ++i) expected += kFffd;
    EXPECT_EQ(escaped(in), expected) << "input bytes: " << in.size();
  }
  // Stray bytes go, the text after them stays, and a valid sequence right
  // after a stray byte is kept whole.
  EXPECT_EQ(escaped("\xE2\x82"
                    "A\xF0\x9F\x98"),
            kFffd + kFffd + "A" + kFffd + kFffd + kFffd);
  EXPECT_EQ(escaped("\xC3\xC3\xA9"), kFffd + "\xC3\xA9");
}

TEST(JsonWriter, StreamsLargeDocumentsAndReportsWriteErrors) {
  const std::string value(1000, 'v');
  const std::string text = render([&](JsonWriter& json) {
    json.beginArray();
    for (int i = 0; i < 500; ++i) json.string(value);
    json.endArray();
  });
  // "[", then per element a line break, two spaces and the quoted value,
  // 499 commas, then "\n]\n".
  EXPECT_EQ(text.size(), 1 + 500 * (3 + value.size() + 2) + 499 + 3);
  EXPECT_EQ(text.substr(text.size() - 5), "v\"\n]\n");

  std::FILE* full = std::fopen("/dev/full", "w");
  ASSERT_NE(full, nullptr) << "/dev/full, the device that is always full, is missing";
  JsonWriter json(full);
  json.beginArray();
  for (int i = 0; i < 100; ++i) json.string(value);
  json.endArray();
  EXPECT_FALSE(json.finish());
  std::fclose(full);
}

// The writer's buffer: indentation capped at 32 levels (so output stays
// linear in the nesting), a value larger than the whole buffer, and integers
// at their limits.
TEST(JsonWriter, DeepNestingHugeValuesAndExtremeIntegersKeepTheirLayout) {
  constexpr int kDepth = 40;
  const std::string huge(200000, 'h');
  const std::string text = render([&](JsonWriter& json) {
    for (int level = 0; level < kDepth; ++level) {
      json.beginObject();
      json.key(level % 2 == 0 ? "k" : "tab\tkey");
    }
    json.beginArray();
    json.string(huge);
    json.integer(-9223372036854775807LL - 1);
    json.integer(0);
    json.endArray();
    for (int level = 0; level < kDepth; ++level) json.endObject();
  });
  const auto indent = [](int depth) { return std::string(std::min(2 * depth, 64), ' '); };
  std::string expected;
  for (int level = 0; level < kDepth; ++level) {
    expected += "{";
    expected += "\n" + indent(level + 1);
    expected += level % 2 == 0 ? "\"k\": " : "\"tab\\tkey\": ";
  }
  const std::string inner = indent(kDepth + 1);
  expected += "[\n" + inner + "\"" + huge + "\",\n" + inner + "-9223372036854775808,\n" + inner +
              "0\n" + indent(kDepth) + "]";
  for (int level = kDepth; level > 0; --level) {
    expected += "\n" + indent(level - 1) + "}";
  }
  expected += "\n";
  EXPECT_EQ(text, expected);
}

}  // namespace
