// Resource files that are changed and written anew.
#include "orbbase/support/err.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/resource/resource_file.h"

namespace orb::testing {
namespace {

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

// Whatever fails is reported as such, and as long as nothing was written the file is the old one.
TEST_F(ResourceFiles, survive_the_failure_of_any_allocation) {
  const std::string before = resource_bytes({{kText, {{"b", std::string(20000, 'b')}, {"d", "4"}}}});
  for (int nth = 1;; ++nth) {
    put_file("dir-r", before);
    orb__err = 0;
    FailAllocation fail(nth);
    const bool is_started = orb__rsrc_init(nullptr, nullptr) && orb__rsrc_search("dir-");
    ORB_RSRC_FILE* file = is_started ? orb__rsrc_open("r") : nullptr;
    const bool is_changed = file && orb__rsrc_load(file, kText, "b", nullptr) &&
                            add(file, kText, "c", "333") && add(file, kNew, "n", std::string(20000, 'n')) &&
                            orb__rsrc_delete(file, kText, "b");
    const bool is_saved = orb__rsrc_close("r", is_changed) && is_changed;
    if (!fail.happened()) {
      EXPECT_TRUE(is_started && is_saved);
      EXPECT_GT(nth, 8);
      break;
    }
    // Some run-time libraries take memory for a stream through the same door, and do without it.
    const bool is_whole = is_started && is_saved;
    EXPECT_EQ(orb__err, is_whole ? ORB_OK : ORB_E_MEMORY) << nth;
    EXPECT_EQ(recorder.texts(), is_whole ? "" : "No more internal memory") << nth;
    EXPECT_TRUE(is_saved || file_bytes("dir-r") == before) << nth;
    recorder.clear();
  }
}

}  // namespace
}  // namespace orb::testing
