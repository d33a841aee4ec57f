// The picture reduced to a size: read and written.
#include <gtest/gtest.h>

#include "tests/operators/reduce_oracle.h"
#include "tests/support/environment.h"
#include "tests/support/report_recorder.h"

namespace {

using namespace orb::testing;

// Merged fields have a seek of their own, which knows lines of the full picture.
TEST(Swatch, SeeksThroughWhatIsBeneath) {
  for (const bool is_mipmap : {false, true}) {
    for (const char* name : {"w.0001", "w.0002"}) {
      ASSERT_EQ(write_whole(Picture(name, "pipe").seed(static_cast<uint8_t>(name[5]))), 0);
    }
    ORB_IMAGE* image = Picture("w.0001", "pipe").open("r");
    image->info.field_value = 1;
    image = ORB__merge_fields(image);
    const IMP_PROCESS process = is_mipmap ? IMP_PROCESS{"mipmap", 0, 0, 0, nullptr} : swatch_of(5);
    ASSERT_EQ(IMP_open(image, &process, "r"), image);
    if (is_mipmap) ORB__select(image, 1);
    const ORB_IFD reduced = image->info.images[0];
    std::vector<std::vector<std::vector<uint8_t>>> rows;
    for (int32_t line = 0; line <= reduced.window.top; ++line) {
      rows.push_back(read_line<uint8_t>(image, line, 3, window_width(reduced)));
      ASSERT_FALSE(rows.back().empty());
    }
    ASSERT_GT(rows.size(), 3u);
    for (const int32_t line : {2, 0, 3, 1}) {
      ASSERT_EQ(ORB_seek(&image, line), ORB_OK);
      EXPECT_EQ(read_line<uint8_t>(image, line, 3, window_width(reduced)), rows[static_cast<size_t>(line)]);
    }
    EXPECT_EQ(ORB_close(image), 0);
  }
}

TEST(Swatch, WritersRefuseFilesThatAreNoneAndRowsOutOfOrder) {
  const Source source(Picture("full", "mem").window({0, 20, 0, 15}));
  const IMP_PROCESS process = swatch_of(7);
  const Picture planned = planned_file(source, process, "swatch", "mem");
  // The full picture's size, which the file holds, stands in for its description.
  const struct {
    int32_t width, height, images;
  } rows[] = {{0, 0, 1}, {200, 1, 1}, {30, 16, 1}, {21, 16, 2}, {21, 16, 1}};
  for (const auto& row : rows) {
    Picture file = planned;
    file.images(row.images).ifds[0].pair_a[0] = row.width;
    file.ifds[0].pair_a[1] = row.height;
    const Image image = open_to_write(file);
    const ReportRecorder recorder;
    const bool is_good = &row == std::end(rows) - 1;
    EXPECT_EQ(IMP_open(image.get(), &process, "w"), is_good ? image.get() : nullptr) << row.width;
    EXPECT_EQ(recorder.texts(), is_good ? "" : "swatch cannot handle the requested action");
    EXPECT_EQ(image->layers != nullptr, is_good);
    if (!is_good) continue;
    EXPECT_EQ(image->info.images[0].window.right, 20);
    void** const samples = source.rows(0);
    for (const int32_t line : {1, -1, 16, 99}) {
      EXPECT_EQ(ORB_scan_write(image.get(), line, samples), ORB_E_SCANLINE) << line;
    }
    ORB_chan_free(samples);
    EXPECT_EQ(source.write(image.get()), 0);
    EXPECT_EQ(source.write(image.get()), ORB_E_SCANLINE);
  }
}

// What a stack stands on that has frames: the second is the first one's negative.
bool is_second_frame = false;
int32_t scan_frame(void* data, int32_t line, void* rows_out) {
  const auto* below = static_cast<const ORB_LAYER*>(data);
  const int32_t result = below->scan(below->data, line, rows_out);
  if (result != 0 || !is_second_frame) return result;
  auto* const row = static_cast<uint8_t*>((*static_cast<void***>(rows_out))[0]);
  for (int32_t i = 0; i <= 6; ++i) row[i] = static_cast<uint8_t>(~row[i]);
  return 0;
}

TEST(Swatch, ARowIsOfOneFrameAlone) {
  constexpr ORB_LAYER_KIND kFrames = {1002, scan_frame, nullptr};
  std::vector<uint8_t> rows[2];
  for (const bool changes_within : {false, true}) {
    is_second_frame = !changes_within;
    const Image image = open_written(Picture("frames.mem", "mem"));
    image->info.frame_count = 2;
    orb__install_layer(image.get(), &kFrames, static_cast<ORB_LAYER*>(ERR_malloc(sizeof(ORB_LAYER))));
    image->set_frame = [](void*, intptr_t, intptr_t, intptr_t) { return is_second_frame = true, 0; };
    const IMP_PROCESS process = swatch_of(3);
    ASSERT_EQ(IMP_open(image.get(), &process, "r"), image.get());
    ASSERT_EQ(read_line<uint8_t>(image.get(), 0, 1, 3).size(), 1u);
    ASSERT_EQ(ORB_set_frame(image.get(), 2, 0, 0), 0);
    rows[changes_within] = read_line<uint8_t>(image.get(), 1, 1, 3)[0];
  }
  EXPECT_EQ(rows[0], rows[1]);
}

TEST(Swatch, SizesKeepTheAspectAndAreNeverEnlarged) {
  const struct {
    int32_t width, height, size, swatch_width, swatch_height;
  } cases[] = {{300, 200, 0, 128, 85},    {200, 300, 30, 20, 30}, {1000, 1, 10, 10, 1},
               {129, 128, 128, 128, 127}, {50, 50, 64, 50, 50},   {3, 2, 2, 2, 1},
               {INT32_MAX, 4, 3, 3, 1}};
  for (const auto& c : cases) {
    const Source source(Picture("plan.mem").window({0, c.width - 1, 0, c.height - 1}));
    const ORB_WINDOW swatch = planned_file(source, swatch_of(c.size), "", "mem").ifds.at(0).window;
    EXPECT_EQ(swatch.right + 1, c.swatch_width) << c.width << " x " << c.height;
    EXPECT_EQ(swatch.top + 1, c.swatch_height) << c.width << " x " << c.height;
  }
}

TEST(Swatch, SizeOfTheConfigurationStandsInForNone) {
  FILE* file = std::fopen(".orbrc", "w");
  std::fputs("fmt__swatch_size 10\n", file);
  std::fclose(file);
  const Environment home("HOME", ".");
  const Image image = Source(Picture("configured.mem", "mem").window({0, 39, 0, 19})).open();
  const IMP_PROCESS process = swatch_of(0);
  ASSERT_NE(IMP_open(image.get(), &process, "r"), nullptr);
  EXPECT_EQ(image->info.images[0].window.right, 9);
  EXPECT_EQ(image->info.images[0].window.top, 4);
}

TEST(Swatch, RowsAreReadInAnyOrderWhereTheFileAllowsIt) {
  for (const bool is_upward : {true, false}) {
    Picture picture("any.mem", "mem");
    picture.window({0, 30, -7, 30});
    if (!is_upward) picture.top_down();
    const Source source(picture);
    const Image image = source.open();
    const IMP_PROCESS process = swatch_of(11);
    ASSERT_NE(IMP_open(image.get(), &process, "r"), nullptr);
    const auto planes = reduced_planes(source, image->info.images[0]);
    for (const size_t line : {4, 4, 10, 0, 5, 6, 5}) EXPECT_EQ(compare_row(image.get(), planes, line), "");
    const ReportRecorder recorder;
    EXPECT_EQ(ORB_scan_read(image.get(), 11, nullptr), ORB_E_SCANLINE);
    EXPECT_EQ(ORB_scan_read(image.get(), -1, nullptr), ORB_E_SCANLINE);
    EXPECT_EQ(recorder.reports.size(), 2U);
  }
}

}  // namespace
