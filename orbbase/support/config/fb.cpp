// The frame-buffer database.
#include "orbbase/support/config/fb.h"

#include <cstdio>

#include "orbbase/support/config/database.h"
#include "orbbase/support/config/entry_list.h"
#include "orbbase/support/config/integer.h"
#include "orbbase/support/config/real.h"

namespace orb::fb {
namespace {

using config::Line;

constexpr char kModule[] = "fb";

// clang-format off
constexpr FrameBuffer kBuiltIns[] = {
    {"full", {0, 0}, {1280, 1024}, 1.33f, {0.67f, 0.33f, 0.0f}, {0.21f, 0.71f, 0.08f}, {0.14f, 0.08f, 0.78f},
     {0.31f, 0.316f, 0.374f}, 2.2f, 24},
    {"ntsc", {0, 0}, {640, 486}, 1.33f, {0.598f, 0.363f, 0.039f}, {0.312f, 0.586f, 0.102f}, {0.145f, 0.059f, 0.796f},
     {0.319f, 0.344f, 0.337f}, 2.2f, 24},
    {"pal", {0, 0}, {780, 576}, 1.33f, {0.64f, 0.33f, 0.03f}, {0.29f, 0.60f, 0.11f}, {0.15f, 0.06f, 0.79f},
     {0.313f, 0.329f, 0.358f}, 2.2f, 24},
};
// clang-format on
constexpr char kBuiltInDefault[] = "full";

enum class Action { open, close, set_default, field };

struct Keyword {
  const char* keyword;
  int32_t word_count;
  Action action;
  int32_t* (*integers)(FrameBuffer&);  // a field's values: as many as there are words behind the keyword
  float* (*reals)(FrameBuffer&);
};

constexpr Keyword kKeywords[] = {
    {"framebuffer", 2, Action::open, nullptr, nullptr},
    {"resolution", 3, Action::field, [](FrameBuffer& fb) { return fb.resolution; }, nullptr},
    {"aspect", 2, Action::field, nullptr, [](FrameBuffer& fb) { return &fb.aspect; }},
    {"gamma", 2, Action::field, nullptr, [](FrameBuffer& fb) { return &fb.gamma; }},
    {"red_primary", 4, Action::field, nullptr, [](FrameBuffer& fb) { return fb.red; }},
    {"green_primary", 4, Action::field, nullptr, [](FrameBuffer& fb) { return fb.green; }},
    {"blue_primary", 4, Action::field, nullptr, [](FrameBuffer& fb) { return fb.blue; }},
    {"white_point", 4, Action::field, nullptr, [](FrameBuffer& fb) { return fb.white; }},
    {"end_framebuffer", 1, Action::close, nullptr, nullptr},
    {"fb__default", 2, Action::set_default, nullptr, nullptr},
};

struct State {
  bool is_started = false;
  config::EntryList<FrameBuffer> entries;
  const char* default_name = kBuiltInDefault;
  char* default_copy = nullptr;  // owned; default_name, when the file has set it
  config::Origin default_origin;
} state;

// The definition between "framebuffer" and "end_framebuffer", if any.
struct Reader {
  config::owned_entry<FrameBuffer> open;
  config::Origin origin;
};

bool open_definition(Reader& reader, const Line& line) {
  reader.open.reset(make_zeroed<FrameBuffer>(1).release());
  if (!reader.open) return false;
  *reader.open = kBuiltIns[0];
  reader.open->name = config::copy_text(line.tokens[1]).release();
  reader.origin = config::origin_of(line);
  return reader.open->name != nullptr;
}

void set_field(FrameBuffer& fb, const Keyword& row, const Line& line) {
  for (int32_t i = 0; i < row.word_count - 1; ++i) {
    const char* const word = line.tokens[i + 1];
    if (row.integers)
      row.integers(fb)[i] = config::leading_integer(word);
    else  // a word that is no number leaves the field as it was
      (void)config::parse_real(word, &row.reals(fb)[i]);
  }
}

void restore_default() {
  ERR_free(state.default_copy);
  state.default_copy = nullptr;
  state.default_name = kBuiltInDefault;
  state.default_origin = {};
}

bool set_default(const Line& line) {
  owned<char> copy = config::copy_text(line.tokens[1]);
  if (!copy) return false;
  restore_default();
  state.default_name = state.default_copy = copy.release();
  state.default_origin = config::origin_of(line);
  return true;
}

// False when memory ran out.
bool read_line(Reader& reader, const Line& line) {
  const Keyword* const row = config::find_keyword(std::span<const Keyword>(kKeywords), line);
  if (!row || !config::has_word_count(line, row->word_count)) return true;
  switch (row->action) {
    case Action::open:
      return open_definition(reader, line);
    case Action::set_default:
      return set_default(line);
    case Action::close:
      return !reader.open || state.entries.replace(std::move(reader.open), reader.origin);
    case Action::field:
      if (reader.open) set_field(*reader.open, *row, line);
      return true;
  }
  return true;
}

bool build(void* catalogue) {
  for (const FrameBuffer& fb : kBuiltIns)
    if (!state.entries.add_built_in(fb)) return false;
  const config::Loaded loaded = config::load(catalogue);
  if (loaded != config::Loaded::lines) return loaded == config::Loaded::no_file;
  Reader reader;
  while (const Line* line = config::next_line())
    if (line->token_count > 0 && !read_line(reader, *line)) return false;
  return true;
}

bool started_for(const char* query) {
  return config::start_on_demand(state.is_started, init, kModule, query);
}

}  // namespace

int32_t init(void* catalogue) {
  const bool is_rewind = state.is_started;
  state.is_started = true;
  if (!is_rewind && !build(catalogue)) {
    exit();
    return -1;
  }
  state.entries.rewind();
  return 0;
}

int32_t exit() {
  if (!state.is_started) return 0;
  state.entries.clear();
  restore_default();
  config::release();
  state.is_started = false;
  return 0;
}

const FrameBuffer* find(const char* name) {
  if (!name || !started_for("FB_find")) return nullptr;
  return state.entries.find(name);
}

const FrameBuffer* info() { return started_for("FB_info") ? state.entries.next() : nullptr; }

const char* default_name() {
  (void)started_for("FB_def_framebuffer");  // without a start the built-in name is the answer
  return state.default_name;
}

int32_t listed_count() {
  (void)started_for("ORB_setting");
  return 1 + state.entries.count();
}

bool list(int32_t index, config::ListedSetting* out) {
  config::ValueText text(out->value);
  if (index == 0) {
    out->name = "fb__default";
    out->origin = state.default_origin;
    text.word(state.default_name);
    return true;
  }
  const auto* const node = state.entries.at(index - 1);
  if (!node) return false;
  const FrameBuffer& fb = *node->entry;
  out->name = "framebuffer";
  out->origin = node->origin;
  text.word(fb.name).number(fb.resolution[0]).number(fb.resolution[1]).number(fb.aspect);
  text.numbers(fb.red).numbers(fb.green).numbers(fb.blue).numbers(fb.white).number(fb.gamma);
  return true;
}

void reset_for_test() { exit(); }

}  // namespace orb::fb

void FB_symbols(void) { std::fputs("FB_symbols: should not be called by the application\n", stderr); }
