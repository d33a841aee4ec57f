// Decoding and encoding the byte planes of pictures in memory, against other run-length coders and against
// memcpy, which is the limit. Row by row: rows come from the whole coded picture into the rows of one line, and
// go from the picture into the whole coded picture.
#include "orbbase/formats/rla/plane_coder.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "bench/exr_peer.h"
#include "bench/pairs.h"
#include "bench/pictures.h"
#include "bench/tiff_peer.h"

namespace {

using namespace orb::bench;

[[noreturn]] void give_up(const char* what) {
  std::fprintf(stderr, "plane_coder: %s\n", what);
  std::exit(2);
}

// ---- Ours ----

template <class Sample>
std::span<const Sample> samples_of(std::span<const uint8_t> row) {
  return {reinterpret_cast<const Sample*>(row.data()), row.size() / sizeof(Sample)};
}

template <class Sample>
class CodedPicture {
 public:
  explicit CodedPicture(const Picture& picture)
      : picture_(picture),
        scratch_(orb::rla::scratch_bytes(picture.width, sizeof(Sample))),
        line_(picture.channels() * row_stride()),
        row_sizes_(picture.height * picture.channels()),
        coded_(row_sizes_.size() * orb::rla::coded_bytes(picture.width, sizeof(Sample)) +
               orb::rla::kCodedSlack) {
    encode();
    if (!is_same()) give_up("the decoded picture is another one");
  }

  void encode() {
    size_t used = 0;
    for (size_t i = 0; i < row_sizes_.size(); ++i) {
      const auto row = samples_of<Sample>(picture_.row(i / picture_.channels(), i % picture_.channels()));
      const std::span<uint8_t> room = std::span(coded_).subspan(used);
      if constexpr (sizeof(Sample) == 1) row_sizes_[i] = orb::rla::encode_plane(row, room);
      if constexpr (sizeof(Sample) != 1) row_sizes_[i] = orb::rla::encode_planes(row, room, scratch_);
      used += row_sizes_[i];
    }
  }

  void decode() {
    size_t used = 0;
    for (size_t line = 0; line < picture_.height; ++line) used = decode_line(line, used);
  }

 private:
  // As the driver's: what is overwritten behind a row is in no other one.
  [[nodiscard]] size_t row_stride() const {
    return (picture_.width + 2 * orb::rla::kPlaneSlack - 1) / 64 * 64;
  }
  std::span<Sample> row(size_t channel) {
    return std::span(line_).subspan(channel * row_stride(), picture_.width);
  }

  size_t decode_line(size_t line, size_t used) {
    size_t channel = 0;
    if constexpr (sizeof(Sample) == 1) {
      for (; channel + orb::rla::kAbreast <= picture_.channels(); channel += orb::rla::kAbreast)
        used = decode_together(line, channel, used);
    }
    for (; channel < picture_.channels(); ++channel) {
      const size_t size = row_sizes_[line * picture_.channels() + channel];
      const auto coded = std::span<const uint8_t>(coded_).subspan(used, size);
      size_t decoded = 0;
      if constexpr (sizeof(Sample) == 1) decoded = orb::rla::decode_plane(coded, row(channel));
      if constexpr (sizeof(Sample) != 1) decoded = orb::rla::decode_planes(coded, row(channel), scratch_);
      if (decoded != size) give_up("cannot decode");
      used += size;
    }
    benchmark::DoNotOptimize(line_.data());
    benchmark::ClobberMemory();
    return used;
  }

  size_t decode_together(size_t line, size_t channel, size_t used) {
    orb::rla::CodedPlane planes[orb::rla::kAbreast];
    for (orb::rla::CodedPlane& plane : planes) {
      const size_t size = row_sizes_[line * picture_.channels() + channel];
      plane = {std::span<const uint8_t>(coded_).subspan(used, size), row(channel++)};
      used += size;
    }
    if (!orb::rla::decode_abreast(planes)) give_up("cannot decode");
    return used;
  }

  bool is_same() {
    size_t used = 0;
    for (size_t line = 0; line < picture_.height; ++line) {
      used = decode_line(line, used);
      for (size_t channel = 0; channel < picture_.channels(); ++channel) {
        const auto wanted = picture_.row(line, channel);
        if (std::memcmp(row(channel).data(), wanted.data(), wanted.size()) != 0) return false;
      }
    }
    return true;
  }

  const Picture& picture_;
  std::vector<uint8_t> scratch_;
  std::vector<Sample> line_;
  std::vector<size_t> row_sizes_;
  std::vector<uint8_t> coded_;
};

template <class Sample>
void decode(benchmark::State& state, Subject subject, Depth depth) {
  CodedPicture<Sample> coded(picture(subject, depth));
  for (auto _ : state) coded.decode();
}

template <class Sample>
void encode(benchmark::State& state, Subject subject, Depth depth) {
  CodedPicture<Sample> coded(picture(subject, depth));
  for (auto _ : state) coded.encode();
}

// ---- Peers ----

// The time of the fastest of a few calls.
template <class Job>
double seconds(Job job) {
  double best = 1e9;
  for (int i = 0; i < 4; ++i) {
    const auto begin = std::chrono::steady_clock::now();
    job();
    best = std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count());
  }
  return best;
}

void decode_tiff(benchmark::State& state, Subject subject, Depth depth) {
  const Picture& source = picture(subject, depth);
  const TiffWriter writer(source, TiffCoding::packbits);
  std::unique_ptr<TiffReader> fastest;
  double least = 0;
  for (const TiffMode& mode : tiff_modes()) {
    std::vector<uint8_t> file;
    writer.write(mode, file);
    auto reader = std::make_unique<TiffReader>(std::move(file), source, mode);
    if (!reader->is_same()) give_up("libtiff holds another picture");
    const double time = seconds([&] { reader->read_all(); });
    if (fastest && time >= least) continue;
    fastest = std::move(reader);
    least = time;
  }
  for (auto _ : state) fastest->read_all();
}

void encode_tiff(benchmark::State& state, Subject subject, Depth depth) {
  const TiffWriter writer(picture(subject, depth), TiffCoding::packbits);
  std::vector<uint8_t> file;
  TiffMode fastest = {};
  double least = 1e9;
  for (const TiffMode& mode : tiff_modes()) {
    const double time = seconds([&] { writer.write(mode, file); });
    if (time < least) fastest = mode;
    least = std::min(time, least);
  }
  for (auto _ : state) writer.write(fastest, file);
}

void decode_exr(benchmark::State& state, Subject subject, Depth depth) {
  ExrPeer peer(picture(subject, depth));
  if (!peer.is_same()) give_up("OpenEXR holds another picture");
  for (auto _ : state) peer.read_all();
}

// As many bytes, line by line into the rows of one line.
void copy_to_line(benchmark::State& state, Subject subject, Depth depth) {
  const Picture& source = picture(subject, depth);
  const size_t line_bytes = source.channels() * source.row_bytes();
  std::vector<uint8_t> line(line_bytes);
  for (auto _ : state) {
    for (size_t y = 0; y < source.height; ++y) {
      std::memcpy(line.data(), source.bytes.data() + y * line_bytes, line_bytes);
      benchmark::DoNotOptimize(line.data());
      benchmark::ClobberMemory();
    }
  }
}

// As many bytes, row by row into a second picture.
void copy_to_picture(benchmark::State& state, Subject subject, Depth depth) {
  const Picture& source = picture(subject, depth);
  std::vector<uint8_t> copy(source.bytes.size());
  for (auto _ : state) {
    for (size_t i = 0; i < copy.size(); i += source.row_bytes()) {
      std::memcpy(copy.data() + i, source.bytes.data() + i, source.row_bytes());
    }
    benchmark::DoNotOptimize(copy.data());
    benchmark::ClobberMemory();
  }
}

// ---- Rows ----

using Job = void (*)(benchmark::State&, Subject, Depth);

Side on(Job job, Subject subject, Depth depth) {
  return [=](benchmark::State& state) { job(state, subject, depth); };
}

constexpr Subject kSubjects[] = {Subject::coffee,    Subject::chelsea, Subject::scene,
                                 Subject::gradients, Subject::facets,  Subject::grain};
constexpr const char* kDecodeMean = "decode, 8 bits, all pictures";
constexpr const char* kEncodeMean = "encode, 8 bits, all pictures";

// What samples of 8 bits must reach: so many times the speed of the peer.
void add_bytes(Subject subject, std::vector<Pair>& rows) {
  constexpr Depth depth = Depth::bits8;
  const std::string name = picture_name(subject, depth);
  const Side decoding = on(decode<uint8_t>, subject, depth);
  rows.push_back({"decode " + name, decoding, "libtiff PackBits", on(decode_tiff, subject, depth), 1 / 2.5,
                  1 / 2.2, kDecodeMean});
  rows.push_back({"decode " + name, decoding, "OpenEXR RLE", on(decode_exr, subject, depth), 1.0});
  rows.push_back({"decode " + name, decoding, "memcpy", on(copy_to_line, subject, depth), kNoGoal});
  const Side encoding = on(encode<uint8_t>, subject, depth);
  rows.push_back({"encode " + name, encoding, "libtiff PackBits", on(encode_tiff, subject, depth), 1 / 3.2,
                  1 / 2.8, kEncodeMean});
  rows.push_back({"encode " + name, encoding, "memcpy", on(copy_to_picture, subject, depth), kNoGoal});
}

// Wider samples: libtiff codes them without taking them apart into planes, which is less work and larger files.
void add_wide(Subject subject, Depth depth, std::vector<Pair>& rows) {
  const std::string name = picture_name(subject, depth);
  const Side decoding = on(decode<uint16_t>, subject, depth);
  rows.push_back({"decode " + name, decoding, "libtiff PackBits", on(decode_tiff, subject, depth), kNoGoal});
  rows.push_back({"decode " + name, decoding, "memcpy", on(copy_to_line, subject, depth), kNoGoal});
  const Side encoding = on(encode<uint16_t>, subject, depth);
  rows.push_back({"encode " + name, encoding, "libtiff PackBits", on(encode_tiff, subject, depth), 1.0});
  rows.push_back({"encode " + name, encoding, "memcpy", on(copy_to_picture, subject, depth), kNoGoal});
}

std::vector<Pair> all_rows() {
  std::vector<Pair> rows;
  for (const Subject subject : kSubjects) add_bytes(subject, rows);
  for (const Subject subject : {Subject::coffee, Subject::scene, Subject::gradients}) {
    add_wide(subject, Depth::bits10, rows);
    add_wide(subject, Depth::bits16, rows);
  }
  return rows;
}

const Pairs pairs(all_rows(), {{kDecodeMean, 1 / 4.0, 1 / 3.3}, {kEncodeMean, 1 / 7.0, 1 / 5.5}});

}  // namespace
