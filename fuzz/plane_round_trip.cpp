// Any bytes as a row of samples of 1, 2 or 4 bytes: what is encoded fits its room and decodes to the same samples.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "orbbase/formats/rla/plane_coder.h"

namespace {

template <class Sample>
void check(std::span<const uint8_t> bytes) {
  const size_t count = bytes.size() / sizeof(Sample);
  // Separate blocks of exactly the promised sizes, for the address sanitizer to watch.
  const auto samples = std::make_unique<Sample[]>(count);
  if (count != 0) std::memcpy(samples.get(), bytes.data(), count * sizeof(Sample));
  const size_t room = orb::rla::coded_bytes(count, sizeof(Sample));
  const auto coded = std::make_unique<uint8_t[]>(room + orb::rla::kCodedSlack - orb::rla::kPlaneSlack);
  const size_t scratch_room = orb::rla::scratch_bytes(count, sizeof(Sample));
  const auto scratch = std::make_unique<uint8_t[]>(scratch_room);
  const auto decoded = std::make_unique<Sample[]>(count + (sizeof(Sample) == 1 ? orb::rla::kPlaneSlack : 0));
  const std::span<const Sample> row(samples.get(), count);
  const std::span<Sample> again(decoded.get(), count);
  size_t used = 0;
  size_t decoded_bytes = 0;
  if constexpr (sizeof(Sample) == 1) {
    used = orb::rla::encode_plane(row, {coded.get(), room});
    decoded_bytes = orb::rla::decode_plane({coded.get(), used}, again);
  } else {
    used = orb::rla::encode_planes(row, {coded.get(), room}, {scratch.get(), scratch_room});
    decoded_bytes = orb::rla::decode_planes({coded.get(), used}, again, {scratch.get(), scratch_room});
  }
  if (used > room - orb::rla::kPlaneSlack || decoded_bytes != used) std::abort();
  if (!std::equal(row.begin(), row.end(), again.begin())) std::abort();
}

}  // namespace

// The first byte chooses the sample's size.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const std::span<const uint8_t> bytes(data + 1, size - 1);
  switch (data[0] & 3) {
    case 0:
      check<uint16_t>(bytes);
      break;
    case 1:
      check<uint32_t>(bytes);
      break;
    default:
      check<uint8_t>(bytes);
      break;
  }
  return 0;
}
