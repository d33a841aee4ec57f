// Everything beside pictures: start and end, settings, curves, resource files, names, texts, accounted memory.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>

#include "orbbase/clr.h"
#include "orbbase/core.h"
#include "orbbase/naming.h"
#include "orbbase/registry.h"
#include "orbbase/response.h"
#include "orbbase/str.h"
#include "orbbase/support/fmt.h"
#include "orbbase/support/resource.h"
#include "orbbase/support/utl.h"
#include "orbbase/support/utl/block_index.h"
#include "orbbase/support/utl/messages.h"
#include "tests/trust/scenarios.h"

namespace orb::testing {
namespace {

std::string repeated(const std::string& text, int count) {
  std::string all;
  for (int i = 0; i < count; ++i) all += text;
  return all;
}

// ---- Start, end, settings

int32_t start_and_end(Seen& seen) {
  if (const int32_t code = start_library()) return code;
  while (const ORB_FORMAT* format = ORB_info()) see_text(seen, format->key);
  end_library();
  return 0;
}

// Longer than the lists and pieces that hold it are at first.
void configure() {
  std::string text =
      "fmt__aspect_table\nwide 1920 1080 1.78\nsquare 512 512 1.0\nend_aspect_table\n"
      "fmt__aspect_default wide\nfmt__chan_default rgba\nfmt__key_default png\nfmt__name_default shot\n"
      "fb__default screen\nframebuffer screen\nfb__res 1 1\nend_framebuffer\n"
      "clr__default_samples 4\nclr__sample_bins 4 400 500 600 650 700\nclr__sample_bins 12 uniform\n"
      "clr__tristimulus_tab_res 40\nclr__tristimulus\n";
  for (int nm = 380; nm <= 780; nm += 2) text += std::to_string(nm) + " 0.2 0.3 0.4\n";
  text += "end__tristimulus\n";
  for (int i = 0; i < 80; ++i) text += "other__setting" + std::to_string(i) + " some words\n";
  put_file(".orbrc", text);
}

int32_t read_settings(Seen& seen) {
  if (const int32_t code = start_library()) return code;
  ORB_SETTING setting = {};
  for (int32_t i = 0; ORB_setting(i, &setting); ++i) {
    see_text(seen, setting.name);
    see_text(seen, setting.value);
    see(seen, setting.line);
  }
  const CLR_BINS* const bins = CLR_find(4);
  if (bins) see(seen, bins->weights[5]);
  end_library();
  return bins ? 0 : failure();
}

// Each database starts by itself.
int32_t ask_settings(Seen& seen) {
  orb__err = 0;
  const FMT_ASPECT* const aspect = FMT_find("ntsc_640");
  const CLR_BINS* const bins = CLR_find(4);
  ORB_SETTING setting = {};
  for (int32_t i = 0; ORB_setting(i, &setting); ++i) see_text(seen, setting.value);
  see_text(seen, FMT_def_aspect());
  const bool is_whole = aspect && bins;
  return is_whole ? 0 : ORB_E_MEMORY;
}

int32_t copy_settings(Seen& seen) {
  ORB_CAP_SETTING* const made = ORB_cap_setting_alloc(3);
  if (!made) return failure();
  ORB_CAP_SETTING* list[] = {&made[0], &made[1], &made[2], nullptr};
  orb__err = 0;
  ORB_CAP_SETTING** const copy = ORB_cap_setting_copy(list);
  const int32_t code = orb__err;
  for (ORB_CAP_SETTING** one = copy; one && *one; ++one) {
    see(seen, (*one)->code);
    ERR_free(*one);
  }
  ERR_free(copy);
  ERR_free(made);
  return code;
}

int32_t change_tables(Seen& seen) {
  ORB_LUT* table = ORB_lut_alloc(4);
  if (!table) return failure();
  ORB_LUT* const copy = ORB_lut_copy(table);
  table = copy ? ORB_lut_realloc(table, 300) : ORB_lut_free(table);
  if (table) see(seen, table->entry_count);
  const int32_t code = table ? 0 : failure();
  ORB_lut_free(table);
  ORB_lut_free(copy);
  return code;
}

int32_t describe(Seen& seen) {
  ORB_INFO* const info = ORB_info_alloc();
  if (!info) return failure();
  see(seen, info->frame_rate);
  return ORB_info_free(info, 1);
}

// The buffer that holds them is kept, and grows.
int32_t build_paths(Seen&) {
  static size_t length = 300;
  length *= 4;
  if (length > 1 << 26) return 0;
  return orb__build_handle("images", std::string(length, 'n').c_str(), ".rla") ? 0 : failure();
}

// ---- Curves

int32_t compose_curves(Seen& seen) {
  ORB_RESPONSE_CURVE gamma = {ORB_CURVE_GAMMA, 2.2f, 0, 3, 256, ORB_C_INTEGER, 8, nullptr};
  ORB_RESPONSE_CURVE table = gamma;
  if (ORB_response_curve_init(&table) != 0) return failure();
  ORB_RESPONSE_CURVE curves[4] = {};  // of a copy, and of three compositions
  bool is_done = ORB_response_curve_copy(&curves[0], &table) == 0;
  is_done = is_done && ORB_response_curve_comp(&table, &table, &curves[1]) == 0;
  is_done = is_done && ORB_response_curve_comp(&gamma, &table, &curves[2]) == 0;
  is_done = is_done && ORB_response_curve_comp(&table, &gamma, &curves[3]) == 0;
  const int32_t code = is_done ? 0 : failure();
  for (ORB_RESPONSE_CURVE& curve : curves) {
    if (is_done) seen.append(static_cast<const char*>(curve.tables[2]), 256);
    ORB_response_curve_done(&curve);
  }
  ORB_response_curve_done(&table);
  return code;
}

int32_t tabulate_gamma(Seen& seen) {
  void* const tables[] = {ORB_gamma_btof(2.2f), ORB_gamma_btos(2.2f), ORB_gamma_tob(2.2f),
                          ORB_gamma_tof(2.2f)};
  int32_t code = 0;
  for (void* table : tables) {
    if (table) seen.append(static_cast<const char*>(table), 256);
    if (!table) code = failure();
    ORB_gamma_done(table);
  }
  return code;
}

// ---- Resource files

constexpr uint32_t kText = 0x54455854;
constexpr uint32_t kError = 0x4552524F;
const std::string kLongName(17000, 'n');  // more than a block of memory, or a line, has at first
const std::string kMade = repeated("./", 300) + "made.rsrc";
constexpr uint32_t kSomeTypes = 20;
constexpr uint32_t kManyTypes = 270;  // their records are more than a block, too

// Lines hold addresses.
void count_line(const char*, void* seen) { *static_cast<Seen*>(seen) += '\n'; }

void empty_resources() { put_file("made.rsrc", std::string(12, '\0')); }

int32_t make_resources(Seen& seen, uint32_t types) {
  if (!orb__rsrc_init(nullptr, nullptr)) return failure();
  ORB_RSRC_FILE* const file = orb__rsrc_open(kMade.c_str());
  bool is_done = file != nullptr;
  for (uint32_t code = 1; is_done && code <= types; ++code)
    is_done = orb__rsrc_add(file, code, "x", "x", 1) &&
              orb__rsrc_add(file, kText, std::to_string(code).c_str(), "x", 1);
  is_done = is_done && orb__rsrc_add(file, kText, "greeting", kLongName.data(), kLongName.size()) &&
            orb__rsrc_add(file, kText, "another", "text", 4) &&
            orb__rsrc_add(file, kText, kLongName.c_str(), "x", 1) &&
            orb__rsrc_add(file, kError, "broken", "%s is broken", 12) &&
            orb__rsrc_delete(file, kText, "another") && orb__rsrc_save(file);
  const int32_t code = is_done ? 0 : failure();
  const bool is_closed = !file || orb__rsrc_close(kMade.c_str(), 0);
  orb__rsrc_init(nullptr, nullptr);
  see(seen, is_done);
  return is_closed ? code : failure();
}

int32_t see_resources(Seen& seen) {
  std::FILE* const file = std::fopen("made.rsrc", "rb");
  char bytes[1 << 16];
  seen.append(bytes, std::fread(bytes, 1, sizeof bytes, file));
  std::fclose(file);
  return 0;
}

int32_t use_resources(Seen& seen) {
  bool is_done =
      orb__rsrc_init(count_line, &seen) && orb__rsrc_search("rsrc.") && orb__rsrc_search(kLongName.c_str());
  ORB_RSRC_FILE* const file = is_done ? orb__rsrc_open("kept") : nullptr;
  for (int i = 0; i < 2; ++i) {
    uint32_t bytes = 0;
    const void* const data = file ? orb__rsrc_load(file, kText, "greeting", &bytes) : nullptr;
    if (data) seen.append(static_cast<const char*>(data), bytes);
    is_done = is_done && data;
  }
  is_done = is_done && orb__rsrc_report("broken", "s", "it");
  is_done = is_done && orb__rsrc_dump(file, 1);
  const int32_t code = is_done ? 0 : failure();
  const bool is_closed = !file || orb__rsrc_close("kept", 0);
  orb__rsrc_init(nullptr, nullptr);
  return is_closed ? code : failure();
}

void keep_resources(uint32_t types) {
  Seen unused;
  empty_resources();
  make_resources(unused, types);
  std::rename("made.rsrc", "rsrc.kept");
}

// ---- Handlers

// Records that are given back are used again: each run declares more of them than all before it.
int32_t declare_handlers(Seen&) {
  static int count = 1;
  ERR_RECORD record = {};
  const ERR_HANDLER pass_on = [](const void*, uint8_t, const char*, ERR_RECORD*, void*) { return 1; };
  int declared = 0;
  while (declared < count && ERR_dcl_handler(&record, pass_on, nullptr)) ++declared;
  for (int i = 0; i < declared; ++i) ERR_can_handler(&record);
  const bool is_done = declared == count++;
  return is_done ? 0 : ORB_E_MEMORY;
}

// ---- Names and texts

int32_t take_names_apart(Seen& seen) {
  ORB_NAME_TOKEN* tokens = nullptr;
  if (!ORB_parse_name_syntax("name.##.name_ext", &tokens, 0)) return failure();
  ERR_free(tokens);
  char path[ORB_PATHNAME_BYTES];
  char base[ORB_PATHNAME_BYTES];
  const std::string many_names = repeated("name.", 30) + "####.ext";  // more than usual memory holds
  const std::string many_parts = repeated("part.", 30) + "0007.mem";
  const struct {
    const char* syntax;
    const char* name;
    int32_t mode;
  } rows[] = {{"name.####.ext", "shot.mem", ORB_PATHNAME_FRAME},
              {"name.####.ext", "shot.0007.mem", ORB_PATHNAME_WILDCARD},
              {"name.####.ext", "shot.0007.mem", ORB_PATHNAME_PRINTF},
              {nullptr, "shot.mem", ORB_PATHNAME_FRAME},
              {nullptr, "shot.0007.mem", ORB_PATHNAME_WILDCARD},
              {nullptr, "shot.0007.mem", ORB_PATHNAME_PRINTF},
              {many_names.c_str(), many_parts.c_str(), ORB_PATHNAME_FRAME}};
  for (const auto& row : rows) {
    const char* key = nullptr;
    ORB_FORMAT* format = nullptr;
    int32_t frame = 12;
    if (!ORB_pathname_build(row.syntax, row.name, "mem", nullptr, row.mode, 0, &frame, path, base, &key,
                            &format))
      return failure();
    see_text(seen, path);
  }
  return 0;
}

int32_t edit_texts(Seen& seen) {
  char* text = STR_append(nullptr, "one");
  for (int step = 0; text && step < 5; ++step) {
    char* const next = step == 0   ? STR_append(text, " three")
                       : step == 1 ? STR_n_append(text, " four", 3)
                       : step == 2 ? STR_insert(text, 'x', 2)
                       : step == 3 ? STR_n_insert(text, "yz", 3, 2)
                                   : STR_more(text, 100);
    if (!next) std::free(text);
    text = next;
  }
  if (!text) return ORB_E_MEMORY;
  see_text(seen, text);
  char* expanded = nullptr;
  const bool is_expanded = STR_expand_filename("  a/${ORB_TEST_FOLDER}/b", &expanded) != 0;
  see_text(seen, expanded);
  std::free(expanded);
  char** const words = is_expanded ? STR_parse(text) : nullptr;
  char* const shared = words ? STR_define("shared") : nullptr;
  char* const piece = shared ? STR_n_save("piece", 3) : nullptr;
  for (char** word = words; word && *word; ++word) see_text(seen, *word);
  std::free(words);
  std::free(text);
  if (shared) STR_undefine("shared");
  std::free(piece);
  return piece ? 0 : ORB_E_MEMORY;
}

// ---- Accounted memory

// A user who always goes on.
struct User {
  std::FILE* told = unbuffered(std::tmpfile());
  std::FILE* answers = unbuffered(std::tmpfile());

  User() {
    for (int i = 0; i < 50; ++i) std::fputs("y\n", answers);
  }
  static std::FILE* unbuffered(std::FILE* stream) {
    std::setvbuf(stream, nullptr, _IONBF, 0);
    return stream;
  }
};

User& user() {
  static User only;
  return only;
}

int32_t account(Seen& seen) {
  std::rewind(user().answers);
  utl::redirect(user().told, user().answers);
  char* block = static_cast<char*>(UTL_malloc(40, 4));
  char* const other = block ? static_cast<char*>(UTL_malloc(8, 0)) : nullptr;
  char* const moved = other ? static_cast<char*>(UTL_realloc(block, 80, 4)) : nullptr;
  for (char* taken : {moved ? moved : block, other}) {
    if (taken) UTL_free(taken);
  }
  utl::redirect(nullptr, nullptr);
  see(seen, moved != nullptr);
  return moved ? 0 : ORB_E_MEMORY;
}

int32_t index_blocks(Seen& seen) {
  static auto& all = *new std::deque<utl::BlockIndex>;  // what they take lives as long as the process
  utl::BlockIndex& index = all.emplace_back();
  for (uintptr_t i = 1; i <= 300; ++i)
    index.insert(reinterpret_cast<void*>(i * 16), static_cast<uint32_t>(i));
  see(seen, index.find(reinterpret_cast<void*>(uintptr_t{4800})));
  return index.is_usable() ? 0 : ORB_E_MEMORY;
}

// The tool is one that does nothing.
int32_t report_trace(Seen&) {
  UTL_trace_report();
  return 0;
}

// Through the hooks, with a trace and without.
int32_t trace_blocks(Seen& seen, bool is_traced) {
  if (is_traced) UTL_trace_on();
  void* const block = utl__hooks.allocate(10, "block");
  void* const moved = block ? utl__hooks.reallocate(block, 20, "block") : nullptr;
  utl__hooks.release(moved ? moved : block, "block");
  if (is_traced) UTL_trace_off();
  see(seen, moved != nullptr);
  return moved ? 0 : ORB_E_MEMORY;
}

}  // namespace

const std::vector<Scenario>& support_scenarios() {
  static const std::vector<Scenario> all = {
      {"StartAndEnd", start_and_end, kStartsItself | kTakesOnce | kNoFiles,
       [] { put_file(".orbrc", "a__setting word\n"); }},
      {"Configuration", read_settings, kStartsItself | kGoesWithout, configure},
      {"SettingsByThemselves", ask_settings, kStartsItself | kGoesWithout, configure},
      {"SettingsCopied", copy_settings, kNoFiles},
      {"LookupTables", change_tables, kNoFiles},
      {"Description", describe, kNoFiles},
      {"Paths", build_paths, kNoFiles | kKeepsBlocks},
      {"Curves", compose_curves, kNoFiles},
      {"GammaTables", tabulate_gamma, kNoFiles},
      {"ResourcesMade", [](Seen& seen) { return make_resources(seen, kSomeTypes); },
       kStartsItself | kTakesOnce, empty_resources, see_resources, empty_resources},
      {"ResourcesUsed", use_resources, kStartsItself, [] { keep_resources(kSomeTypes); }},
      {"ManyResources", use_resources, kStartsItself | kNoFiles, [] { keep_resources(kManyTypes); }},
      {"Names", take_names_apart, kGoesWithout, [] { put_file("shot.mem", "a name that is there"); }},
      {"Texts", edit_texts, kUnreported | kNoFiles, [] { setenv("ORB_TEST_FOLDER", "somewhere", 1); }},
      {"AccountedMemory", account, kUnreported | kNoFiles | kKeepsBlocks, [] { user(); }},
      {"BlockIndex", index_blocks, kUnreported | kNoFiles | kKeepsBlocks},
      {"TraceReport", report_trace, kUnreported | kNoFiles | kGoesWithout,
       [] { setenv("QV_BIN_DIR", "true ", 1); }},
      {"Handlers", declare_handlers, kNoFiles | kKeepsBlocks},
      {"Hooks", [](Seen& seen) { return trace_blocks(seen, false); }, kNoFiles},
      {"Trace", [](Seen& seen) { return trace_blocks(seen, true); }, kGoesWithout},
  };
  return all;
}

}  // namespace orb::testing
