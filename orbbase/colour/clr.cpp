// The colour defaults database: its start and end, the table it makes, its queries and its listing.
#include "orbbase/clr.h"

#include <cmath>

#include "orbbase/colour/clr_database.h"
#include "orbbase/colour/clr_reader.h"
#include "orbbase/colour/clr_table.h"
#include "orbbase/colour/internal.h"
#include "orbbase/support/config/database.h"

namespace orb {
namespace clr {
namespace {

constexpr char kModule[] = "clr";
constexpr int32_t kMostTableEntries = 65'536;

struct State {
  bool is_started = false;
  Database database;       // its settings outlive an exit
  float* table = nullptr;  // owned; settings.table_entries of x, y, z, or null
  int32_t table_entries = 0;
  int32_t points_used = 0;  // that the table was made of
  config::Origin points_origin;
} state;

Outcome check_settings() {
  const Settings& s = state.database.settings;
  if (!(s.min_wavelength > 0 && s.min_wavelength < s.max_wavelength && std::isfinite(s.max_wavelength))) {
    report_with(config::catalogue(), config::kWavelengthRange, s.min_wavelength, s.max_wavelength);
    return Outcome::invalid;
  }
  if (s.table_entries < 2 || s.table_entries > kMostTableEntries) {
    report_with(config::catalogue(), config::kTableResolution, s.table_entries);
    return Outcome::invalid;
  }
  return Outcome::done;
}

bool has_default_range() {
  const Settings& s = state.database.settings;
  return s.min_wavelength == kMinWavelength && s.max_wavelength == kMaxWavelength &&
         s.table_entries == kTableEntries;
}

// The points that the table is made of. A file's points count with any change of the range, the resolution or
// the bins, even none or an unfinished block of them; by themselves only as a whole block that holds some.
bool uses_file_points(const Reading& reading) {
  const FilePoints& given = reading.given;
  if (reading.has_bins || !has_default_range()) return given.has_begun || given.has_ended;
  return given.has_begun && given.has_ended && given.points.count() > 0;
}

Outcome make_table(std::span<const Point> points, float min, float max, int32_t entries) {
  owned<float> table = make_zeroed<float>(3 * static_cast<uint64_t>(entries));
  if (!table) return Outcome::no_memory;
  const std::span<float> xyz(table.get(), 3 * static_cast<size_t>(entries));
  fill_table(points, min, max, xyz);
  const MatchingTable made = {xyz, min, max};
  if (!normalise_table(xyz, made.step())) {
    report_with(config::catalogue(), config::kMatchingFunction);
    return Outcome::invalid;
  }
  Integrals integrals;
  if (!integrals.prepare(made)) return Outcome::no_memory;
  for (ListNode* link = state.database.bins.head(); link; link = link->next)
    derive(*static_cast<BinsNode*>(link), integrals);
  state.table = table.release();
  state.table_entries = entries;
  state.points_used = static_cast<int32_t>(points.size());
  return Outcome::done;
}

Outcome make_default_table() {
  return make_table(standard_observer(), kMinWavelength, kMaxWavelength, kTableEntries);
}

Outcome make_configured_table(Reading& reading) {
  const Outcome outcome = check_settings();
  if (outcome != Outcome::done) return outcome;
  const Settings& s = state.database.settings;
  if (!uses_file_points(reading))
    return make_table(standard_observer(), s.min_wavelength, s.max_wavelength, s.table_entries);
  state.points_origin = reading.given.origin;
  return make_table(reading.given.points.sorted(), s.min_wavelength, s.max_wavelength, s.table_entries);
}

void discard() {
  while (BinsNode* node = state.database.bins.take_first()) ERR_free(node);
  ERR_free(state.table);
  state.table = nullptr;
  state.table_entries = 0;
  state.points_used = 0;
  state.points_origin = {};
}

Outcome build(void* catalogue) {
  if (!add_built_in_bins(state.database)) return Outcome::no_memory;
  Reading reading;
  const Outcome outcome = read_file(state.database, reading, catalogue);
  if (outcome == Outcome::done) return make_configured_table(reading);
  // The range of the file may make no sense yet: what there is of bins gets the built-in one.
  if (outcome == Outcome::not_a_number && make_default_table() != Outcome::done) return Outcome::no_memory;
  return outcome;
}

bool started_for(const char* query) {
  return config::start_on_demand(state.is_started, clr_init, kModule, query);
}

const Settings& settings_for(const char* query) {
  (void)started_for(query);  // after a failure the settings as they stand are the answer
  return state.database.settings;
}

const CLR_BINS* find_bins(int32_t count) {
  state.database.bins.rewind();
  while (const BinsNode* node = state.database.bins.next())
    if (node->bins.count == count) return &node->bins;
  return nullptr;
}

}  // namespace

std::span<const float> matching_table() {
  return {state.table, 3 * static_cast<size_t>(state.table_entries)};
}

int32_t listed_count() {
  (void)started_for("ORB_setting");
  // The rows of the bins, one a set, stand for their keyword; the end of a block has none.
  return static_cast<int32_t>(kKeywordCount) - 2 + state.database.bins.count();
}

namespace {

void list_setting(size_t row_index, config::ListedSetting* out) {
  const Keyword& row = kKeywords[row_index];
  out->name = row.keyword;
  out->origin = state.database.origins[row_index];
  config::ValueText text(out->value);
  if (row.code == Code::begin_points) {
    out->origin = state.points_origin;
    text.number(state.points_used).word("points");
  } else if (row.integer) {
    text.number(*row.integer(state.database.settings));
  } else {
    text.numbers({row.reals(state.database.settings), static_cast<size_t>(row.word_count - 1)});
  }
}

void list_bins(const BinsNode& node, config::ListedSetting* out) {
  out->name = kKeywords[static_cast<size_t>(Code::sample_bins) - 1].keyword;
  out->origin = node.origin;
  config::ValueText text(out->value);
  text.number(node.bins.count);
  if (node.bins.is_uniform)
    text.word("uniform");
  else
    text.numbers({node.bins.boundaries, static_cast<size_t>(node.bins.count) + 1});
}

}  // namespace

bool list(int32_t index, config::ListedSetting* out) {
  for (size_t row = 0; row < kKeywordCount; ++row) {
    if (kKeywords[row].code == Code::sample_bins || kKeywords[row].code == Code::end_points) continue;
    if (index-- > 0) continue;
    list_setting(row, out);
    return true;
  }
  const ListNode* node = state.database.bins.head();
  for (; node && index > 0; --index) node = node->next;
  if (!node) return false;
  list_bins(*static_cast<const BinsNode*>(node), out);
  return true;
}

void reset_for_test() {
  clr_exit();
  state.database.settings = {};
  state.database.origins = {};
}

}  // namespace clr

int32_t clr_init(void* catalogue) {
  clr::state.database.bins.rewind();
  if (clr::state.is_started) return 0;
  clr::state.is_started = true;  // also when reading fails: it is not tried twice
  const clr::Outcome outcome = clr::build(catalogue);
  if (outcome == clr::Outcome::no_memory || outcome == clr::Outcome::invalid) clr::discard();
  return outcome == clr::Outcome::done ? 0 : -1;
}

int32_t clr_exit() {
  if (!clr::state.is_started) return 0;
  clr::discard();
  config::release();
  clr::state.is_started = false;
  return 0;
}

}  // namespace orb

using namespace orb::clr;

const CLR_BINS* CLR_find(int32_t count) { return started_for("CLR_find") ? find_bins(count) : nullptr; }

int32_t CLR_def_color_samp(void) { return settings_for("CLR_def_color_samp").samples; }
int32_t CLR_def_xyz_tab_res(void) { return settings_for("CLR_def_xyz_tab_res").table_entries; }
float CLR_def_min_wavelength(void) { return settings_for("CLR_def_min_wavelength").min_wavelength; }
float CLR_def_max_wavelength(void) { return settings_for("CLR_def_max_wavelength").max_wavelength; }
const float* CLR_def_red_primary(void) { return settings_for("CLR_def_red_primary").red; }
const float* CLR_def_green_primary(void) { return settings_for("CLR_def_green_primary").green; }
const float* CLR_def_blue_primary(void) { return settings_for("CLR_def_blue_primary").blue; }
const float* CLR_def_white_point(void) { return settings_for("CLR_def_white_point").white; }
