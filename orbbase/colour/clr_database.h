// The colour defaults database as its reader fills it: settings, their keywords, and the sets of bins.
#pragma once

#include <array>
#include <cstdint>
#include <iterator>

#include "orbbase/colour/clr_bins.h"
#include "orbbase/support/config/setting.h"
#include "orbbase/support/containers/list.h"

namespace orb::clr {

inline constexpr float kMinWavelength = 380;
inline constexpr float kMaxWavelength = 780;
inline constexpr int32_t kTableEntries = 401;

struct Settings {
  int32_t samples = 3;
  float red[3] = {0.67f, 0.33f, 0.0f};
  float green[3] = {0.21f, 0.71f, 0.08f};
  float blue[3] = {0.14f, 0.08f, 0.78f};
  float white[3] = {0.31f, 0.316f, 0.374f};
  float min_wavelength = kMinWavelength;
  float max_wavelength = kMaxWavelength;
  int32_t table_entries = kTableEntries;
};

enum class Code {
  samples = 1,
  red,
  green,
  blue,
  white,
  min_wavelength,
  max_wavelength,
  sample_bins,
  begin_points,
  end_points,
  table_entries
};

inline constexpr int32_t kAnyCount = 0;

struct Keyword {
  Code code;
  int32_t word_count;  // with the keyword, or kAnyCount
  const char* keyword;
  int32_t* (*integer)(Settings&);  // the setting behind a keyword that has one
  float* (*reals)(Settings&);
};

// In the order of the codes.
inline constexpr Keyword kKeywords[] = {
    {Code::samples, 2, "clr__default_samples", [](Settings& s) { return &s.samples; }, nullptr},
    {Code::red, 4, "clr__default_red_primary", nullptr, [](Settings& s) { return s.red; }},
    {Code::green, 4, "clr__default_green_primary", nullptr, [](Settings& s) { return s.green; }},
    {Code::blue, 4, "clr__default_blue_primary", nullptr, [](Settings& s) { return s.blue; }},
    {Code::white, 4, "clr__default_white_point", nullptr, [](Settings& s) { return s.white; }},
    {Code::min_wavelength, 2, "clr__min_wavelength", nullptr, [](Settings& s) { return &s.min_wavelength; }},
    {Code::max_wavelength, 2, "clr__max_wavelength", nullptr, [](Settings& s) { return &s.max_wavelength; }},
    {Code::sample_bins, kAnyCount, "clr__sample_bins", nullptr, nullptr},
    {Code::begin_points, 1, "clr__tristimulus", nullptr, nullptr},
    {Code::end_points, 1, "end__tristimulus", nullptr, nullptr},
    {Code::table_entries, 2, "clr__tristimulus_tab_res", [](Settings& s) { return &s.table_entries; },
     nullptr},
};
inline constexpr size_t kKeywordCount = std::size(kKeywords);

struct Database {
  Settings settings;
  std::array<config::Origin, kKeywordCount> origins = {};  // of the settings, by keyword
  ListOf<BinsNode> bins;
};

}  // namespace orb::clr
