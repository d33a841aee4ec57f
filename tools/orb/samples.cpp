// The samples of scanlines, whatever their type, as doubles.
#include "samples.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>

namespace orb::tool {
namespace {

constexpr ORB_CHANNELS ORB_IFD::*kGroups[] = {&ORB_IFD::color, &ORB_IFD::matte, &ORB_IFD::aux,
                                              &ORB_IFD::index};
constexpr const char* kGroupNames[] = {"colour", "matte", "auxiliary", "index"};
constexpr int kIndexGroup = 3;

double whole_of(const ORB_CHANNELS& group) {
  return group.type == ORB_C_INTEGER ? std::ldexp(1.0, std::clamp(group.width, 1, 32)) - 1 : 1.0;
}

template <class Sample>
Sample from_double(double value, double whole) {
  if constexpr (std::is_integral_v<Sample>) {
    // Also what is no number at all goes to an end.
    return static_cast<Sample>(value > 0 ? std::nearbyint(std::min(value, whole)) : 0);
  } else {
    constexpr auto kMost = static_cast<double>(std::numeric_limits<Sample>::max());
    const bool is_too_large = std::fabs(value) > kMost;
    return is_too_large ? std::copysign(std::numeric_limits<Sample>::infinity(),
                                        static_cast<Sample>(value < 0 ? -1 : 1))
                        : static_cast<Sample>(value);
  }
}

// Calls visit with a null pointer to the type that a channel's samples have in a row.
template <class Visit>
void with_type(const Channel& channel, Visit visit) {
  if (channel.type == ORB_C_DOUBLE) return visit(static_cast<double*>(nullptr));
  if (channel.type == ORB_C_FLOAT) return visit(static_cast<float*>(nullptr));
  if (channel.width > 16) return visit(static_cast<uint32_t*>(nullptr));
  if (channel.width > 8 || channel.group == kIndexGroup) return visit(static_cast<uint16_t*>(nullptr));
  visit(static_cast<uint8_t*>(nullptr));
}

}  // namespace

std::vector<Channel> channels_of(const ORB_IFD& ifd) {
  std::vector<Channel> channels;
  for (int g = 0; g < static_cast<int>(std::size(kGroups)); ++g) {
    if (g == kIndexGroup && ifd.color.count > 0) break;  // there is no index group then
    const ORB_CHANNELS& group = ifd.*kGroups[g];
    for (int32_t i = 0; i < group.count; ++i) {
      channels.push_back({g, i, group.type, group.width, whole_of(group)});
    }
  }
  return channels;
}

std::string name_of(const Channel& channel) {
  return std::string(kGroupNames[channel.group]) + " " + std::to_string(channel.number);
}

std::string type_text(uint32_t type) {
  constexpr const char* kTypes[] = {"", "integer", "float", "double"};
  return type > 0 && type < std::size(kTypes) ? kTypes[type] : std::to_string(type);
}

std::string form_text(uint32_t type, int32_t width) {
  return type_text(type) + (type == ORB_C_INTEGER ? " " + std::to_string(width) + " bits" : "");
}

size_t sample_bytes(const Channel& channel) {
  size_t bytes = 0;
  with_type(channel, [&](const auto* sample) { bytes = sizeof *sample; });
  return bytes;
}

uint64_t pixel_bytes(const ORB_IFD& ifd) {
  uint64_t bytes = 0;
  for (const Channel& channel : channels_of(ifd)) bytes += sample_bytes(channel);
  return bytes;
}

void load_samples(const Channel& channel, const void* row, size_t first, std::span<double> samples_out) {
  with_type(channel, [&](auto* type) {
    const auto* const samples = static_cast<const std::remove_pointer_t<decltype(type)>*>(row) + first;
    for (size_t i = 0; i < samples_out.size(); ++i) samples_out[i] = static_cast<double>(samples[i]);
  });
}

void store_samples(const Channel& channel, std::span<const double> samples, void* row, size_t first) {
  with_type(channel, [&](auto* type) {
    using Sample = std::remove_pointer_t<decltype(type)>;
    auto* const out = static_cast<Sample*>(row) + first;
    for (size_t i = 0; i < samples.size(); ++i) out[i] = from_double<Sample>(samples[i], channel.whole);
  });
}

}  // namespace orb::tool
