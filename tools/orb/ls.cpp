// orb ls: what lies in folders, as sequences with their ranges and gaps.
#include <sys/stat.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstring>

#include "exit_codes.h"
#include "json.h"
#include "orbbase/support/err.h"
#include "printable.h"
#include "reports.h"
#include "results.h"
#include "sequence_names.h"
#include "verbs.h"

namespace orb::tool {
namespace {

using frames::FrameRange;
using frames::Listing;
using frames::Sequence;

struct LsOptions {
  CommonOptions common;
  frames::PatternOptions names;
  std::vector<std::string> places;
  bool is_recursive = false;
  bool with_missing = false;
};

enum class Kind : uint8_t { file, folder, sequence };
constexpr const char* kKindNames[] = {"file", "folder", "sequence"};

// One line of the list. Of a sequence missing is what is not there of the frames asked for.
struct Entry {
  Kind kind;
  std::string name;
  const Sequence* sequence = nullptr;
  FrameRange missing;
};

Json frames_json(const FrameRange& range) { return {{"count", range.count()}, {"range", range.text()}}; }

class Lister {
 public:
  explicit Lister(const LsOptions& options) : options_(options), results_(options.common) {}

  int run() {
    std::vector<std::string> places = options_.places;
    if (places.empty()) places.emplace_back();
    size_t listed = 0;
    ExitCode worst = kNoInput;  // of the places that were not listed
    for (const std::string& place : places) {
      try {
        list_place(place);
        ++listed;
      } catch (const Failure& failure) {
        if (failure.code() == kUsage) throw;
        say(ERR_ERROR, failure.what());
        note_failure(place, failure);
        worst = std::max(worst, failure.code());
      }
    }
    if (options_.common.json) results_.text = to_text({{"entries", entries_}, {"failures", failures_}});
    results_.deliver();
    return listed == 0 ? worst : failures_.empty() ? kDone : kSomeFailed;
  }

 private:
  [[noreturn]] static void fail_open(const std::string& place, int error_number) {
    throw Failure(is_worth_retry(error_number) ? kRetry : kIoError,
                  "Cannot open file " + place + "; " + std::strerror(error_number));
  }

  void list_place(const std::string& place) {
    struct stat status = {};
    const bool is_there = place.empty() || stat(place.c_str(), &status) == 0;
    // What says nothing about the name.
    if (!is_there && (errno == EIO || errno == ENOMEM)) fail_open(place, errno);
    if (place.empty() || (is_there && S_ISDIR(status.st_mode))) {
      if (list_tree(place) == 0) throw Failure(kNoInput, (place.empty() ? "." : place) + ": nothing to list");
    } else if (lstat(place.c_str(), &status) == 0) {
      add({Kind::file, place, nullptr, {}});
    } else {
      list_pattern(pattern_from(place, options_.names), place);
    }
  }

  void list_pattern(const frames::FramePattern& pattern, const std::string& place) {
    if (!pattern.has_field()) {
      throw Failure(kNoInput, "Cannot open file " + place + "; No such file or directory");
    }
    Sequence sequence = sequence_of(pattern);
    if (!pattern.range()) {
      add({Kind::sequence, sequence.text(), &sequence, sequence.missing()});
      return;
    }
    frames::Choice choice = frames::choose(sequence, *pattern.range());
    if (choice.there.empty()) {
      throw Failure(kNoInput, "no frame of " + place + "; there are: " + sequence.text());
    }
    std::sort(choice.there.begin(), choice.there.end());
    sequence.frames = std::move(choice.there);
    add({Kind::sequence, sequence.text(), &sequence, FrameRange::of(choice.missing)});
  }

  // Lists a folder, with -R all below it. Returns the number of entries. Throws Failure if the folder itself cannot
  // be read; one below it is noted.
  size_t list_tree(const std::string& top) {
    std::vector<std::string> waiting = {top};
    size_t count = 0;
    while (!waiting.empty()) {
      const std::string folder = std::move(waiting.back());
      waiting.pop_back();
      try {
        Listing listing = read(folder);
        if (options_.is_recursive) {
          waiting.insert(waiting.end(), listing.folders.rbegin(), listing.folders.rend());
          listing.folders.clear();
        }
        count += add_all(listing);
      } catch (const Failure& failure) {
        if (folder == top) throw;
        say(ERR_ERROR, failure.what());
        note_failure(folder, failure);
      }
    }
    return count;
  }

  static Listing read(const std::string& folder) {
    try {
      return frames::list_folder(folder);
    } catch (const std::system_error& problem) {
      throw folder_failure(problem);
    }
  }

  size_t add_all(const Listing& listing) {
    std::vector<Entry> entries;
    for (const Sequence& sequence : listing.sequences) {
      entries.push_back({Kind::sequence, sequence.text(), &sequence, sequence.missing()});
    }
    const auto join = [&](Kind kind, const std::vector<std::string>& names) {
      const auto middle = static_cast<std::ptrdiff_t>(entries.size());
      for (const std::string& name : names) entries.push_back({kind, name, nullptr, {}});
      std::inplace_merge(entries.begin(), entries.begin() + middle, entries.end(),
                         [](const Entry& a, const Entry& b) { return frames::is_before(a.name, b.name); });
    };
    join(Kind::file, listing.files);
    join(Kind::folder, listing.folders);
    for (const Entry& entry : entries) add(entry);
    return entries.size();
  }

  void add(const Entry& entry) {
    if (options_.common.json) {
      entries_.push_back(json_of(entry));
      return;
    }
    results_.text += printable(entry.name) + (entry.kind == Kind::folder ? "/\n" : "\n");
    if (options_.with_missing && !entry.missing.empty()) {
      const auto count = static_cast<long long>(entry.missing.count());
      results_.text += "  missing " + counted(count, "frame") + ": " + entry.missing.text() + "\n";
    }
  }

  static Json json_of(const Entry& entry) {
    Json json = {{"kind", kKindNames[static_cast<size_t>(entry.kind)]}, {"name", entry.name}};
    if (entry.sequence == nullptr) return json;
    const frames::FramePattern& pattern = entry.sequence->pattern;
    const std::string folder = pattern.folder();
    json["folder"] = folder;
    json["prefix"] = pattern.prefix().substr(folder.size());
    json["suffix"] = pattern.suffix();
    json["width"] = pattern.width();
    json["first"] = entry.sequence->frames.front();
    json["last"] = entry.sequence->frames.back();
    json["frames"] = frames_json(entry.sequence->range());
    json["missing"] = frames_json(entry.missing);
    return json;
  }

  void note_failure(const std::string& place, const Failure& failure) {
    failures_.push_back({{"name", place}, {"error", failure.what()}});
  }

  const LsOptions& options_;
  Results results_;
  Json entries_ = Json::array();
  Json failures_ = Json::array();
};

}  // namespace

Verb add_ls(CLI::App& app) {
  auto options = std::make_shared<LsOptions>();
  CLI::App* verb = app.add_subcommand("ls", "list folders as sequences of frames");
  add_common_options(*verb, options->common, "write the list to a file");
  verb->add_flag("-R,--recursive", options->is_recursive, "list folders within folders, too");
  verb->add_flag("--missing", options->with_missing,
                 "also list the frames that are missing of each sequence");
  add_name_options(*verb, options->names);
  verb->add_option("PLACE", options->places,
                   "folders, patterns such as shot.####.png, or files; default: the working folder");
  return {verb, &options->common, [options] { return Lister(*options).run(); }, false};
}

}  // namespace orb::tool
