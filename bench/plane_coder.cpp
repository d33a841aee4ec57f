// Decoding and encoding the byte planes of pictures in memory, against other run-length coders and against
// memcpy, which is the limit. Row by row: rows come from the whole coded picture into the rows of one line, and
// go from the picture into the whole coded picture.
#include "orbbase/formats/rla/plane_coder.h"

#include <cstring>
#include <memory>

#include "bench/exr_peer.h"
#include "bench/frame.h"
#include "bench/give_up.h"
#include "bench/pairs.h"
#include "bench/tiff_peer.h"

namespace {

using namespace orb::bench;

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
    require_same();
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

  void require_same() {
    size_t used = 0;
    for (size_t line = 0; line < picture_.height; ++line) {
      used = decode_line(line, used);
      for (size_t channel = 0; channel < picture_.channels(); ++channel) {
        const auto wanted = picture_.row(line, channel);
        if (std::memcmp(row(channel).data(), wanted.data(), wanted.size()) != 0) {
          give_up("the decoded picture is another one");
        }
      }
    }
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

void decode_tiff(benchmark::State& state, Subject subject, Depth depth) {
  const Picture& source = picture(subject, depth);
  const TiffWriter writer(source);
  std::vector<uint8_t> files[std::size(kTiffModes)];
  std::vector<std::unique_ptr<TiffReader>> readers;
  for (std::vector<uint8_t>& file : files) {
    const TiffMode& mode = kTiffModes[readers.size()];
    writer.write(open_tiff(file, "w"), mode);
    readers.push_back(std::make_unique<TiffReader>(open_tiff(file, "r"), source, mode));
    readers.back()->require_same();
  }
  TiffReader& reader = *fastest(readers, [](auto& each) { each->read_all(); });
  for (auto _ : state) reader.read_all();
}

void encode_tiff(benchmark::State& state, Subject subject, Depth depth) {
  const TiffWriter writer(picture(subject, depth));
  std::vector<uint8_t> file;
  const auto write = [&](const TiffMode& mode) { writer.write(open_tiff(file, "w"), mode); };
  const TiffMode& mode = fastest(kTiffModes, write);
  for (auto _ : state) write(mode);
}

void decode_exr(benchmark::State& state, Subject subject, Depth depth) {
  ExrPeer peer(picture(subject, depth));
  for (auto _ : state) peer.read_all();
}

// As many bytes, line by line into the rows of one line.
void copy_to_line(benchmark::State& state, Subject subject, Depth depth) {
  const Picture& source = picture(subject, depth);
  copy_lines(state, source.channels() * source.row_bytes(), source.height);
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

constexpr const char* kDecodeMean = "decode, 8 bits, all pictures";
constexpr const char* kEncodeMean = "encode, 8 bits, all pictures";

struct Row {
  bool is_wide;
  const char* job;
  void (*ours)(benchmark::State&, Subject, Depth);
  const char* peer_name;
  void (*peer)(benchmark::State&, Subject, Depth);
  double goal, floor;
  const char* mean;
};

// Wider samples: libtiff codes them without taking them apart into planes, which is less work and larger files.
constexpr Row kRows[] = {
    {false, "decode ", decode<uint8_t>, "libtiff PackBits", decode_tiff, at(2.5), at(2.2), kDecodeMean},
    {false, "decode ", decode<uint8_t>, "OpenEXR RLE", decode_exr, 1, 0, ""},
    {false, "decode ", decode<uint8_t>, "memcpy", copy_to_line, kNoGoal, 0, ""},
    {false, "encode ", encode<uint8_t>, "libtiff PackBits", encode_tiff, at(3.2), at(2.8), kEncodeMean},
    {false, "encode ", encode<uint8_t>, "memcpy", copy_to_picture, kNoGoal, 0, ""},
    {true, "decode ", decode<uint16_t>, "libtiff PackBits", decode_tiff, kNoGoal, 0, ""},
    {true, "decode ", decode<uint16_t>, "memcpy", copy_to_line, kNoGoal, 0, ""},
    {true, "encode ", encode<uint16_t>, "libtiff PackBits", encode_tiff, 1, 0, ""},
    {true, "encode ", encode<uint16_t>, "memcpy", copy_to_picture, kNoGoal, 0, ""},
};

void add(Subject subject, Depth depth, std::vector<Pair>& rows) {
  for (const Row& row : kRows) {
    if (row.is_wide != (depth != Depth::bits8)) continue;
    rows.push_back({row.job + picture_name(subject, depth), on(row.ours, subject, depth), row.peer_name,
                    on(row.peer, subject, depth), row.goal, row.floor, row.mean});
  }
}

std::vector<Pair> all_rows() {
  std::vector<Pair> rows;
  for (const Subject subject : {Subject::coffee, Subject::chelsea, Subject::scene, Subject::gradients,
                                Subject::facets, Subject::grain}) {
    add(subject, Depth::bits8, rows);
  }
  for (const Subject subject : {Subject::coffee, Subject::scene, Subject::gradients}) {
    add(subject, Depth::bits10, rows);
    add(subject, Depth::bits16, rows);
  }
  return rows;
}

const Pairs pairs(all_rows(), {{kDecodeMean, at(4), at(3.3)}, {kEncodeMean, at(7), at(5.5)}});

}  // namespace
