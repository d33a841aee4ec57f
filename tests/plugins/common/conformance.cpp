#include "conformance.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <thread>
#include <utility>

#include "orbbase/driver.h"
#include "orbbase/registry.h"
#include "tests/support/fail_allocation.h"

namespace orb::testing {
namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::AnyOf;
using ::testing::Contains;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::StartsWith;

void lay_out(Wanted& wanted, const Layout& layout, int bits) {
  wanted.color(layout.colours, bits, layout.type);
  wanted.matte(layout.mattes, bits, layout.type).aux(layout.auxes, bits, layout.type);
  wanted.settings = layout.settings;
  if (layout.key) wanted.of(layout.key);
}

bool is_large(const ORB_IFD& ifd) {
  return (int64_t{ifd.window.right} - ifd.window.left) * (int64_t{ifd.window.top} - ifd.window.bottom) >
         1 << 16;
}

std::string many_letters() { return std::string(100000, 'x'); }

}  // namespace

Wanted Conformance::wanted(const std::string& path, int32_t width, int32_t height) const {
  Wanted made(format_.key, path, width, height);
  lay_out(made, format_.layouts[0], format_.layouts[0].most_bits);
  return made;
}

namespace {

// ---- Reading

TEST_P(Conformance, no_cut_of_a_file_reads_as_a_whole_one) {
  for (const Example& example : format_.examples()) {
    save("whole", example.bytes);
    ASSERT_EQ(read("whole"), 0) << reports.texts();
    for (size_t kept = 0; kept < example.bytes.size(); ++kept) {
      SCOPED_TRACE(kept);
      reports.clear();
      save("cut", example.bytes.substr(0, kept));
      const int32_t code = read("cut");
      const bool is_known = kept >= format_.signature_bytes;
      EXPECT_THAT(is_known ? format_.cut_codes : std::vector<int32_t>{ORB_E_FORMAT}, Contains(code));
      EXPECT_EQ(errors(), 1U) << reports.texts();
      EXPECT_THAT(reports.texts(), HasSubstr("cut"));
    }
  }
}

TEST_P(Conformance, a_changed_byte_is_reported_or_makes_another_picture) {
  // What a file may claim it gets: a little.
  const uint64_t before = ORB_limit(ORB_LIMIT_HANDLE, 1 << 20);
  for (const Example& example : format_.examples()) {
    for (size_t at = 0; at < example.bytes.size(); ++at) {
      std::string damaged = example.bytes;
      damaged[at] = static_cast<char>(damaged[at] ^ 0x55);
      save("in", damaged);
      if (const Image image = open("in"); image && is_large(image->info.images[0])) continue;
      reports.clear();
      const int32_t code = read("in");
      EXPECT_EQ(errors(), code != 0 ? 1U : 0U) << at << reports.texts();
      EXPECT_TRUE(!reports.reports.empty() || !has(kHasCheckSums)) << at;
    }
  }
  ORB_limit(ORB_LIMIT_HANDLE, before);
}

TEST_P(Conformance, damaged_and_foreign_files_fail_with_their_code_one_report_and_little_memory) {
  for (const Damaged& row : format_.damaged()) {
    SCOPED_TRACE(row.report + " of " + ::testing::PrintToString(row.bytes.substr(0, 99)));
    reports.clear();
    save("in", row.bytes);
    const int32_t code = read("in");
    EXPECT_NE(code, 0);
    EXPECT_TRUE(row.code == 0 || code == row.code) << code;
    EXPECT_EQ(errors(), 1U) << reports.texts();
    EXPECT_THAT(reports.texts(), AnyOf(HasSubstr("in: "), HasSubstr("over the limit")));
    EXPECT_THAT(reports.texts(), HasSubstr(row.report));
    rusage usage = {};
    getrusage(RUSAGE_SELF, &usage);
    EXPECT_LT(usage.ru_maxrss, 512 << 10) << "KiB";
  }
}

TEST_P(Conformance, what_cannot_be_opened_is_reported_with_its_name_and_the_systems_reason) {
  const struct {
    std::string name;
    int32_t code;
    std::string reason;
  } rows[] = {
      {"absent", ORB_E_OPEN, "No such file or directory"},
      {"/", ORB_E_OPEN, "Is a directory"},
      {many_letters(), ORB_E_OPEN, ""},
      {"/proc/self/mem", ORB_E_READ, "Input/output error"}};  // opens, but its first page is not there
  for (const auto& row : rows) {
    reports.clear();
    EXPECT_EQ(read(row.name), row.code);
    EXPECT_EQ(reports.reports.size(), 1U) << reports.texts();
    EXPECT_THAT(reports.texts(), EndsWith(row.reason));
    EXPECT_THAT(reports.texts(), HasSubstr(row.name.substr(0, 20)));
  }
  for (const std::string& target : {std::string("no-such-folder/out"), std::string("/"), many_letters()}) {
    reports.clear();
    EXPECT_FALSE(wanted(target).open());
    EXPECT_EQ(orb__err, ORB_E_OPEN);
    EXPECT_EQ(reports.reports.size(), 1U);
  }
}

TEST_P(Conformance, is_file_looks_at_regular_files_only_and_from_the_start) {
  const ORB_FORMAT* const format = ORB_find(format_.key);
  for (const Example& example : format_.examples()) {
    save("in", example.bytes);
    EXPECT_EQ(format->is_file("in", nullptr), 1);
  }
  std::FILE* const stream = std::fopen("in", "rb");
  std::fseek(stream, 5, SEEK_SET);
  EXPECT_EQ(format->is_file("", stream), 1);
  std::fclose(stream);
  save("empty", "");
  save("foreign", std::string(100, 'x'));
  ASSERT_EQ(mkfifo("pipe", 0600), 0);
  for (const char* name : {"empty", "foreign", "pipe", "absent", "/"}) {
    EXPECT_EQ(format->is_file(name, nullptr), 0) << name;
  }
  EXPECT_EQ(format->is_file(nullptr, nullptr), 0);
  EXPECT_EQ(reports.texts(), "");
}

TEST_P(Conformance, limits_are_held_before_memory_is_taken) {
  for (const Limited& row : format_.limited()) {
    save("in", row.bytes);
    const uint64_t before = ORB_limit(row.which, row.least - 1);
    reports.clear();
    EXPECT_EQ(read("in"), ORB_E_MEMORY) << row.which;
    EXPECT_THAT(reports.texts(), HasSubstr("over the limit"));
    ORB_limit(row.which, row.least);
    EXPECT_EQ(read("in"), 0) << row.which << reports.texts();
    ORB_limit(row.which, before);
  }
}

TEST_P(Conformance, lines_come_fresh_in_any_order_or_in_sequence) {
  for (const Example& example : format_.examples()) {
    save("in", example.bytes);
    const Planes expected = read_all(*open("in"));
    ORB_IMAGE* image = open("in").release();
    const ORB_IFD ifd = image->info.images[0];
    const int32_t first = (ifd.orientation & ORB_BOTTOM_UP) != 0 ? ifd.window.bottom : ifd.window.top;
    const int32_t last = ifd.window.bottom + ifd.window.top - first;
    std::vector<int32_t> wrong = {ifd.window.top + 1, ifd.window.bottom - 1};
    std::vector<int32_t> right = {last, first, last};
    (example.is_sequential ? wrong : right).push_back(last);
    for (const int32_t line : wrong) {
      reports.clear();
      EXPECT_FALSE(read_row(*image, line));
      EXPECT_EQ(orb__err, ORB_E_SCANLINE);
      EXPECT_EQ(reports.texts(), "Bad scanline: " + std::to_string(line) +
                                     " (out of range, or not in sequence if a sequential file)");
    }
    reports.clear();
    // Whoever has a row may change it; the next read is whole again.
    for (const int32_t line : right) {
      ASSERT_EQ(ORB_seek(&image, line), 0);
      void** const rows = read_row(*image, line);
      ASSERT_TRUE(rows) << line << reports.texts();
      for (size_t c = 0; c < expected.size(); ++c) {
        const std::vector<uint64_t>& plane = expected[c];
        EXPECT_EQ(
            sample_at(ifd, rows, static_cast<int>(c), ifd.window.right - ifd.window.left),
            line == first ? plane[static_cast<size_t>(ifd.window.right - ifd.window.left)] : plane.back());
        std::memset(rows[c], 0xFF, 1);
        *static_cast<char*>(rows[c]) ^= 0x55;
      }
    }
    EXPECT_EQ(ORB_close(image), 0);
  }
}

TEST_P(Conformance, a_pipe_and_the_standard_input_are_read) {
  if (!has(kReadsPipes)) return;
  const std::string bytes = format_.examples()[0].bytes;
  save("in", bytes);
  const Planes expected = read_all(*open("in"));
  ASSERT_EQ(mkfifo("fed", 0600), 0);
  std::thread feeder([&bytes] { save("fed", bytes); });
  const Image piped = open("fed");
  EXPECT_EQ(piped ? read_all(*piped) : Planes(), expected) << reports.texts();
  feeder.join();
  const int kept = dup(STDIN_FILENO);
  ASSERT_TRUE(std::freopen("in", "rb", stdin));
  EXPECT_EQ(read_all(*open("/dev/stdin")), expected);
  EXPECT_NE(fcntl(STDIN_FILENO, F_GETFD), -1) << "closed";
  dup2(kept, STDIN_FILENO);
  close(kept);
}

// ---- Writing

TEST_P(Conformance, every_layout_comes_back_with_its_width_and_samples) {
  for (const Layout& layout : format_.layouts) {
    if (has(kIsLossy)) return;
    for (int bits = layout.least_bits; bits <= layout.most_bits; ++bits) {
      SCOPED_TRACE("layout " + std::to_string(&layout - format_.layouts.data()) + ", " +
                   std::to_string(bits) + " bits");
      Wanted made = wanted("out", 37, 21);
      lay_out(made, layout, bits);
      const Image image = there_and_back(made);
      ASSERT_TRUE(image);
      const ORB_IFD& ifd = image->info.images[0];
      for (ORB_CHANNELS ORB_IFD::*const group : {&ORB_IFD::color, &ORB_IFD::matte, &ORB_IFD::aux}) {
        const ORB_CHANNELS& expected = made.ifd.*group;
        EXPECT_EQ((ifd.*group).count, expected.count);
        EXPECT_TRUE(expected.count == 0 || (ifd.*group).width == bits);
        EXPECT_TRUE(expected.count == 0 || (ifd.*group).type == layout.type);
      }
      EXPECT_EQ(reports.texts(), "");
    }
  }
}

TEST_P(Conformance, indices_come_back_with_their_table_and_need_it) {
  for (const int bits : format_.index_bits) {
    SCOPED_TRACE(bits);
    const int32_t count = 1 << bits;
    const Table table = make_table(count);
    table->entries[1].rgba[3] = has(kHasBareEntries) ? 0 : 65535;
    Wanted made = wanted("out", 300, 7);
    made.settings.clear();
    made.index(bits, table);
    const Planes planes = noise(1, bits, size_t{300} * 7);
    ASSERT_EQ(write_all(made.open(), planes), 0) << reports.texts();
    const Image image = open_read(format_.key, "out", {{0, 1}});
    ASSERT_TRUE(image);
    EXPECT_EQ(image->info.images[0].index.width, bits);
    EXPECT_EQ(read_all(*image), planes);
    const Table again = read_table(*image);
    ASSERT_EQ(again->entry_count, count);
    EXPECT_EQ(std::memcmp(again->entries, table->entries, sizeof(ORB_LUT_ENTRY) * static_cast<size_t>(count)),
              0);
    table->entry_count = count - 1;
    EXPECT_EQ(write_all(made.open(), Planes{std::vector<uint64_t>(2100, count - 1)}), ORB_E_HANDLE);
    table->entry_count = count + 1;
    EXPECT_FALSE(made.open()) << "more entries than indices";
    made.info.write_option = 0;
    EXPECT_FALSE(made.open()) << "no table";
    EXPECT_EQ(orb__err, ORB_E_HANDLE);
  }
}

TEST_P(Conformance, what_the_format_cannot_hold_is_refused_before_the_file_is_touched) {
  const Refusal always[] = {{"cannot handle the requested action", [](Wanted& w) { w.color(0, 8); }},
                            {"cannot handle image channel type", [](Wanted& w) { w.color(1, 8, 9); }},
                            {"cannot handle image channel width", [](Wanted& w) { w.color(1, 0); }},
                            {"cannot handle the requested action", [](Wanted& w) { w.window(0, -1, 0, 2); }},
                            {"", [](Wanted& w) { w.window(-1, INT32_MAX, 0, 0); }}};
  std::vector<Refusal> rows(std::begin(always), std::end(always));
  rows.insert(rows.end(), format_.refusals.begin(), format_.refusals.end());
  for (const Refusal& row : rows) {
    SCOPED_TRACE(std::string(row.report) + ", row " + std::to_string(&row - rows.data()));
    save("out", "before");
    reports.clear();
    Wanted made = wanted("out");
    row.change(made);
    EXPECT_FALSE(made.open());
    EXPECT_EQ(orb__err, ORB_E_HANDLE);
    EXPECT_EQ(reports.reports.size(), 1U) << reports.texts();
    EXPECT_THAT(reports.texts(), HasSubstr(row.report));
    EXPECT_EQ(load("out"), "before");
  }
}

TEST_P(Conformance, a_sample_beyond_its_width_is_refused_and_the_row_may_be_given_again) {
  for (const Layout& layout : format_.layouts) {
    for (const int bits : {1, 3, 7, 12, 23}) {
      const bool is_there = layout.least_bits <= bits && bits <= layout.most_bits;
      if (!is_there || layout.type != ORB_C_INTEGER) continue;
      SCOPED_TRACE(bits);
      Wanted made = wanted("out", 4, 1);
      lay_out(made, layout, bits);
      const Image image = made.open();
      ASSERT_TRUE(image);
      const int channels = layout.colours + layout.mattes + layout.auxes;
      Planes planes(static_cast<size_t>(channels), {1, 0, 1, 0});
      planes.back()[3] = uint64_t{1} << bits;
      reports.clear();
      EXPECT_EQ(write_image(*image, planes), ORB_E_HANDLE);
      EXPECT_THAT(reports.texts(), StartsWith("Cannot write scanline 0; a sample "));
      --planes.back()[3];
      EXPECT_EQ(write_image(*image, planes), 0);
    }
  }
}

TEST_P(Conformance, rows_are_taken_in_order_and_an_unfinished_file_is_no_whole_one) {
  for (const int32_t written : {0, 1, 16, 39}) {
    SCOPED_TRACE(written);
    Wanted made = wanted("out", 4, 40);
    Image image = made.open();
    ASSERT_TRUE(image);
    ORB_IFD ifd = image->info.images[0];
    void** const rows = ORB_chan_alloc(&ifd, 4, "test", nullptr);
    const bool is_upward = (ifd.orientation & ORB_BOTTOM_UP) != 0;
    const auto put = [&](int32_t n) { return ORB_scan_write(image.get(), is_upward ? n : 39 - n, rows); };
    for (int32_t n = 0; n < written; ++n) {
      EXPECT_EQ(put(n + 1), ORB_E_SCANLINE);
      EXPECT_EQ(put(n), 0);
      EXPECT_EQ(put(n), ORB_E_SCANLINE);
    }
    for (const int32_t line : {-1, 40}) EXPECT_EQ(put(line), ORB_E_SCANLINE);
    reports.clear();
    EXPECT_EQ(ORB_close(image.release()), ORB_E_WRITE);
    EXPECT_EQ(orb__err, ORB_E_WRITE);
    EXPECT_EQ(reports.reports.size(), 1U) << reports.texts();
    EXPECT_THAT(reports.texts(), HasSubstr("Cannot write to out; closed when "));
    EXPECT_NE(read("out"), 0);
    ORB_chan_free(rows);
  }
}

TEST_P(Conformance, a_full_disk_is_reported_once_wherever_it_shows) {
  for (const Layout* layout : {&format_.layouts.front(), &format_.layouts.back()}) {
    for (const int32_t side :
         {2, 600}) {  // few bytes fail when they are flushed, many while rows are written
      reports.clear();
      Wanted made = wanted("/dev/full", side, side);
      lay_out(made, *layout, layout->most_bits);
      EXPECT_EQ(write_all(made.open(), noise_for(made.ifd)), ORB_E_WRITE);
      EXPECT_EQ(errors(), 1U) << reports.texts();
      EXPECT_THAT(reports.texts(), AllOf(StartsWith("Cannot write "), EndsWith("No space left on device")));
    }
  }
}

TEST_P(Conformance, a_name_without_the_ending_gets_it_and_the_handle_says_so) {
  Wanted made = wanted("frame");
  made.is_exact = false;
  ASSERT_EQ(write_all(made.open(), noise_for(made.ifd)), 0);
  EXPECT_FALSE(fs::exists("frame"));
  const Image image = open_read(format_.key, "frame", {}, false);
  ASSERT_TRUE(image) << reports.texts();
  EXPECT_THAT(image->info.handle, StartsWith("frame."));
  EXPECT_TRUE(fs::exists(image->info.handle));
  const std::string with_ending = image->info.handle;
  fs::remove(with_ending);
  EXPECT_FALSE(open_read(format_.key, with_ending, {}, false));
  EXPECT_FALSE(open_read(format_.key, "absent", {}, false));
  EXPECT_THAT(reports.texts(), HasSubstr("Cannot open file absent; No such file or directory"));
}

// Another allocation fails each time, until none is left to fail. A file goes away again only with its failed open.
TEST_P(Conformance, any_allocation_may_fail) {
  const Table table = make_table(4);
  const auto write = [](Wanted& made, std::vector<Planes> planes) {
    fs::remove("out");
    Image image = made.open();
    EXPECT_EQ(fs::exists("out"), image != nullptr);
    return write_images(std::move(image), planes);
  };
  std::vector<std::function<int32_t()>> steps;
  for (const Example& example : format_.examples()) {
    const std::string name = "in" + std::to_string(steps.size());
    save(name, example.bytes);
    steps.emplace_back([this, name] { return read(name); });
  }
  for (const Layout* layout :
       {&format_.layouts.front(), &format_.layouts.back(), static_cast<const Layout*>(nullptr)}) {
    Wanted made = wanted("out", 5, 4);
    made.info.text1 = made.info.text3 = const_cast<char*>("T\xC3\xA9st");
    if (layout) lay_out(made, *layout, layout->most_bits);
    if (layout && has(kHasImages)) made.more.push_back(made.ifd);
    if (!layout) made.settings.clear();
    if (!layout && !format_.index_bits.empty()) made.index(2, table);
    const std::vector<Planes> planes(made.more.size() + 1, noise_for(made.ifd));
    steps.emplace_back([write, made, planes]() mutable { return write(made, planes); });
  }
  for (const auto& step : steps) {
    const bool is_write = &step >= &steps[steps.size() - 3];
    bool has_failed = true;
    for (int64_t nth = 1; has_failed; ++nth) {
      SCOPED_TRACE(nth);
      reports.clear();
      int32_t code = 0;
      {
        const FailAllocation fail(nth);
        code = step();
        has_failed = fail.happened();
      }
      EXPECT_THAT(code, AnyOf(0, has_failed ? ORB_E_MEMORY : 0)) << reports.texts();
      EXPECT_TRUE(!has_failed || !reports.reports.empty());
      EXPECT_TRUE(!is_write || (read("out") == 0) == (code == 0));
    }
  }
}

}  // namespace
}  // namespace orb::testing
