// The small pieces the diagram formats share: reading multiplicities and
// making any bytes printable.
#include <gtest/gtest.h>

#include "diagram_selection.h"

using namespace pcd::writers;

namespace {

TEST(DiagramText, MultiplicityBoundsDecideTheEnds) {
  struct Case {
    const char* text;
    bool optional, many;
  } cases[] = {{"1", false, false},   {"0..1", true, false}, {"0..*", true, true},
               {"1..*", false, true}, {"2..5", false, true}, {"0", true, false},
               {"", true, true}};
  for (const Case& c : cases) {
    const Multiplicity m = parseMultiplicity(c.text);
    EXPECT_EQ(m.optional, c.optional) << c.text;
    EXPECT_EQ(m.many, c.many) << c.text;
  }
}

TEST(DiagramText, AnyBytesBecomeValidUtf8WithoutControlCharacters) {
  EXPECT_EQ(printableText("Z\xC3\xBCrich \xE8\xA1\xA8"), "Z\xC3\xBCrich \xE8\xA1\xA8");
  EXPECT_EQ(printableText("a\tb\nc\x7F"), "a b c ");
  // A lone continuation byte, a truncated sequence and an overlong form.
  EXPECT_EQ(printableText("\x80x\xE8\xA1"), "\xEF\xBF\xBDx\xEF\xBF\xBD\xEF\xBF\xBD");
  EXPECT_EQ(printableText("\xC0\xAF"), "\xEF\xBF\xBD\xEF\xBF\xBD");
  EXPECT_EQ(printableText(std::string_view("a\0b", 3)), "a b");
}

}  // namespace
