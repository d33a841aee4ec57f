#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <thread>

#include "orbbase/core/drivers/drivers.h"
#include "orbbase/registry.h"
#include "tests/core/driver_contract.h"
#include "tests/core/files.h"
#include "tests/support/image_owner.h"
#include "tests/support/limit_setting.h"

namespace orb::testing {
namespace {

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
constexpr size_t kHeaderAt = 16;
constexpr size_t kEndMarkBytes = 8;

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

Bytes stream_by_hand(const ByteString& header = header_by_hand()) {
  ByteString stream;
  stream.text("ORBpipe\x1a").words({1, static_cast<uint32_t>(header.bytes.size())});
  stream.bytes.insert(stream.bytes.end(), header.bytes.begin(), header.bytes.end());
  return stream.text("\x34\x12\x78\x56").text("ORBpend\x1a").bytes;
}

// In place: a long file that is cut and written anew goes to the disk each time.
void put_byte(const std::string& name, size_t at, uint8_t value) {
  std::fstream file(name, std::ios::in | std::ios::out | std::ios::binary);
  file.seekp(static_cast<std::streamoff>(at)).put(static_cast<char>(value));
}

INSTANTIATE_TEST_SUITE_P(Pipe, Driver, ::testing::Values("pipe"));

class Pipe : public ::testing::Test {
 protected:
  Pipe() { std::remove(path.c_str()); }
  ~Pipe() override { ORB_exit(); }

  // Opens the file and reads it to its end, whatever it holds. The first code that is not 0, and 0 for a whole image.
  int32_t read_all() const {
    ORB_IMAGE* handle = picture.open("r");
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
  void expect_refused(const Bytes& stream, int32_t code, const std::string& report) const {
    put_file(path, stream);
    ReportRecorder recorder;
    EXPECT_EQ(read_all(), code) << report;
    EXPECT_NE(recorder.texts().find(report), std::string::npos) << report << ": " << recorder.texts();
    EXPECT_EQ(recorder.reports.size(), 1u) << recorder.texts();
  }

  const std::string path = "p.pipe";
  const Picture picture{path};
};

TEST_F(Pipe, reads_and_writes_the_very_stream_that_is_documented) {
  put_file(path, stream_by_hand());
  const Image reader(picture.open("r"));
  ASSERT_NE(reader, nullptr);
  EXPECT_EQ(described(reader->info),
            "- \"sea\" - \"host\" \"\" \"{9}\" - - - 5 6 7 1 0 0 0 0 2 25 0.5 0.25 0.25 1 0 0 0 1 0 0 0 1\n"
            "- 1 640 480 1 1 0 curve 1 1 8 10 13 -1 0 11 12 0 0 0 -  1 \"cover\" 1 16 0 -  0 - ");
  ORB_INFO info = reader->info;
  info.handle = lent("copy.pipe");
  Image writer(ORB_open(&info, "w"));
  ASSERT_NE(writer, nullptr);
  for (const int32_t line : {0, -1}) {
    void** rows = nullptr;
    ASSERT_EQ(ORB_scan_read(reader.get(), line, &rows), 0);
    const uint16_t wanted[][4] = {{0, 0, 0, 0}, {0, 0x1234, 0x5678, 0}};
    EXPECT_EQ(std::memcmp(rows[0], wanted[line + 1], sizeof wanted[0]), 0);
    EXPECT_EQ(ORB_scan_write(writer.get(), line, rows), 0);
  }
  writer.reset();
  EXPECT_EQ(get_file("copy.pipe"), stream_by_hand());
}

TEST_F(Pipe, gives_back_lines_longer_than_its_buffers) {
  for (int32_t pixels : {65535, 65536, 65537, 200001}) {
    const Picture wide = Picture(picture).window({0, pixels - 1, 0, 3}).active({1, pixels - 1, 0, 2});
    ASSERT_EQ(write_whole(wide), 0);
    ASSERT_EQ(compare_whole(wide), "") << pixels;
  }
}

TEST_F(Pipe, gives_back_curve_tables_of_any_type_stored_as_they_are) {
  ASSERT_EQ(write_whole(picture), 0);
  const uint64_t plain_bytes = std::filesystem::file_size(picture.name);
  for (const auto& [type, depth, bytes] :
       {std::tuple{ORB_C_FLOAT, 0, 33 * 4}, {ORB_C_INTEGER, 8, 33}, {ORB_C_INTEGER, 12, 33 * 2}}) {
    Picture tabulated = picture;
    ORB_RESPONSE_CURVE& curve = tabulated.ifds[0].curve;
    curve = {ORB_CURVE_GAMMA, 0.5f, 0, 3, 33, type, depth, nullptr};
    ASSERT_EQ(ORB_response_curve_init(&curve), 0);
    ASSERT_EQ(write_whole(tabulated), 0);
    EXPECT_EQ(std::filesystem::file_size(picture.name), plain_bytes + 3U * static_cast<uint64_t>(bytes));
    const Image image(picture.open("r"));
    ASSERT_NE(image, nullptr);
    for (int c = 0; c < 3; ++c) {
      const void* const found = image->info.images[0].curve.tables[c];
      EXPECT_EQ(std::memcmp(found, curve.tables[c], static_cast<size_t>(bytes)), 0) << type;
    }
    ORB_response_curve_done(&curve);
  }
}

TEST_F(Pipe, reads_no_cut_of_a_stream_as_a_whole_image) {
  const Bytes whole = stream_by_hand();
  for (size_t kept = 0; kept < whole.size(); ++kept) {
    const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(kept));
    const bool is_in_header = kept < whole.size() - 12;
    const char* const reason = kept == 0      ? "pipe file; it is empty"
                               : is_in_header ? "its header is cut short"
                                              : "Cannot read scanline 0; the stream is cut short";
    expect_refused(cut, is_in_header ? -8 : -18, reason);
  }
}

TEST_F(Pipe, survives_any_single_damaged_byte) {
  const Picture indexed = Picture(picture).no_channels().group(&ORB_IFD::index, 1, ORB_C_INTEGER, 8);
  write_with_whole_description(indexed);
  const LimitSetting limit(ORB_LIMIT_BUFFER, 1 << 20);
  const ReportRecorder recorder;
  // Of the long stream what follows its long text, up to the tables, of which one entry is like the next.
  for (const auto& [whole, from, to] :
       {std::tuple(get_file(path), 300200, 300500), {stream_by_hand(), 0, 1000}}) {
    put_file(path, whole);
    for (size_t at = from; at < std::min<size_t>(to, whole.size()); ++at) {
      for (const uint8_t value : Bytes{0x00, 0x7f, 0xff, whole[at]}) {
        put_byte(path, at, value);
        const int32_t code = read_all();
        const bool is_guarded = at < kHeaderAt || at >= whole.size() - kEndMarkBytes;
        EXPECT_TRUE(!is_guarded || whole[at] == value || code != 0) << at << ' ' << value;
        EXPECT_TRUE((std::set{0, -2, -8, -10, -16, -18}).count(code)) << at << ' ' << value << ": " << code;
      }
    }
  }
}

// Overwrites a word of the header, so many words behind a place in it.
struct Lie {
  const char* place;
  size_t words_behind;
  uint32_t value;
};

TEST_F(Pipe, refuses_headers_that_lie_before_it_takes_memory_for_them) {
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
      {{{"curve kind", 0, 2}, {"curve entries", 2, 17}}, -8, "its response curve is damaged"},
      {{{"curve kind", 0, 2}, {"curve entries", 1, 3}}, -8, "its response curve is damaged"},
      {{{"curve kind", 0, 2}, {"curve entries", 0, 0xffffffff}}, -8, "its response curve is damaged"},
      {{{"lookup table", 0, 0xffffffff}}, -8, "its header is cut short"},
      {{{"lookup table", 0, 1}}, -8, "its header is cut short"},
  };
  const ByteString header = header_by_hand();
  for (const auto& row : rows) {
    Bytes stream = stream_by_hand();
    for (const Lie& lie : row.lies) {
      std::memcpy(&stream[kHeaderAt + header.places.at(lie.place) + 4 * lie.words_behind], &lie.value, 4);
    }
    expect_refused(stream, row.code, row.report);
  }
}

TEST_F(Pipe, refuses_lookup_tables_that_lie) {
  const struct {
    std::initializer_list<uint32_t> words;  // entries, last index, scale
    size_t entry_bytes;
    std::initializer_list<uint32_t> more;
    const char* report;
  } rows[] = {
      {{1}, 0, {}, "its header is cut short"},
      {{1, 0}, 0, {}, "its header is cut short"},
      {{1, 0, 0}, 0, {}, "its header is cut short"},
      {{1, 1, 0}, 8, {}, "its lookup table is damaged"},
      {{1, 0xfffffffe, 0}, 8, {}, "its lookup table is damaged"},
      {{1, 0, 0}, 8, {9}, "its header is longer than its description"},
      {{1, 0xffffffff, 0}, 8, {9}, "its header is longer than its description"}};  // no index but a table
  for (const auto& row : rows) {
    ByteString header = header_by_hand();
    header.bytes.resize(header.bytes.size() - 4);
    header.words(row.words);
    header.bytes.resize(header.bytes.size() + row.entry_bytes);
    expect_refused(stream_by_hand(header.words(row.more)), -8, row.report);
  }
}

TEST_F(Pipe, refuses_foreign_streams_and_other_versions_in_clear_words) {
  const auto with = [](size_t at, uint32_t value) {
    Bytes changed = stream_by_hand();
    std::memcpy(&changed[at], &value, 4);
    return changed;
  };
  const std::string start = path + ": This does not appear to be a pipe file; ";
  const LimitSetting limit(ORB_LIMIT_HANDLE, uint64_t{8} << 30);
  expect_refused(ByteString{}.text("a plain text of some length, and no image").bytes, -8,
                 start + "it does not begin with the magic word");
  expect_refused(ByteString{}.text("abc").bytes, -8, start + "it does not begin with the magic word");
  expect_refused(with(8, 2), -8, start + "its version is not known here");
  expect_refused(with(12, 0), -8, start + "its header is cut short");
  expect_refused(with(12, 0x3fffffff), -8, start + "its header is cut short");
  expect_refused(with(12, 0xffffffff), -10, "a single buffer");
}

TEST_F(Pipe, refuses_active_lines_out_of_sequence_in_both_directions) {
  for (bool is_top_down : {false, true}) {
    Picture padded = Picture(picture).window({0, 4, 0, 6}).active({0, 4, 2, 4});
    if (is_top_down) padded.top_down();
    const int32_t first = is_top_down ? 4 : 2;
    const int32_t last = is_top_down ? 2 : 4;
    const struct {
      int32_t line, code;
    } steps[] = {{7, -2},                  // no line
                 {-1, -2},   {3, -2},      // not the first
                 {6, 0},                   // not an active line
                 {first, 0}, {first, -2},  // a second time
                 {3, 0},     {last, 0},   {last, -2}, {0, 0}};
    for (const char* mode : {"w", "r"}) {
      ReportRecorder recorder;
      ORB_IMAGE* handle = padded.open(mode);
      ASSERT_NE(handle, nullptr);
      for (const auto& step : steps) {
        void** rows = nullptr;
        EXPECT_EQ(
            *mode == 'w' ? write_line(handle, padded, step.line) : ORB_scan_read(handle, step.line, &rows),
            step.code)
            << mode << step.line;
      }
      EXPECT_EQ(ORB_close(handle), 0);
      EXPECT_EQ(recorder.reports.size(), 5u);
      EXPECT_EQ(recorder.reports[2].text,
                "Bad scanline: 3 (out of range, or not in sequence if a sequential file)");
    }
    EXPECT_EQ(compare_whole(padded), "");
  }
}

TEST_F(Pipe, leaves_a_stream_closed_too_early_without_its_end_mark) {
  ReportRecorder recorder;
  ORB_IMAGE* handle = picture.open("w");
  ASSERT_NE(handle, nullptr);
  for (int32_t line : {0, 1}) EXPECT_EQ(write_line(handle, picture, line), 0);
  EXPECT_EQ(ORB_close(handle), -20);
  EXPECT_EQ(orb__err, -20);
  EXPECT_EQ(recorder.texts(), "Cannot write to " + path + "; closed with 3 of 5 scanlines not written");
  handle = picture.open("r");
  ASSERT_NE(handle, nullptr);
  for (int32_t line : {0, 1}) EXPECT_EQ(compare_line(handle, picture, line), "");
  for (int again = 0; again < 2; ++again)
    EXPECT_EQ(compare_line(handle, picture, 2), "image 0 line 2: code -18");
  EXPECT_EQ(ORB_close(handle), 0);
}

TEST_F(Pipe, refuses_to_write_what_a_stream_cannot_hold_and_leaves_no_file) {
  Picture bare_table = picture;
  bare_table.ifds[0].curve = {ORB_CURVE_TABLE, 1.0f, 0, 1, 1, ORB_C_INTEGER, 8, nullptr};
  ASSERT_EQ(ORB_response_curve_init(&bare_table.ifds[0].curve), 0);
  const struct {
    Picture picture;
    const char* report;
  } rows[] = {
      {Picture(picture).images(2), "pipe cannot handle the requested action"},
      {Picture(picture).active({0, 6, 0, 5}), "pipe cannot handle the requested action"},
      {Picture(picture).group(&ORB_IFD::matte, 1, ORB_C_INTEGER, 33),
       "pipe cannot handle matte channel width"},
      {bare_table, "pipe cannot handle the requested action"},
  };
  for (const auto& row : rows) {
    ReportRecorder recorder;
    EXPECT_EQ(row.picture.open("w"), nullptr);
    EXPECT_EQ(orb__err, -16);
    EXPECT_EQ(recorder.texts(), row.report);
  }
  ORB_response_curve_done(&bare_table.ifds[0].curve);
  EXPECT_FALSE(exists(path));
}

TEST_F(Pipe, finds_the_file_that_a_name_stands_for) {
  const std::string without = "p";
  std::remove(without.c_str());
  const Picture named(without, "pipe");
  ReportRecorder recorder;
  EXPECT_EQ(compare_whole(named), "cannot open: code -5");
  EXPECT_EQ(recorder.texts(), "Cannot open file " + path + "; No such file or directory");

  ASSERT_EQ(write_whole(named), 0);
  EXPECT_TRUE(exists(path) && !exists(without));
  ORB_IMAGE* handle = named.open("r");
  ASSERT_NE(handle, nullptr);
  EXPECT_EQ(handle->info.handle, path);
  for (const int32_t line : {0, 1, 2}) EXPECT_EQ(compare_line(handle, picture, line), "");
  EXPECT_EQ(ORB_seek(&handle, 1), 0) << "opens the stream again under the path it found";
  EXPECT_EQ(compare_line(handle, picture, 1), "");
  ORB_close(handle);

  put_file(without, get_file(path));
  ASSERT_EQ(write_whole(Picture(named).seed(2)), 0);
  EXPECT_EQ(compare_whole(Picture(named).seed(2)), "") << "the extension comes first, as in writing";
  ORB_INFO exact = named.info();
  exact.open_option = 1;
  EXPECT_EQ(Image(ORB_open(&exact, "r"))->info.handle, without);
  std::remove(path.c_str());
  EXPECT_EQ(compare_whole(named), "") << "under the very name, there being no other";
}

TEST_F(Pipe, is_file_goes_by_the_magic_word_alone_and_rewinds_a_stream_it_is_given) {
  EXPECT_EQ(pipe_is_file(path.c_str(), nullptr), 0);
  put_file(path, ByteString{}.text("ORBpipe").bytes);
  EXPECT_EQ(pipe_is_file(path.c_str(), nullptr), 0) << "one byte short";
  put_file(path, stream_by_hand());
  EXPECT_EQ(pipe_is_file(path.c_str(), nullptr), 1);
  EXPECT_EQ(pipe_is_file(nullptr, nullptr), 0);
  EXPECT_EQ(pipe_is_file(".", nullptr), 0);
  std::FILE* stream = std::fopen(path.c_str(), "rb");
  ASSERT_NE(stream, nullptr);
  std::fseek(stream, 40, SEEK_SET);
  EXPECT_EQ(pipe_is_file("another name", stream), 1);
  std::fclose(stream);
}

TEST_F(Pipe, serves_threads_on_different_streams) {
  ORB_init(nullptr, nullptr);
  std::string found[2];
  const auto round_trips = [&found](int which, const std::string& name) {
    for (int i = 0; i < 40 && found[which].empty(); ++i) {
      const Picture wide = Picture(name).seed(static_cast<uint8_t>(i + which)).window({0, 300, 0, 9});
      found[which] = write_whole(wide) != 0 ? "write" : compare_whole(wide);
    }
  };
  std::thread other(round_trips, 1, "b.pipe");
  round_trips(0, path);
  other.join();
  EXPECT_EQ(found[0] + found[1], "");
}

}  // namespace
}  // namespace orb::testing
