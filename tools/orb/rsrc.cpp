// orb rsrc: what resource files hold, and changes to them, made on a copy that takes the file's place.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>

#include "exit_codes.h"
#include "json.h"
#include "orbbase/support/err.h"
#include "orbbase/support/resource.h"
#include "printable.h"
#include "reports.h"
#include "results.h"
#include "target.h"
#include "verbs.h"

namespace orb::tool {
namespace {

struct RsrcOptions {
  CommonOptions common;
  std::string file;
  std::string type;
  std::string name;
  std::string data = "-";
};

// ---- Files of bytes ----

[[noreturn]] void fail_file(const char* what, const std::string& file, int error_number) {
  const ExitCode code = is_worth_retry(error_number) ? kRetry : error_number == ENOENT ? kNoInput : kIoError;
  throw Failure(code, what + file + "; " + std::strerror(error_number));
}

// Calls take with one piece after the other.
template <class Take>
void read_file(const std::string& file, Take take) {
  const OpenedFile opened(file == "-" ? nullptr : std::fopen(file.c_str(), "rb"));
  std::FILE* stream = file == "-" ? stdin : opened.get();
  if (stream == nullptr) fail_file("Cannot open file ", file, errno);
  char piece[1 << 16];
  while (const size_t bytes = std::fread(piece, 1, sizeof piece, stream))
    take(std::string_view(piece, bytes));
  if (std::ferror(stream) != 0) fail_file("Cannot read ", file, errno);
}

// The data of an item, and no more of an endless input than shows that it is too much.
std::string read_data(const std::string& file) {
  std::string data;
  read_file(file, [&](std::string_view piece) {
    data += piece;
    if (data.size() > ORB_RSRC_MOST_BYTES) {
      throw Failure(kIoError,
                    file + ": an item has at most " + std::to_string(ORB_RSRC_MOST_BYTES) + " bytes");
    }
  });
  return data;
}

void copy_file(const std::string& from, const Target& target) {
  OpenedFile copy = target.open();
  read_file(from, [&](std::string_view piece) {
    if (std::fwrite(piece.data(), 1, piece.size(), copy.get()) == piece.size()) return;
    fail_file("Cannot write to ", target.shown_name(), errno);
  });
  if (std::fclose(copy.release()) != 0) fail_file("Cannot write to ", target.shown_name(), errno);
}

// What orb rsrc add begins with where there is no file: no types, and the directory of none behind the header.
void write_empty_file(const Target& target) {
  constexpr char kEmpty[] = {0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 12};
  OpenedFile file = target.open();
  write_text(std::string(kEmpty, sizeof kEmpty), file.get(), target.shown_name());
  if (std::fclose(file.release()) != 0) fail_file("Cannot write to ", target.shown_name(), errno);
}

// One that cannot be looked at counts as there: it must not be taken for a file to begin.
bool is_there(const std::string& file) { return access(file.c_str(), F_OK) == 0 || errno != ENOENT; }

// ---- Resource files ----

// An open one. What was changed is not saved unless the holder says so.
class ResourceFile {
 public:
  explicit ResourceFile(const std::string& file) : name_(file) {
    if (!is_there(file)) fail_file("Cannot open file ", file, errno);
    file_ = orb__rsrc_open(file.c_str());
    if (file_ == nullptr) fail_as_reported(file + ": cannot be opened");
  }
  ~ResourceFile() {
    if (file_ != nullptr) orb__rsrc_close(name_.c_str(), 0);
  }
  ResourceFile(const ResourceFile&) = delete;
  ResourceFile& operator=(const ResourceFile&) = delete;

  void save_and_close() {
    file_ = nullptr;
    if (orb__rsrc_close(name_.c_str(), 1) == 0) fail_as_reported(name_ + ": cannot be saved");
  }
  [[nodiscard]] ORB_RSRC_FILE* get() const { return file_; }

 private:
  std::string name_;
  ORB_RSRC_FILE* file_ = nullptr;
};

// What was typed, without what keeps the parser from taking it for a list.
std::string as_typed(const std::string& text) {
  return text.starts_with("./[") && text.ends_with(']') ? text.substr(2) : text;
}

// Four characters, or their number in hexadecimal for those that no keyboard has.
uint32_t code_from_text(const std::string& text) {
  uint32_t code = 0;
  if (text.size() == 10 && text.starts_with("0x")) {
    const char* const end = text.data() + text.size();
    if (std::from_chars(text.data() + 2, end, code, 16).ptr == end && code != 0) return code;
  }
  if (text.size() == 4) {
    for (const char c : text) code = code << 8 | static_cast<unsigned char>(c);
    return code;
  }
  throw Failure(kUsage,
                "type \"" + text + "\": expecting four characters, or 0x and eight hexadecimal digits");
}

std::string code_text(uint32_t code) {
  std::string text;
  for (int shift = 24; shift >= 0; shift -= 8) text += static_cast<char>(code >> shift & 0xFF);
  if (printable(text) == text) return text;
  char hex[16];
  std::snprintf(hex, sizeof hex, "0x%08x", code);
  return hex;
}

std::string shown_item(const RsrcOptions& options) {
  return "\"" + options.type + "\" \"" + options.name + "\"";
}

uint32_t code_of(const RsrcOptions& options) { return code_from_text(options.type); }

bool has_item(const RsrcOptions& options, const ResourceFile& file) {
  return orb__rsrc_find(file.get(), code_of(options), options.name.c_str(), nullptr) != 0;
}

void require_item(const RsrcOptions& options, const ResourceFile& file) {
  if (!has_item(options, file))
    throw Failure(kNoInput, options.file + ": has no item " + shown_item(options));
}

// ---- Listing ----

// Counted first, so that nothing is thrown across the library.
std::vector<ORB_RSRC_ITEM> items_of(const ResourceFile& file) {
  size_t count = 0;
  const ORB_RSRC_VISIT count_it = [](const ORB_RSRC_ITEM*, void* counted) -> int32_t {
    ++*static_cast<size_t*>(counted);
    return 1;
  };
  const ORB_RSRC_VISIT keep_it = [](const ORB_RSRC_ITEM* item, void* kept) -> int32_t {
    static_cast<std::vector<ORB_RSRC_ITEM>*>(kept)->push_back(*item);
    return 1;
  };
  orb__rsrc_each(file.get(), count_it, &count);
  std::vector<ORB_RSRC_ITEM> items;
  items.reserve(count);
  orb__rsrc_each(file.get(), keep_it, &items);
  return items;
}

std::string list_text(const std::vector<ORB_RSRC_ITEM>& items) {
  std::string text;
  for (const ORB_RSRC_ITEM& item : items) {
    const std::string bytes = std::to_string(item.data_bytes);
    text += code_text(item.code) + std::string(bytes.size() < 9 ? 9 - bytes.size() : 1, ' ') + bytes + "  " +
            printable(item.name) + (item.is_deleted != 0 ? "  (deleted)" : "") + "\n";
  }
  return text;
}

Json list_json(const std::string& file, const std::vector<ORB_RSRC_ITEM>& items) {
  Json list = Json::array();
  for (const ORB_RSRC_ITEM& item : items) {
    list.push_back({{"type", code_text(item.code)},
                    {"name", item.name},
                    {"bytes", item.data_bytes},
                    {"offset", item.offset},
                    {"deleted", item.is_deleted != 0}});
  }
  return {{"file", file}, {"items", list}};
}

int list_items(const RsrcOptions& options) {
  Results results(options.common);
  const ResourceFile file(options.file);
  const std::vector<ORB_RSRC_ITEM> items = items_of(file);
  results.text = options.common.json ? to_text(list_json(options.file, items)) : list_text(items);
  results.deliver();
  return kDone;
}

// Some output has no form in JSON, and who asked for that must not be given something else.
void refuse_json(const RsrcOptions& options, const char* reason) {
  if (options.common.json)
    throw Failure(kUsage, std::string("--json: ") + reason + "; orb rsrc ls has --json");
}

int show_data(const RsrcOptions& options) {
  refuse_json(options, "cat puts out the data as it is");
  Results results(options.common);
  const ResourceFile file(options.file);
  require_item(options, file);
  uint32_t bytes = 0;
  const void* data = orb__rsrc_load(file.get(), code_of(options), options.name.c_str(), &bytes);
  if (data == nullptr) fail_as_reported(options.file + ": cannot be read");
  results.text.assign(static_cast<const char*>(data), bytes);
  results.deliver();
  return kDone;
}

// ---- Dumping ----

// The lines with their tabs, everything else made safe to show.
std::string printable_line(std::string_view line) {
  std::string text;
  for (size_t tab = line.find('\t'); tab != std::string_view::npos; tab = line.find('\t')) {
    text += printable(line.substr(0, tab)) + "\t";
    line.remove_prefix(tab + 1);
  }
  return text + printable(line) + "\n";
}

struct Dump {
  std::string text;
  bool is_short = false;  // out of memory
};

void take_line(const char* line, void* dump) {
  try {
    static_cast<Dump*>(dump)->text += printable_line(line);
  } catch (const std::bad_alloc&) {
    static_cast<Dump*>(dump)->is_short = true;
  }
}

int dump_file(const RsrcOptions& options) {
  refuse_json(options, "dump prints text");
  Results results(options.common);
  Dump dump;
  orb__rsrc_init(take_line, &dump);
  const ResourceFile file(options.file);
  if (orb__rsrc_dump(file.get(), options.common.verbosity > 0 ? 1 : 0) == 0)
    fail_as_reported("out of memory");
  if (dump.is_short) throw std::bad_alloc();
  results.text = dump.text;
  results.deliver();
  return kDone;
}

// ---- Changing ----

void refuse_standard_streams(const RsrcOptions& options, const Target& target) {
  if (options.file == "-") throw Failure(kUsage, "a resource file is read at any place; - cannot be one");
  if (target.is_direct()) throw Failure(kIoError, target.shown_name() + " cannot hold a resource file");
}

void say_change(const RsrcOptions& options, const Target& target, const char* done) {
  if (options.common.json) {
    show(to_text({{"file", target.shown_name()},
                  {"type", options.type},
                  {"name", options.name},
                  {"result", options.common.is_dry_run ? "dry run" : done}}));
  } else if (options.common.is_dry_run) {
    say(ERR_WARNING, "dry run: " + shown_item(options) + " is not " + done);
  }
}

// check throws Failure where the change must not be made; apply makes it.
struct Change {
  const char* done;
  void (*check)(const RsrcOptions&, const ResourceFile&);
  std::function<void(const ResourceFile&)> apply;
};

void rehearse(const RsrcOptions& options, const Change& change) {
  if (!is_there(options.file)) return;
  const ResourceFile file(options.file);
  change.check(options, file);
}

// Changes a copy of the file, which then takes the file's place, or that of -o.
int change_copy(const RsrcOptions& options, const Change& change) {
  const bool is_in_place = options.common.output.empty();
  Target target(is_in_place ? options.file : options.common.output,
                (is_in_place && is_there(options.file)) || options.common.force);
  refuse_standard_streams(options, target);
  if (options.common.is_dry_run) {
    rehearse(options, change);
  } else {
    target.create();
    if (is_there(options.file)) {
      copy_file(options.file, target);
    } else {
      write_empty_file(target);
    }
    const ShownAs shown(target.write_name(), is_in_place ? options.file : target.shown_name());
    ResourceFile file(target.write_name());
    change.check(options, file);
    change.apply(file);
    file.save_and_close();
    target.commit();
  }
  say_change(options, target, change.done);
  return kDone;
}

// Of equal items the second would come to light when the first is gone. Whether there was one.
bool delete_items(const RsrcOptions& options, const ResourceFile& file) {
  bool is_deleted = false;
  while (orb__rsrc_delete(file.get(), code_of(options), options.name.c_str()) != 0) is_deleted = true;
  return is_deleted;
}

int remove_item(const RsrcOptions& options) {
  if (!is_there(options.file)) fail_file("Cannot open file ", options.file, errno);
  return change_copy(options, {"removed", require_item, [&](const ResourceFile& file) {
                                 if (!delete_items(options, file)) fail_as_reported("cannot remove the item");
                               }});
}

void require_place(const RsrcOptions& options, const ResourceFile& file) {
  if (options.common.force || !has_item(options, file)) return;
  throw Failure(kIoError,
                options.file + ": has an item " + shown_item(options) + ", which is kept; -f replaces it");
}

int add_item(const RsrcOptions& options) {
  static_cast<void>(code_of(options));  // before the data is waited for
  const std::string data = read_data(options.data);
  return change_copy(options, {"added", require_place, [&](const ResourceFile& file) {
                                 static_cast<void>(delete_items(options, file));
                                 if (orb__rsrc_add(file.get(), code_of(options), options.name.c_str(),
                                                   data.data(), data.size()) == 0) {
                                   fail_as_reported("cannot add the item");
                                 }
                               }});
}

// ---- The command line ----

struct Action {
  const char* name;
  const char* help;
  const char* output_help;
  int arguments;  // beside FILE: 2 for TYPE and NAME, 3 with DATA
  bool has_json;
  int (*run)(const RsrcOptions&);
};

constexpr Action kActions[] = {
    {"ls", "list the items of a resource file", "write the list to a file", 0, true, list_items},
    {"cat", "put an item's data on standard output", "write the data to a file", 2, false, show_data},
    {"add", "add an item; with -f also in place of one that is there",
     "write the changed file there, and keep FILE as it is", 3, true, add_item},
    {"rm", "remove an item", "write the changed file there, and keep FILE as it is", 2, true, remove_item},
    {"dump", "print all that the directory says; with -v also what the library keeps of it",
     "write the dump to a file", 0, false, dump_file}};

void add_arguments(CLI::App& parser, const Action& action, RsrcOptions& options) {
  add_common_options(parser, options.common, action.output_help);
  if (!action.has_json)
    parser.get_option("--json")->description(
        "refused: this prints the item or a text; orb rsrc ls has --json");
  parser.add_option("FILE", options.file, "the resource file")->required();
  if (action.arguments < 2) return;
  parser
      .add_option("TYPE", options.type,
                  "the item's type: four characters, or 0x and eight hexadecimal digits")
      ->required()
      ->type_name("TYPE");
  parser.add_option("NAME", options.name, "the item's name")->required()->type_name("NAME");
  if (action.arguments < 3) return;
  parser.add_option("DATA", options.data,
                    "the file with the item's data; - is standard input; default: standard input");
}

}  // namespace

Verb add_rsrc(CLI::App& app) {
  CLI::App* verb = app.add_subcommand("rsrc", "list and change what resource files hold");
  const auto options = std::make_shared<RsrcOptions>();
  verb->set_help_flag("-h,--help", "print this help and exit");
  verb->set_version_flag("-V,--version", "orb " ORB_TOOL_VERSION, "print the version and exit");
  verb->require_subcommand(1);
  for (const Action& action : kActions) {
    CLI::App* parser = verb->add_subcommand(action.name, action.help);
    add_arguments(*parser, action, *options);
  }
  const auto run = [verb, options] {
    for (const Action& action : kActions) {
      if (!verb->got_subcommand(action.name)) continue;
      options->type = as_typed(options->type);
      options->name = as_typed(options->name);
      return action.run(*options);
    }
    return static_cast<int>(kUsage);
  };
  return {verb, &options->common, run, false};
}

}  // namespace orb::tool
