// The picture reduced to a size: read and written.
#include <gtest/gtest.h>

#include "orbbase/imp.h"
#include "tests/operators/reduce_oracle.h"
#include "tests/support/environment.h"
#include "tests/support/plugins.h"
#include "tests/support/report_recorder.h"

namespace {

using namespace orb::testing;

IMP_PROCESS swatch_of(int32_t size, const ORB_IFD* full = nullptr) { return {"swatch", size, 0, 0, full}; }

std::vector<Plane> reduced_planes(const Source& source, const ORB_IFD& to) {
  std::vector<Plane> planes;
  const auto height = static_cast<size_t>(to.window.top - to.window.bottom + 1);
  for (size_t c = 0; c < meanings(source.ifd()).size(); ++c) {
    planes.push_back(reduced(source.light(c), window_width(to), height));
  }
  return planes;
}

std::string compare_swatch(const Source& source, int32_t size) {
  const Image image = source.open();
  const IMP_PROCESS process = swatch_of(size);
  if (IMP_open(image.get(), &process, "r") != image.get()) return "code " + std::to_string(orb__err);
  return compare_image(image.get(), reduced_planes(source, image->info.images[0]));
}

// Writes a source through a swatch and compares the file.
std::string compare_written(const Source& source, int32_t size, const char* key) {
  const IMP_PROCESS process = swatch_of(size, &source.ifd());
  Picture file("swatch.file", key);
  if (IMP_plan(&process, &source.ifd(), file.ifds.data(), 1) != 1) return "plan";
  Image writer = open_to_write(file);
  if (!writer || !IMP_open(writer.get(), &process, "w")) return "code " + std::to_string(orb__err);
  if (window_width(writer->info.images[0]) != window_width(source.ifd())) return "width for the application";
  if (source.write(writer.get()) != 0) return "rows";
  if (ORB_close(writer.release()) != 0) return "close";
  ORB_INFO info = file.info();
  const Image reader(ORB_open(&info, "r"));
  return compare_image(reader.get(), reduced_planes(source, file.ifds[0]));
}

TEST(Swatch, EveryKindIsTheSlowOne) {
  for (const Source& source : every_kind_of_source()) {
    for (const int32_t size : {5, 16, 22}) {
      const std::string what = std::to_string(source.ifd().color.width) + " bits to " + std::to_string(size);
      EXPECT_EQ(compare_swatch(source, size), "") << what;
      EXPECT_EQ(compare_written(source, size, "mem"), "") << what;
    }
  }
}

// Merged fields have a seek of their own, which knows lines of the full picture.
TEST(Swatch, SeeksThroughWhatIsBeneath) {
  for (const bool is_mipmap : {false, true}) {
    for (const char* name : {"w.0001", "w.0002"}) {
      ASSERT_EQ(write_whole(Picture(name, "pipe").seed(static_cast<uint8_t>(name[5]))), 0);
    }
    const Picture field("w.0001", "pipe");
    ORB_INFO info = field.info();
    ORB_IMAGE* image = ORB_open(&info, "r");
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
  const Picture full = Picture("full", "mem").window({0, 9, 0, 9});
  const ReportRecorder recorder;
  const struct {
    int32_t pair[2];
    int32_t images;
  } rows[] = {{{0, 0}, 1}, {{200, 1}, 1}, {{200, 200}, 2}};
  for (const auto& row : rows) {
    Picture file = Picture("swatch", "mem").images(row.images);
    for (int i = 0; i < 2; ++i) file.ifds[0].pair_a[i] = row.pair[i];
    const Image image = open_to_write(file);
    const IMP_PROCESS process = swatch_of(5);
    EXPECT_EQ(IMP_open(image.get(), &process, "w"), nullptr) << row.pair[0];
    EXPECT_EQ(image->layers, nullptr);
  }
  Picture file("swatch", "mem");
  const IMP_PROCESS process = swatch_of(5, full.ifds.data());
  ASSERT_EQ(IMP_plan(&process, full.ifds.data(), file.ifds.data(), 1), 1);
  const Image image = open_to_write(file);
  ASSERT_NE(IMP_open(image.get(), &process, "w"), nullptr);
  void** const samples = filled_rows(full, 0, 0);
  for (const int32_t line : {1, -1, 10, 99}) {
    EXPECT_EQ(ORB_scan_write(image.get(), line, samples), ORB_E_SCANLINE) << line;
  }
  EXPECT_EQ(ORB_scan_write(image.get(), 0, samples), 0);
  EXPECT_EQ(ORB_scan_write(image.get(), 0, samples), ORB_E_SCANLINE);
  ORB_chan_free(samples);
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

TEST(Swatch, EverySizeIsTheSlowOne) {
  for (int32_t width = 1; width <= 67; ++width) {
    for (const int32_t height : {1, 3, width % 16 == 3 ? 67 : 2}) {
      Picture picture("size.mem", "mem");
      picture.window({0, width - 1, 0, height - 1}).group(&ORB_IFD::color, 1, ORB_C_INTEGER, 8);
      if (width % 2 != 0) picture.top_down();
      for (const int32_t size : {1, 2, 31, 66, 100}) {
        EXPECT_EQ(compare_swatch(Source(picture), size), "") << width << " x " << height << " to " << size;
      }
    }
  }
}

TEST(Swatch, SizesKeepTheAspectAndAreNeverEnlarged) {
  const struct {
    int32_t width, height, size, swatch_width, swatch_height;
  } cases[] = {{300, 200, 0, 128, 85},    {200, 300, 30, 20, 30},  {1000, 1, 10, 10, 1},
               {129, 128, 128, 128, 127}, {128, 90, 0, 128, 90},   {50, 50, 64, 50, 50},
               {3, 2, 2, 2, 1},           {INT32_MAX, 4, 3, 3, 1}, {5, 7, 1, 1, 1},
               {640, 480, 128, 128, 96}};
  for (const auto& c : cases) {
    ORB_IFD full = Picture("plan.mem").ifds[0];
    full.window = full.active_window = {0, c.width - 1, 0, c.height - 1};
    const IMP_PROCESS process = swatch_of(c.size);
    ORB_IFD swatch;
    ASSERT_EQ(IMP_plan(&process, &full, &swatch, 1), 1);
    EXPECT_EQ(swatch.window.right + 1, c.swatch_width) << c.width << " x " << c.height;
    EXPECT_EQ(swatch.window.top + 1, c.swatch_height) << c.width << " x " << c.height;
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

TEST(Swatch, PictureThatFitsStaysAndOneThatDoesNotIsGivenBack) {
  const Image image = Source(Picture("fits.mem", "mem").window({5, 44, 0, 19})).open();
  const ORB_IMAGE before = *image;
  const IMP_PROCESS fitting = swatch_of(40);
  EXPECT_EQ(IMP_open(image.get(), &fitting, "r"), image.get());
  EXPECT_EQ(std::memcmp(&before, image.get(), sizeof before), 0);
  const IMP_PROCESS smaller = swatch_of(39);
  EXPECT_EQ(IMP_open(image.get(), &smaller, "r"), image.get());
  EXPECT_EQ(image->info.images[0].window.right, 38);
  EXPECT_EQ(IMP_remove(image.get()), 1);
  EXPECT_EQ(std::memcmp(&before, image.get(), sizeof before), 0);
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
    for (const int32_t line : {4, 4, 10, 0, 5, 6, 5}) {
      void** rows = nullptr;
      ASSERT_EQ(ORB_scan_read(image.get(), line, &rows), 0);
      for (size_t x = 0; x < planes[0].width; ++x) {
        const double sample = load_sample(source.ifd().color, rows[1], x);
        EXPECT_EQ(meanings(source.ifd())[1].check(planes[1].at(x, static_cast<size_t>(line)), sample), "");
      }
    }
    const ReportRecorder recorder;
    EXPECT_EQ(ORB_scan_read(image.get(), 11, nullptr), ORB_E_SCANLINE);
    EXPECT_EQ(ORB_scan_read(image.get(), -1, nullptr), ORB_E_SCANLINE);
    EXPECT_EQ(recorder.reports.size(), 2U);
  }
}

TEST(Swatch, ReducedImageReachesAnRlaFile) {
  const Plugins plugins({"rla_format"});
  Picture picture("full", "rla");
  picture.window({3, 80, 2, 61}).active({10, 70, 2, 50}).group(&ORB_IFD::matte, 1, ORB_C_INTEGER, 8);
  EXPECT_EQ(compare_written(Source(picture), 25, "rla"), "");
}

TEST(Swatch, PairOfTheFileStandsInForTheFullPicture) {
  const Source source(Picture("pair.mem", "mem").window({0, 20, 0, 15}));
  Picture file("pair.file", "mem");
  IMP_PROCESS process = swatch_of(7);
  ASSERT_EQ(IMP_plan(&process, &source.ifd(), file.ifds.data(), 1), 1);
  {
    const Image writer = open_to_write(file);
    ASSERT_EQ(IMP_open(writer.get(), &process, "w"), writer.get());
    EXPECT_EQ(writer->info.images[0].window.right, 20);
    EXPECT_EQ(source.write(writer.get()), 0);
  }
  file.ifds[0].pair_a[0] = 30;  // of another shape
  const Image writer = open_to_write(file);
  ReportRecorder recorder;
  EXPECT_EQ(IMP_open(writer.get(), &process, "w"), nullptr);
  EXPECT_EQ(orb__err, ORB_E_HANDLE);
  EXPECT_EQ(recorder.texts(), "swatch cannot handle the requested action");
}

}  // namespace
