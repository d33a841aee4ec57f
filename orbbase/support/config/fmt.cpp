// The format-defaults database.
#include "orbbase/support/fmt.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "orbbase/support/config/database.h"
#include "orbbase/support/config/entry_list.h"
#include "orbbase/support/config/integer.h"
#include "orbbase/support/config/internal.h"
#include "orbbase/support/config/real.h"

static_assert(offsetof(FMT_ASPECT, x_resolution) == sizeof(void*));
static_assert(offsetof(FMT_ASPECT, y_resolution) == sizeof(void*) + 4);
static_assert(offsetof(FMT_ASPECT, aspect) == sizeof(void*) + 8);

namespace orb {
namespace {

using config::Line;

constexpr char kModule[] = "fmt";
constexpr int32_t kAspectWords = 4;

// How an integer setting takes its word. False, with *value untouched, when it refuses it.
using TakeInteger = bool (*)(const char* word, int32_t* value);

bool any_integer(const char* word, int32_t* value) {
  *value = config::leading_integer(word);
  return true;
}
bool above_zero(const char* word, int32_t* value) {
  const int32_t taken = config::leading_integer(word);
  if (taken > 0) *value = taken;
  return taken > 0;
}
bool field_dominance(const char* word, int32_t* value) {
  *value = std::strcmp(word, "even") == 0 ? 0 : 1;
  return true;
}
bool swatch_size(const char* word, int32_t* value) {
  *value = std::strcmp(word, "none") == 0 ? 0 : std::max(config::leading_integer(word), 0);
  return true;
}

enum class Type { text, aspect_name, integer, real, table_start, table_end };

// The settings in the order of the keyword table.
enum Setting : size_t {
  kAspect,
  kGammaSteps,
  kGamma,
  kInputGamma,
  kKey,
  kName,
  kChannels,
  kDominance,
  kFrameRate,
  kSwatch,
  kSettingCount
};

struct Keyword {
  const char* keyword;
  int32_t word_count;
  Type type;
  const char* text;  // built-in values, by type
  int32_t integer;
  float real;
  TakeInteger take;
};

// One row a setting first; then the keywords that set nothing by themselves.
constexpr Keyword kKeywords[] = {
    {"fmt__aspect_default", 2, Type::aspect_name, "ntsc_640", 0, 0, nullptr},
    {"fmt__gamma_table_res", 2, Type::integer, nullptr, 4096, 0, any_integer},
    {"fmt__gamma_default", 2, Type::real, nullptr, 0, 2.2f, nullptr},
    {"fmt__input_gamma_default", 2, Type::real, nullptr, 0, 1.0f, nullptr},
    {"fmt__key_default", 2, Type::text, "rla", 0, 0, nullptr},
    {"fmt__name_default", 2, Type::text, "im", 0, 0, nullptr},
    {"fmt__chan_default", 2, Type::text, "rgb", 0, 0, nullptr},
    {"fmt__dominance", 2, Type::integer, nullptr, 1, 0, field_dominance},
    {"fmt__frame_rate", 2, Type::integer, nullptr, 30, 0, above_zero},
    {"fmt__swatch_size", 2, Type::integer, nullptr, 0, 0, swatch_size},
    {"fmt__aspect_table", 1, Type::table_start, nullptr, 0, 0, nullptr},
    {"end_aspect_table", 1, Type::table_end, nullptr, 0, 0, nullptr},
};

constexpr FMT_ASPECT kBuiltInAspects[] = {{"ntsc_640", 640, 486, 1.33f}};

struct Value {
  const char* text = nullptr;  // built in, or copy
  char* copy = nullptr;        // owned
  int32_t integer = 0;
  float real = 0;
  config::Origin origin;
};

constexpr Value built_in_value(const Keyword& row) { return {row.text, nullptr, row.integer, row.real, {}}; }

constexpr std::array<Value, kSettingCount> built_in_values() {
  std::array<Value, kSettingCount> values;
  for (size_t i = 0; i < kSettingCount; ++i) values[i] = built_in_value(kKeywords[i]);
  return values;
}

struct State {
  bool is_started = false;
  config::EntryList<FMT_ASPECT> aspects;
  std::array<Value, kSettingCount> values = built_in_values();  // outlive an exit, but for the texts
} state;

// What is known between one line and the next.
struct Reader {
  bool is_in_table = false;
  owned<char> aspect_name;  // of fmt__aspect_default; judged when all aspects are known
  config::Origin aspect_origin;
};

void set_text(Setting setting, owned<char> copy, config::Origin origin) {
  Value& value = state.values[setting];
  ERR_free(value.copy);
  value.text = value.copy = copy.release();
  value.origin = origin;
}

int32_t take_text(Reader& reader, Setting setting, const Line& line) {
  owned<char> copy = config::copy_text(line.tokens[1]);
  if (!copy) return ORB_E_MEMORY;
  if (kKeywords[setting].type == Type::aspect_name) {
    reader.aspect_name = std::move(copy);
    reader.aspect_origin = config::origin_of(line);
  } else {
    set_text(setting, std::move(copy), config::origin_of(line));
  }
  return 0;
}

void take_integer(Setting setting, const Line& line) {
  Value& value = state.values[setting];
  if (kKeywords[setting].take(line.tokens[1], &value.integer)) value.origin = config::origin_of(line);
}

void take_real(Setting setting, const Line& line) {
  Value& value = state.values[setting];
  if (config::parse_real(line.tokens[1], &value.real)) value.origin = config::origin_of(line);
}

int32_t read_aspect(const Line& line) {
  if (line.tokens[0][0] == '#') return 0;
  if (!config::has_word_count(line, kAspectWords)) return 0;
  config::owned_entry<FMT_ASPECT> aspect(make_zeroed<FMT_ASPECT>(1).release());
  if (!aspect) return -1;
  aspect->name = config::copy_text(line.tokens[0]).release();
  if (!aspect->name) return -1;
  aspect->x_resolution = config::leading_integer(line.tokens[1]);
  aspect->y_resolution = config::leading_integer(line.tokens[2]);
  (void)config::parse_real(line.tokens[3], &aspect->aspect);  // 0 stays when it is no number
  return state.aspects.replace(std::move(aspect), config::origin_of(line)) ? 0 : -1;
}

int32_t read_line(Reader& reader, const Line& line) {
  const Keyword* const row = config::find_keyword(std::span<const Keyword>(kKeywords), line);
  if (!row) return reader.is_in_table ? read_aspect(line) : 0;
  if (!config::has_word_count(line, row->word_count)) return 0;
  const auto setting = static_cast<Setting>(row - kKeywords);
  switch (row->type) {
    case Type::text:
    case Type::aspect_name:
      return take_text(reader, setting, line);
    case Type::integer:
      take_integer(setting, line);
      break;
    case Type::real:
      take_real(setting, line);
      break;
    case Type::table_start:
      reader.is_in_table = true;
      break;
    case Type::table_end:
      reader.is_in_table = false;
      break;
  }
  return 0;
}

int32_t read_lines() {
  Reader reader;
  while (const Line* line = config::next_line()) {
    if (line->token_count == 0) continue;
    if (const int32_t code = read_line(reader, *line)) return code;
  }
  if (reader.aspect_name && state.aspects.find(reader.aspect_name.get()))
    set_text(kAspect, std::move(reader.aspect_name), reader.aspect_origin);
  return 0;
}

int32_t build(void* catalogue) {
  for (const FMT_ASPECT& aspect : kBuiltInAspects)
    if (!state.aspects.add_built_in(aspect)) return -1;
  switch (config::load(catalogue)) {
    case config::Loaded::no_file:
      return 0;
    case config::Loaded::no_memory:
      return -1;
    case config::Loaded::lines:
      break;
  }
  return read_lines();
}

bool started_for(const char* query) {
  return config::start_on_demand(state.is_started, FMT_init, kModule, query);
}

const Value& value_for(Setting setting, const char* query) {
  (void)started_for(query);  // without a start the values as they stand are the answer
  return state.values[setting];
}

void restore_built_in_texts() {
  for (size_t i = 0; i < kSettingCount; ++i) {
    if (!kKeywords[i].text) continue;
    ERR_free(state.values[i].copy);
    state.values[i] = built_in_value(kKeywords[i]);
  }
}

}  // namespace

namespace fmt {

const char* configured_key() { return value_for(kKey, "ORB_def_key").text; }
const char* configured_name() { return value_for(kName, "ORB_def_base_name").text; }

int32_t listed_count() {
  (void)started_for("ORB_setting");
  return static_cast<int32_t>(kSettingCount) + state.aspects.count();
}

bool list(int32_t index, config::ListedSetting* out) {
  config::ValueText text(out->value);
  if (index < static_cast<int32_t>(kSettingCount)) {
    const Keyword& row = kKeywords[index];
    const Value& value = state.values[static_cast<size_t>(index)];
    out->name = row.keyword;
    out->origin = value.origin;
    if (row.type == Type::integer)
      text.number(value.integer);
    else if (row.type == Type::real)
      text.number(value.real);
    else
      text.word(value.text);
    return true;
  }
  const auto* const node = state.aspects.at(index - static_cast<int32_t>(kSettingCount));
  if (!node) return false;
  out->name = "fmt__aspect_table";
  out->origin = node->origin;
  const FMT_ASPECT& aspect = *node->entry;
  text.word(aspect.name).number(aspect.x_resolution).number(aspect.y_resolution);
  text.number(aspect.aspect);
  return true;
}

void reset_for_test() {
  FMT_exit();
  state.values = built_in_values();
}

}  // namespace fmt
}  // namespace orb

using namespace orb;

int32_t FMT_init(void* catalogue) {
  if (state.is_started) {
    state.aspects.rewind();
    return 0;
  }
  state.is_started = true;
  const int32_t code = build(catalogue);
  if (code != 0) {
    FMT_exit();
    if (code == ORB_E_MEMORY) set_error(ORB_E_MEMORY);
    return code;
  }
  state.aspects.rewind();
  return 0;
}

int32_t FMT_exit(void) {
  if (!state.is_started) return 0;
  state.aspects.clear();
  restore_built_in_texts();
  config::release();
  state.is_started = false;
  return 0;
}

const FMT_ASPECT* FMT_find(const char* name) {
  if (!name || !started_for("FMT_find")) return nullptr;
  return state.aspects.find(name);
}

const FMT_ASPECT* FMT_info(void) { return started_for("FMT_info") ? state.aspects.next() : nullptr; }

const char* FMT_def_aspect(void) { return value_for(kAspect, "FMT_def_aspect").text; }
float FMT_def_gamma(void) { return value_for(kGamma, "FMT_def_gamma").real; }
float FMT_def_input_gamma(void) { return value_for(kInputGamma, "FMT_def_input_gamma").real; }
int32_t FMT_def_gamma_tab_res(void) { return value_for(kGammaSteps, "FMT_def_gamma_tab_res").integer; }
int32_t FMT_def_dominance(void) { return value_for(kDominance, "FMT_def_dominance").integer; }
int32_t FMT_def_frame_rate(void) { return value_for(kFrameRate, "FMT_def_frame_rate").integer; }
int32_t FMT_def_swatch(void) { return value_for(kSwatch, "FMT_def_swatch").integer; }
const char* FMT_def_image_data(void) { return value_for(kChannels, "FMT_def_image_data").text; }
