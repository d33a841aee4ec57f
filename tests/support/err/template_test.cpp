// The template language of error records.
#include <cstring>
#include <limits>
#include <string>

#include "tests/support/err/fresh_errors.h"
#include "tests/support/report_recorder.h"

namespace orb::testing {
namespace {

class Template : public FreshErrors {};

template <class... Args>
std::string formatted(const char* message_template, Args... args) {
  ERR_RECORD record = record_of(ERR_ERROR, "name", message_template);
  char buffer[2048];
  std::memset(buffer, '!', sizeof(buffer));
  EXPECT_EQ(ERR_format(buffer, &record, args...), buffer);
  return buffer;
}

TEST_F(Template, puts_in_its_arguments_and_copies_what_it_does_not_know) {
  EXPECT_EQ(formatted("%c%d", 7), "7");
  EXPECT_EQ(formatted("%s: row %d of %f%%", "a.png", INT32_MIN, -2.5),
            "a.png: row -2147483648 of -2.500000%");
  EXPECT_EQ(formatted("%s", static_cast<const char*>(nullptr)), "(null)");
  EXPECT_EQ(formatted("%s|%d", "%d%n", 1), "%d%n|1");
  EXPECT_EQ(formatted("%x%5d%ld%", 1), "%x%5d%ld%");
  EXPECT_EQ(formatted("%"), "%");
  EXPECT_EQ(formatted("%%%"), "%%");
  EXPECT_EQ(formatted(""), "");
  EXPECT_EQ(formatted(nullptr), "");
  const std::string longest = formatted("%f", std::numeric_limits<double>::lowest());
  EXPECT_EQ(longest.size(), 317u);
  EXPECT_EQ(formatted("%s%s", longest.c_str(), longest.c_str()), longest + longest);
}

TEST_F(Template, reports_what_it_formats) {
  ReportRecorder recorder;
  ERR_RECORD record = record_of(ERR_WARNING, "name", "%c%d");
  EXPECT_EQ(ERR_report(&record, 7), 0);
  record.message_template = "";
  ERR_report(&record);
  EXPECT_EQ(recorder.texts(), "7\n");
}

TEST_F(Template, leaves_the_buffer_alone_while_anything_masks_it) {
  ERR_RECORD record = record_of(ERR_ERROR, "name", "text");
  ERR_RECORD* const all = nullptr;
  const auto untouched = [&] {
    char buffer[8] = "before";
    ERR_format(buffer, &record);
    return std::string(buffer) == "before";
  };
  EXPECT_FALSE(untouched());
  ERR_mask(&record);
  EXPECT_TRUE(untouched());
  ERR_unmask(&record);
  ERR_mask_s(ERR_ERROR);
  EXPECT_TRUE(untouched());
  ERR_unmask_s(ERR_ERROR);
  ERR_mask(all);
  EXPECT_TRUE(untouched());
  ERR_unmask(all);
  EXPECT_FALSE(untouched());
}

TEST_F(Template, shows_placeholders_by_name_while_there_are_names_then_by_type) {
  const char* none[] = {nullptr};
  const char* two[] = {"path", "line", nullptr};
  const struct {
    const char* message_template;
    const char** names;
    const char* expected;
  } rows[] = {{"%s at %d%%", nullptr, "<string> at <integer>%"},
              {"%s at %d%%", none, "<string> at <integer>%"},
              {"%c %f %q", nullptr, "<character> <real> <unknown type>"},
              {"%s at %d%%, %f %d", two, "<path> at <line>%, <real> <integer>"},
              {"%% %c %s", two, "% <path> <line>"},
              {"100%", two, "100%"},
              {"", two, "before"},
              {nullptr, two, "before"}};
  for (const auto& row : rows) {
    ERR_RECORD record = record_of(ERR_ERROR, "name", row.message_template);
    record.argument_names = row.names;
    char buffer[128] = "before";
    EXPECT_EQ(ERR_format_fill(&record, buffer), buffer);
    EXPECT_STREQ(buffer, row.expected);
  }
}

TEST_F(Template, and_all_else_of_a_record_can_be_asked_for) {
  int words[2] = {};
  ERR_RECORD record = record_of(ERR_WARNING, "abcd_name", "text");
  record.count = 9;
  record.user_word_1 = &words[0];
  record.user_word_2 = &words[1];
  int32_t category = -1;
  int32_t masked = -1;
  uint32_t count = 0;
  const void* identity = nullptr;
  const char* message_template = nullptr;
  void* word_1 = nullptr;
  void* word_2 = nullptr;
  ERR_query(&record, &category, &masked, &count, &identity, &message_template, &word_1, &word_2);
  EXPECT_EQ(category, ERR_WARNING);
  EXPECT_EQ(masked, 0);
  EXPECT_EQ(count, 9u);
  EXPECT_EQ(identity, record.identity);
  EXPECT_STREQ(message_template, "text");
  EXPECT_EQ(word_1, &words[0]);
  EXPECT_EQ(word_2, &words[1]);
}

}  // namespace
}  // namespace orb::testing
