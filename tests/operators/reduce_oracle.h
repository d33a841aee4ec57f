// Reduced pictures made the slow and obvious way: whole planes of light in double precision.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "orbbase/imp.h"
#include "tests/operators/operator_image.h"

namespace orb::testing {

inline constexpr IMP_PROCESS kMipmap = {"mipmap", 0, 0, 0, nullptr};
constexpr IMP_PROCESS swatch_of(int32_t size) { return {"swatch", size, 0, 0, nullptr}; }

// One channel of a whole image, rows from the bottom up.
struct Plane {
  Plane(size_t w, size_t h) : width(w), height(h), values(w * h) {}
  double& at(size_t x, size_t y) { return values[y * width + x]; }
  [[nodiscard]] double at(size_t x, size_t y) const { return values[y * width + x]; }

  size_t width;
  size_t height;
  std::vector<double> values;
};

// Calls visit(bytes, sample), the sample being a 0 of the type that is stored.
template <class Visit>
auto visit_sample(const ORB_CHANNELS& group, const void* row, size_t x, Visit visit) {
  auto* bytes = static_cast<uint8_t*>(const_cast<void*>(row)) + x * sample_bytes(group, false);
  if (group.type == ORB_C_FLOAT) return visit(bytes, float{});
  if (group.type == ORB_C_DOUBLE) return visit(bytes, double{});
  if (group.width > 16) return visit(bytes, uint32_t{});
  return group.width <= 8 ? visit(bytes, uint8_t{}) : visit(bytes, uint16_t{});
}

inline double load_sample(const ORB_CHANNELS& group, const void* row, size_t x) {
  return visit_sample(group, row, x, [](const uint8_t* bytes, auto sample) {
    std::memcpy(&sample, bytes, sizeof sample);
    return static_cast<double>(sample);
  });
}

inline void store_sample(const ORB_CHANNELS& group, void* row, size_t x, double value) {
  visit_sample(group, row, x, [value](uint8_t* bytes, auto sample) {
    sample = static_cast<decltype(sample)>(value);
    std::memcpy(bytes, &sample, sizeof sample);
  });
}

// What a sample of a channel stands for, by the documented rules.
struct Meaning {
  ORB_CHANNELS group;
  const ORB_RESPONSE_CURVE* curve;  // null: averaged as it is
  int32_t channel;

  [[nodiscard]] double largest() const {
    return group.type == ORB_C_INTEGER ? std::exp2(group.width) - 1 : 1.0;
  }
  [[nodiscard]] double light(double sample) const {
    if (!curve) return sample;
    if (curve->kind == ORB_CURVE_GAMMA) {
      const double gamma = curve->gamma > 0 && std::isfinite(curve->gamma) ? curve->gamma : 1.0;
      return std::copysign(std::pow(std::fabs(sample) / largest(), gamma), sample);
    }
    const auto entry = std::min(static_cast<size_t>(sample), static_cast<size_t>(curve->resolution) - 1);
    const void* table = curve->tables[std::min(channel, curve->channel_count - 1)];
    if (curve->curve_type == ORB_C_FLOAT) {
      const double light = static_cast<const float*>(table)[entry];
      return light > 0 ? std::min(light, 1.0) : 0.0;
    }
    if (curve->depth == 8) return static_cast<const uint8_t*>(table)[entry] / 255.0;
    return static_cast<const uint16_t*>(table)[entry] / (std::exp2(curve->depth) - 1);
  }

  // Empty when no sample stands for a light nearer to the wanted one; but for rounding errors.
  [[nodiscard]] std::string check(double wanted, double sample) const {
    const double miss = std::fabs(light(sample) - wanted);
    const double slack = 1e-6 * std::max(std::fabs(wanted), 1e-30);
    bool is_nearest = true;
    if (group.type != ORB_C_INTEGER) {
      is_nearest = miss <= slack;
    } else if (group.width > 16) {  // to the nearest of codes, not of lights
      const double code_step = light(std::min(sample + 1, largest())) - light(std::max(sample - 1, 0.0));
      is_nearest = miss <= slack + std::fabs(code_step);
    } else {
      for (double other : others(sample)) is_nearest &= miss <= std::fabs(light(other) - wanted) + slack;
    }
    if (is_nearest) return "";
    return std::to_string(sample) + " of light " + std::to_string(light(sample)) + " for " +
           std::to_string(wanted);
  }

 private:
  // What else it could have been: all of a curve that may go up and down, else the neighbours.
  [[nodiscard]] std::vector<double> others(double sample) const {
    std::vector<double> codes = {std::max(sample - 1, 0.0), std::min(sample + 1, largest())};
    for (int32_t code = 0; curve && curve->kind == ORB_CURVE_TABLE && code < 1 << group.width; ++code) {
      codes.push_back(code);
    }
    return codes;
  }
};

inline std::vector<Meaning> meanings(const ORB_IFD& ifd) {
  std::vector<Meaning> all;
  for (int32_t i = 0; i < ifd.color.count; ++i) all.push_back({ifd.color, &ifd.curve, i});
  for (int32_t i = 0; i < ifd.matte.count; ++i) all.push_back({ifd.matte, nullptr, i});
  for (int32_t i = 0; i < ifd.aux.count; ++i) all.push_back({ifd.aux, nullptr, i});
  return all;
}

// How much of full pixel i lies in reduced pixel j, of which each is `scale` full ones.
inline double overlap(size_t i, double scale, size_t j) {
  const auto from = std::max(static_cast<double>(i), static_cast<double>(j) * scale);
  const auto to = std::min(static_cast<double>(i + 1), static_cast<double>(j + 1) * scale);
  return std::max(0.0, to - from);
}

inline Plane reduced(const Plane& full, size_t width, size_t height, double x_scale, double y_scale) {
  Plane small(width, height);
  for (size_t y = 0; y < height; ++y) {
    for (size_t x = 0; x < width; ++x) {
      double sum = 0;
      double area = 0;
      for (size_t v = 0; v < full.height; ++v) {
        const double part = overlap(v, y_scale, y);
        for (size_t u = 0; part > 0 && u < full.width; ++u) {
          const double share = part * overlap(u, x_scale, x);
          sum += share * full.at(u, v);
          area += share;
        }
      }
      small.at(x, y) = sum / area;
    }
  }
  return small;
}

inline Plane reduced(const Plane& full, size_t width, size_t height) {
  return reduced(full, width, height, static_cast<double>(full.width) / static_cast<double>(width),
                 static_cast<double>(full.height) / static_cast<double>(height));
}

inline Plane halved(const Plane& full) {
  return reduced(full, (full.width + 1) / 2, (full.height + 1) / 2, 2, 2);
}

// A picture with samples of its own rule, each within its width.
class Source {
 public:
  explicit Source(Picture picture) : picture_(std::move(picture)) {}

  [[nodiscard]] const ORB_IFD& ifd() const { return picture_.ifds[0]; }
  [[nodiscard]] const Picture& picture() const { return picture_; }
  [[nodiscard]] size_t height() const {
    return static_cast<size_t>(int64_t{ifd().window.top} - ifd().window.bottom + 1);
  }

  // Rows of a line as an application would have them: with something outside the active window too.
  [[nodiscard]] void** rows(int32_t line) const {
    ORB_IFD copy = ifd();
    void** made = ORB_chan_alloc(&copy, static_cast<int32_t>(window_width(copy)), "test", nullptr);
    const auto channels = meanings(ifd());
    for (size_t c = 0; c < channels.size(); ++c) {
      for (size_t x = 0; x < window_width(copy); ++x)
        store_sample(channels[c].group, made[c], x, value(channels[c], c, x, line));
    }
    return made;
  }

  // Writes all rows in the handle's order; the first code that is not 0.
  int32_t write(ORB_IMAGE* image) const {
    const bool is_upward = (image->info.images[0].orientation & ORB_BOTTOM_UP) != 0;
    int32_t code = 0;
    for (size_t i = 0; i < height() && code == 0; ++i) {
      const auto row = static_cast<int32_t>(is_upward ? i : height() - 1 - i);
      void** made = rows(ifd().window.bottom + row);
      code = ORB_scan_write(image, image->info.images[0].window.bottom + row, made);
      ORB_chan_free(made);
    }
    return code;
  }

  [[nodiscard]] Image open() const {
    {
      const Image writer = open_to_write(picture_);
      EXPECT_TRUE(writer && write(writer.get()) == 0) << orb__err;
    }
    return open_to_read(picture_);
  }

  // The light of a channel as it should be: zeros where nothing is active.
  [[nodiscard]] Plane light(size_t channel) const {
    const Meaning meaning = meanings(ifd())[channel];
    const ORB_WINDOW& w = ifd().window;
    const ORB_WINDOW& a = ifd().active_window;
    Plane plane(window_width(ifd()), height());
    for (size_t y = 0; y < plane.height; ++y) {
      const auto line = static_cast<int32_t>(w.bottom + static_cast<int64_t>(y));
      for (size_t x = 0; x < plane.width; ++x) {
        const auto column = static_cast<int32_t>(w.left + static_cast<int64_t>(x));
        const bool is_active = line >= a.bottom && line <= a.top && column >= a.left && column <= a.right;
        plane.at(x, y) = meaning.light(is_active ? value(meaning, channel, x, line) : 0.0);
      }
    }
    return plane;
  }

 private:
  // Dark ones among them, where codes of a curve are close together.
  [[nodiscard]] double value(const Meaning& meaning, size_t channel, size_t x, int32_t line) const {
    const auto c = static_cast<int32_t>(channel);
    uint32_t bits = 0;
    for (int64_t i = 0; i < 4; ++i)
      bits = bits << 8 | picture_.sample_byte(0, c, line, 4 * static_cast<int64_t>(x) + i);
    if (meaning.group.type != ORB_C_INTEGER)
      return static_cast<float>(bits / 4294967296.0 * (bits & 6 ? 1.5 : -0.25));
    const double code = static_cast<double>(bits % static_cast<uint64_t>(meaning.largest() + 1));
    return bits & 256 ? code : std::floor(code / 16);
  }

  Picture picture_;
};

// Empty when a row of an image reads as that of these planes.
inline std::string compare_row(ORB_IMAGE* image, const std::vector<Plane>& planes, size_t y) {
  const ORB_IFD ifd = image->info.images[0];
  const auto channels = meanings(ifd);
  void** rows = nullptr;
  const int32_t code = ORB_scan_read(image, ifd.window.bottom + static_cast<int32_t>(y), &rows);
  if (code != 0) return "row " + std::to_string(y) + ": code " + std::to_string(code);
  for (size_t c = 0; c < planes.size(); ++c) {
    for (size_t x = 0; x < planes[c].width; ++x) {
      const std::string difference =
          channels[c].check(planes[c].at(x, y), load_sample(channels[c].group, rows[c], x));
      if (!difference.empty())
        return std::to_string(c) + " at " + std::to_string(x) + ", " + std::to_string(y) + ": " + difference;
      store_sample(channels[c].group, rows[c], x, 1);  // as an operator may; the next row must not show it
    }
  }
  return "";
}

// Empty when an image of a handle, or its only one, reads as these planes.
inline std::string compare_image(ORB_IMAGE* image, const std::vector<Plane>& planes) {
  const ORB_IFD ifd = image->info.images[0];
  const size_t height = planes[0].height;
  if (window_width(ifd) != planes[0].width) return "width " + std::to_string(window_width(ifd));
  if (ifd.window.top - ifd.window.bottom + 1 != static_cast<int32_t>(height)) return "height";
  std::string difference;
  for (size_t i = 0; i < height && difference.empty(); ++i) {
    difference = compare_row(image, planes, ifd.orientation & ORB_BOTTOM_UP ? i : height - 1 - i);
  }
  return difference;
}

// The file for what a process makes of a source.
inline Picture planned_file(const Source& source, const IMP_PROCESS& process, const char* name,
                            const char* key) {
  Picture file(name, key);
  file.ifds.resize(40);
  file.ifds.resize(static_cast<size_t>(IMP_plan(&process, &source.ifd(), file.ifds.data(), 40)));
  return file;
}

inline std::vector<Plane> planes_of(const Source& source) {
  std::vector<Plane> planes;
  for (size_t c = 0; c < meanings(source.ifd()).size(); ++c) planes.push_back(source.light(c));
  return planes;
}

// What a swatch of this description must show.
inline std::vector<Plane> reduced_planes(const Source& source, const ORB_IFD& to) {
  std::vector<Plane> planes = planes_of(source);
  const auto height = static_cast<size_t>(to.window.top - to.window.bottom + 1);
  for (Plane& plane : planes) plane = reduced(plane, window_width(to), height);
  return planes;
}

inline std::vector<std::vector<Plane>> pyramid_of(const Source& source) {
  std::vector<std::vector<Plane>> levels = {planes_of(source)};
  while (levels.back()[0].width > 1 || levels.back()[0].height > 1) {
    levels.push_back(levels.back());
    for (Plane& plane : levels.back()) plane = halved(plane);
  }
  return levels;
}

// The types, widths, curves, orders and windows that the generators must carry.
inline std::vector<Source> every_kind_of_source() {
  std::vector<Source> sources;
  const struct {
    uint32_t type;
    int32_t width;
    float gamma;
  } kinds[] = {{ORB_C_INTEGER, 8, 2.2F},  {ORB_C_INTEGER, 8, 1.0F},  {ORB_C_INTEGER, 8, 0.4F},
               {ORB_C_INTEGER, 8, 6.0F},  {ORB_C_INTEGER, 1, 2.2F},  {ORB_C_INTEGER, 5, 1.8F},
               {ORB_C_INTEGER, 8, 0.0F},  {ORB_C_INTEGER, 12, 2.2F}, {ORB_C_INTEGER, 16, 2.2F},
               {ORB_C_INTEGER, 16, 1.0F}, {ORB_C_INTEGER, 24, 2.2F}, {ORB_C_INTEGER, 32, 1.0F},
               {ORB_C_FLOAT, 32, 2.2F},   {ORB_C_FLOAT, 32, NAN},    {ORB_C_DOUBLE, 64, 2.2F},
               {ORB_C_DOUBLE, 64, 1.0F},  {ORB_C_INTEGER, 8, -1.0F}};
  bool is_upward = false;
  for (const auto& kind : kinds) {
    Picture picture("kind.mem", "mem");
    picture.window({-3, 19, 2, 14}).group(&ORB_IFD::color, 3, kind.type, kind.width);
    picture.group(&ORB_IFD::matte, 1, ORB_C_INTEGER, 8).group(&ORB_IFD::aux, 1, ORB_C_FLOAT, 32);
    picture.ifds[0].curve.gamma = kind.gamma;
    if ((is_upward = !is_upward)) picture.top_down();
    sources.emplace_back(picture);
    sources.emplace_back(picture.active({0, 17, 3, 12}));
  }
  const ORB_WINDOW actives[] = {{0, 0, 0, 0}, {36, 36, 8, 8}, {5, 31, 0, 8}, {0, 36, 3, 3}};
  for (const ORB_WINDOW& active : actives) {
    Picture picture("kind.mem", "mem");
    sources.emplace_back(picture.window({0, 36, 0, 8}).active(active));
    sources.emplace_back(picture.top_down());
  }
  static uint8_t falling[256];
  static uint16_t steps[256];
  static float hostile[200];
  for (int i = 0; i < 256; ++i) falling[i] = static_cast<uint8_t>(255 - i);
  for (int i = 0; i < 256; ++i) steps[i] = static_cast<uint16_t>(i / 40 * 600);
  for (int i = 0; i < 200; ++i) hostile[i] = i % 3 ? static_cast<float>(i * i) / 30000.0F - 0.01F : NAN;
  static void* tables[] = {falling, falling, falling, steps, hostile};
  for (const ORB_RESPONSE_CURVE& curve :
       {ORB_RESPONSE_CURVE{ORB_CURVE_TABLE, 1.0F, 0, 3, 256, ORB_C_INTEGER, 8, tables},
        {ORB_CURVE_TABLE, 1.0F, 0, 1, 256, ORB_C_INTEGER, 12, tables + 3},
        {ORB_CURVE_TABLE, 1.0F, 0, 1, 200, ORB_C_FLOAT, 32, tables + 4}}) {
    Picture picture("kind.mem", "mem");
    picture.window({0, 40, 0, 6}).active({2, 35, 1, 6}).ifds[0].curve = curve;
    sources.emplace_back(picture);
  }
  return sources;
}

}  // namespace orb::testing
