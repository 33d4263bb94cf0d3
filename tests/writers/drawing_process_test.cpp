// The helper process that runs libraries which end their process when they
// fail: its start, its answers, and every way it can fail, each an error in
// bounded time that never reaches the program's own output.
#include "drawing_process.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

namespace pcd::writers {
namespace {

std::string starts() {
  return "";
}
std::string cannotStart() {
  return "no fonts here";
}
[[noreturn]] std::string hangsWhileStarting() {
  for (;;) pause();
}

unsigned char echoes(const std::string& request, std::string& reply) {
  reply = "echo " + request;
  return 7;
}
// Writes its last words to standard output and standard error, then aborts.
[[noreturn]] unsigned char crashes(const std::string&, std::string&) {
  std::printf("last words on standard output\n");
  std::fflush(stdout);
  std::fprintf(stderr, "last words on standard error\n");
  std::abort();
}
[[noreturn]] unsigned char hangs(const std::string&, std::string&) {
  for (;;) pause();
}

std::string ask(DrawingProcess& process, const std::string& request, unsigned char& status,
                std::string& reply) {
  const std::string failure = process.send(request);
  return failure.empty() ? process.receive(status, reply) : failure;
}

TEST(DrawingProcess, AnswersEachRequestInTurn) {
  DrawingProcess process(starts, echoes, 10);
  for (const std::string& request : {std::string("a"), std::string(), std::string(1 << 20, 'x')}) {
    unsigned char status = 0;
    std::string reply;
    ASSERT_EQ(ask(process, request, status, reply), "");
    EXPECT_EQ(status, 7);
    EXPECT_TRUE(reply == "echo " + request);
  }
}

TEST(DrawingProcess, AStartThatFailsOrHangsIsAnErrorForEveryLaterCall) {
  unsigned char status = 0;
  std::string reply;
  DrawingProcess refused(cannotStart, echoes, 10);
  EXPECT_EQ(ask(refused, "a", status, reply), "no fonts here");
  EXPECT_EQ(ask(refused, "b", status, reply), "no fonts here");

  DrawingProcess stuck(hangsWhileStarting, echoes, 10, 1);
  const auto before = std::chrono::steady_clock::now();
  EXPECT_EQ(ask(stuck, "a", status, reply),
            "the drawing process took longer than 1 seconds to start and was stopped");
  EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(10));
  EXPECT_EQ(ask(stuck, "b", status, reply),
            "the drawing process took longer than 1 seconds to start and was stopped");
}

TEST(DrawingProcess, ACrashOrAHangIsAnErrorAndItsLastWordsStayOffOurOutput) {
  unsigned char status = 0;
  std::string reply;
  ::testing::internal::CaptureStdout();
  DrawingProcess crashing(starts, crashes, 10);
  const std::string failure = ask(crashing, "a", status, reply);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(failure.rfind("the drawing process aborted", 0), 0u) << failure;
  EXPECT_NE(failure.find(": last words on standard error"), std::string::npos) << failure;

  DrawingProcess hanging(starts, hangs, 1);
  EXPECT_EQ(ask(hanging, "a", status, reply),
            "the drawing took longer than 1 seconds and was stopped");
}

// A process forked later holds no copy of an earlier one's connection, nor
// does a process keep its owner's end: an idle process whose owner lets it
// go sees the connection end and exits. Were one left holding a connection,
// letting it go would wait for ever; the alarm ends the test program then.
TEST(DrawingProcess, EachProcessEndsWhenItsOwnerLetsItGo) {
  alarm(20);
  auto first = std::make_unique<DrawingProcess>(starts, echoes, 10);
  unsigned char status = 0;
  std::string reply;
  ASSERT_EQ(ask(*first, "a", status, reply), "");
  auto second = std::make_unique<DrawingProcess>(starts, echoes, 10);
  ASSERT_EQ(ask(*second, "b", status, reply), "");
  first.reset();
  second.reset();
  alarm(0);
}

}  // namespace
}  // namespace pcd::writers
