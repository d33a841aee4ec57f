// Suppressing reports.
#include "tests/support/err/fresh_errors.h"
#include "tests/support/report_recorder.h"

namespace orb::testing {
namespace {

class Masks : public FreshErrors {
 protected:
  // Reports of one category through all three ways in. Returns how many were delivered.
  size_t deliveries(uint8_t category) {
    const ReportRecorder recorder;
    record.category = category;
    ERR_report_cat(orb__msg_cat, 902, 1, category, "text");
    ERR_printf(category, "text");
    ERR_report(&record);
    return recorder.reports.size();
  }
  ERR_RECORD record = record_of(ERR_ERROR, "name", "text");
};

TEST_F(Masks, keep_debug_silent_until_it_is_asked_for) {
  EXPECT_EQ(deliveries(ERR_DEBUG), 0u);
  EXPECT_EQ(ERR_stats(ERR_DEBUG), 1u);  // only the one through a record
  EXPECT_EQ(record.count, 1u);
  EXPECT_EQ(ERR_last(0), nullptr);
  EXPECT_EQ(ERR_unmask_s(ERR_DEBUG), 1);
  EXPECT_EQ(deliveries(ERR_DEBUG), 3u);
  EXPECT_EQ(ERR_stats(ERR_DEBUG), 4u);
}

TEST_F(Masks, of_all_reports_suppress_everything_but_the_count_of_records) {
  EXPECT_EQ(ERR_mask(nullptr), 0);
  EXPECT_EQ(ERR_mask(nullptr), 1);
  for (uint8_t category = 0; category < 5; ++category) EXPECT_EQ(deliveries(category), 0u);
  EXPECT_EQ(record.count, 5u);
  EXPECT_EQ(ERR_stats(-1), 5u);
  EXPECT_EQ(ERR_last(0), nullptr);
  EXPECT_EQ(ERR_unmask(nullptr), 1);
  EXPECT_EQ(ERR_unmask(nullptr), 0);
  EXPECT_EQ(deliveries(ERR_INFORMATION), 3u);
}

TEST_F(Masks, of_a_record_suppress_that_record_only) {
  record.flags = 6;  // the other bits are not the module's
  EXPECT_EQ(ERR_mask(&record), 0);
  EXPECT_EQ(ERR_mask(&record), 1);
  EXPECT_EQ(record.flags, 7u);
  EXPECT_EQ(deliveries(ERR_ERROR), 2u);
  EXPECT_EQ(record.count, 1u);
  int32_t masked = -1;
  ERR_query(&record, nullptr, &masked, nullptr, nullptr, nullptr, nullptr, nullptr);
  EXPECT_EQ(masked, 1);
  EXPECT_EQ(ERR_unmask(&record), 1);
  EXPECT_EQ(record.flags, 6u);
  EXPECT_EQ(deliveries(ERR_ERROR), 3u);
}

TEST_F(Masks, of_categories_are_apart_and_exist_for_the_five_only) {
  EXPECT_EQ(ERR_mask_s(ERR_FATAL), 0);
  EXPECT_EQ(ERR_mask_s(ERR_FATAL), 1);
  EXPECT_EQ(deliveries(ERR_FATAL), 0u);
  EXPECT_EQ(deliveries(ERR_ERROR), 3u);
  EXPECT_EQ(ERR_unmask_s(ERR_FATAL), 1);
  EXPECT_EQ(ERR_unmask_s(ERR_FATAL), 0);
  for (const uint32_t category : {5u, 256u, UINT32_MAX}) {
    EXPECT_EQ(ERR_mask_s(category), 0);
    EXPECT_EQ(ERR_mask_s(category), 0);
    EXPECT_EQ(ERR_unmask_s(category), 0);
  }
  EXPECT_EQ(deliveries(ERR_ERROR), 3u);
}

}  // namespace
}  // namespace orb::testing
