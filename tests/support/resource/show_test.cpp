// The dumps, and reports whose text is an item of a resource file.
#include <cstdio>

#include "orbbase/support/err.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/resource/resource_file.h"

namespace orb::testing {
namespace {

void append_line(const char* line, void* text) {
  *static_cast<std::string*>(text) += std::string(line) + "\n";
}

TEST_F(ResourceFiles, are_dumped_line_by_line) {
  std::string dump;
  orb__rsrc_init(append_line, &dump);
  orb__rsrc_search("./");
  const std::string long_name(300, 'n');
  put_file("r", resource_bytes({{kText, {{"a", "12", 1U << 24}, {long_name, ""}}}}));
  ORB_RSRC_FILE* file = orb__rsrc_open("r");
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(orb__rsrc_dump(file, 0), 1);
  char null_text[32];
  std::snprintf(null_text, sizeof(null_text), "%p", static_cast<void*>(nullptr));
  const std::string none = null_text;  // as the system prints it
  const std::string resource_lines[] = {
      "\t\tRESOURCE\n\t\t\tname           : (DELETED)\n\t\t\toffset         : 12\n\t\t\tdata           : " +
          none + "\n\t\t\tsize           : 2\n",
      "\t\tRESOURCE\n\t\t\tname           : " + long_name +
          "\n\t\t\toffset         : 14\n\t\t\tdata           : " + none + "\n\t\t\tsize           : 0\n"};
  const std::string type_lines =
      "\tTYPE\n\t\tcode           : TEXT\n\t\tstatus         : 0\n\t\tnResources     : 2\n"
      "\t\tnResources(q)  : 0\n\t\toffset         : 14\n";
  const std::string file_lines =
      "Resource file\n\tFile spec      : r\n\tFile name      : r\n\tversion        : 7\toffset         : "
      "335\n"
      "\tupdate         : 1\tNumber of types: 1\n";
  EXPECT_EQ(dump, file_lines + type_lines + resource_lines[0] + resource_lines[1]);

  dump.clear();
  {
    const FailAllocation fail(1);  // the long name's line, the last but what is behind it
    EXPECT_EQ(orb__rsrc_dump(file, 0), 0);
    EXPECT_EQ(orb__err, ORB_E_MEMORY);
  }
  EXPECT_TRUE(dump.ends_with(resource_lines[0] + "\t\tRESOURCE\n")) << dump;
  ORB_RSRC_ITEM item = {};
  EXPECT_EQ(orb__rsrc_find(file, kText, "none", &item), 0);
  EXPECT_EQ(orb__rsrc_find(file, kText, long_name.c_str(), nullptr), 1);
  EXPECT_EQ(orb__rsrc_find(file, kText, long_name.c_str(), &item), 1);
  EXPECT_EQ(item.offset, 14u);

  ASSERT_EQ(orb__rsrc_add(file, kError, "new", "xyz", 3), 1);
  ASSERT_EQ(orb__rsrc_add(file, kText, "b", "", 0), 1);
  dump.clear();
  EXPECT_EQ(orb__rsrc_dump(file, 1), 1);
  for (const char* part :
       {"Number of types: 1\n\tfilePointer    : ", "\n\tmemID          : ",
        "\n\tnTypes         : 1\n\tnTypes(queue)  : 1\n\tTYPE\n",
        "nResources     : 2\n\t\tnResources(q)  : 1\n",
        "\tTYPE\n\t\tcode           : ERRO\n\t\tstatus         : 1\n\t\tnResources     : 0\n"
        "\t\tnResources(q)  : 1\n\t\toffset         : 0\n"}) {
    EXPECT_NE(dump.find(part), std::string::npos) << part << "\n" << dump;
  }
}

std::string heard;  // in static storage: these handlers get no user data

int32_t hear(const void* identity, uint8_t category, const char* message, ERR_RECORD* record,
             void* user_data) {
  heard = std::string(static_cast<const char*>(identity)) + "," + std::to_string(category) + "," + message +
          (record || user_data ? ", and more" : "");
  return 0;
}

TEST_F(ResourceFiles, hold_the_texts_of_reports) {
  put_file("first",
           resource_bytes({{kError, {{"disk", "%s: %d%% of %f%c"}, {"long", std::string(300, 'x')}}}}));
  put_file("second", resource_bytes({{kError, {{"disk", "other"}, {"none", "second"}}}}));
  ASSERT_TRUE(orb__rsrc_open("first") && orb__rsrc_open("second"));
  ERR_mask(nullptr);  // on purpose without effect
  ERR_dcl_handler(nullptr, hear, &recorder);
  EXPECT_EQ(orb__rsrc_report("disk", "sdf", "sda", 7, 0.5), 1);
  EXPECT_EQ(heard, "disk,3,sda: 7% of 0.500000");
  EXPECT_EQ(orb__rsrc_report("none", ""), 1);
  EXPECT_EQ(heard, "none,3,second");
  EXPECT_EQ(orb__rsrc_report("long", "d", 1), 1);
  EXPECT_EQ(heard, "long,3," + std::string(252, 'x') + "...");
  heard.clear();
  EXPECT_EQ(orb__rsrc_report("absent", ""), 0);
  {
    const FailAllocation fail(1);
    EXPECT_EQ(orb__rsrc_report("long", ""), 0);
    EXPECT_EQ(orb__err, ORB_E_MEMORY);
  }
  EXPECT_EQ(heard, "");
  ERR_unmask(nullptr);
  ERR_can_handler(nullptr);
  EXPECT_EQ(ERR_stats(-1), 0u);
}

TEST_F(ResourceFiles, cannot_make_a_report_read_arguments_that_were_not_given) {
  put_file("r", resource_bytes({{kError, {{"few", "%d%s"}, {"kind", "%s"}, {"fine", "%%s %x%c %d"}}}}));
  ASSERT_NE(orb__rsrc_open("r"), nullptr);
  EXPECT_EQ(orb__rsrc_report("few", "d", 1), 0);
  EXPECT_EQ(orb__rsrc_report("kind", "d", 1), 0);
  EXPECT_EQ(orb__err, ORB_E_FORMAT);
  EXPECT_EQ(recorder.reports.size(), 2u);
  ERR_dcl_handler(nullptr, hear, nullptr);
  EXPECT_EQ(orb__rsrc_report("fine", "d", 1), 1);
  EXPECT_EQ(heard, "fine,3,%s %x 1");
  ERR_can_handler(nullptr);
}

}  // namespace
}  // namespace orb::testing
