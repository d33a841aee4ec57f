#include <gtest/gtest.h>

#include "orbbase/core.h"
#include "orbbase/driver.h"
#include "tests/support/report_recorder.h"

namespace {

using orb::testing::ReportRecorder;

TEST(Report, fills_each_messages_arguments_and_knows_its_category) {
  ReportRecorder recorder;
  ERR_unmask_s(ERR_DEBUG);
  const char* const nasty = "%s%n%d";  // never a format
  orb__report(ORB_MSG_DATABASE_START, "orb", "ORB_find");
  orb__report(ORB_MSG_CAPABILITY_ENTRY, "png", 3, 7);
  orb__report(ORB_MSG_PLUGIN_VERSION, "bad", "version", "3.2", "3.1");
  orb__report(ORB_MSG_CANNOT_READ_LINE, -5, "end of file");
  orb__report(ORB_MSG_READ_NOTE, "a.png", nasty);
  orb__report(ORB_MSG_NO_MEMORY);
  orb__report(1000, "no such message");
  ERR_mask_s(ERR_DEBUG);
  const struct {
    int category;
    const char* text;
  } rows[] = {
      {ERR_DEBUG, "orb, initializing database for ORB_find request"},
      {ERR_WARNING,
       "png: no name field was found for capability 3's list entry number 7 of this image driver"},
      {ERR_ERROR,
       "bad: the version protocol of this plug-in (\"version\") is not supported; expecting version \"3.2\" "
       "but found \"3.1\""},
      {ERR_ERROR, "Cannot read scanline -5; end of file"},
      {ERR_INFORMATION, "a.png: %s%n%d"},
      {ERR_ERROR, "No more internal memory"},
  };
  ASSERT_EQ(recorder.reports.size(), std::size(rows));
  for (size_t i = 0; i < std::size(rows); ++i) {
    EXPECT_EQ(recorder.reports[i].category, rows[i].category);
    EXPECT_EQ(recorder.reports[i].text, rows[i].text);
  }
}

}  // namespace
