// Every picture is made of numbers from 0 to 1 that the widths then quantise, from fixed seeds, so that each run
// measures the same bytes.
#include "bench/pictures.h"

#include <png.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <random>
#include <utility>

#include "bench/give_up.h"

namespace orb::bench {
namespace {

constexpr size_t kWidth = 1920;
constexpr size_t kHeight = 1080;

// Numbers from 0 to 1 by line, channel and column.
struct Canvas {
  explicit Canvas(size_t channel_count)
      : channels(channel_count), numbers(kHeight * channel_count * kWidth) {}
  float& at(size_t x, size_t y, size_t channel) { return numbers[(y * channels + channel) * kWidth + x]; }

  size_t channels;
  std::vector<float> numbers;
};

// Colour, pixel by pixel.
template <class Number>
Canvas coloured(Number number) {
  Canvas canvas(3);
  for (size_t y = 0; y < kHeight; ++y) {
    for (size_t x = 0; x < kWidth; ++x) {
      for (size_t c = 0; c < 3; ++c) canvas.at(x, y, c) = std::clamp<float>(number(x, y, c), 0, 1);
    }
  }
  return canvas;
}

// A position on a strip of mirrored copies of `size` samples.
size_t mirrored(size_t position, size_t size) {
  const size_t within = position % (2 * size);
  return within < size ? within : 2 * size - 1 - within;
}

// A sample, mirrored over the whole canvas.
Canvas photograph(const std::string& name) {
  const std::string path = std::string(ORB_BENCH_SAMPLES) + "/" + name;
  png_image png = {};
  png.version = PNG_IMAGE_VERSION;
  if (!png_image_begin_read_from_file(&png, path.c_str())) give_up(path + ": " + png.message);
  png.format = PNG_FORMAT_RGB;
  std::vector<uint8_t> pixels(PNG_IMAGE_SIZE(png));
  if (!png_image_finish_read(&png, nullptr, pixels.data(), 0, nullptr)) give_up(path + ": " + png.message);
  return coloured([&](size_t x, size_t y, size_t c) {
    const size_t pixel = mirrored(y, png.height) * png.width + mirrored(x, png.width);
    return static_cast<float>(pixels[3 * pixel + c]) / 255;
  });
}

struct Ball {
  float x, y, z, radius;
  float colour[3];
};

std::vector<Ball> balls() {
  std::mt19937 random(1);
  std::uniform_real_distribution<float> unit(0, 1);
  std::vector<Ball> all;
  for (int i = 0; i < 24; ++i) {
    const float x = unit(random) * kWidth;
    const float y = unit(random) * kHeight;
    all.push_back({x,
                   y,
                   300 + 700 * unit(random),
                   40 + 130 * unit(random),
                   {unit(random), unit(random), unit(random)}});
  }
  std::sort(all.begin(), all.end(), [](const Ball& a, const Ball& b) { return a.z > b.z; });
  return all;
}

// Lit balls before a flat background: colour, matte and depth.
Canvas scene() {
  Canvas canvas(5);
  const float background[5] = {0.1f, 0.1f, 0.2f, 0.0f, 1.0f};
  for (size_t y = 0; y < kHeight; ++y) {
    for (size_t c = 0; c < 5; ++c) std::fill_n(&canvas.at(0, y, c), kWidth, background[c]);
  }
  for (const Ball& ball : balls()) {
    for (size_t y = 0; y < kHeight; ++y) {
      for (size_t x = 0; x < kWidth; ++x) {
        const float dx = (static_cast<float>(x) - ball.x) / ball.radius;
        const float dy = (static_cast<float>(y) - ball.y) / ball.radius;
        const float dz = 1 - dx * dx - dy * dy;
        if (dz <= 0) continue;
        const float light = 0.15f + 0.85f * std::max(0.0f, 0.5f * dx + 0.5f * dy + 0.7f * std::sqrt(dz));
        for (size_t c = 0; c < 3; ++c) canvas.at(x, y, c) = std::min(1.0f, ball.colour[c] * light);
        canvas.at(x, y, 3) = 1;
        canvas.at(x, y, 4) = (ball.z - ball.radius * std::sqrt(dz)) / 1200;
      }
    }
  }
  return canvas;
}

// Slow waves with noise of about one 8-bit step.
Canvas gradients() {
  std::mt19937 random(2);
  std::normal_distribution<float> noise(0, 0.6f / 255);
  return coloured([&](size_t x, size_t y, size_t c) {
    const float wave =
        std::sin(static_cast<float>(x) / 500 + static_cast<float>(c)) * std::cos(static_cast<float>(y) / 300);
    return 0.5f + 0.45f * wave + noise(random);
  });
}

// Small flat tiles with slanted edges, one in three with a fine grain.
Canvas facets() {
  constexpr size_t kTile = 20;
  constexpr size_t kAcross = 2 * kWidth / kTile + 2;
  std::mt19937 random(3);
  std::vector<uint32_t> tiles(kAcross * (kHeight / kTile + 1));
  for (uint32_t& tile : tiles) tile = static_cast<uint32_t>(random());
  uint32_t grain = 0;
  return coloured([&](size_t x, size_t y, size_t c) {
    const size_t band = y / kTile;
    const size_t shift = band % 2 ? y % kTile : kTile - y % kTile;
    const uint32_t tile = tiles[band * kAcross + (x + shift) / kTile];
    if (c == 0) grain = tile % 3 == 0 ? static_cast<uint32_t>(random()) : 0;
    return static_cast<float>((tile >> (8 * c + 2) & 0xff) + (grain >> (9 * c) & 3)) / 255;
  });
}

// What a sensor gives at high gain, as much as makes a picture incompressible: now and then three samples are
// still the same.
Canvas grain() {
  std::mt19937 random(4);
  std::normal_distribution<float> noise(0.5f, 6.0f / 255);
  return coloured([&](size_t, size_t, size_t) { return noise(random); });
}

template <class Sample>
std::vector<uint8_t> quantised(const Canvas& canvas, float most) {
  std::vector<uint8_t> bytes(canvas.numbers.size() * sizeof(Sample));
  for (size_t i = 0; i < canvas.numbers.size(); ++i) {
    const Sample sample = static_cast<Sample>(canvas.numbers[i] * most + 0.5f);
    std::memcpy(bytes.data() + i * sizeof(Sample), &sample, sizeof(Sample));
  }
  return bytes;
}

std::vector<uint8_t> samples_of(const Canvas& canvas, Depth depth) {
  const auto most = static_cast<float>((1LL << bits_of(depth)) - 1);
  if (depth == Depth::bits8) return quantised<uint8_t>(canvas, most);
  if (depth != Depth::floats) return quantised<uint16_t>(canvas, most);
  std::vector<uint8_t> bytes(canvas.numbers.size() * sizeof(float));
  std::memcpy(bytes.data(), canvas.numbers.data(), bytes.size());
  return bytes;
}

// In the order of Subject.
constexpr struct {
  const char* name;
  Canvas (*make)();
} kSubjects[] = {
    {"coffee", [] { return photograph("coffee.png"); }},
    {"chelsea", [] { return photograph("chelsea.png"); }},
    {"scene", scene},
    {"gradients", gradients},
    {"facets", facets},
    {"grain", grain},
};

}  // namespace

std::string picture_name(Subject subject, Depth depth) {
  const std::string bits = depth == Depth::floats ? "float" : std::to_string(bits_of(depth)) + " bits";
  return std::string(kSubjects[static_cast<size_t>(subject)].name) + ", " + bits;
}

const Picture& picture(Subject subject, Depth depth) {
  static std::map<std::pair<Subject, Depth>, Picture> kept;
  const auto found = kept.find({subject, depth});
  if (found != kept.end()) return found->second;
  const Canvas canvas = kSubjects[static_cast<size_t>(subject)].make();
  const size_t more = canvas.channels == 5 ? 1 : 0;
  Picture made = {kWidth, kHeight, 3, more, more, depth, samples_of(canvas, depth)};
  return kept.emplace(std::pair(subject, depth), std::move(made)).first->second;
}

}  // namespace orb::bench
