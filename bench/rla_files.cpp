// Whole run-length files through ORB_open, scanlines and ORB_close, against libtiff and libspng on files of the
// same pictures. Files are read from the page cache and written to a memory file system, where there is one.
#include <dlfcn.h>
#include <png.h>
#include <spng.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "bench/pairs.h"
#include "bench/pictures.h"
#include "bench/tiff_peer.h"
#include "orbbase/core.h"

namespace {

using namespace orb::bench;
namespace fs = std::filesystem;

[[noreturn]] void give_up(const char* what) {
  std::fprintf(stderr, "rla_files: %s\n", what);
  std::exit(2);
}

// ---- Files ----

// Removed with all that is in it when the program ends.
class Folder {
 public:
  explicit Folder(const fs::path& parent) : path_(parent / ("orb-rla-files-" + std::to_string(clock_now()))) {
    if (!fs::create_directory(path_)) give_up("cannot make a folder");
  }
  ~Folder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  [[nodiscard]] std::string file(const std::string& name) const { return (path_ / name).string(); }

 private:
  static long long clock_now() { return std::chrono::steady_clock::now().time_since_epoch().count(); }
  fs::path path_;
};

const Folder& disk() {
  static const Folder folder(fs::current_path());
  return folder;
}

const Folder& memory() {
  static const Folder folder(fs::is_directory("/dev/shm") ? fs::path("/dev/shm") : fs::temp_directory_path());
  return folder;
}

// ---- Ours ----

int32_t next_module(void** module_out, const char** name_out) {
  static bool was_offered = false;
  if (was_offered) return 0;
  was_offered = true;
  *module_out = dlopen(ORB_RLA_MODULE, RTLD_NOW | RTLD_LOCAL);
  if (!*module_out) give_up(dlerror());
  *name_out = "rla";
  return 1;
}

// A picture as an application describes it. Rows are taken from the picture itself.
class Described {
 public:
  Described(const Picture& picture, const std::string& path) : picture_(picture), path_(path) {
    static const int32_t started = ORB_init(nullptr, next_module);
    if (started != 0) give_up("the library does not start");
    ORB_info_init(&info_);
    info_.handle = path_.data();
    info_.key = key_;
    info_.open_option = 1;
    info_.image_count = 1;
    info_.images = &ifd_;
    ifd_.curve.kind = ORB_CURVE_GAMMA;
    ifd_.curve.gamma = 1.0f;
    ifd_.pixel_aspect = 1.0f;
    ifd_.orientation = ORB_BOTTOM_UP;
    ifd_.window = {0, static_cast<int32_t>(picture.width) - 1, 0, static_cast<int32_t>(picture.height) - 1};
    ifd_.active_window = ifd_.window;
    ifd_.color = group(picture.colour_channels);
    ifd_.matte = group(picture.matte_channels);
    ifd_.aux = group(picture.aux_channels);
    ifd_.index = {nullptr, 0, ORB_C_INTEGER, 8};
  }

  void write() {
    ORB_IMAGE* image = ORB_open(&info_, "w");
    if (!image) give_up("cannot open a file to write");
    std::vector<void*> rows(picture_.channels());
    for (size_t line = 0; line < picture_.height; ++line) {
      for (size_t c = 0; c < rows.size(); ++c) rows[c] = const_cast<uint8_t*>(picture_.row(line, c).data());
      if (ORB_scan_write(image, static_cast<int32_t>(line), rows.data()) != 0) give_up("cannot write");
    }
    if (ORB_close(image) != 0) give_up("cannot finish a file");
  }

  // use sees the rows of each of the first lines.
  template <class Use>
  void read(size_t lines, Use use) {
    ORB_IMAGE* image = ORB_open(&info_, "r");
    if (!image) give_up("cannot open a file");
    for (size_t line = 0; line < lines; ++line) {
      void** rows = nullptr;
      if (ORB_scan_read(image, static_cast<int32_t>(line), &rows) != 0) give_up("cannot read");
      use(line, rows);
    }
    if (ORB_close(image) != 0) give_up("cannot close a file");
  }
  void read(size_t lines) {
    read(lines, [](size_t, void** rows) { benchmark::DoNotOptimize(rows); });
  }

  void require_same() {
    read(picture_.height, [this](size_t line, void** rows) {
      for (size_t c = 0; c < picture_.channels(); ++c) {
        const auto wanted = picture_.row(line, c);
        if (!std::equal(wanted.begin(), wanted.end(), static_cast<uint8_t*>(rows[c]))) {
          give_up("the file holds another picture");
        }
      }
    });
  }

 private:
  [[nodiscard]] ORB_CHANNELS group(size_t count) const {
    constexpr int32_t kBits[] = {8, 10, 16, 32};
    const bool is_float = picture_.depth == Depth::floats;
    return {nullptr, static_cast<int32_t>(count), is_float ? uint32_t{ORB_C_FLOAT} : uint32_t{ORB_C_INTEGER},
            kBits[static_cast<size_t>(picture_.depth)]};
  }

  const Picture& picture_;
  std::string path_;
  char key_[4] = "rla";
  ORB_INFO info_;
  ORB_IFD ifd_ = {};
};

void read_ours(benchmark::State& state, Subject subject, Depth depth) {
  const Picture& source = picture(subject, depth);
  Described ours(source, disk().file("picture.rla"));
  ours.write();
  ours.require_same();
  for (auto _ : state) ours.read(source.height);
}

void write_ours(benchmark::State& state, Subject subject, Depth depth) {
  Described ours(picture(subject, depth), memory().file("picture.rla"));
  for (auto _ : state) ours.write();
}

// ---- libtiff ----

// The way that takes the least time for a job.
template <class Job>
TiffMode fastest_mode(Job job) {
  TiffMode fastest = tiff_modes().front();
  auto least = std::chrono::steady_clock::duration::max();
  for (int round = 0; round < 4; ++round) {
    for (const TiffMode& mode : tiff_modes()) {
      const auto begin = std::chrono::steady_clock::now();
      job(mode);
      const auto taken = std::chrono::steady_clock::now() - begin;
      if (taken < least) fastest = mode;
      least = std::min(taken, least);
    }
  }
  return fastest;
}

std::string tiff_path(const Folder& folder, const TiffMode& mode) {
  return folder.file("picture" + std::to_string(mode.rows_per_strip) + ".tif");
}

template <TiffCoding coding>
void read_tiff(benchmark::State& state, Subject subject, Depth depth) {
  const Picture& source = picture(subject, depth);
  const TiffWriter writer(source, coding);
  for (const TiffMode& mode : tiff_modes()) {
    writer.write(mode, tiff_path(disk(), mode));
    if (!TiffReader(tiff_path(disk(), mode), source, mode).is_same())
      give_up("libtiff holds another picture");
  }
  const TiffMode fastest = fastest_mode(
      [&](const TiffMode& mode) { TiffReader(tiff_path(disk(), mode), source, mode).read_all(); });
  for (auto _ : state) TiffReader(tiff_path(disk(), fastest), source, fastest).read_all();
}

void write_tiff(benchmark::State& state, Subject subject, Depth depth) {
  const TiffWriter writer(picture(subject, depth), TiffCoding::packbits);
  const auto write = [&](const TiffMode& mode) { writer.write(mode, tiff_path(memory(), mode)); };
  const TiffMode fastest = fastest_mode(write);
  for (auto _ : state) write(fastest);
}

// ---- Opening small files ----

// The middle of the scene: colour and matte.
const Picture& icon() {
  static const Picture made = [] {
    constexpr size_t kSize = 64;
    const Picture& scene = picture(Subject::scene, Depth::bits8);
    Picture small = {kSize, kSize, 3, 1, 0, Depth::bits8, {}};
    for (size_t line = 0; line < kSize; ++line) {
      for (size_t c = 0; c < small.channels(); ++c) {
        const auto row = scene.row(scene.height / 2 + line, c).subspan(scene.width / 2, kSize);
        small.bytes.insert(small.bytes.end(), row.begin(), row.end());
      }
    }
    return small;
  }();
  return made;
}

void open_ours(benchmark::State& state) {
  Described ours(icon(), disk().file("icon.rla"));
  ours.write();
  ours.require_same();
  for (auto _ : state) ours.read(1);
}

void open_tiff(benchmark::State& state) {
  const TiffWriter writer(icon(), TiffCoding::packbits);
  for (const TiffMode& mode : tiff_modes()) writer.write(mode, tiff_path(disk(), mode));
  const auto open = [](const TiffMode& mode) {
    TiffReader(tiff_path(disk(), mode), icon(), mode).read_first();
  };
  const TiffMode fastest = fastest_mode(open);
  for (auto _ : state) open(fastest);
}

void write_png(const std::string& path) {
  const Picture& source = icon();
  std::vector<uint8_t> pixels;
  for (size_t line = 0; line < source.height; ++line) {
    for (size_t x = 0; x < source.width; ++x) {
      for (size_t c = 0; c < source.channels(); ++c) pixels.push_back(source.row(line, c)[x]);
    }
  }
  png_image png = {};
  png.version = PNG_IMAGE_VERSION;
  png.width = static_cast<uint32_t>(source.width);
  png.height = static_cast<uint32_t>(source.height);
  png.format = PNG_FORMAT_RGBA;
  if (!png_image_write_to_file(&png, path.c_str(), 0, pixels.data(), 0, nullptr)) give_up(png.message);
}

void open_png(const std::string& path) {
  std::FILE* const file = std::fopen(path.c_str(), "rb");
  spng_ctx* const context = spng_ctx_new(0);
  uint8_t row[4 * 64];
  const bool is_read = file && context && spng_set_png_file(context, file) == 0 &&
                       spng_decode_image(context, nullptr, 0, SPNG_FMT_RGBA8, SPNG_DECODE_PROGRESSIVE) == 0 &&
                       spng_decode_row(context, row, sizeof row) == 0;
  if (!is_read) give_up("libspng cannot read");
  benchmark::DoNotOptimize(row);
  spng_ctx_free(context);
  std::fclose(file);
}

void open_spng(benchmark::State& state) {
  const std::string path = disk().file("icon.png");
  write_png(path);
  for (auto _ : state) open_png(path);
}

// ---- Rows ----

using Job = void (*)(benchmark::State&, Subject, Depth);

Side on(Job job, Subject subject, Depth depth) {
  return [=](benchmark::State& state) { job(state, subject, depth); };
}

constexpr const char* kReadMean = "read a file, 8 bits, all pictures";
constexpr const char* kWriteMean = "write a file, 8 bits, all pictures";

std::vector<Pair> all_rows() {
  std::vector<Pair> rows;
  for (const Subject subject : {Subject::coffee, Subject::chelsea, Subject::scene, Subject::gradients,
                                Subject::facets, Subject::grain}) {
    constexpr Depth depth = Depth::bits8;
    const std::string name = picture_name(subject, depth);
    rows.push_back({"read a file, " + name, on(read_ours, subject, depth), "libtiff PackBits",
                    on(read_tiff<TiffCoding::packbits>, subject, depth), 1 / 2.5, 1 / 2.2, kReadMean});
    rows.push_back({"write a file, " + name, on(write_ours, subject, depth), "libtiff PackBits",
                    on(write_tiff, subject, depth), 1 / 3.0, 1 / 2.7, kWriteMean});
  }
  for (const Subject subject : {Subject::coffee, Subject::scene}) {
    const std::string name = picture_name(subject, Depth::floats);
    rows.push_back({"read a file, " + name, on(read_ours, subject, Depth::floats), "libtiff, not compressed",
                    on(read_tiff<TiffCoding::none>, subject, Depth::floats), 1.0, 1 / 0.9});
  }
  rows.push_back(
      {"open, first row, close, 64 x 64 x 4", open_ours, "libtiff PackBits", open_tiff, 1 / 6.0, 1 / 4.0});
  rows.push_back({"open, first row, close, 64 x 64 x 4", open_ours, "libspng", open_spng, 1 / 2.0, 1 / 1.5});
  return rows;
}

const Pairs pairs(all_rows(), {{kReadMean, 1 / 4.0, 1 / 3.3}, {kWriteMean, 1 / 5.0, 1 / 4.2}});

}  // namespace
