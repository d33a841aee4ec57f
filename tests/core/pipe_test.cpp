#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <random>
#include <thread>

#include "orbbase/core/drivers/drivers.h"
#include "tests/core/picture.h"
#include "tests/core/scratch_file.h"
#include "tests/core/whole_description.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/image_owner.h"
#include "tests/support/report_recorder.h"

namespace orb::testing {
namespace {

class Pipe : public ::testing::Test {
 protected:
  void TearDown() override {
    ORB_limit(ORB_LIMIT_BUFFER, uint64_t{1} << 30);
    ORB_limit(ORB_LIMIT_HANDLE, uint64_t{2} << 30);
    ORB_exit();
  }
};

ORB_IMAGE* open(const Picture& picture, const char* mode) {
  ORB_INFO info = picture.info();
  return ORB_open(&info, mode);
}

// Opens a stream and reads it to its end, whatever it holds. The first code that is not 0, and 0 for a whole
// image.
int32_t read_all(const Picture& picture) {
  ORB_IMAGE* handle = open(picture, "r");
  if (!handle) return orb__err;
  const ORB_IFD ifd = handle->info.images[0];
  int32_t code = 0;
  // The window is the stream's, and may be damaged too: only as many lines as the test can have meant.
  for (int64_t i = 0; i <= int64_t{ifd.window.top} - ifd.window.bottom && i < 1000 && code == 0; ++i) {
    const int64_t line = ifd.orientation & ORB_BOTTOM_UP ? ifd.window.bottom + i : ifd.window.top - i;
    void** rows = nullptr;
    code = ORB_scan_read(handle, static_cast<int32_t>(line), &rows);
  }
  ORB_close(handle);
  return code;
}

// Bytes put together by hand.
struct ByteString {
  Bytes bytes;
  std::map<std::string, size_t> places;  // of what is called by name below
  ByteString& here(const char* name) {
    places[name] = bytes.size();
    return *this;
  }
  ByteString& text(const char* s) {
    for (; *s; ++s) bytes.push_back(static_cast<unsigned char>(*s));
    return *this;
  }
  ByteString& words(std::initializer_list<uint32_t> values) {
    for (uint32_t value : values) {
      for (int shift = 0; shift < 32; shift += 8) bytes.push_back(static_cast<unsigned char>(value >> shift));
    }
    return *this;
  }
  ByteString& real(float value) {
    uint32_t bits;
    std::memcpy(&bits, &value, 4);
    return words({bits});
  }
};

constexpr uint32_t kNone = UINT32_MAX;
constexpr size_t kHeaderBytesAt = 12;
constexpr size_t kHeaderAt = 16;

// A stream of one line of two 16-bit samples under a description with few texts, byte by byte as the layout
// is documented.
ByteString header_by_hand() {
  ByteString header;
  header.here("text").words({kNone, 3}).text("sea").words({kNone, 4}).text("host");
  header.words({0, 3}).text("{9}").words({kNone, kNone, kNone});
  header.words({5, 6, 7});  // job, frame, field
  for (float value : {0.5f, 0.25f, 0.25f, 1.f, 0.f, 0.f, 0.f, 1.f, 0.f, 0.f, 0.f, 1.f}) header.real(value);
  header.words({1}).real(25.0f).words(
      {0, 0, 0, 0, 0, 2, 0});                     // field mode, rate, words, int_d, word_e, word_f
  header.words({1, kNone, 640, 480}).real(1.0f);  // kind, name, picture size, aspect
  header.here("window").words({10, 13, kNone, 0}).here("active").words({11, 12, 0, 0});
  header.words({1, 0});  // aspect kind, orientation
  header.words({kNone}).here("colour").words({0, 1, 8});
  header.words({5}).text("cover").here("matte").words({1, 1, 16});
  header.words({kNone, 0, 1, 8, kNone}).here("index").words({0, 1, 16});
  header.here("curve kind").words({1}).real(1.0f).words({0, 0});
  header.here("curve tables").words({1}).here("curve entries").words({256, 1, 8});
  header.here("lookup table").words({0});
  return header;
}

Bytes stream_by_hand() {
  const ByteString header = header_by_hand();
  ByteString stream;
  stream.text("ORBpipe\x1a").words({1, static_cast<uint32_t>(header.bytes.size())});
  for (unsigned char byte : header.bytes) stream.bytes.push_back(byte);
  stream.text("\x34\x12\x78\x56").text("ORBpend\x1a");
  return stream.bytes;
}

TEST_F(Pipe, reads_a_stream_put_together_by_hand) {
  const ScratchFile file(".pipe");
  file.write(stream_by_hand());
  ORB_IMAGE* handle = open(Picture(file.path()), "r");
  ASSERT_NE(handle, nullptr);
  EXPECT_STREQ(handle->info.text3, "sea");
  EXPECT_STREQ(handle->info.text5, "host");
  EXPECT_STREQ(handle->info.text6, "");
  EXPECT_EQ(handle->info.frame_number, 6);
  EXPECT_EQ(handle->info.chromaticity[11], 1.0f);
  EXPECT_EQ(handle->info.word_f, 2u << 0);
  EXPECT_STREQ(handle->info.images[0].matte.name, "cover");
  EXPECT_EQ(handle->info.images[0].window.right, 13);
  void** rows = nullptr;
  ASSERT_EQ(ORB_scan_read(handle, 0, &rows), 0);
  const uint16_t wanted[] = {0, 0x1234, 0x5678, 0};
  EXPECT_EQ(std::memcmp(rows[0], wanted, sizeof wanted), 0);
  ORB_close(handle);
}

TEST_F(Pipe, writes_the_very_stream_that_is_documented) {
  const ScratchFile file(".pipe");
  Picture picture(file.path());
  ORB_INFO info = picture.info();
  ORB_IFD& ifd = picture.ifds[0];
  const auto lent = [](const char* text) { return const_cast<char*>(text); };
  info.text3 = lent("sea");
  info.text5 = lent("host");
  info.text6 = lent("");
  info.text7 = lent("{9}");
  info.job_number = 5;
  info.frame_number = 6;
  info.field_value = 7;
  const float chromaticity[12] = {0.5f, 0.25f, 0.25f, 1, 0, 0, 0, 1, 0, 0, 0, 1};
  std::memcpy(info.chromaticity, chromaticity, sizeof chromaticity);
  info.frame_rate = 25;
  info.word_f = 2;
  ifd.pair_a[0] = 640;
  ifd.pair_a[1] = 480;
  ifd.curve.gamma = 1;
  ifd.aspect_kind = 1;
  ifd.orientation = 0;
  ifd.window = {10, 13, -1, 0};
  ifd.active_window = {11, 12, 0, 0};
  ifd.color.count = 0;
  ifd.matte = {lent("cover"), 1, ORB_C_INTEGER, 16};
  ORB_IMAGE* handle = ORB_open(&info, "w");
  ASSERT_NE(handle, nullptr);
  uint16_t row[] = {9, 0x1234, 0x5678, 9};
  void* rows[] = {row};
  EXPECT_EQ(ORB_scan_write(handle, 0, rows), 0);
  EXPECT_EQ(ORB_scan_write(handle, -1, rows), 0);
  EXPECT_EQ(ORB_close(handle), 0);
  EXPECT_EQ(file.read(), stream_by_hand());
}

TEST_F(Pipe, gives_back_samples_of_every_group_type_and_width_in_every_window) {
  const ScratchFile file(".pipe");
  int number = 0;
  for (const Picture& picture : every_kind_of_picture(file.path())) {
    SCOPED_TRACE(number++);
    ASSERT_EQ(write_whole(picture), 0);
    ASSERT_EQ(compare_whole(picture), "");
  }
}

TEST_F(Pipe, gives_back_lines_longer_than_its_buffers) {
  const ScratchFile file(".pipe");
  for (int32_t pixels : {65535, 65536, 65537, 200001}) {
    const Picture picture = Picture(file.path()).window({0, pixels - 1, 0, 3}).active({1, pixels - 1, 0, 2});
    ASSERT_EQ(write_whole(picture), 0);
    ASSERT_EQ(compare_whole(picture), "") << pixels;
  }
}

TEST_F(Pipe, gives_back_the_whole_description_with_curve_tables_and_lookup_table) {
  const ScratchFile file(".pipe");
  const Picture picture = Picture(file.path()).no_channels().group(&ORB_IFD::index, 1, ORB_C_INTEGER, 8);
  ASSERT_EQ(write_with_whole_description(picture), 0);
  expect_whole_description(picture);
}

TEST_F(Pipe, gives_back_a_description_of_any_length) {
  const Picture picture("long.pipe", "pipe");
  ORB_INFO info = picture.info();
  std::string text(300000, 't');
  info.text3 = text.data();
  std::string letter = "x";
  info.text5 = letter.data();
  Image writer(ORB_open(&info, "w"));
  ASSERT_NE(writer, nullptr);
  for (int32_t line = 0; line <= 4; ++line) ASSERT_EQ(write_line(writer.get(), picture, line), 0);
  writer.reset();
  const Image image(ORB_open(&info, "r"));
  ASSERT_NE(image, nullptr);
  EXPECT_EQ(image->info.text3, text);
  EXPECT_EQ(image->info.text5, letter);
}

TEST_F(Pipe, gives_back_float_and_byte_curve_tables) {
  const ScratchFile file(".pipe");
  for (const auto& [type, depth] : {std::pair{ORB_C_FLOAT, 0}, std::pair{ORB_C_INTEGER, 8}}) {
    Picture picture(file.path());
    ORB_RESPONSE_CURVE& curve = picture.ifds[0].curve;
    curve = {ORB_CURVE_TABLE, 0.5f, 0, 3, 33, type, depth, nullptr};
    ASSERT_EQ(ORB_response_curve_init(&curve), 0);
    ASSERT_EQ(write_whole(picture), 0);
    ORB_IMAGE* handle = open(picture, "r");
    ASSERT_NE(handle, nullptr);
    const size_t table_bytes = type == ORB_C_FLOAT ? 33 * 4 : 33;
    for (int c = 0; c < 3; ++c) {
      EXPECT_EQ(std::memcmp(handle->info.images[0].curve.tables[c], curve.tables[c], table_bytes), 0) << type;
    }
    ORB_close(handle);
    ORB_response_curve_done(&curve);
  }
}

TEST_F(Pipe, reads_no_cut_of_a_stream_as_a_whole_image) {
  const ScratchFile file(".pipe");
  const Bytes whole = stream_by_hand();
  for (size_t kept = 0; kept < whole.size(); ++kept) {
    file.write(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(kept)));
    ReportRecorder recorder;
    const int32_t code = read_all(Picture(file.path()));
    EXPECT_EQ(code, kept < whole.size() - 12 ? -8 : -18) << kept;
    EXPECT_EQ(recorder.reports.size(), 1u) << kept;
  }
  ReportRecorder recorder;
  file.write({});
  read_all(Picture(file.path()));
  file.write(Bytes(whole.begin(), whole.end() - 1));
  read_all(Picture(file.path()));
  EXPECT_EQ(recorder.texts(), file.path() +
                                  ": This does not appear to be a pipe file; it is empty\n"
                                  "Cannot read scanline 0; the stream is cut short");
}

TEST_F(Pipe, survives_any_single_damaged_byte) {
  const ScratchFile file(".pipe");
  const Picture picture = Picture(file.path()).no_channels().group(&ORB_IFD::index, 1, ORB_C_INTEGER, 8);
  ASSERT_EQ(write_with_whole_description(picture), 0);
  const Bytes long_stream = file.read();
  const Bytes short_stream = stream_by_hand();
  ORB_limit(ORB_LIMIT_BUFFER, 1 << 20);
  ReportRecorder recorder;
  const struct {
    const Bytes& whole;
    size_t from;  // the long stream begins like the other
    size_t to;    // and one entry of its tables is like the next
  } rows[] = {{short_stream, 0, short_stream.size()}, {long_stream, 240, 500}};
  for (const auto& row : rows) {
    for (size_t at = row.from; at < row.to; ++at) {
      for (int value : {0x00, 0x7f, 0xff}) {
        Bytes damaged = row.whole;
        damaged[at] = static_cast<unsigned char>(value);
        file.write(damaged);
        const int32_t code = read_all(picture);
        const bool is_guarded = at < kHeaderAt || at >= row.whole.size() - 8;
        if (is_guarded && damaged != row.whole) {
          EXPECT_NE(code, 0) << at << ' ' << value;
        }
        EXPECT_TRUE(code == 0 || code == -2 || code == -8 || code == -10 || code == -16 || code == -18)
            << at << ' ' << value << ": " << code;
      }
    }
  }
}

TEST_F(Pipe, survives_bytes_damaged_at_random) {
  const ScratchFile file(".pipe");
  const Bytes whole = stream_by_hand();
  ORB_limit(ORB_LIMIT_BUFFER, 1 << 20);
  ReportRecorder recorder;
  std::minstd_rand random(20);
  for (int round = 0; round < 500; ++round) {
    Bytes damaged = whole;
    for (size_t count = 1 + random() % 6; count > 0; --count) {
      damaged[kHeaderAt + random() % (whole.size() - kHeaderAt)] = static_cast<unsigned char>(random());
    }
    file.write(damaged);
    const int32_t code = read_all(Picture(file.path()));
    EXPECT_TRUE(code == 0 || code == -2 || code == -8 || code == -10 || code == -16 || code == -18)
        << round << ": " << code;
  }
}

// Overwrites a word of the header, so many words behind a place in it.
struct Lie {
  const char* place;
  size_t words_behind;
  uint32_t value;
};

TEST_F(Pipe, refuses_headers_that_lie_before_it_takes_memory_for_them) {
  const ScratchFile file(".pipe");
  const struct {
    std::vector<Lie> lies;
    int32_t code;
    const char* report;
  } rows[] = {
      {{{"text", 0, 0x7fffffff}}, -8, "its header is cut short"},
      {{{"text", 0, 8}}, -8, "a text in its header holds a zero byte"},
      {{{"window", 0, 14}}, -8, "its windows are damaged"},  // left of the right edge
      {{{"window", 0, 0x80000000}, {"window", 1, 0x7fffffff}},
       -8,
       "its windows are damaged"},  // 2^32 columns
      {{{"active", 0, 9}}, -8, "its windows are damaged"},
      {{{"active", 3, 1}}, -8, "its windows are damaged"},
      {{{"colour", 0, 0xffffffff}}, -8, "its channel counts are damaged"},
      {{{"colour", 0, 65536}}, -10, "channels in an image"},
      {{{"colour", 1, 9}}, -16, "pipe cannot handle image channel type"},
      {{{"colour", 2, 33}}, -16, "pipe cannot handle image channel width"},
      {{{"matte", 0, 60000}, {"window", 1, 0x7ffffffe}}, -10, "a single buffer"},
      {{{"matte", 0, 0xffffff00}}, -8, "its channel counts are damaged"},
      {{{"index", 0, 0x7fffffff}}, -10, "channels in an image"},
      {{{"curve kind", 0, 3}}, -8, "its response curve is damaged"},
      {{{"curve kind", 0, 2}}, -8, "its header is cut short"},
      {{{"curve kind", 0, 2}, {"curve tables", 0, 65536}, {"curve entries", 0, 1 << 24}},
       -8,
       "its header is cut short"},
      {{{"curve kind", 0, 2}, {"curve tables", 0, 0}}, -8, "its response curve is damaged"},
      {{{"curve kind", 0, 2}, {"curve entries", 0, 0xffffffff}}, -8, "its response curve is damaged"},
      {{{"lookup table", 0, 0xffffffff}}, -8, "its header is cut short"},
      {{{"lookup table", 0, 1}}, -8, "its header is cut short"},
  };
  const ByteString header = header_by_hand();
  for (size_t i = 0; i < std::size(rows); ++i) {
    Bytes stream = stream_by_hand();
    for (const Lie& lie : rows[i].lies) {
      std::memcpy(&stream[kHeaderAt + header.places.at(lie.place) + 4 * lie.words_behind], &lie.value, 4);
    }
    file.write(stream);
    ReportRecorder recorder;
    EXPECT_EQ(read_all(Picture(file.path())), rows[i].code) << i;
    EXPECT_NE(recorder.texts().find(rows[i].report), std::string::npos) << i << ": " << recorder.texts();
    EXPECT_EQ(recorder.reports.size(), 1u) << i << ": " << recorder.texts();
  }
}

TEST_F(Pipe, refuses_lookup_tables_that_lie) {
  const ScratchFile file(".pipe");
  const struct {
    std::initializer_list<uint32_t> words;  // entries, last index, scale
    bool has_entry;
    std::initializer_list<uint32_t> more;
    const char* report;
  } rows[] = {{{1}, false, {}, "its header is cut short"},
              {{1, 0}, false, {}, "its header is cut short"},
              {{1, 0, 0}, false, {}, "its header is cut short"},
              {{1, 1, 0}, true, {}, "its lookup table is damaged"},
              {{1, 0xfffffffe, 0}, true, {}, "its lookup table is damaged"},
              {{1, 0, 0}, true, {9}, "its header is longer than its description"}};
  for (const auto& row : rows) {
    ByteString header = header_by_hand();
    header.bytes.resize(header.bytes.size() - 4);
    header.words(row.words);
    if (row.has_entry) header.bytes.resize(header.bytes.size() + sizeof(ORB_LUT_ENTRY));
    header.words(row.more);
    ByteString stream;
    stream.text("ORBpipe\x1a").words({1, static_cast<uint32_t>(header.bytes.size())});
    stream.bytes.insert(stream.bytes.end(), header.bytes.begin(), header.bytes.end());
    file.write(stream.bytes);
    ReportRecorder recorder;
    EXPECT_EQ(read_all(Picture(file.path())), -8);
    EXPECT_NE(recorder.texts().find(row.report), std::string::npos) << recorder.texts();
  }
}

// Wherever the limit bites, once, and nothing is left behind; with room enough all is well.
TEST_F(Pipe, keeps_to_every_limit) {
  Picture picture("limits.pipe", "pipe");
  picture.window({0, 99, 0, 4}).group(&ORB_IFD::matte, 1, ORB_C_FLOAT, 32);
  for (const bool is_writing : {false, true}) {
    for (const int32_t limit : {ORB_LIMIT_BUFFER, ORB_LIMIT_HANDLE}) {
      ASSERT_EQ(write_whole(picture), 0);
      for (uint64_t bytes = 16; bytes < 300000; bytes += bytes / 4) {
        ReportRecorder recorder;
        const uint64_t before = ORB_limit(limit, bytes);
        const int32_t code = is_writing ? write_whole(picture) : read_all(picture);
        ORB_limit(limit, before);
        EXPECT_TRUE(code == 0 || (code == -10 && bytes < 100000)) << bytes << ": " << code;
        EXPECT_EQ(recorder.reports.size(), code == 0 ? 0U : 1U) << bytes << recorder.texts();
      }
    }
  }
}

TEST_F(Pipe, refuses_foreign_streams_and_other_versions_in_clear_words) {
  const ScratchFile file(".pipe");
  const Bytes whole = stream_by_hand();
  const auto with = [&whole](size_t at, std::initializer_list<unsigned char> bytes) {
    Bytes changed = whole;
    std::copy(bytes.begin(), bytes.end(), changed.begin() + static_cast<std::ptrdiff_t>(at));
    return changed;
  };
  const struct {
    Bytes stream;
    const char* reason;
  } rows[] = {
      {ByteString{}.text("a plain text of some length, and no image").bytes,
       "it does not begin with the magic word"},
      {ByteString{}.text("abc").bytes, "it does not begin with the magic word"},
      {with(8, {2}), "its version is not known here"},
      {with(kHeaderBytesAt, {0, 0, 0, 0}), "its header is cut short"},
      {with(kHeaderBytesAt, {0xff, 0xff, 0xff, 0x3f}), "its header is cut short"},
  };
  ORB_limit(ORB_LIMIT_HANDLE, uint64_t{8} << 30);
  for (const auto& row : rows) {
    file.write(row.stream);
    ReportRecorder recorder;
    EXPECT_EQ(open(Picture(file.path()), "r"), nullptr);
    EXPECT_EQ(orb__err, -8);
    EXPECT_EQ(recorder.texts(), file.path() + ": This does not appear to be a pipe file; " + row.reason);
  }
  file.write(with(kHeaderBytesAt, {0xff, 0xff, 0xff, 0xff}));
  ReportRecorder recorder;
  EXPECT_EQ(open(Picture(file.path()), "r"), nullptr);
  EXPECT_EQ(orb__err, -10);
  EXPECT_NE(recorder.texts().find("a single buffer"), std::string::npos) << recorder.texts();
}

TEST_F(Pipe, refuses_active_lines_out_of_sequence_in_both_directions) {
  const ScratchFile file(".pipe");
  for (bool is_top_down : {false, true}) {
    Picture picture = Picture(file.path()).window({0, 4, 0, 6}).active({0, 4, 2, 4});
    if (is_top_down) picture.top_down();
    const int32_t first = is_top_down ? 4 : 2;
    const int32_t last = is_top_down ? 2 : 4;
    for (const char* mode : {"w", "r"}) {
      const auto transfer = [&](ORB_IMAGE* handle, int32_t line) {
        if (*mode == 'w') return write_line(handle, picture, line);
        void** rows = nullptr;
        return ORB_scan_read(handle, line, &rows);
      };
      ReportRecorder recorder;
      ORB_IMAGE* handle = open(picture, mode);
      ASSERT_NE(handle, nullptr);
      EXPECT_EQ(transfer(handle, 7), -2);
      EXPECT_EQ(transfer(handle, -1), -2);
      EXPECT_EQ(transfer(handle, 3), -2) << "not the first";
      EXPECT_EQ(transfer(handle, 6), 0) << "not an active line";
      EXPECT_EQ(transfer(handle, first), 0);
      EXPECT_EQ(transfer(handle, first), -2) << "a second time";
      EXPECT_EQ(transfer(handle, 3), 0);
      EXPECT_EQ(transfer(handle, last), 0);
      EXPECT_EQ(transfer(handle, last), -2);
      EXPECT_EQ(transfer(handle, 0), 0);
      EXPECT_EQ(ORB_close(handle), 0);
      EXPECT_EQ(recorder.reports.size(), 5u);
      EXPECT_EQ(recorder.reports[2].text,
                "Bad scanline: 3 (out of range, or not in sequence if a sequential file)");
    }
    EXPECT_EQ(compare_whole(picture), "");
  }
}

TEST_F(Pipe, seeks_backward_by_opening_the_stream_again_under_the_path_it_found) {
  const ScratchFile file(".pipe");
  const std::string base = file.path().substr(0, file.path().size() - 5);
  const Picture picture(base, "pipe");
  ASSERT_EQ(write_whole(picture), 0);
  ORB_IMAGE* handle = open(picture, "r");
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(handle->info.handle, file.path());
  for (int32_t line = 0; line < 4; ++line) EXPECT_EQ(compare_line(handle, picture, line), "");
  EXPECT_EQ(ORB_seek(&handle, 1), 0);
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(compare_line(handle, picture, 1), "");
  ORB_close(handle);
}

TEST_F(Pipe, leaves_a_stream_closed_too_early_without_its_end_mark) {
  const ScratchFile file(".pipe");
  const Picture picture(file.path());
  ReportRecorder recorder;
  ORB_IMAGE* handle = open(picture, "w");
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(write_line(handle, picture, 0), 0);
  EXPECT_EQ(write_line(handle, picture, 1), 0);
  EXPECT_EQ(ORB_close(handle), -20);
  EXPECT_EQ(orb__err, -20);
  EXPECT_EQ(recorder.texts(),
            "Cannot write to " + file.path() + "; closed with 3 of 5 scanlines not written");
  recorder.clear();
  handle = open(picture, "r");
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(compare_line(handle, picture, 0), "");
  EXPECT_EQ(compare_line(handle, picture, 1), "");
  for (int again = 0; again < 2; ++again)
    EXPECT_EQ(compare_line(handle, picture, 2), "image 0 line 2: code -18");
  EXPECT_EQ(orb__err, -18);
  EXPECT_EQ(ORB_close(handle), 0);
}

TEST_F(Pipe, refuses_to_write_what_a_stream_cannot_hold_and_leaves_no_file) {
  const ScratchFile file(".pipe");
  Picture bare_table(file.path());
  bare_table.ifds[0].curve = {ORB_CURVE_TABLE, 1.0f, 0, 1, 1, ORB_C_INTEGER, 8, nullptr};
  ASSERT_EQ(ORB_response_curve_init(&bare_table.ifds[0].curve), 0);
  const struct {
    Picture picture;
    const char* report;
  } rows[] = {
      {Picture(file.path()).images(2), "pipe cannot handle the requested action"},
      {Picture(file.path()).active({0, 6, 0, 5}), "pipe cannot handle the requested action"},
      {Picture(file.path()).group(&ORB_IFD::matte, 1, ORB_C_INTEGER, 33),
       "pipe cannot handle matte channel width"},
      {bare_table, "pipe cannot handle the requested action"},
  };
  for (const auto& row : rows) {
    ReportRecorder recorder;
    EXPECT_EQ(open(row.picture, "w"), nullptr);
    EXPECT_EQ(orb__err, -16);
    EXPECT_EQ(recorder.texts(), row.report);
  }
  ORB_response_curve_done(&bare_table.ifds[0].curve);
  EXPECT_FALSE(file.exists());
}

TEST_F(Pipe, finds_the_file_that_a_name_stands_for) {
  const ScratchFile with(".pipe");
  const ScratchFile without("");
  ASSERT_EQ(without.path() + ".pipe", with.path());
  const auto exact = [](const std::string& name, const char* mode) {
    const Picture picture(name, "pipe");
    ORB_INFO info = picture.info();
    info.open_option = 1;
    return ORB_open(&info, mode);
  };
  const auto read_seed = [](const std::string& name) {  // which of the two was found
    for (int seed : {1, 2}) {
      ReportRecorder recorder;
      if (compare_whole(Picture(name, "pipe").seed(static_cast<uint8_t>(seed))).empty()) return seed;
    }
    return 0;
  };
  ReportRecorder recorder;
  EXPECT_EQ(open(Picture(without.path(), "pipe"), "r"), nullptr);
  EXPECT_EQ(orb__err, -5);
  EXPECT_EQ(recorder.texts(), "Cannot open file " + with.path() + "; No such file or directory");

  ASSERT_EQ(write_whole(Picture(without.path(), "pipe").seed(1)), 0);
  EXPECT_TRUE(with.exists());
  EXPECT_FALSE(without.exists());
  EXPECT_EQ(read_seed(without.path()), 1) << "with the extension";

  without.write(with.read());
  std::remove(with.c_str());
  EXPECT_EQ(read_seed(without.path()), 1) << "under the very name, there being no other";

  ASSERT_EQ(write_whole(Picture(without.path(), "pipe").seed(2)), 0);
  EXPECT_EQ(read_seed(without.path()), 2) << "the extension comes first, as in writing";
  EXPECT_EQ(read_seed(with.path()), 2);

  ORB_IMAGE* handle = exact(without.path(), "r");
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(handle->info.handle, without.path());
  ORB_close(handle);
}

TEST_F(Pipe, is_file_goes_by_the_magic_word_alone_and_rewinds_a_stream_it_is_given) {
  const ScratchFile file(".pipe");
  EXPECT_EQ(pipe_is_file(file.c_str(), nullptr), 0);
  file.write(Bytes{'O', 'R', 'B', 'p', 'i', 'p', 'e'});
  EXPECT_EQ(pipe_is_file(file.c_str(), nullptr), 0) << "one byte short";
  file.write(stream_by_hand());
  EXPECT_EQ(pipe_is_file(file.c_str(), nullptr), 1);
  EXPECT_EQ(pipe_is_file(nullptr, nullptr), 0);
  EXPECT_EQ(pipe_is_file(::testing::TempDir().c_str(), nullptr), 0);
  std::FILE* stream = std::fopen(file.c_str(), "rb");
  ASSERT_NE(stream, nullptr);
  std::fseek(stream, 40, SEEK_SET);
  EXPECT_EQ(pipe_is_file("another name", stream), 1);
  std::fclose(stream);
}

TEST_F(Pipe, survives_the_failure_of_any_allocation_of_a_writer) {
  const ScratchFile file(".pipe");
  const Picture picture(file.path());
  void** row = filled_rows(picture, 0, 0);
  ORB_init(nullptr, nullptr);
  for (int64_t nth = 1;; ++nth) {
    std::remove(file.c_str());
    ReportRecorder recorder;
    FailAllocation fail(nth);
    ORB_IMAGE* handle = open(picture, "w");
    const bool failed = fail.happened();
    for (int32_t line = 0; handle && line < 5; ++line) EXPECT_EQ(ORB_scan_write(handle, line, row), 0);
    if (handle) {
      EXPECT_EQ(ORB_close(handle), 0);
    }
    if (!failed) break;
    if (!handle) {
      EXPECT_EQ(orb__err, -10) << nth;
      EXPECT_FALSE(file.exists()) << nth;
    }
  }
  ORB_chan_free(row);
  EXPECT_EQ(read_all(picture), 0);
}

TEST_F(Pipe, survives_the_failure_of_any_allocation_of_a_reader) {
  const ScratchFile file(".pipe");
  const Picture picture = Picture(file.path()).no_channels().group(&ORB_IFD::index, 1, ORB_C_INTEGER, 8);
  ASSERT_EQ(write_with_whole_description(picture), 0);
  for (int64_t nth = 1;; ++nth) {
    ReportRecorder recorder;
    FailAllocation fail(nth);
    ORB_IMAGE* handle = open(picture, "r");
    int32_t code = handle ? 0 : orb__err;
    void** rows = nullptr;
    if (handle) code = ORB_scan_read(handle, 0, &rows);
    ORB_LUT* lut = nullptr;
    const int32_t lut_code = handle ? ORB_lut_read(handle, &lut) : code;
    const bool failed = fail.happened();
    ORB_lut_free(lut);
    if (handle) ORB_close(handle);
    if (!failed) {
      EXPECT_EQ(code, 0);
      EXPECT_EQ(lut_code, 0);
      break;
    }
    EXPECT_TRUE(code == -10 || lut_code != 0) << nth << ": " << code;
  }
  expect_whole_description(picture);
}

TEST_F(Pipe, serves_threads_on_different_streams) {
  const ScratchFile a(".a.pipe");
  const ScratchFile b(".b.pipe");
  ORB_init(nullptr, nullptr);
  std::string found[2];
  const auto round_trips = [&found](int which, const std::string& path) {
    for (int i = 0; i < 40 && found[which].empty(); ++i) {
      const Picture picture = Picture(path).seed(static_cast<uint8_t>(i + which)).window({0, 300, 0, 9});
      if (write_whole(picture) != 0) found[which] = "write";
      if (found[which].empty()) found[which] = compare_whole(picture);
    }
  };
  std::thread other(round_trips, 1, b.path());
  round_trips(0, a.path());
  other.join();
  EXPECT_EQ(found[0] + found[1], "");
}

}  // namespace
}  // namespace orb::testing
