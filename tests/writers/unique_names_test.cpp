// The uniquifying every writer shares: the first free suffix, as before,
// found without retrying the taken ones.
#include "unique_names.h"

#include <string>
#include <unordered_set>
#include <vector>

#include <gtest/gtest.h>

using namespace pcd::writers;

namespace {

TEST(UniqueNames, TheFirstFreeSuffixAlsoPastPlainNamesThatLookGenerated) {
  UniqueNames names;
  std::vector<std::string> given;
  for (const char* name : {"X", "X", "X_3", "X", "X", "X_2", "", "", "x", "X_2"}) {
    given.push_back(names.take(name));
  }
  EXPECT_EQ(given, (std::vector<std::string>{"X", "X_2", "X_3", "X_4", "X_5", "X_2_2", "unnamed",
                                             "unnamed_2", "x", "X_2_3"}));
}

// Past the few names compared one by one, the same answers from the table
// of hashes; file names tell case apart nowhere, reserved ones included.
TEST(UniqueNames, ManyNamesAndNamesThatIgnoreCase) {
  UniqueNames names;
  UniqueNames files(".md", {"readme.md"});
  for (int i = 0; i < 1000; ++i) {
    const std::string name = "n" + std::to_string(i);
    ASSERT_EQ(names.take(name), name);
    ASSERT_EQ(files.take(name), name + ".md");
  }
  EXPECT_EQ(names.take("n999"), "n999_2");
  EXPECT_EQ(names.take("N999"), "N999");
  EXPECT_EQ(files.take("N999"), "N999_2.md");
  EXPECT_EQ(files.take("README"), "README_2.md");
  EXPECT_EQ(files.take("n5_2"), "n5_2.md");
  EXPECT_EQ(files.take("N5"), "N5_3.md");
}

// A stem repeated n times probes about n names in all, not n^2 / 2: the
// counters already found taken are skipped, also across calls that start
// past them (`from`), and a scope that only looks does not claim.
TEST(SuffixCounters, RepeatsCostLinearProbes) {
  SuffixCounters counters;
  std::unordered_set<uint64_t> taken{3, 7};  // taken by other means
  long probes = 0;
  const auto isFree = [&](uint64_t counter) {
    ++probes;
    return taken.insert(counter).second;
  };
  std::vector<uint64_t> first;
  constexpr int kRepeats = 20000;
  for (int i = 0; i < kRepeats; ++i) {
    const uint64_t counter = counters.firstFree("S", 2, UINT64_MAX, isFree);
    if (i < 4) first.push_back(counter);
  }
  EXPECT_EQ(first, (std::vector<uint64_t>{2, 4, 5, 6}));
  EXPECT_LE(probes, kRepeats + 2);
  // The range ends: `last` when no counter in it is free.
  EXPECT_EQ(counters.firstFree("T", 2, 4, [](uint64_t) { return false; }), 4u);

  SuffixCounters scope;
  probes = 0;
  for (int i = 0; i < kRepeats; ++i) {
    const uint64_t notTaken = scope.firstNotTaken("S", 2, UINT64_MAX, [&](uint64_t counter) {
      ++probes;
      return counter < static_cast<uint64_t>(i) + 2;
    });
    EXPECT_EQ(notTaken, static_cast<uint64_t>(i) + 2);
  }
  EXPECT_LE(probes, 2 * kRepeats);
}

}  // namespace
