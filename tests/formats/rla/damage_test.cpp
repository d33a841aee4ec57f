#include "orbbase/formats/rla.h"
#include "orbbase/formats/rla/sample_coders.h"
#include "tests/core/limits_kept.h"
#include "tests/core/picture.h"
#include "tests/formats/rla/rla_test.h"
#include "tests/support/fail_allocation.h"

namespace orb::testing {
namespace {

constexpr const char* kNotRla = "bytes.rla: This does not appear to be a Brightmoor file";

// 0 when every row of every image reads, else the first code that is not.
int32_t read_all(ORB_IMAGE& image) {
  for (int32_t k = 0; k < image.info.image_count; ++k) {
    const ORB_WINDOW& window = image.info.images[k].window;
    for (int32_t line = window.bottom; line <= window.top; ++line) {
      void** rows = nullptr;
      const int32_t code = read_row_of(image, static_cast<size_t>(k), line, &rows);
      if (code != 0) return code;
    }
  }
  return 0;
}

int32_t open_and_read(const Bytes& bytes) {
  const Image image = open_bytes(bytes);
  return image ? read_all(*image) : orb__err;
}

bool is_rla(const Bytes& bytes) {
  put_file("is.bin", bytes);
  std::FILE* stream = std::fopen("is.bin", "rb");
  std::fseek(stream, 5, SEEK_SET);
  const bool by_stream = ORB_rla_is_file("elsewhere", stream) == 1;
  std::fclose(stream);
  EXPECT_EQ(ORB_rla_is_file("is.bin", nullptr), by_stream ? 1 : 0);
  return by_stream;
}

TEST_F(Rla, no_cut_of_a_file_reads_as_a_whole_one) {
  const Bytes file = RlaFile().window(2, 2).color(1, 0, 16).aux(1, 4, 32).next().window(1, 1).bytes();
  ASSERT_EQ(open_and_read(file), 0);
  for (size_t kept = 0; kept < file.size(); ++kept) {
    ReportRecorder recorder;
    const int32_t code = open_and_read(cut_at(file, kept));
    EXPECT_TRUE(code == -8 || code == -18) << kept << ": " << code;
    EXPECT_EQ(recorder.reports.size(), 1U) << kept;
    if (kept < 2 || (kept > 737 && kept < 743)) {
      EXPECT_EQ(is_rla(cut_at(file, kept)), kept >= 740) << kept;
    }
  }
}

TEST_F(Rla, a_damaged_header_is_refused_by_the_open_and_where_it_matters_by_the_test) {
  const struct {
    const char* what;
    size_t offset;
    int value;
    int32_t code;
    bool is_file;
  } rows[] = {{"window left", 0, -1, -8, false},
              {"window reversed", 2, 0, -8, false},
              {"window bottom", 4, -1, -8, false},
              {"window top", 6, 1, -8, false},
              {"active left of the window", 8, 0, -8, false},
              {"active right of the window", 10, 7, -8, false},
              {"active below", 12, 0, -8, false},
              {"active above", 14, 4, -8, false},
              {"active reversed", 8, 4, -8, false},
              {"active rows reversed", 12, 4, -8, false},
              {"4 colours", 20, 4, -8, false},
              {"negative colours", 20, -1, -8, false},
              {"negative mattes", 22, -1, -8, false},
              {"negative matte type", 660, -1, -8, false},
              {"negative colour type", 18, -2, -8, false},
              {"no aspect at all", 572, 0, -8, false},
              {"negative auxiliaries", 24, -1, -8, true},
              {"colour type", 18, 1, -16, true},
              {"colour width", 658, 33, -16, true},
              {"colour width of nothing", 658, 0, -16, true},
              {"negative colour width", 658, -8, -16, true},
              {"matte type", 660, 3, -16, true},
              {"matte width", 662, 64, -16, true},
              {"auxiliary type", 664, -1, -16, true},
              {"auxiliary width", 666, 33, -16, true}};
  RlaFile good;
  good.window(7, 4).int16(0, 1).int16(4, 1).active(1, 3, 1, 3).matte(1, 0, 8).aux(1, 0, 8);
  ASSERT_EQ(open_and_read(good.bytes()), 0);
  for (const auto& row : rows) {
    ReportRecorder recorder;
    const Bytes damaged = with_bytes(good.bytes(), row.offset,
                                     {static_cast<uint8_t>(row.value >> 8), static_cast<uint8_t>(row.value)});
    EXPECT_EQ(open_and_read(damaged), row.code) << row.what;
    EXPECT_EQ(is_rla(damaged), row.is_file) << row.what;
    EXPECT_EQ(recorder.texts() == kNotRla, row.code == -8) << row.what;
    EXPECT_EQ(recorder.reports.size(), 1U) << row.what;
  }
  EXPECT_EQ(open_and_read(RlaFile().aux(0, 3, 8).bytes()), -16) << "the type of no channels";
}

TEST_F(Rla, a_chain_of_images_must_end_within_file_and_limit) {
  RlaFile file;
  file.next().next();
  const Bytes good = file.bytes();
  const auto second = static_cast<uint32_t>(file.position_of(1));
  const auto third = static_cast<uint32_t>(file.position_of(2));
  const struct {
    const char* what;
    size_t of;
    uint32_t next;
  } rows[] = {{"itself", third, third},
              {"an earlier one", third, second},
              {"the end", third, static_cast<uint32_t>(good.size())},
              {"4 GB", second, UINT32_MAX},
              {"into the header before", third, third + 4}};
  for (const auto& row : rows) {
    ReportRecorder recorder;
    EXPECT_FALSE(open_bytes(with_bytes(good, row.of + 736, word(row.next)))) << row.what;
    EXPECT_EQ(orb__err, -8) << row.what;
    EXPECT_EQ(recorder.texts(), kNotRla) << row.what;
  }
  ReportRecorder recorder;
  const uint64_t before = ORB_limit(ORB_LIMIT_IMAGES, 2);
  EXPECT_FALSE(open_bytes(good));
  EXPECT_EQ(orb__err, -10);
  ORB_limit(ORB_LIMIT_IMAGES, before);
}

// Of three rows the second one fails, or with a cut file the third too.
struct DamagedRow {
  const char* what;
  Bytes file;
  int32_t second_code;
  int32_t third_code = 0;
};

void expect_damage(const DamagedRow& row, int32_t channels) {
  SCOPED_TRACE(row.what);
  ReportRecorder recorder;
  const Image image = open_bytes(row.file);
  ASSERT_TRUE(image);
  void** cells = nullptr;
  EXPECT_EQ(ORB_scan_read(image.get(), 0, &cells), 0);
  EXPECT_EQ(ORB_scan_read(image.get(), 1, &cells), row.second_code);
  EXPECT_EQ(recorder.reports.size(), row.second_code == 0 ? 0U : 1U) << recorder.texts();
  EXPECT_EQ(recorder.texts().ends_with("the file is cut short"), row.second_code == -18) << recorder.texts();
  EXPECT_EQ(ORB_scan_read(image.get(), 2, &cells), row.third_code);
  EXPECT_EQ(ORB_scan_read(image.get(), 0, &cells), 0);
  for (int i = 0; i < channels; ++i) {
    EXPECT_EQ(static_cast<uint8_t*>(cells[i])[1], RlaFile::ramp(0, i, 0, channels > 1 ? 0 : 1, channels > 1))
        << i;
  }
}

TEST_F(Rla, a_damaged_row_fails_alone) {
  const Bytes bytes = RlaFile().window(3, 3).color(1, 0, 8).bytes();
  const size_t row_of_bytes = 740 + 12 + 8;  // the second
  const size_t second_offset = 740 + 4;
  const DamagedRow rows[] = {
      {"offset 0", with_bytes(bytes, second_offset, word(0)), -7},
      {"offset in the header", with_bytes(bytes, second_offset, word(739)), -7},
      {"offset past the end", with_bytes(bytes, second_offset, word(100000)), -18},
      {"offset of 4 GB", with_bytes(bytes, second_offset, word(UINT32_MAX)), -18},
      {"an empty block", with_bytes(bytes, row_of_bytes, {0, 0}), -7},
      {"a short block", with_bytes(bytes, row_of_bytes, {0, 5}), -7},
      {"a long block", with_bytes(bytes, row_of_bytes + 4, {0xFE, 9, 9}), -7},
      {"a block above the work buffer", with_bytes(bytes, row_of_bytes, {0, 7}), -7},
      {"a run past the row", with_bytes(bytes, row_of_bytes + 2, {3, 1, 0, 1, 0, 1}), -7},
      {"bytes left over", with_bytes(bytes, row_of_bytes + 2, {2, 1, 0, 0, 0, 0}), -7}};
  for (const DamagedRow& row : rows) expect_damage(row, 1);
  const Bytes words = RlaFile().window(3, 3).color(1, 0, 32).bytes();
  expect_damage({"wide samples may have bytes left over", with_bytes(words, 740 + 12 + 26 + 2, {2, 1}), 0},
                0);
  const Bytes floats = RlaFile().window(3, 3).color(1, 4, 8).bytes();
  for (const uint8_t count : {uint8_t{11}, uint8_t{13}}) {
    expect_damage({"a row of floats of another size", with_bytes(floats, 740 + 12 + 14, {0, count}), -7}, 0);
    const uint8_t block[13] = {};
    uint8_t samples[12];
    const rla::SampleCoder* const coder = rla::sample_coder({nullptr, 1, ORB_C_FLOAT, 32});
    EXPECT_FALSE(coder->decode({block, count}, samples, 3, {})) << count;
    EXPECT_TRUE(coder->decode({block, 12}, samples, 3, {}));
  }
}

TEST_F(Rla, a_long_line_of_floats_fails_as_a_short_one_does) {
  const Bytes good = RlaFile().window(600, 3).color(3, 4, 32).aux(17, 4, 32).bytes();
  const size_t block_bytes = 2 + 4 * 600;
  const size_t second = 740 + 4 * 3 + 20 * block_bytes;
  const size_t late = second + 16 * block_bytes;  // the count of a late channel
  const DamagedRow rows[] = {
      {"a wrong count", with_bytes(good, second, {9, 0x61}), -7},
      {"a wrong count later", with_bytes(good, late, {9, 0x5F}), -7},
      {"an offset past the end", with_bytes(good, 740 + 4, word(UINT32_MAX)), -18},
      {"a cut in the samples", cut_at(good, late + 100), -18, -18},
      {"a cut in a count", cut_at(good, late + 1), -18, -18},
      {"a wrong count before a cut", cut_at(with_bytes(good, second, {0, 0}), late), -7, -18},
      {"a wrong count behind a cut", cut_at(with_bytes(good, late, {0, 0}), late - 1), -18, -18}};
  for (const DamagedRow& row : rows) expect_damage(row, 20);
}

TEST_F(Rla, a_short_file_cannot_ask_for_much_memory) {
  // 30,000 channels of 32,768 doubles, in a file of a header and an offset.
  Bytes file = RlaFile().window(1, 1).bytes();
  for (const size_t right : {2, 10}) file = with_bytes(file, right, {0x7F, 0xFF});
  file = cut_at(with_bytes(with_bytes(file, 22, {0x75, 0x30}), 660, {0, 5}), 744);
  ReportRecorder recorder;
  EXPECT_FALSE(open_bytes(file));
  EXPECT_EQ(orb__err, -8);
  // A table that ends behind the file.
  EXPECT_FALSE(open_bytes(cut_at(RlaFile().window(1, 32768).bytes(), 740 + 4 * 32768 - 1)));
  EXPECT_EQ(orb__err, -8);
  // Rows of up to 32768 bytes are taken on trust.
  for (const int left : {16384, 16383}) {
    const Bytes row = RlaFile().window(32768, 1).int16(0, left).int16(8, left).color(2, 0, 8).bytes();
    EXPECT_EQ(open_bytes(cut_at(row, 744)) != nullptr, left == 16384);
  }
}

TEST_F(Rla, survives_the_failure_of_any_allocation) {
  Picture picture("memory.rla");  // of rows that are more than what is read at a time at first
  picture.window({0, 5999, 0, 1}).images(2).group(&ORB_IFD::matte, 1, ORB_C_INTEGER, 12);
  for (const bool is_writing : {true, false}) {
    ASSERT_EQ(write_whole(picture), 0);
    for (int64_t nth = 1;; ++nth) {
      const ReportRecorder recorder;
      const FailAllocation fail(nth);
      const Image image(picture.open(is_writing ? "w" : "r"));
      const int32_t code = !image ? orb__err : is_writing ? 0 : read_all(*image);
      if (!fail.happened()) {
        EXPECT_EQ(code, 0);
        break;
      }
      EXPECT_TRUE(code == -10 || code == -5 || (code == 0 && is_writing)) << nth << ": " << code;
      EXPECT_FALSE(recorder.reports.empty()) << nth;
    }
  }
}

TEST_F(Rla, keeps_to_every_limit) {
  Picture picture("limits.rla", "rla");
  picture.window({0, 299, 0, 4}).group(&ORB_IFD::index, 0, ORB_C_INTEGER, 8);
  for (const uint32_t type : {ORB_C_INTEGER, ORB_C_FLOAT}) {
    expect_limits_kept(picture.group(&ORB_IFD::color, 3, type, 32), 2000000);
  }
}

}  // namespace
}  // namespace orb::testing
