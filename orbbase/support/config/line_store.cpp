// The configuration file: found, read once, split into words, and handed line by line to every database.
#include "orbbase/support/config/line_store.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "orbbase/platform/platform.h"
#include "orbbase/support/config/messages.h"

namespace orb::config {
namespace {

constexpr char kFileName[] = ".orbrc";
constexpr char kBuiltInRoot[] = "/usr/zt/";
constexpr size_t kLineBytes = 255;  // of the read buffer; longer lines continue as further lines
// A device or a runaway file must not fill the memory, nor hold the start up: every entry that a line defines
// is looked for among all before it.
constexpr int32_t kMostLines = 20'000;

// A configuration file that values in force may come from. Numbers outlive the databases, and so does this.
struct Source : ListNode {
  char* path;
};

struct State {
  bool is_loaded = false;
  ListOf<Line> lines;
  char* path = nullptr;          // owned; last tried
  const char* source = nullptr;  // its path among the sources, null when no file was opened
  ListOf<Source> sources;
  void* catalogue = nullptr;
} state;

// From malloc itself: the databases report the want of memory for a text in their own words.
owned<char> text_of_size(size_t length) {
  owned<char> text(static_cast<char*>(std::malloc(length + 1)));
  if (!text)
    report_with(state.catalogue, kNoMemoryForText);
  else
    text.get()[length] = '\0';
  return text;
}

owned<char> join(std::string_view root, std::string_view folder, std::string_view name) {
  owned<char> joined = text_of_size(root.size() + folder.size() + name.size());
  if (!joined) return joined;
  char* p = joined.get();
  for (const std::string_view part : {root, folder, name})
    for (const char c : part) *p++ = c;
  return joined;
}

void forget_path() {
  ERR_free(state.path);
  state.path = nullptr;
  state.source = nullptr;
}

// A folder can be opened on some systems; it holds no lines, and the search goes on as on the others.
std::FILE* open_file(const char* path) {
  platform::FileStatus status;
  if (platform::file_status(path, &status) == 0 && status.is_directory) return nullptr;
  return std::fopen(path, "r");
}

struct Place {
  const char* variable;  // null: the built-in root
  const char* folder;
};
constexpr Place kPlaces[] = {{"HOME", "/"}, {"QV_ROOT", "/userconfig/"}, {nullptr, "/userconfig/"}};

// Opens the first file there is. The path last tried stays in the state.
Loaded find_file(std::FILE** file_out) {
  for (const Place& place : kPlaces) {
    const char* const root = place.variable ? std::getenv(place.variable) : kBuiltInRoot;
    if (!root) continue;
    forget_path();
    state.path = join(root, place.folder, kFileName).release();
    if (!state.path) return Loaded::no_memory;
    *file_out = open_file(state.path);
    if (*file_out) return Loaded::lines;
  }
  return Loaded::no_file;
}

bool remember_source() {
  for (const ListNode* node = state.sources.head(); node; node = node->next) {
    state.source = static_cast<const Source*>(node)->path;
    if (std::strcmp(state.source, state.path) == 0) return true;
  }
  state.source = nullptr;
  owned<Source> source = make_zeroed<Source>(1);
  if (!source) return false;
  source->path = copy_text(state.path).release();
  if (!source->path) return false;
  state.source = source->path;
  state.sources.append(source.release());
  return true;
}

bool append_line(const char* text) {
  owned<Line> line = make_zeroed<Line>(1);
  if (!line) return false;
  owned<char> copy = copy_text(text);
  if (!copy) return false;
  line->number = state.lines.count() + 1;
  line->token_count = split_tokens(copy.get(), line->tokens);
  line->text = copy.release();
  state.lines.append(line.release());
  return true;
}

bool read_lines(std::FILE* file) {
  char buffer[kLineBytes];
  while (std::fgets(buffer, sizeof buffer, file)) {
    if (state.lines.count() == kMostLines) {
      ERR_printf(ERR_WARNING, "%s: only the first %d lines are read", state.path, kMostLines);
      return true;
    }
    if (!append_line(buffer)) return false;
  }
  if (std::ferror(file))
    ERR_printf(ERR_WARNING, "%s: cannot be read further; %s", state.path, std::strerror(errno));
  return true;
}

Loaded read_file() {
  std::FILE* file = nullptr;
  const Loaded found = find_file(&file);
  if (found != Loaded::lines) return found;
  const bool is_read = remember_source() && read_lines(file);
  std::fclose(file);
  return is_read ? Loaded::lines : Loaded::no_memory;
}

}  // namespace

Loaded load(void* catalogue) {
  if (state.is_loaded) {
    state.lines.rewind();
    return Loaded::lines;
  }
  state.catalogue = catalogue;
  state.is_loaded = true;
  const Loaded loaded = read_file();
  if (loaded == Loaded::no_memory)
    release();
  else
    state.lines.rewind();
  return loaded;
}

const Line* next_line() { return state.lines.next(); }

void release() {
  while (Line* line = state.lines.take_first()) {
    ERR_free(line->text);
    ERR_free(line);
  }
  forget_path();
  state.is_loaded = false;
}

const char* path() { return state.path ? state.path : ""; }

void* catalogue() { return state.catalogue; }

Origin origin_of(const Line& line) { return {state.source, line.number}; }

owned<char> copy_text(const char* text) {
  const size_t length = std::strlen(text);
  owned<char> copy = text_of_size(length);
  if (copy) std::memcpy(copy.get(), text, length);
  return copy;
}

void reset_for_test() {
  release();
  while (Source* source = state.sources.take_first()) {
    ERR_free(source->path);
    ERR_free(source);
  }
  state.catalogue = nullptr;
}

}  // namespace orb::config
