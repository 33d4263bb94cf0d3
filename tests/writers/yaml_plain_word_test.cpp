// A word written unchecked lands where the emitter puts a plain string, in
// every place a changelog writes one: map keys at each depth, values,
// inside sequences and after double-quoted strings.
#include <yaml-cpp/yaml.h>

#include <string>

#include <gtest/gtest.h>

#include "yaml_plain_word.h"

using namespace pcd::writers;

namespace {

// The same document, its keys and plain values as strings or as words.
template <class Text>
std::string document(Text (*text)(const char*)) {
  YAML::Emitter out;
  out.SetOutputCharset(YAML::EscapeNonAscii);
  out << YAML::BeginSeq << YAML::BeginMap << YAML::Key << text("changeSet") << YAML::Value
      << YAML::BeginMap;
  out << YAML::Key << text("id") << YAML::Value << YAML::DoubleQuoted << "t \"A\"";
  out << YAML::Key << text("strategy") << YAML::Value << text("QUOTE_ALL_OBJECTS");
  out << YAML::Key << text("changes") << YAML::Value << YAML::BeginSeq;
  out << YAML::BeginMap << YAML::Key << text("createTable") << YAML::Value << YAML::BeginMap;
  out << YAML::Key << text("columns") << YAML::Value << YAML::BeginSeq;
  for (int i = 0; i < 2; ++i) {
    out << YAML::BeginMap << YAML::Key << text("column") << YAML::Value << YAML::BeginMap;
    out << YAML::Key << text("name") << YAML::Value << YAML::DoubleQuoted << "\xC3\xBC";
    out << YAML::Key << text("constraints") << YAML::Value << YAML::BeginMap;
    out << YAML::Key << text("nullable") << YAML::Value << false;
    out << YAML::EndMap << YAML::EndMap << YAML::EndMap;
  }
  out << YAML::EndSeq << YAML::EndMap << YAML::EndMap << YAML::EndSeq;
  out << YAML::EndMap << YAML::EndMap << YAML::EndSeq;
  EXPECT_TRUE(out.good()) << out.GetLastError();
  return out.c_str();
}

std::string asString(const char* text) {
  return text;
}

YamlWord asWord(const char* text) {
  return {text};
}

TEST(YamlPlainWord, WritesWhatThePlainStringWould) {
  const std::string expected = document(asString);
  EXPECT_EQ(document(asWord), expected);
  EXPECT_NE(expected.find("\n    strategy: QUOTE_ALL_OBJECTS\n"), std::string::npos) << expected;
}

}  // namespace
