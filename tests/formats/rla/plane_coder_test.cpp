#include "orbbase/formats/rla/plane_coder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "orbbase/formats/rla/literal_steps.h"
#include "orbbase/formats/rla/run_marks.h"

namespace orb::rla {
namespace {

using Bytes = std::vector<uint8_t>;

// ---- The slow oracle: the format's rules, byte by byte ----

void put_run(uint8_t value, size_t count, Bytes& coded) {
  for (; count > 0; count -= std::min<size_t>(count, 128)) {
    coded.insert(coded.end(), {static_cast<uint8_t>(std::min<size_t>(count, 128) - 1), value});
  }
}

void put_literal(std::span<const uint8_t> samples, Bytes& coded) {
  for (; !samples.empty(); samples = samples.subspan(std::min<size_t>(samples.size(), 128))) {
    const auto part = samples.first(std::min<size_t>(samples.size(), 128));
    coded.push_back(static_cast<uint8_t>(256 - part.size()));
    coded.insert(coded.end(), part.begin(), part.end());
  }
}

void encode_slowly(std::span<const uint8_t> plane, Bytes& coded) {
  size_t literal = 0;
  for (size_t run = 0, end = 0; run < plane.size(); run = end) {
    while (end < plane.size() && plane[end] == plane[run]) ++end;
    if (end - run < 3) continue;
    put_literal(plane.subspan(literal, run - literal), coded);
    put_run(plane[run], end - run, coded);
    literal = end;
  }
  put_literal(plane.subspan(literal), coded);
}

// Appends the decoded samples to plane until it has `count`.
size_t decode_slowly(std::span<const uint8_t> coded, size_t count, Bytes& plane) {
  size_t in = 0;
  while (plane.size() < count) {
    if (in == coded.size()) return kCannotDecode;
    const int k = static_cast<int8_t>(coded[in++]);
    const size_t bytes = k < 0 ? static_cast<size_t>(-k) : 1;
    const size_t samples = k < 0 ? bytes : static_cast<size_t>(k) + 1;
    if (bytes > coded.size() - in || samples > count - plane.size()) return kCannotDecode;
    for (size_t i = 0; i < samples; ++i) plane.push_back(coded[in + (k < 0 ? i : 0)]);
    in += bytes;
  }
  return in;
}

template <class Sample>
Bytes encoded_slowly(const std::vector<Sample>& samples) {
  Bytes coded;
  for (size_t shift = 8 * sizeof(Sample); shift > 0; shift -= 8) {  // the most significant plane first
    Bytes plane;
    for (const Sample sample : samples) plane.push_back(static_cast<uint8_t>(sample >> (shift - 8)));
    encode_slowly(plane, coded);
  }
  return coded;
}

template <class Sample>
size_t decode_slowly(const Bytes& coded, std::vector<Sample>& samples) {
  size_t used = 0;
  for (size_t plane = 0; plane < sizeof(Sample); ++plane) {
    Bytes bytes;
    const size_t more = decode_slowly(std::span(coded).subspan(used), samples.size(), bytes);
    if (more == kCannotDecode) return kCannotDecode;
    used += more;
    for (size_t i = 0; i < bytes.size(); ++i)
      samples[i] = static_cast<Sample>(uint64_t{samples[i]} << 8 | bytes[i]);
  }
  return used;
}

// ---- The coder, in memory of exactly the sizes it asks for ----

constexpr uint8_t kGuard = 0xA5;
constexpr size_t kWatched = 64;  // guards after what may be written

// Bytes whose neighbours are watched: by the address sanitizer, and by guards where there is none. They begin
// `odd` bytes after an aligned address.
class Guarded {
 public:
  Guarded(size_t size, size_t odd) : memory_(new uint8_t[odd + size]), odd_(odd), size_(size) {
    std::fill_n(memory_.get(), odd + size, kGuard);
  }
  uint8_t* data() { return memory_.get() + odd_; }
  std::span<uint8_t> first(size_t bytes) { return {data(), bytes}; }
  // Whether nothing was written before the bytes, nor after the first `used` of them.
  [[nodiscard]] bool is_whole(size_t used) const {
    const auto is_guard = [](uint8_t byte) { return byte == kGuard; };
    return std::all_of(memory_.get(), memory_.get() + odd_, is_guard) &&
           std::all_of(memory_.get() + odd_ + used, memory_.get() + odd_ + size_, is_guard);
  }

 private:
  std::unique_ptr<uint8_t[]> memory_;
  size_t odd_;
  size_t size_;
};

template <class Sample>
Bytes encoded(const std::vector<Sample>& samples, size_t odd) {
  Guarded coded(coded_bytes(samples.size(), sizeof(Sample)) + kWatched, odd);
  const auto room = coded.first(coded_bytes(samples.size(), sizeof(Sample)));
  size_t used = 0;
  if constexpr (sizeof(Sample) == 1) {
    Guarded plane(samples.size(), odd);
    std::copy(samples.begin(), samples.end(), plane.data());
    used = encode_plane(plane.first(samples.size()), room);
  } else {
    Guarded scratch(scratch_bytes(samples.size(), sizeof(Sample)), odd);
    const auto exact = std::make_unique<Sample[]>(samples.size());
    std::copy(samples.begin(), samples.end(), exact.get());
    used = encode_planes(std::span<const Sample>(exact.get(), samples.size()), room,
                         scratch.first(scratch_bytes(samples.size(), sizeof(Sample))));
  }
  EXPECT_TRUE(coded.is_whole(room.size()));
  return {room.begin(), room.begin() + std::min(used, room.size())};
}

template <class Sample>
size_t decode(const Bytes& coded_row, std::vector<Sample>& samples, size_t odd) {
  Guarded coded(coded_row.size() + kCodedSlack, odd);
  std::copy(coded_row.begin(), coded_row.end(), coded.data());
  const std::span<const uint8_t> in = coded.first(coded_row.size());
  if constexpr (sizeof(Sample) == 1) {
    Guarded plane(samples.size() + kPlaneSlack + kWatched, odd);
    const size_t used = decode_plane(in, plane.first(samples.size()));
    EXPECT_TRUE(plane.is_whole(samples.size() + kPlaneSlack));
    std::copy_n(plane.data(), samples.size(), samples.begin());
    return used;
  } else {
    Guarded scratch(scratch_bytes(samples.size(), sizeof(Sample)) + kWatched, odd);
    const auto exact = std::make_unique<Sample[]>(samples.size());
    const size_t used = decode_planes(in, std::span<Sample>(exact.get(), samples.size()),
                                      scratch.first(scratch_bytes(samples.size(), sizeof(Sample))));
    EXPECT_TRUE(scratch.is_whole(scratch_bytes(samples.size(), sizeof(Sample))));
    std::copy_n(exact.get(), samples.size(), samples.begin());
    return used;
  }
}

// ---- Rows ----

// Runs up to longest_run samples of few or many values, between stretches that hardly repeat.
struct Kind {
  uint32_t values;
  uint32_t longest_run;
};
constexpr Kind kKinds[] = {{2, 1}, {3, 3}, {256, 1}, {256, 4}, {256, 40}, {5, 200}, {256, 1000}};

template <class Sample>
std::vector<Sample> row_of(const Kind& kind, size_t count, std::mt19937& random) {
  std::vector<Sample> row;
  while (row.size() < count) {
    const auto sample =
        static_cast<Sample>(random() % kind.values * 0x01010101u ^ (random() % 3 == 0 ? 0x0100u : 0));
    row.insert(row.end(), 1 + random() % kind.longest_run, sample);
  }
  row.resize(count);
  return row;
}

std::vector<size_t> counts() {
  std::vector<size_t> all;
  for (size_t count = 0; count <= 330; ++count) all.push_back(count);
  for (const size_t count : {4095, 4096, 4098, 4161, 8192, 8258, 20000}) all.push_back(count);
  return all;
}

template <class Sample>
class PlaneCoder : public testing::Test {};
using Samples = testing::Types<uint8_t, uint16_t, uint32_t>;
TYPED_TEST_SUITE(PlaneCoder, Samples);

TYPED_TEST(PlaneCoder, encodes_by_the_rule_and_decodes_what_it_encoded_at_every_length) {
  std::mt19937 random(1);
  for (const size_t count : counts()) {
    for (const Kind& kind : kKinds) {
      const size_t odd = random() % 33;
      const auto row = row_of<TypeParam>(kind, count, random);
      const Bytes coded = encoded(row, odd);
      ASSERT_EQ(coded, encoded_slowly(row)) << count << " samples of " << kind.values << " values";
      std::vector<TypeParam> decoded(count);
      ASSERT_EQ(decode(coded, decoded, odd), coded.size());
      ASSERT_EQ(decoded, row);
    }
  }
}

// Tokens of any count in any order are legal, also ones that the encoder does not make.
Bytes any_tokens(size_t count, uint32_t longest, std::mt19937& random) {
  Bytes coded;
  const size_t runs_in_four = random() % 5;
  for (size_t left = count; left > 0;) {
    const size_t samples = 1 + random() % std::min<size_t>(left, longest);
    const bool is_run = random() % 4 < runs_in_four;
    coded.push_back(static_cast<uint8_t>(is_run ? samples - 1 : 256 - samples));
    for (size_t i = 0; i < (is_run ? 1 : samples); ++i) coded.push_back(static_cast<uint8_t>(random()));
    left -= samples;
  }
  return coded;
}

void damage(size_t bytes, Bytes& coded, std::mt19937& random) {
  for (; bytes > 0 && !coded.empty(); --bytes)
    coded[random() % coded.size()] = static_cast<uint8_t>(random());
}

TYPED_TEST(PlaneCoder, judges_whole_and_damaged_tokens_as_a_byte_loop_does) {
  std::mt19937 random(2);
  size_t refused = 0;
  for (int round = 0; round < 8000; ++round) {
    const size_t count = random() % 700;
    Bytes coded;
    if (round % 4 == 0) {
      for (size_t plane = 0; plane < sizeof(TypeParam); ++plane) {
        const Bytes tokens = any_tokens(count, round % 8 ? 128 : 3, random);
        coded.insert(coded.end(), tokens.begin(), tokens.end());
      }
    } else {
      coded = encoded_slowly(row_of<TypeParam>(kKinds[random() % std::size(kKinds)], count, random));
      if (round % 3 != 0) coded.resize(coded.size() + random() % 300, static_cast<uint8_t>(random()));
      if (round % 3 != 1) coded.resize(random() % (coded.size() + 1));
      damage(random() % 4, coded, random);
    }
    std::vector<TypeParam> decoded(count);
    std::vector<TypeParam> wanted(count);
    const size_t used = decode_slowly(coded, wanted);
    ASSERT_EQ(decode(coded, decoded, random() % 17), used) << round;
    ASSERT_TRUE(round % 4 != 0 || used == coded.size()) << round;
    ASSERT_TRUE(used == kCannotDecode || decoded == wanted) << round;
    refused += used == kCannotDecode;
  }
  EXPECT_GT(refused, 1000u);
  EXPECT_LT(refused, 5500u);
}

// ---- Rows that are decoded together ----

// A coded row and its room, with nothing but the slack behind the two.
struct Abreast {
  Abreast(const Bytes& row, size_t count, size_t odd)
      : coded(row.size() + kCodedSlack, odd),
        plane(count + kPlaneSlack + kWatched, odd),
        to_decode{coded.first(row.size()), plane.first(count)} {
    std::copy(row.begin(), row.end(), coded.data());
  }
  [[nodiscard]] bool is_whole() const { return plane.is_whole(to_decode.samples.size() + kPlaneSlack); }

  Guarded coded;
  Guarded plane;
  CodedPlane to_decode;
};

// Long literals with short runs here and there; one row in a few is of another kind, or damaged.
Bytes coded_for_abreast(size_t count, std::mt19937& random) {
  const Kind kind = random() % 8 == 0 ? kKinds[random() % std::size(kKinds)] : Kind{256, 1};
  auto row = row_of<uint8_t>(kind, count, random);
  for (size_t i = random() % 300; i + 3 < count; i += random() % 700)
    std::fill_n(row.begin() + i, 3, uint8_t{9});
  Bytes coded = encoded_slowly(row);
  damage(random() % 4 == 0 ? 1 + random() % 3 : 0, coded, random);
  if (random() % 16 == 0) coded.resize(random() % (coded.size() + 1));
  return coded;
}

TEST(DecodeAbreast, gives_and_refuses_what_each_row_does_alone) {
  std::vector<DecodeAbreast> forms = {nullptr, plain_decode_abreast()};  // null: the chosen one
#if defined(__x86_64__)
  if (avx2_decode_abreast() && __builtin_cpu_supports("avx2")) forms.push_back(avx2_decode_abreast());
#endif
  std::mt19937 random(5);
  size_t refused = 0;
  for (int round = 0; round < 3000; ++round) {
    const size_t count = random() % (round % 2 ? 300 : 3000);
    std::vector<Abreast> rows;
    Bytes wanted[kAbreast];
    bool are_rows = true;
    for (Bytes& plane : wanted) {
      const Bytes coded = coded_for_abreast(count, random);
      rows.emplace_back(coded, count, random() % 33);
      are_rows = decode_slowly(coded, count, plane) == coded.size() && are_rows;
    }
    for (const DecodeAbreast form : forms) {
      bool is_decoded = true;
      Cursor cursors[kAbreast];
      for (size_t i = 0; i < kAbreast; ++i) {
        const auto& [coded, samples] = rows[i].to_decode;
        cursors[i] = {coded.data(), coded.data() + coded.size(), samples.data(), samples.data() + count};
      }
      if (form) {
        form(cursors);
        for (const Cursor& end : cursors)
          is_decoded = is_decoded && end.in == end.in_end && end.out == end.out_end;
        is_decoded = is_decoded || !are_rows;
      } else {
        is_decoded = decode_abreast({rows[0].to_decode, rows[1].to_decode, rows[2].to_decode}) == are_rows;
      }
      ASSERT_TRUE(is_decoded) << round << " form " << &form - forms.data();
      for (size_t i = 0; i < kAbreast; ++i) {
        ASSERT_TRUE(rows[i].is_whole()) << round;
        ASSERT_TRUE(!are_rows || std::equal(wanted[i].begin(), wanted[i].end(), rows[i].plane.data()))
            << round;
      }
    }
    refused += are_rows ? 0 : 1;
  }
  EXPECT_GT(refused, 500u);
  EXPECT_LT(refused, 2500u);
}

// By hand, for the oracle as much as for the coder.
TEST(EncodePlane, makes_runs_of_three_or_more_and_cuts_tokens_after_128) {
  Bytes counting;  // 0 to 128
  for (int i = 0; i < 129; ++i) counting.push_back(static_cast<uint8_t>(i));
  Bytes cut = {0x80};
  cut.insert(cut.end(), counting.begin(), counting.begin() + 128);
  cut.insert(cut.end(), {0xFF, 128});
  const struct {
    Bytes plane;
    Bytes coded;
  } rows[] = {{{}, {}},
              {{7}, {0xFF, 7}},
              {{7, 7}, {0xFE, 7, 7}},
              {{1, 7, 7, 2}, {0xFC, 1, 7, 7, 2}},
              {{1, 7, 7, 7, 2}, {0xFF, 1, 2, 7, 0xFF, 2}},
              {{7, 7, 7, 9, 9, 8, 8, 8}, {2, 7, 0xFE, 9, 9, 2, 8}},
              {Bytes(128, 7), {0x7F, 7}},
              {Bytes(300, 7), {0x7F, 7, 0x7F, 7, 0x2B, 7}},
              {Bytes(129, 7), {0x7F, 7, 0, 7}},
              {counting, cut}};
  for (const auto& row : rows) {
    EXPECT_EQ(encoded(row.plane, 0), row.coded) << &row - rows;
    EXPECT_EQ(encoded_slowly(row.plane), row.coded) << &row - rows;
  }
}

#if defined(__SSE2__)
TEST(RunMarks, are_the_same_in_the_portable_and_the_vector_form) {
  std::mt19937 random(4);
  for (int round = 0; round < 20000; ++round) {
    const Bytes samples = row_of<uint8_t>(kKinds[round % std::size(kKinds)], kMarkingReads, random);
    ASSERT_EQ(Sse2Marks::word(samples.data()), PortableMarks::word(samples.data())) << round;
  }
}
#endif

}  // namespace
}  // namespace orb::rla
