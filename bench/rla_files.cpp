// Whole run-length files through ORB_open, scanlines and ORB_close, against libtiff and libspng on files of the
// same pictures. Files are read from the page cache and written to a memory file system, where there is one.
#include <png.h>
#include <spng.h>

#include <cstdio>

#include "bench/file.h"
#include "bench/pairs.h"
#include "bench/tiff_peer.h"

namespace {

using namespace orb::bench;

// ---- Ours ----

struct RlaFile : File {
  explicit RlaFile(const Picture& picture, Place place)
      : File(scratch_path("picture.rla", place), described(picture)) {}
};

// A file that is found to hold the picture.
struct HeldPicture : RlaFile {
  explicit HeldPicture(const Picture& picture) : RlaFile(picture, Place::disk) {
    write(picture);
    ORB_IMAGE* image = open("r");
    read_lines(image, [&](int32_t line, void** rows) {
      for (size_t c = 0; c < picture.channels(); ++c) {
        const auto wanted = picture.row(static_cast<size_t>(line), c);
        if (!std::equal(wanted.begin(), wanted.end(), static_cast<uint8_t*>(rows[c]))) {
          give_up("the file holds another picture");
        }
      }
    });
    close(image);
  }
};

void read_ours(benchmark::State& state, Subject subject, Depth depth) {
  HeldPicture file(picture(subject, depth));
  for (auto _ : state) {
    ORB_IMAGE* image = file.open("r");
    read_lines(image, [](int32_t, void** rows) { benchmark::DoNotOptimize(rows); });
    close(image);
  }
}

void write_ours(benchmark::State& state, Subject subject, Depth depth) {
  const Picture& source = picture(subject, depth);
  RlaFile file(source, Place::memory);
  for (auto _ : state) file.write(source);
}

// ---- libtiff ----

std::string tiff_path(Place place, const TiffMode& mode) {
  return scratch_path("picture" + std::to_string(mode.rows_per_strip) + ".tif", place);
}

void read_tiff(benchmark::State& state, Subject subject, Depth depth, uint16_t compression) {
  const Picture& source = picture(subject, depth);
  const TiffWriter writer(source, compression);
  const auto opened = [&](const TiffMode& mode) { return open_tiff(tiff_path(Place::disk, mode), "r"); };
  for (const TiffMode& mode : kTiffModes) {
    writer.write(open_tiff(tiff_path(Place::disk, mode), "w"), mode);
    TiffReader(opened(mode), source, mode).require_same();
  }
  const auto read = [&](const TiffMode& mode) { TiffReader(opened(mode), source, mode).read_all(); };
  const TiffMode& mode = fastest(kTiffModes, read);
  for (auto _ : state) read(mode);
}

void write_tiff(benchmark::State& state, Subject subject, Depth depth) {
  const TiffWriter writer(picture(subject, depth));
  const auto write = [&](const TiffMode& mode) {
    writer.write(open_tiff(tiff_path(Place::memory, mode), "w"), mode);
  };
  const TiffMode& mode = fastest(kTiffModes, write);
  for (auto _ : state) write(mode);
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
  HeldPicture file(icon());
  for (auto _ : state) {
    ORB_IMAGE* image = file.open("r");
    void** rows = nullptr;
    if (ORB_scan_read(image, 0, &rows) != 0) give_up("cannot read a row");
    benchmark::DoNotOptimize(rows);
    close(image);
  }
}

void open_tiff_file(benchmark::State& state) {
  const TiffWriter writer(icon());
  for (const TiffMode& mode : kTiffModes) writer.write(open_tiff(tiff_path(Place::disk, mode), "w"), mode);
  const auto open = [](const TiffMode& mode) {
    TiffReader(open_tiff(tiff_path(Place::disk, mode), "r"), icon(), mode).read_first();
  };
  const TiffMode& mode = fastest(kTiffModes, open);
  for (auto _ : state) open(mode);
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

void open_spng(benchmark::State& state) {
  const std::string path = scratch_path("icon.png");
  write_png(path);
  for (auto _ : state) {
    std::FILE* const file = std::fopen(path.c_str(), "rb");
    spng_ctx* const context = spng_ctx_new(0);
    uint8_t row[4 * 64];
    const bool is_read =
        file && context && spng_set_png_file(context, file) == 0 &&
        spng_decode_image(context, nullptr, 0, SPNG_FMT_RGBA8, SPNG_DECODE_PROGRESSIVE) == 0 &&
        spng_decode_row(context, row, sizeof row) == 0;
    if (!is_read) give_up("libspng cannot read");
    benchmark::DoNotOptimize(row);
    spng_ctx_free(context);
    std::fclose(file);
  }
}

// ---- Rows ----

constexpr const char* kReadMean = "read a file, 8 bits, all pictures";
constexpr const char* kWriteMean = "write a file, 8 bits, all pictures";

std::vector<Pair> all_rows() {
  std::vector<Pair> rows;
  for (const Subject subject : {Subject::coffee, Subject::chelsea, Subject::scene, Subject::gradients,
                                Subject::facets, Subject::grain}) {
    constexpr Depth depth = Depth::bits8;
    const std::string name = picture_name(subject, depth);
    rows.push_back({"read a file, " + name, on(read_ours, subject, depth), "libtiff PackBits",
                    on(read_tiff, subject, depth, COMPRESSION_PACKBITS), at(2.5), at(2.2), kReadMean});
    rows.push_back({"write a file, " + name, on(write_ours, subject, depth), "libtiff PackBits",
                    on(write_tiff, subject, depth), at(3), at(2.7), kWriteMean});
  }
  for (const Subject subject : {Subject::coffee, Subject::scene}) {
    constexpr Depth depth = Depth::floats;
    rows.push_back({"read a file, " + picture_name(subject, depth), on(read_ours, subject, depth),
                    "libtiff, not compressed", on(read_tiff, subject, depth, COMPRESSION_NONE), 1, at(0.9)});
  }
  rows.push_back(
      {"open, first row, close, 64 x 64 x 4", open_ours, "libtiff PackBits", open_tiff_file, at(6), at(4)});
  rows.push_back({"open, first row, close, 64 x 64 x 4", open_ours, "libspng", open_spng, at(2), at(1.5)});
  return rows;
}

const Pairs pairs(all_rows(), {{kReadMean, at(4), at(3.3)}, {kWriteMean, at(5), at(4.2)}});

}  // namespace
