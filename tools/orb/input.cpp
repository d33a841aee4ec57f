// The files that verbs read.
#include "input.h"

#include <sys/stat.h>

#include <CLI/CLI.hpp>
#include <iterator>
#include <optional>

#include "format_choice.h"
#include "isolation.h"
#include "options.h"
#include "printable.h"
#include "reports.h"

namespace orb::tool {
namespace {

enum End : size_t { kOk, kMissing, kFailed };
constexpr FrameEnd kEnds[] = {{"ok", false}, {"missing", true}, {"failed", true}};

class Walk {
 public:
  Walk(const SequenceOptions& options, const FileCalls& calls, FileResults& results)
      : options_(options), calls_(calls), results_(results) {}
  void visit(const std::string& typed);
  [[nodiscard]] int status() const;

 private:
  End look(const std::string& file);
  End look_here(const std::string& file);
  End look_apart(const std::string& file);
  End fail(const std::string& file, const Failure& failure);
  void visit_frames(const FrameInput& input);

  const SequenceOptions& options_;
  const FileCalls& calls_;
  FileResults& results_;
  size_t counts_[std::size(kEnds)] = {};
  ExitCode worst_ = kIoError;
};

End Walk::fail(const std::string& file, const Failure& failure) {
  if (failure.code() == kUsage) throw failure;
  if (*failure.what() != '\0') say(ERR_ERROR, failure.what());
  calls_.note_failure(file, failure, results_);
  if (failure.code() == kRetry) worst_ = kRetry;
  const End end = failure.code() == kNoInput ? kMissing : kFailed;
  ++counts_[end];
  return end;
}

End Walk::look(const std::string& file) {
  if (isolation() == nullptr) return look_here(file);
  try {
    return look_apart(file);
  } catch (const Death& death) {
    return fail(file, death);
  }
}

End Walk::look_apart(const std::string& file) {
  const std::string bytes = contain(
      [&] {
        FileResults results;
        Walk walk(options_, calls_, results);
        const End end = walk.look_here(file);
        return packed({{"end", static_cast<size_t>(end)},
                       {"worst", static_cast<int>(walk.worst_)},
                       {"text", results.text},
                       {"list", results.list}});
      },
      "");
  const Json found = unpacked(bytes);
  results_.text += found["text"].get<std::string>();
  for (const Json& result : found["list"]) results_.list.push_back(result);
  const End end = static_cast<End>(found["end"].get<size_t>());
  if (end != kOk && found["worst"] == kRetry) worst_ = kRetry;
  ++counts_[end];
  return end;
}

End Walk::look_here(const std::string& file) {
  try {
    calls_.look(file, results_);
  } catch (const Failure& failure) {
    return fail(file, failure);
  }
  ++counts_[kOk];
  return kOk;
}

void Walk::visit_frames(const FrameInput& input) {
  FrameSummary summary(kEnds);
  frames::FrameRange missing;
  for (const frames::Frame frame : input.wanted()) {
    if (input.is_there(frame)) {
      summary.add(look(input.name(frame)), frame);
    } else {
      missing.add(frame);
    }
  }
  if (!missing.empty()) {
    const std::string name = input.pattern().canonical(missing);
    fail(name, Failure(kNoInput,
                       name + ": " + counted(static_cast<long long>(missing.count()), "frame") + " missing"));
    summary.add(kMissing, missing);
  }
  if (calls_.note_sequence) calls_.note_sequence(input.typed(), summary, results_);
}

void Walk::visit(const std::string& typed) {
  if (!is_sequence(typed, options_)) {
    look(typed);
    return;
  }
  std::optional<FrameInput> input;
  try {
    input.emplace(typed, options_);
  } catch (const Failure& failure) {
    fail(typed, failure);
    return;
  }
  visit_frames(*input);
}

int Walk::status() const {
  if (counts_[kMissing] == 0 && counts_[kFailed] == 0) return kDone;
  if (counts_[kOk] > 0) return kSomeFailed;
  return counts_[kFailed] == 0 ? kNoInput : worst_;
}

}  // namespace

void add_input_options(CLI::App& verb, InputOptions& options) {
  verb.add_option("--from", options.from,
                  "the format of the input, a key of orb formats; default: by its name, or else its content")
      ->type_name("KEY");
  add_repeated(verb, "--read-set", options.read_settings,
               "a setting of the input's driver; orb formats -v lists them")
      ->type_name("NAME=VALUE");
}

Image open_input(const std::string& file, const ORB_FORMAT& format, const InputOptions& options) {
  const std::string name = input_name(file);
  if (is_missing(name, format)) {
    throw Failure(kNoInput, "Cannot open file " + file + "; No such file or directory");
  }
  forget_errors();
  const ShownAs shown_as(name, name);
  Image image = open_for_reading(name, format, DriverSettings(format, options.read_settings));
  if (!image) fail_as_reported(file + ": cannot be opened as " + format.key);
  return image;
}

Image open_input(const std::string& file, const InputOptions& options) {
  return open_input(file, format_for_reading(file, options.from), options);
}

bool can_open_again(const std::string& file) {
  const std::string name = input_name(file);
  struct stat status = {};
  return name != "/dev/stdin" && stat(name.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

int for_each_file(const std::vector<std::string>& typed, const SequenceOptions& options,
                  const FileCalls& calls, FileResults& results) {
  Walk walk(options, calls, results);
  for (const std::string& name : typed) static_cast<void>(is_sequence(name, options));  // before any work
  for (const std::string& name : typed) walk.visit(name);
  return walk.status();
}

}  // namespace orb::tool
