// Resource files that are found and read, claim what they do not hold, are changed and written anew, dumped, and hold
// the texts of reports.
#include <cstdio>
#include <filesystem>

#include "orbbase/support/err.h"
#include "orbbase/support/resource/records.h"
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
  EXPECT_EQ(file->arena.block_bytes(), 16848u);  // and 520 for a file of no types
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

// A file of one type, "TEXT", whose list begins behind the directory.
std::string one_type(uint32_t items, const std::string& list, uint32_t list_at = 24) {
  return word(1) + word(1) + word(12) + "TEXT" + word(items) + word(list_at) + list;
}

TEST_F(ResourceFiles, with_claims_that_cannot_be_fail_with_the_reason) {
  const std::string entry = half(1) + "n" + word(12) + word(0);  // 11 bytes
  const std::string two_types = word(1) + word(2) + word(12) + "TEXT";
  const char* const beyond = "its directory goes beyond its end";
  const char* const nowhere = "a list lies where it cannot be";
  const char* const overrun = "a list runs into what lies behind it";
  const struct {
    const char* reason;
    std::string bytes;
  } rows[] = {
      {beyond, word(1) + word(0xFFFFFFFF) + word(12)},
      {beyond, word(1) + word(0) + word(13)},
      {"its directory lies over its header", word(1) + word(1) + word(11) + std::string(12, 'x')},
      {"a type has no code", word(1) + word(1) + word(12) + word(0) + word(0) + word(12)},
      {nowhere, one_type(1, "", 0)},
      {nowhere, one_type(1, "", 23)},
      {nowhere, one_type(1, "", 25)},
      {overrun, one_type(0xFFFFFFFF, entry)},  // into the file's end
      {overrun, two_types + word(0x100000) + word(36) + "ERRO" + word(1) + word(0xFFFFFFFF) + entry},
      {overrun, word(1) + word(1) + word(23) + entry + "TEXT" + word(2) + word(12)},  // into the directory
      {overrun,
       two_types + word(1) + word(36) + "ERRO" + word(1) + word(36) + entry},  // which two types share
      {overrun,
       one_type(2, half(9) + std::string(20, 'n'))},  // the second entry, because of the first's name
      {"a name runs into what lies behind it", one_type(1, half(65535) + std::string(65534 + 8, 'n'))},
      {"a name has a zero byte", one_type(1, half(1) + word(0) + word(0) + word(0))},
  };
  for (const auto& row : rows) {
    recorder.clear();
    EXPECT_EQ(open_bytes(row.bytes), nullptr) << row.reason;
    EXPECT_EQ(recorder.texts(), std::string("r: This is not a whole resource file; ") + row.reason);
    EXPECT_EQ(orb__err, ORB_E_FORMAT);
  }
}

TEST_F(ResourceFiles, load_no_bytes_that_the_file_does_not_have) {
  const struct { uint32_t offset, bytes; } rows[] = {{0xFFFFFFFF, 1}, {100, 0xFFFFFF}, {36, 1}, {35, 2}};
  for (const auto& row : rows) {
    recorder.clear();
    const std::string bytes = one_type(1, half(2) + "no" + word(row.offset) + word(row.bytes));
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

TEST_F(ResourceFiles, whose_items_share_their_bytes_load_no_more_than_the_file_has) {
  std::string list;
  for (char name = 'a'; name < 'd'; ++name) list += half(1) + name + word(0) + word(50);
  ORB_RSRC_FILE* file = open_bytes(one_type(3, list + std::string(43, 'x')));  // 100 bytes
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

// ---- Changed and written anew

constexpr uint32_t kNew = 0x4E455720;  // "NEW "
const std::vector<TypeOfItems> kThreeTypes = {{kText, {{"b", "22"}, {"d", "4444"}}},
                                              {kError, {{"gone", "text"}}},
                                              {kNew - 1, {{"flag", "F", 1U << 24}}}};

bool add(ORB_RSRC_FILE* file, uint32_t code, const std::string& name, const std::string& data) {
  return orb__rsrc_add(file, code, name.c_str(), data.data(), data.size()) != 0;
}

TEST_F(ResourceFiles, are_saved_in_order_without_what_was_deleted_and_cut_at_their_end) {
  ORB_RSRC_FILE* file = open_bytes(resource_bytes(kThreeTypes) + std::string(100, 'z'));
  ASSERT_NE(file, nullptr);
  EXPECT_TRUE(add(file, kText, "c", "333") && add(file, kNew, "second", "S") && add(file, kText, "a", ""));
  EXPECT_TRUE(add(file, kNew, "first", "F1"));
  EXPECT_EQ(orb__rsrc_delete(file, kError, "gone"), 1);
  EXPECT_EQ(orb__rsrc_delete(file, kError, "gone"), 0);
  EXPECT_EQ(orb__rsrc_delete(file, kText, "d"), 1);
  EXPECT_TRUE(add(file, kText, "d", "new"));
  EXPECT_NE(orb__rsrc_load(file, kText, "c", nullptr), nullptr);
  EXPECT_EQ(loaded(file, kText, "d") + loaded(file, kText, "c") + loaded(file, kText, "a"), "new333");
  const std::string expected = resource_bytes({{kText, {{"a", ""}, {"b", "22"}, {"c", "333"}, {"d", "new"}}},
                                               {kNew, {{"first", "F1"}, {"second", "S"}}}});
  EXPECT_EQ(orb__rsrc_save(file), 1) << recorder.texts();
  EXPECT_EQ(file_bytes("r"), expected);
  EXPECT_EQ(orb__rsrc_close("r", 1), 1);  // again, from memory
  EXPECT_EQ(file_bytes("r"), expected);
  file = orb__rsrc_open("r");
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(orb__rsrc_delete(file, kText, "a") + orb__rsrc_delete(file, kText, "d"), 2);
  EXPECT_EQ(orb__rsrc_close("r", 0), 1);  // not asked to save
  EXPECT_EQ(file_bytes("r"), expected);
  EXPECT_EQ(recorder.texts(), "");
}

TEST_F(ResourceFiles, take_items_up_to_the_largest_and_refuse_what_is_beyond) {
  ORB_RSRC_FILE* file = open_bytes(resource_bytes(kThreeTypes));
  ASSERT_NE(file, nullptr);
  const std::string data(0xFFFFFF, 'd');
  const std::string name(0xFFFF, 'n');
  const struct {
    uint32_t code;
    std::string name, data;
  } refused[] = {{kText, "n", data + "d"}, {kText, name + "n", ""}, {0, "n", ""}, {kText, "b", ""}};
  for (const auto& row : refused) {
    recorder.clear();
    EXPECT_FALSE(add(file, row.code, row.name, row.data)) << row.name.size();
    EXPECT_EQ(recorder.reports.size(), 1u);
    EXPECT_EQ(orb__err, ORB_E_HANDLE);
  }
  EXPECT_TRUE(add(file, kText, name, data));
  EXPECT_FALSE(add(file, kText, name, data));  // there already, though not yet saved
  EXPECT_EQ(orb__rsrc_close("r", 1), 1);
  file = orb__rsrc_open("r");
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(loaded(file, kText, name.c_str()), data);
  EXPECT_EQ(loaded(file, kText, "d"), "4444");
}

// ---- Shown

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
  char none[32];
  std::snprintf(none, sizeof(none), "%p", static_cast<void*>(nullptr));  // as the system prints it
  const auto resource = [&](const std::string& name, int offset, int bytes) {
    return "\t\tRESOURCE\n\t\t\tname           : " + name +
           "\n\t\t\toffset         : " + std::to_string(offset) + "\n\t\t\tdata           : " + none +
           "\n\t\t\tsize           : " + std::to_string(bytes) + "\n";
  };
  EXPECT_EQ(
      dump,
      "Resource file\n\tFile spec      : r\n\tFile name      : r\n\tversion        : 7\toffset         : "
      "335\n\tupdate         : 1\tNumber of types: 1\n"
      "\tTYPE\n\t\tcode           : TEXT\n\t\tstatus         : 0\n\t\tnResources     : 2\n"
      "\t\tnResources(q)  : 0\n\t\toffset         : 14\n" +
          resource("(DELETED)", 12, 2) + resource(long_name, 14, 0));

  ORB_RSRC_ITEM item = {};
  EXPECT_EQ(orb__rsrc_find(file, kText, "none", &item), 0);
  EXPECT_EQ(orb__rsrc_find(file, kText, long_name.c_str(), nullptr), 1);
  EXPECT_EQ(orb__rsrc_find(file, kText, long_name.c_str(), &item), 1);
  EXPECT_EQ(item.offset, 14u);

  ASSERT_TRUE(orb__rsrc_add(file, kError, "new", "xyz", 3) && orb__rsrc_add(file, kText, "b", "", 0));
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

TEST_F(ResourceFiles, hold_the_texts_of_reports_which_take_no_arguments_that_were_not_given) {
  put_file("first",
           resource_bytes({{kError, {{"disk", "%s: %d%% of %f%c"}, {"long", std::string(300, 'x')}}}}));
  put_file("second", resource_bytes({{kError,
                                      {{"disk", "other"},
                                       {"none", "second"},
                                       {"few", "%d%s"},
                                       {"kind", "%s"},
                                       {"fine", "%%s %x%c %d"}}}}));
  ASSERT_TRUE(orb__rsrc_open("first") && orb__rsrc_open("second"));
  ERR_mask(nullptr);  // on purpose without effect
  ERR_dcl_handler(nullptr, hear, &recorder);
  EXPECT_EQ(orb__rsrc_report("disk", "sdf", "sda", 7, 0.5), 1);
  EXPECT_EQ(heard, "disk,3,sda: 7% of 0.500000");
  EXPECT_EQ(orb__rsrc_report("none", ""), 1);
  EXPECT_EQ(heard, "none,3,second");
  EXPECT_EQ(orb__rsrc_report("long", "d", 1), 1);
  EXPECT_EQ(heard, "long,3," + std::string(252, 'x') + "...");
  EXPECT_EQ(orb__rsrc_report("fine", "d", 1), 1);
  EXPECT_EQ(heard, "fine,3,%s %x 1");
  heard.clear();
  EXPECT_EQ(orb__rsrc_report("absent", ""), 0);
  EXPECT_EQ(heard, "");
  ERR_unmask(nullptr);
  ERR_can_handler(nullptr);
  EXPECT_EQ(orb__rsrc_report("few", "d", 1), 0);
  EXPECT_EQ(orb__rsrc_report("kind", "d", 1), 0);
  EXPECT_EQ(orb__err, ORB_E_FORMAT);
  EXPECT_EQ(recorder.reports.size(), 2u);
  EXPECT_EQ(ERR_stats(ERR_ERROR), 2u);
}

}  // namespace
}  // namespace orb::testing
