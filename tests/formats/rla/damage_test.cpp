#include "orbbase/formats/rla.h"
#include "orbbase/formats/rla/sample_coders.h"
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
    if (row.code == -8) {
      EXPECT_EQ(recorder.texts(), kNotRla) << row.what;
    }
    EXPECT_EQ(recorder.reports.size(), 1U) << row.what;
  }
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

TEST_F(Rla, a_damaged_row_fails_alone) {
  RlaFile of_bytes;
  of_bytes.window(3, 3).color(1, 0, 8);
  const size_t row_of_bytes = 740 + 12 + 8;  // the second
  RlaFile of_words;
  of_words.window(3, 3).color(1, 0, 32);
  RlaFile of_floats;
  of_floats.window(3, 3).color(1, 4, 8);
  const size_t row_of_floats = 740 + 12 + 14;
  const size_t second_offset = 740 + 4;
  const struct {
    const char* what;
    Bytes file;
    size_t offset;
    Bytes bytes;
    int32_t code;
  } rows[] = {{"offset 0", of_bytes.bytes(), second_offset, word(0), -7},
              {"offset in the header", of_bytes.bytes(), second_offset, word(739), -7},
              {"offset past the end", of_bytes.bytes(), second_offset, word(100000), -18},
              {"offset of 4 GB", of_bytes.bytes(), second_offset, word(UINT32_MAX), -18},
              {"an empty block", of_bytes.bytes(), row_of_bytes, {0, 0}, -7},
              {"a short block", of_bytes.bytes(), row_of_bytes, {0, 5}, -7},
              {"a long block", of_bytes.bytes(), row_of_bytes + 4, {0xFE, 9, 9}, -7},
              {"a block above the work buffer", of_bytes.bytes(), row_of_bytes, {0, 7}, -7},
              {"a run past the row", of_bytes.bytes(), row_of_bytes + 2, {3, 1, 0, 1, 0, 1}, -7},
              {"bytes left over", of_bytes.bytes(), row_of_bytes + 2, {2, 1, 0, 0, 0, 0}, -7},
              {"a short row of floats", of_floats.bytes(), row_of_floats, {0, 11}, -7},
              {"a long row of floats", of_floats.bytes(), row_of_floats, {0, 13}, -7},
              {"wide samples may have bytes left over", of_words.bytes(), 740 + 12 + 26 + 2, {2, 1}, 0}};
  for (const auto& row : rows) {
    ReportRecorder recorder;
    const Image image = open_bytes(with_bytes(row.file, row.offset, row.bytes));
    ASSERT_TRUE(image) << row.what;
    void** cells = nullptr;
    EXPECT_EQ(ORB_scan_read(image.get(), 0, &cells), 0) << row.what;
    EXPECT_EQ(ORB_scan_read(image.get(), 1, &cells), row.code) << row.what;
    EXPECT_EQ(recorder.reports.size(), row.code == 0 ? 0U : 1U) << row.what << recorder.texts();
    if (row.code == -18) {
      EXPECT_TRUE(recorder.texts().ends_with("the file is cut short")) << recorder.texts();
    }
    EXPECT_EQ(ORB_scan_read(image.get(), 2, &cells), 0) << row.what;
    EXPECT_EQ(ORB_scan_read(image.get(), 0, &cells), 0) << row.what;
  }
}

TEST_F(Rla, a_block_of_plain_samples_has_their_size) {
  const orb::rla::SampleCoder* const coder = orb::rla::sample_coder({nullptr, 1, ORB_C_FLOAT, 32});
  ASSERT_NE(coder, nullptr);
  const uint8_t block[13] = {};
  uint8_t samples[12];
  for (const size_t bytes : {11U, 12U, 13U}) {
    EXPECT_EQ(coder->decode({block, bytes}, samples, 3, {}), bytes == 12) << bytes;
  }
}

TEST_F(Rla, a_long_line_of_floats_fails_as_a_short_one_does) {
  const Bytes good = RlaFile().window(600, 3).color(3, 4, 32).aux(17, 4, 32).bytes();
  const size_t block_bytes = 2 + 4 * 600;
  const size_t second = 740 + 4 * 3 + 20 * block_bytes;
  const size_t late = second + 16 * block_bytes;  // the count of a late channel
  const struct {
    const char* what;
    Bytes file;
    int32_t second_code;
    int32_t third_code;
  } rows[] = {{"a wrong count", with_bytes(good, second, {9, 0x61}), -7, 0},
              {"a wrong count later", with_bytes(good, late, {9, 0x5F}), -7, 0},
              {"an offset past the end", with_bytes(good, 740 + 4, word(UINT32_MAX)), -18, 0},
              {"a cut in the samples", cut_at(good, late + 100), -18, -18},
              {"a cut in a count", cut_at(good, late + 1), -18, -18},
              {"a wrong count before a cut", cut_at(with_bytes(good, second, {0, 0}), late), -7, -18},
              {"a wrong count behind a cut", cut_at(with_bytes(good, late, {0, 0}), late - 1), -18, -18}};
  for (const auto& row : rows) {
    ReportRecorder recorder;
    const Image image = open_bytes(row.file);
    ASSERT_TRUE(image) << row.what;
    void** cells = nullptr;
    EXPECT_EQ(ORB_scan_read(image.get(), 0, &cells), 0) << row.what;
    EXPECT_EQ(ORB_scan_read(image.get(), 1, &cells), row.second_code) << row.what;
    EXPECT_EQ(recorder.reports.size(), 1U) << row.what << recorder.texts();
    EXPECT_EQ(ORB_scan_read(image.get(), 2, &cells), row.third_code) << row.what;
    EXPECT_EQ(ORB_scan_read(image.get(), 0, &cells), 0) << row.what;
    EXPECT_EQ(static_cast<uint8_t*>(cells[19])[1], RlaFile::ramp(0, 19, 0, 0, 1)) << row.what;
  }
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
}

// Wherever the limit bites, once; with room enough all is well.
TEST_F(Rla, keeps_to_every_limit) {
  for (const uint32_t type : {ORB_C_INTEGER, ORB_C_FLOAT}) {
    Picture picture("limits.rla", "rla");
    picture.window({0, 299, 0, 4}).group(&ORB_IFD::color, 3, type, 32);
    for (const bool is_writing : {false, true}) {
      for (const int32_t limit : {ORB_LIMIT_BUFFER, ORB_LIMIT_HANDLE}) {
        ASSERT_EQ(write_whole(picture), 0);
        for (uint64_t bytes = 64; bytes < 3000000; bytes += bytes / 4) {
          ReportRecorder recorder;
          const uint64_t before = ORB_limit(limit, bytes);
          int32_t code = 0;
          if (is_writing) {
            code = write_whole(picture);
          } else {
            const Image image = open_file("limits.rla");
            code = image ? read_all(*image) : orb__err;
          }
          ORB_limit(limit, before);
          EXPECT_TRUE(code == 0 || (code == -10 && bytes < 2000000)) << bytes << ": " << code;
          EXPECT_EQ(recorder.reports.size(), code == 0 ? 0U : 1U) << bytes << recorder.texts();
        }
      }
    }
  }
}

TEST_F(Rla, survives_the_failure_of_any_allocation_of_a_reader) {
  const Bytes file = RlaFile().color(1, 0, 16).text(548, "ntsc_640").next().next().bytes();
  put_file("memory.rla", file);
  for (int64_t nth = 1;; ++nth) {
    ReportRecorder recorder;
    FailAllocation fail(nth);
    const Image image = open_file("memory.rla");
    const int32_t code = image ? read_all(*image) : orb__err;
    if (!fail.happened()) {
      EXPECT_EQ(code, 0);
      break;
    }
    ASSERT_TRUE(code == -10 || (code == -5 && !image)) << nth << ": " << code;  // the C library's stream: -5
    EXPECT_NE(recorder.reports.size(), 0U) << nth;
    if (image) {
      EXPECT_EQ(read_all(*image), 0) << "there is memory again";
    }
  }
}

}  // namespace
}  // namespace orb::testing
