// Reduced pictures: reading a file and making all levels of its pyramid against reading the file; and
// the kernel that does most of it, against a plain copy of the rows.
//
// The levels go to a driver that takes and forgets them, so that what is timed beside the reading is the making.
#include <optional>
#include <random>

#include "bench/file.h"
#include "bench/frame.h"
#include "bench/pairs.h"
#include "orbbase/imp.h"
#include "orbbase/operators/reduce_rows.h"

namespace {

using namespace orb::bench;

// ---- Pyramids ----

// A handle of the memory driver for the levels of a picture, whose rows go nowhere. The driver would keep them.
class Sink {
 public:
  explicit Sink(ORB_IFD full) {
    constexpr IMP_PROCESS kPyramid = {"mipmap", 0, 0, 0, nullptr};
    File file("bench/reduce.mem", full);
    ORB_IFD levels[40];
    file.info.image_count = IMP_plan(&kPyramid, &full, levels, 40);
    file.info.images = levels;
    image_ = file.open("w");
    image_->scan = [](void*, int32_t, void*) -> int32_t { return 0; };
    if (!IMP_open(image_, &kPyramid, "w")) give_up("cannot open a generator");
  }
  ~Sink() { close(image_); }
  Sink(const Sink&) = delete;
  Sink& operator=(const Sink&) = delete;

  void put(int32_t line, void** rows) {
    if (ORB_scan_write(image_, line, rows) != 0) give_up("cannot make a level");
  }

 private:
  ORB_IMAGE* image_;
};

// What a row is about.
struct Source {
  const char* key;
  Subject subject;
  Depth depth;
  float gamma;
};

// Reads a file; makes its pyramid as well, or not.
void read_file(benchmark::State& state, Source source, bool has_pyramid) {
  const Picture& in = picture(source.subject, source.depth);
  ORB_IFD ifd = described(in);
  ifd.curve.gamma = source.gamma;
  File file(scratch_path(std::string("picture.") + source.key), ifd);
  file.write(in);
  for (auto _ : state) {
    ORB_IMAGE* image = file.open("r");
    ifd.color = image->info.images[0].color;
    ifd.orientation = image->info.images[0].orientation;
    std::optional<Sink> sink;
    if (has_pyramid) sink.emplace(ifd);
    read_lines(image, [&](int32_t line, void** rows) {
      if (sink) sink->put(line, rows);
      benchmark::DoNotOptimize(rows[0]);
    });
    sink.reset();
    close(image);
  }
}

Pair pyramid_of(const Source& source) {
  const std::string name = std::string("pyramid, ") + source.key + ", " +
                           picture_name(source.subject, source.depth) + ", gamma " +
                           (source.gamma == 1.0F ? "1" : "2.2");
  return {name, on(read_file, source, true), "reading alone", on(read_file, source, false), 1.6};
}

// ---- Kernels ----

constexpr size_t kWidth = 4096;

// One row of a level out of two rows of 8 bits.
void halve(benchmark::State& state, float gamma) {
  const orb::reduce::Form form = gamma == 1.0F ? orb::reduce::Form::code : orb::reduce::Form::table;
  const ORB_RESPONSE_CURVE curve = {ORB_CURVE_GAMMA, gamma, 0, 1, 256, ORB_C_INTEGER, 8, nullptr};
  const auto table = orb::reduce::make_code_table(curve, 0, 8);
  const orb::reduce::Light light = {table.get(), 1, 255};
  const orb::reduce::RowFunctions& rows = orb::reduce::row_functions(ORB_C_INTEGER, 8, form);
  std::vector<uint8_t> in(kWidth);
  std::mt19937 random(1);
  for (uint8_t& sample : in) sample = static_cast<uint8_t>(random());
  std::vector<float> sums(kWidth / 2);
  std::vector<float> lights(kWidth / 2);
  std::vector<uint8_t> out(kWidth / 2);
  for (auto _ : state) {
    rows.pair_samples(light, in.data(), kWidth, sums.data());
    rows.pair_samples(light, in.data(), kWidth, lights.data());
    rows.average(sums.data(), lights.data(), kWidth / 2, lights.data());
    rows.samples(light, lights.data(), kWidth / 2, out.data());
    benchmark::ClobberMemory();
  }
}

const Side copy = on(copy_lines, kWidth, 2);

const Pairs pairs({
    {"halve 2 rows of 8 bits, gamma 2.2", on(halve, 2.2F), "memcpy", copy, kNoGoal},
    {"halve 2 rows of 8 bits, gamma 1", on(halve, 1.0F), "memcpy", copy, kNoGoal},
    pyramid_of({"png", Subject::coffee, Depth::bits8, 2.2F}),
    pyramid_of({"png", Subject::coffee, Depth::bits8, 1.0F}),
    pyramid_of({"png", Subject::coffee, Depth::bits16, 2.2F}),
    pyramid_of({"rla", Subject::coffee, Depth::bits8, 2.2F}),
    pyramid_of({"rla", Subject::coffee, Depth::bits8, 1.0F}),
    pyramid_of({"rla", Subject::facets, Depth::bits8, 2.2F}),
});

}  // namespace
