// The allocation trace: nesting, the file's lines, the summary tool.
#include <gtest/gtest.h>

#include <cinttypes>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "orbbase/support/err.h"
#include "orbbase/support/utl.h"
#include "tests/support/environment.h"

namespace {

std::string trace_text() {
  std::ifstream file(".memstat");
  std::stringstream text;
  text << file.rdbuf();
  return text.str();
}

std::string line(const char* format, auto... arguments) {
  char text[200];
  std::snprintf(text, sizeof text, format, arguments...);
  return text;
}

TEST(Trace, WritesALineForEveryCallWhileItIsOn) {
  ERR_free(utl__hooks.allocate(10, "before"));
  ASSERT_EQ(UTL_trace_on(), 1);
  void* block = utl__hooks.allocate(10, "rows");
  const std::string first = line("%p", block);
  void* moved = utl__hooks.reallocate(block, 100000, "rows");
  std::string expected = "malloc: ptr " + first + " size 10 name rows\n";
  expected += "realloc: ptr from " + first + line(" to %p size 100000 name rows\n", moved);
  expected += line("free: ptr %p name: (null)\n", moved);
  EXPECT_EQ(utl__hooks.release(moved, nullptr), 1);
  EXPECT_EQ(UTL_trace_off(), 1);
  EXPECT_EQ(trace_text(), expected);
  utl__hooks.release(utl__hooks.allocate(10, "after"), "after");
  EXPECT_EQ(trace_text(), expected);
}

TEST(Trace, NestsAndEndsWithItsLastCall) {
  EXPECT_EQ(UTL_trace_off(), 1);  // none is on
  UTL_trace_on();
  UTL_trace_on();
  UTL_trace_off();
  utl__hooks.release(utl__hooks.allocate(1, "still traced"), "x");
  UTL_trace_off();
  EXPECT_NE(trace_text().find("still traced"), std::string::npos);
  UTL_trace_on();  // begins a new file
  UTL_trace_off();
  EXPECT_EQ(trace_text(), "");
}

TEST(Trace, FileThatCannotBeMadeIsToldAndTheHooksStillWork) {
  std::filesystem::create_directory(".memstat");
  testing::internal::CaptureStderr();
  EXPECT_EQ(UTL_trace_on(), 0);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), " yow - can't open vm stat file\n");
  EXPECT_EQ(utl__hooks.release(utl__hooks.allocate(1, "x"), "x"), 1);
  EXPECT_EQ(UTL_trace_off(), 1);
}

TEST(Trace, ReportRunsTheToolBehindTheFolder) {
  const orb::testing::Environment environment("QV_BIN_DIR", "echo>>ran ");
  UTL_trace_on();
  utl__hooks.release(utl__hooks.allocate(1, "flushed"), "x");
  EXPECT_EQ(UTL_trace_report(), 1);
  EXPECT_NE(trace_text().find("flushed"), std::string::npos);
  UTL_trace_off();
  std::ifstream ran("ran");
  std::string words;
  std::getline(ran, words);
  EXPECT_EQ(words.substr(0, 13), "tools/memstat");
}

#if GTEST_HAS_DEATH_TEST
TEST(TraceDeathTest, ReportWithoutTheFolderEndsTheProcess) {
  const orb::testing::Environment environment("QV_BIN_DIR", nullptr);
  EXPECT_EXIT(UTL_trace_report(), testing::ExitedWithCode(0),
              "set brightmoor environment variables, please.");
}
#endif

}  // namespace
