// Resource files that are found and read, and those that claim what they do not hold.
#include <filesystem>

#include "orbbase/platform/platform.h"
#include "orbbase/support/err.h"
#include "orbbase/support/resource/records.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/resource/resource_file.h"

namespace orb::testing {
namespace {

constexpr uint32_t kDeleted = 1U << 24;

// Directory before the lists, lists before the data; names out of order, twice, and deleted.
const std::string kByHand = word(3) + word(2) + word(12) +                                       // header
                            "TEXT" + word(4) + word(36) + "PICT" + word(0) + word(0xFFFFFFFF) +  // directory
                            half(1) + "b" + word(83) + word(2) +                                 // 36
                            half(1) + "a" + word(80) + word(kDeleted | 1) +                      // 47
                            half(1) + "a" + word(81) + word(0xFE000002) +                        // 58
                            half(1) + "a" + word(80) + word(1) +                                 // 69
                            "xyzbb";                                                             // 80

int32_t append_item(const ORB_RSRC_ITEM* item, void* text) {
  *static_cast<std::string*>(text) +=
      item->name + std::to_string(item->offset) + (item->is_deleted ? "-" : "+") + " ";
  return 1;
}

TEST_F(ResourceFiles, lie_in_any_order_and_the_first_live_item_of_a_name_counts) {
  ORB_RSRC_FILE* file = open_bytes(kByHand);
  ASSERT_NE(file, nullptr) << recorder.texts();
  std::string items;
  orb__rsrc_each(file, append_item, &items);
  EXPECT_EQ(items, "a80- a81+ a80+ b83+ ");  // sorted, equal names as they stood
  EXPECT_EQ(loaded(file, kText, "a"), "yz");
  EXPECT_EQ(loaded(file, kText, "b"), "bb");
  EXPECT_EQ(loaded(file, kError, "b"), "(none)");
  EXPECT_EQ(loaded(file, kText, "c"), "(none)");
  EXPECT_EQ(recorder.texts(), "");
  EXPECT_EQ(file->version, 3u);
  EXPECT_TRUE(file->is_update);
}

TEST_F(ResourceFiles, have_blocks_of_two_sizes) {
  ORB_RSRC_FILE* file = open_bytes(kByHand);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(file->arena.block_bytes(), 16848u);
  put_file("empty", word(1) + word(0) + word(12));
  file = orb__rsrc_open("empty");
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(file->arena.block_bytes(), 520u);
}

TEST_F(ResourceFiles, cut_anywhere_fail_with_one_report) {
  const std::string whole = resource_bytes({{kText, {{"a", "1234"}, {"b", ""}}}, {kError, {{"", "x"}}}});
  for (size_t kept = 0; kept < whole.size(); ++kept) {
    recorder.clear();
    EXPECT_EQ(open_bytes(whole.substr(0, kept)), nullptr) << kept;
    EXPECT_EQ(recorder.reports.size(), 1u) << kept;
    EXPECT_EQ(orb__err, ORB_E_FORMAT) << kept;
  }
  for (size_t kept = 80; kept < kByHand.size(); ++kept) {  // the data alone is cut
    ORB_RSRC_FILE* file = open_bytes(kByHand.substr(0, kept));
    ASSERT_NE(file, nullptr) << kept;
    EXPECT_EQ(loaded(file, kText, "b"), "(none)") << kept;
    EXPECT_EQ(orb__err, ORB_E_FORMAT) << kept;
    orb__rsrc_close("r", 0);
  }
}

TEST_F(ResourceFiles, with_claims_that_cannot_be_fail_with_the_reason) {
  const std::string entry = half(1) + "n" + word(12) + word(0);  // 11 bytes
  const struct {
    const char* reason;
    std::string bytes;
  } rows[] = {
      {"its directory goes beyond its end", word(1) + word(0xFFFFFFFF) + word(12)},
      {"its directory goes beyond its end", word(1) + word(0) + word(13)},
      {"its directory lies over its header", word(1) + word(1) + word(11) + std::string(12, 'x')},
      {"a type has no code", word(1) + word(1) + word(12) + word(0) + word(0) + word(12)},
      {"a list lies where it cannot be", word(1) + word(1) + word(12) + "TEXT" + word(1) + word(0)},
      {"a list lies where it cannot be", word(1) + word(1) + word(12) + "TEXT" + word(1) + word(23)},
      {"a list lies where it cannot be", word(1) + word(1) + word(12) + "TEXT" + word(1) + word(25)},
      {"a list runs into what lies behind it",  // of the greatest count, into the file's end
       word(1) + word(1) + word(12) + "TEXT" + word(0xFFFFFFFF) + word(24) + entry},
      {"a list runs into what lies behind it",  // the next one begins beyond the file's end
       word(1) + word(2) + word(12) + "TEXT" + word(0x100000) + word(36) + "ERRO" + word(1) +
           word(0xFFFFFFFF) + entry},
      {"a list runs into what lies behind it",  // into the directory
       word(1) + word(1) + word(23) + entry + "TEXT" + word(2) + word(12)},
      {"a list runs into what lies behind it",  // two types share a list
       word(1) + word(2) + word(12) + "TEXT" + word(1) + word(36) + "ERRO" + word(1) + word(36) + entry},
      {"a list runs into what lies behind it",  // the second entry, because of the first one's name
       word(1) + word(1) + word(12) + "TEXT" + word(2) + word(24) + half(9) + std::string(20, 'n')},
      {"a name runs into what lies behind it", word(1) + word(1) + word(12) + "TEXT" + word(1) + word(24) +
                                                   half(65535) + std::string(65534 + 8, 'n')},
      {"a name has a zero byte",
       word(1) + word(1) + word(12) + "TEXT" + word(1) + word(24) + half(1) + word(0) + word(0) + word(0)},
  };
  for (const auto& row : rows) {
    recorder.clear();
    EXPECT_EQ(open_bytes(row.bytes), nullptr) << row.reason;
    EXPECT_EQ(recorder.texts(), std::string("r: This is not a whole resource file; ") + row.reason);
    EXPECT_EQ(orb__err, ORB_E_FORMAT);
  }
}

TEST_F(ResourceFiles, survive_the_failure_of_any_allocation_of_the_open) {
  std::vector<TypeOfItems> types;  // records and names of several blocks
  for (uint32_t code = 1; code <= 900; ++code) types.push_back({code, {}});
  for (int i = 0; i < 300; ++i) types[0].items.push_back({std::string(100, 'n') + std::to_string(i), ""});
  std::string name;
  while (name.size() < 300) name += "./";
  name += "r";
  for (const std::string& bytes : {resource_bytes(types), resource_bytes({})}) {
    put_file("r", bytes);
    platform::FileStatus status;
    if (platform::file_status(name.c_str(), &status) != 0) GTEST_SKIP() << "no path may be that long";
    for (int64_t nth = 1;; ++nth) {
      ASSERT_LT(nth, 100);
      recorder.clear();
      const FailAllocation fail(nth);
      ORB_RSRC_FILE* const file = orb__rsrc_open(name.c_str());
      EXPECT_EQ(file == nullptr, fail.happened()) << nth;
      if (!fail.happened()) break;
      EXPECT_EQ(orb__err, ORB_E_MEMORY) << nth;
      EXPECT_EQ(recorder.reports.size(), 1u) << nth;
    }
    EXPECT_EQ(orb__rsrc_close(name.c_str(), 0), 1);
  }
}

TEST_F(ResourceFiles, load_no_bytes_that_the_file_does_not_have) {
  const struct { uint32_t offset, bytes; } rows[] = {{0xFFFFFFFF, 1}, {100, 0xFFFFFF}, {36, 1}, {35, 2}};
  for (const auto& row : rows) {
    recorder.clear();
    const std::string bytes = word(1) + word(1) + word(12) + "TEXT" + word(1) + word(24) + half(2) + "no" +
                              word(row.offset) + word(row.bytes);
    ORB_RSRC_FILE* file = open_bytes(bytes);
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(loaded(file, kText, "no"), "(none)") << row.offset;
    EXPECT_EQ(recorder.reports.size(), 1u) << row.offset;
    EXPECT_EQ(orb__rsrc_close("r", 1), 0);  // nor is the file written without them
    EXPECT_EQ(file_bytes("r"), bytes);
  }
}

TEST_F(ResourceFiles, that_cannot_be_read_any_more_say_so) {
  const std::string bytes = resource_bytes({{kText, {{"a", std::string(100'000, 'a')}}}});
  ORB_RSRC_FILE* file = open_bytes(bytes);
  ASSERT_NE(file, nullptr);
  put_file("r", bytes.substr(0, 90'000));  // by somebody else
  EXPECT_EQ(loaded(file, kText, "a"), "(none)");
  EXPECT_EQ(orb__err, ORB_E_READ);
  EXPECT_EQ(recorder.texts(), "Cannot read resource file r; it ends too soon");
  orb__rsrc_close("r", 0);
  recorder.clear();
  file = open_bytes(bytes);
  ASSERT_NE(file, nullptr);
  file->stream.reset(std::fopen("r", "ab"));  // cannot be read at all
  EXPECT_EQ(loaded(file, kText, "a"), "(none)");
  EXPECT_EQ(orb__rsrc_close("r", 1), 0);
  EXPECT_TRUE(
      recorder.reports.at(0).text.starts_with("Cannot read resource file r; "));  // and the system's reason
  EXPECT_EQ(file_bytes("r"), bytes);
}

TEST_F(ResourceFiles, may_have_an_item_of_all_their_bytes) {
  const std::string bytes =
      word(1) + word(1) + word(12) + "TEXT" + word(1) + word(24) + half(0) + word(0) + word(34);
  ORB_RSRC_FILE* file = open_bytes(bytes);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(loaded(file, kText, ""), bytes);
}

TEST_F(ResourceFiles, whose_items_share_their_bytes_load_no_more_than_the_file_has) {
  std::string list;
  for (char name = 'a'; name < 'd'; ++name) list += half(1) + name + word(0) + word(50);
  ORB_RSRC_FILE* file = open_bytes(word(1) + word(1) + word(12) + "TEXT" + word(3) + word(24) + list +
                                   std::string(50, 'x'));  // 107 bytes
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(loaded(file, kText, "a").size(), 50u);
  EXPECT_EQ(loaded(file, kText, "b").size(), 50u);
  EXPECT_EQ(loaded(file, kText, "c"), "(none)");
  EXPECT_EQ(recorder.texts(), "r: This is not a whole resource file; its items claim more bytes than it has");
}

TEST_F(ResourceFiles, are_looked_for_along_the_search_list) {
  std::filesystem::create_directory("r");  // no file
  std::filesystem::create_directory("b");
  put_file("b/r", resource_bytes({}));
  put_file("prefix-r", resource_bytes({}));
  for (const char* prefix : {"a/", "b/", "prefix-"}) EXPECT_EQ(orb__rsrc_search(prefix), 1);
  ORB_RSRC_FILE* file = orb__rsrc_open("r");
  ASSERT_NE(file, nullptr);
  EXPECT_STREQ(file->path, "b/r");
  EXPECT_STREQ(file->requested, "r");
  EXPECT_EQ(orb__rsrc_open("r"), file);
  EXPECT_EQ(orb__rsrc_close("b/r", 0), 0);
  EXPECT_EQ(orb__rsrc_close("r", 0), 1);
  EXPECT_EQ(orb__rsrc_close("r", 0), 0);
  EXPECT_EQ(recorder.texts(), "");
  EXPECT_EQ(orb__rsrc_open("none"), nullptr);
  EXPECT_EQ(orb__err, ORB_E_OPEN);
  orb__rsrc_init(nullptr, nullptr);
  EXPECT_EQ(orb__rsrc_open("r"), nullptr);  // the list is empty again
  EXPECT_EQ(recorder.texts(),
            "Cannot open resource file none; No such file or directory\n"
            "Cannot open resource file r; Is a directory");
}

}  // namespace
}  // namespace orb::testing
