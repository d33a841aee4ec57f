// What all operators share: stacking, removal, refusals, and what a handle still does under them.
#include "orbbase/operators/operator.h"

#include <gtest/gtest.h>

#include "orbbase/imp.h"
#include "tests/operators/operator_image.h"
#include "tests/support/fail_allocation.h"
#include "tests/support/report_recorder.h"

namespace {

using namespace orb::testing;

using Install = ORB_IMAGE* (*)(ORB_IMAGE*);
constexpr ORB_QUANTIZE_TARGET kBytes = {ORB_C_INTEGER, 8};
constexpr ORB_QUANTIZE_TARGET kReal = {ORB_C_FLOAT, 32};

Picture byte_picture() {
  return Picture("op.mem", "mem")
      .window({-2, 40, -1, 6})
      .active({1, 37, 0, 5})
      .group(&ORB_IFD::matte, 1, ORB_C_INTEGER, 8)
      .group(&ORB_IFD::aux, 1, ORB_C_INTEGER, 8);
}
Picture real_picture() { return byte_picture().group(&ORB_IFD::color, 3, ORB_C_FLOAT, 32); }

ORB_IMAGE* gamma_once(ORB_IMAGE* image) {
  ORB_RESPONSE_CURVE curve = gamma_curve(1.5f);
  return ORB__gamma(image, &curve);
}
ORB_IMAGE* minmax_once(ORB_IMAGE* image) { return ORB__minmax(image, 0.25, 0.75); }
template <uint32_t type, int32_t width>
ORB_IMAGE* quantize_to(ORB_IMAGE* image) {
  const ORB_QUANTIZE_TARGET target = {type, width};
  return ORB__quantize(image, image ? image->mode : 0, &target, &kBytes, &kBytes);
}
constexpr Install kQuantizeOnce = quantize_to<ORB_C_INTEGER, 8>;
template <int32_t index>
ORB_IMAGE* select_image(ORB_IMAGE* image) {
  return ORB__select(image, index);
}
ORB_IMAGE* generate(ORB_IMAGE* image, const char* type, int32_t size, int32_t levels = 0,
                    int32_t filter = 0) {
  const IMP_PROCESS process = {type, size, levels, filter, nullptr};
  return IMP_open(image, &process, image && image->mode == ORB_MODE_WRITE ? "w" : "r");
}
template <int32_t size>
ORB_IMAGE* swatch_of(ORB_IMAGE* image) {
  return generate(image, "swatch", size);
}
template <int32_t levels>
ORB_IMAGE* mipmap_of(ORB_IMAGE* image) {
  return generate(image, "mipmap", 0, levels);
}
// With a curve of tables.
template <int32_t channels, int32_t entries, int32_t bits, int32_t type>
ORB_IMAGE* gamma_table(ORB_IMAGE* image) {
  Table wanted(2.0f, channels, entries, bits, type);
  return ORB__gamma(image, &wanted);
}

struct Operator {
  const char* name;
  Install install;
  Picture picture;  // that it can be put on
};
std::vector<Operator> operators() {
  return {{"gamma correction operator", gamma_once, byte_picture()},
          {"min-max transform operator", minmax_once, byte_picture()},
          {"quantize operator", kQuantizeOnce, real_picture()},
          {"select", select_image<1>, byte_picture().images(2)},
          {"swatch", swatch_of<4>, byte_picture()},
          {"mipmap", mipmap_of<0>, byte_picture()},
          {"field merge", ORB__merge_fields, byte_picture()}};
}

bool is_same(const ORB_IMAGE& a, const ORB_IMAGE& b) { return std::memcmp(&a, &b, sizeof a) == 0; }

TEST(Operators, StackIsTakenOffFromTheTopAlone) {
  const Picture picture = byte_picture();
  const Image image = open_written(picture);
  const ORB_IMAGE bare = *image;
  ASSERT_EQ(gamma_once(image.get()), image.get());
  const ORB_IMAGE lower = *image;
  void* const lower_data = image->driver->data;
  minmax_once(image.get());
  const ORB_IMAGE middle = *image;
  gamma_once(image.get());
  EXPECT_FALSE(is_same(*image, middle) || is_same(middle, lower) || is_same(lower, bare));
  for (const auto remove : {ORB__minmax_remove, ORB__quantize_remove, ORB__select_remove}) {
    EXPECT_EQ(remove(image.get()), 0);
  }
  EXPECT_EQ(ORB__gamma_remove(image.get()), 1);
  EXPECT_TRUE(is_same(*image, middle));
  EXPECT_EQ(ORB__gamma_remove(image.get()), 0);
  EXPECT_EQ(ORB__minmax_remove(image.get()), 1);
  EXPECT_EQ(image->driver->data, lower_data);
  EXPECT_EQ(ORB__gamma_remove(image.get()), 1);
  EXPECT_TRUE(is_same(*image, bare));
  EXPECT_EQ(ORB__gamma_remove(image.get()), 0);  // the driver's data is nobody's operator
  EXPECT_EQ(compare_line(image.get(), picture, 2), "");
  gamma_once(minmax_once(image.get()));  // which the close unwinds
}

TEST(Operators, HandlesThatLackSomethingStayAsTheyAre) {
  constexpr void (*kLacks[])(ORB_IMAGE&) = {
      [](ORB_IMAGE& image) { image.scan = nullptr; },
      [](ORB_IMAGE& image) { image.driver = nullptr; },
      [](ORB_IMAGE& image) { image.info.images = nullptr, image.info.image_count = 0; },
      [](ORB_IMAGE& image) { image.info.image_count = 0; },
      [](ORB_IMAGE& image) { image.info.image_count = 1, image.info.handle = nullptr, image.scan = nullptr; },
  };
  const Image image = open_written(real_picture().images(2));
  image->info.field_value = 1;
  const ORB_IMAGE whole = *image;
  for (const Operator& op : operators()) {
    for (const auto lack : kLacks) {
      lack(*image);
      const ORB_IMAGE before = *image;
      const ReportRecorder recorder;
      op.install(image.get());
      EXPECT_TRUE(is_same(*image, before)) << op.name;
      const bool counts = image->scan && image->driver && op.install != select_image<1>;
      EXPECT_EQ(recorder.texts(), counts && op.install != ORB__merge_fields
                                      ? std::string(op.name) + " cannot store multiple images"
                                      : "");
      *image = whole;
    }
    const ReportRecorder recorder;
    EXPECT_EQ(op.install(nullptr), nullptr) << op.name;
    EXPECT_EQ(recorder.texts(), "");
  }
  for (const char* type : {"swatch", "mipmap"}) {
    const IMP_PROCESS process = {type, 4, 0, 0, nullptr};
    EXPECT_EQ(IMP_open(image.get(), &process, "w"), nullptr);  // open in the other mode
  }
  ORB_IMAGE* field = nullptr;
  EXPECT_EQ(ORB__merge_fields_remove(nullptr, &field), 1);
  EXPECT_EQ(ORB__minmax_remove(nullptr), 1);
  EXPECT_EQ(ORB__minmax(nullptr, 0, 0.5), nullptr);
  EXPECT_EQ(orb__err, ORB_E_HANDLE);
  const orb::ImageOwner bare = orb::new_handle(ORB_MODE_READ);
  EXPECT_EQ(ORB__minmax_remove(bare.get()), 1);  // there is nothing in slot 0
  EXPECT_EQ(ORB__gamma(image.get(), nullptr), image.get());
  EXPECT_EQ(orb__err, ORB_E_HANDLE);
  const ReportRecorder recorder;
  EXPECT_EQ(orb::op::check_matte("some operator", *image, 2), ORB_E_HANDLE);
  EXPECT_EQ(recorder.texts(), "some operator cannot store multiple images");
}

// What ORB_scan_read would hand to a layer for an image that the layer does not know.
TEST(Operators, ImagesThatAnOperatorDoesNotKnowAreLocked) {
  for (const Operator& op : operators()) {
    if (op.install == ORB__merge_fields) continue;  // needs two files; its own test has that
    for (const bool is_writing : {false, true}) {
      const Image image = is_writing ? open_to_write(op.picture) : open_written(op.picture);
      const ReportRecorder recorder;
      if (is_writing && op.install == kQuantizeOnce) continue;
      op.install(image.get());
      if (is_writing && !image->layers) continue;  // one that only reads
      ASSERT_NE(image->layers, nullptr) << op.name;
      void** rows = nullptr;
      EXPECT_EQ(image->scan(nullptr, 0, &rows), -1) << op.name;
      EXPECT_EQ(recorder.texts(), "Cannot access sub image (attempted to access a locked sub image)");
      EXPECT_TRUE(!image->seek || image->seek(nullptr, 0) != 0) << op.name;
    }
  }
}

// ---- What they refuse, and where they are not needed ---------------------------------------------------

uint8_t table_entries[256];
void* tables[] = {table_entries, table_entries, table_entries};
template <int32_t channels, int32_t entries, uint32_t type, int32_t depth>
void set_tables(ORB_IMAGE& image) {
  image.info.images->curve = {ORB_CURVE_TABLE, 1.0F, 0, channels, entries, type, depth, tables};
}
template <ORB_CHANNELS ORB_IFD::*group, uint32_t type, int32_t width>
void set_group(ORB_IMAGE& image) {
  (image.info.images->*group).type = type;
  (image.info.images->*group).width = width;
}
void leave(ORB_IMAGE&) {}
void set_indices(ORB_IMAGE& image) {
  image.info.images->color.count = 0;
  image.info.images->index.count = 1;
}

// Each on a handle for reading a byte picture, or for writing one, that was spoilt first.
struct Trial {
  Install install;
  void (*spoil)(ORB_IMAGE& image);
  const char* message;
  bool is_writing = false;
};

void expect_left_alone(const Trial& trial, const std::string& text) {
  const Image image = trial.is_writing ? open_to_write(byte_picture()) : open_written(byte_picture());
  const ORB_IMAGE whole = *image;
  const ORB_IFD ifd = *image->info.images;
  trial.spoil(*image);
  const ORB_IMAGE before = *image;
  const ReportRecorder recorder;
  const ORB_IMAGE* const result = trial.install(image.get());
  const bool is_refused = !text.empty();
  const bool is_generator = text.starts_with("swatch") || text.starts_with("mipmap");
  EXPECT_EQ(result, is_refused && is_generator ? nullptr : image.get()) << text;
  EXPECT_EQ(orb__err, is_refused ? ORB_E_HANDLE : ORB_OK) << text;
  EXPECT_EQ(recorder.texts(), text);
  ASSERT_TRUE(is_same(*image, before)) << text;
  *image->info.images = ifd;
  *image = whole;
}

TEST(Operators, RefuseWhatTheyCannotDo) {
  constexpr const char* kAction = " cannot handle the requested action";
  constexpr const char* kType = " cannot handle image channel type";
  constexpr const char* kWidth = " cannot handle image channel width";
  constexpr uint32_t kInteger = ORB_C_INTEGER;
  constexpr uint32_t kFloat = ORB_C_FLOAT;
  constexpr auto kMakeReal = set_group<&ORB_IFD::color, kFloat, 32>;
  constexpr auto kMakePair = [](ORB_IMAGE& image) { image.info.image_count = 2; };
  const struct {
    const char* name;
    std::vector<Trial> trials;
  } rows[] = {
      {"min-max transform operator",
       {{minmax_once, leave, kAction, true},
        {minmax_once, set_group<&ORB_IFD::color, kInteger, 16>, kWidth},
        {minmax_once, kMakeReal, kType},
        {minmax_once, set_group<&ORB_IFD::matte, kInteger, 9>, " cannot handle matte channel width"},
        {minmax_once, set_group<&ORB_IFD::matte, ORB_C_DOUBLE, 8>, " cannot handle matte channel type"},
        {minmax_once, set_group<&ORB_IFD::aux, kInteger, 32>, " cannot handle auxiliary channel width"},
        {minmax_once, set_group<&ORB_IFD::aux, kFloat, 8>, " cannot handle auxiliary channel type"}}},
      {"gamma correction operator",
       {{gamma_once, set_group<&ORB_IFD::color, kInteger, 9>, kWidth},
        {gamma_once, set_group<&ORB_IFD::color, kInteger, 4>, kWidth, true},
        {gamma_once, set_indices, kAction, true},
        {gamma_table<3, 4096, 10, ORB_C_INTEGER>, leave, kAction},
        {gamma_table<3, 4096, 8, ORB_C_FLOAT>, leave, kAction}}},
      {"quantize operator",
       {{quantize_to<kInteger, 0>, kMakeReal, kWidth},
        {quantize_to<kInteger, 33>, kMakeReal, kWidth},
        {quantize_to<4, 8>, kMakeReal, kType}}},
      {"mem",
       {{select_image<-1>, kMakePair, kAction},
        {select_image<2>, kMakePair, kAction},
        {select_image<INT32_MAX>, kMakePair, kAction}}},
      {"swatch",
       {{swatch_of<-1>, leave, kAction},
        {swatch_of<-1>, leave, kAction, true},
        {[](ORB_IMAGE* image) { return generate(image, "swatch", 4, 0, 1); }, leave, kAction}}},
      {"mipmap", {{mipmap_of<-1>, leave, kAction}, {mipmap_of<-1>, leave, kAction, true}}},
  };
  for (const auto& row : rows) {
    for (const Trial& trial : row.trials) expect_left_alone(trial, std::string(row.name) + trial.message);
  }
  constexpr Trial kGenerators[] = {
      {nullptr, set_tables<0, 256, kInteger, 8>, kAction},
      {nullptr, set_tables<3, 0, kInteger, 8>, kAction},
      {nullptr, set_tables<3, 256, kInteger, 7>, kAction},
      {nullptr, set_tables<3, 256, kInteger, 17>, kAction},
      {nullptr, set_tables<3, 256, ORB_C_DOUBLE, 8>, kAction},
      {nullptr, [](ORB_IMAGE& image) { set_tables<3, 256, kInteger, 8>(image), kMakeReal(image); }, kAction},
      {nullptr, set_indices, kType},
      {nullptr, [](ORB_IMAGE& image) { image.info.images->curve.kind = ORB_CURVE_TABLE; }, kAction},
  };
  for (Trial trial : kGenerators) {
    trial.install = swatch_of<4>;
    expect_left_alone(trial, std::string("swatch") + trial.message);
    trial.install = mipmap_of<0>;
    expect_left_alone(trial, std::string("mipmap") + trial.message);
  }
  // The depth says how many entries the other curve would need.
  for (const auto spoil : {set_tables<3, 256, kInteger, -1>, set_tables<3, 256, kInteger, 31>}) {
    expect_left_alone({gamma_once, spoil, ""}, "Invalid curve depth 1 found: must be in the range 8 to 16");
  }
}

TEST(Operators, InstallNothingWhereNothingIsToBeDone) {
  constexpr auto kMakeReal = set_group<&ORB_IFD::color, ORB_C_FLOAT, 32>;
  const Trial trials[] = {
      {kQuantizeOnce, leave, ""},
      {quantize_to<ORB_C_FLOAT, 32>,
       [](ORB_IMAGE& image) {
         kMakeReal(image);
         image.info.images->matte.count = image.info.images->aux.count = 0;
       },
       "", true},
      {kQuantizeOnce, [](ORB_IMAGE& image) { kMakeReal(image), image.info.images->aspect_kind = 2; }, ""},
      {[](ORB_IMAGE* image) { return ORB__quantize(image, 0, &kReal, nullptr, nullptr); }, leave, ""},
      {[](ORB_IMAGE* image) {
         ORB_RESPONSE_CURVE wanted = gamma_curve(2.2f);
         ORB__gamma(image, &wanted);
         EXPECT_EQ(wanted.channel_count, 0);
         return image;
       },
       [](ORB_IMAGE& image) {  // of too few bits for a table, and still nothing to correct
         image.info.images->curve.gamma = 2.2f;
         set_group<&ORB_IFD::color, ORB_C_INTEGER, 4>(image);
       },
       "", true},
      {[](ORB_IMAGE* image) { return ORB__minmax(image, 0, 1); }, leave, ""},
      {select_image<5>, leave, ""},
      {[](ORB_IMAGE* image) { return generate(image, "swatch", 43); }, leave, ""},
  };
  for (const Trial& trial : trials) {
    SCOPED_TRACE(&trial - trials);
    expect_left_alone(trial, "");
  }
}

TEST(Operators, FailedAllocationsLeaveTheHandleAsItWas) {
  IMP_info();  // starts the database
  for (const Operator& op : operators()) {
    const IMP_PROCESS process = {op.name, 4, 0, 0, nullptr};
    Picture written = op.picture;  // by a generator
    written.ifds.resize(10);
    const ReportRecorder silent;
    written.ifds.resize(
        static_cast<size_t>(IMP_plan(&process, op.picture.ifds.data(), written.ifds.data(), 10)));
    for (const bool is_writing : {false, true}) {
      if (op.install == ORB__merge_fields || (is_writing && written.ifds.empty())) continue;
      const Image image = is_writing ? open_to_write(written) : open_written(op.picture);
      const ORB_IMAGE before = *image;
      const ORB_CHANNELS color = image->info.images->color;
      for (int64_t nth = 1;; ++nth) {
        SCOPED_TRACE(op.name + std::to_string(nth));
        const FailAllocation fault(nth);
        op.install(image.get());
        if (!fault.happened()) break;
        EXPECT_EQ(orb__err, ORB_E_MEMORY);
        EXPECT_TRUE(is_same(*image, before));
        EXPECT_EQ(std::memcmp(&image->info.images->color, &color, sizeof color), 0);
      }
      EXPECT_NE(image->layers, nullptr) << op.name;
    }
  }
}

// ---- What a handle does under them ---------------------------------------------------------------------

// A reader whose file would have to be opened again loses no operator without a word.
TEST(Operators, SeekingBackInASequentialFileIsRefusedUnderAnOperator) {
  Picture stream = byte_picture();
  stream.name = "op.pipe";
  stream.key = "pipe";
  ORB_IMAGE* image = open_written(stream).release();
  gamma_once(minmax_once(image));
  const ReportRecorder recorder;
  void** rows = nullptr;
  EXPECT_EQ(ORB_scan_read(image, 99, &rows), ORB_E_SCANLINE);  // the driver's word
  EXPECT_EQ(recorder.reports.size(), 1u);
  EXPECT_EQ(ORB_seek(&image, 3), ORB_OK);
  EXPECT_EQ(ORB_scan_read(image, 3, &rows), 0);
  EXPECT_EQ(ORB_seek(&image, 1), ORB_E_HANDLE);
  EXPECT_EQ(recorder.reports.back().text, "pipe cannot handle the requested action");
  EXPECT_EQ(ORB__gamma_remove(image) + ORB__minmax_remove(image), 2);
  EXPECT_EQ(ORB_seek(&image, 1), ORB_OK);
  EXPECT_EQ(compare_line(image, stream, 1), "");
  ORB_close(image);
}

TEST(Select, ChosenImageIsTheOnlyOneUntilTheRemoval) {
  const Picture picture = byte_picture().images(3);
  const Image image = open_written(picture);
  const ORB_IMAGE before = *image;
  ORB__select(image.get(), 2);
  ASSERT_EQ(image->info.image_count, 1);
  const ORB_IFD& ifd = picture.ifds[2];
  EXPECT_EQ(image->info.images[0].window.right, ifd.window.right);
  EXPECT_EQ(image->driver[1].data, nullptr);
  const int32_t column = ifd.active_window.left - ifd.window.left;
  const auto rows = read_line<uint8_t>(image.get(), 3, 1, window_width(ifd));
  EXPECT_EQ(rows.at(0)[static_cast<size_t>(column)], picture.sample_byte(2, 0, 3, column));
  minmax_once(image.get());
  EXPECT_EQ(orb__err, ORB_OK);
  EXPECT_EQ(ORB__select_remove(image.get()), 0);
  EXPECT_EQ(ORB__minmax_remove(image.get()), 1);
  EXPECT_EQ(ORB__select_remove(image.get()), 1);
  EXPECT_TRUE(is_same(*image, before));
  for (int32_t i = 0; i < 3; ++i) EXPECT_EQ(compare_line(image.get(), picture, 3, i), "") << i;
}

TEST(Select, OperatorsBeneathLockTheOtherImages) {
  const Image image = open_written(byte_picture().images(2));
  minmax_once(image.get());
  const ReportRecorder recorder;
  for (const int32_t index : {0, 1}) {
    void** rows = nullptr;
    ORB__select(image.get(), index);
    EXPECT_EQ(ORB_scan_read(image.get(), 1, &rows), -index);
    ORB__select_remove(image.get());
  }
  EXPECT_EQ(recorder.texts(), "Cannot access sub image (attempted to access a locked sub image)");
}

}  // namespace
