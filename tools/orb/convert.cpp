// orb convert: one image in, one image out, row by row. Nothing is lost in silence, and the target is either
// what it was or the whole new file.
#include <sys/stat.h>
#include <unistd.h>

#include <memory>
#include <optional>
#include <string_view>

#include "description.h"
#include "exit_codes.h"
#include "format_choice.h"
#include "image.h"
#include "json.h"
#include "printable.h"
#include "reports.h"
#include "results.h"
#include "rows.h"
#include "target.h"
#include "verbs.h"

namespace orb::tool {
namespace {

struct ConvertOptions {
  CommonOptions common;
  std::string input;
  std::string from;
  std::string to;
  std::string memory;
  std::vector<std::string> dropped;
  std::vector<std::string> settings;
  std::vector<std::string> read_settings;
  bool allow_lossy = false;
};

constexpr const char* kNowhere = "/dev/null";

std::string origin_of(const ORB_FORMAT& format) {
  const std::string module = module_of(format);
  return std::string(format.key) + " (" + (module.empty() ? "built-in" : module) + ")";
}

// The lookup table of colour indices, of which the reader gave us a copy.
using Lut = std::unique_ptr<ORB_LUT, decltype([](ORB_LUT* lut) { ORB_lut_free(lut); })>;

bool can_open_again(const std::string& name) {
  struct stat status = {};
  return name != "/dev/stdin" && stat(name.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

class Conversion {
 public:
  explicit Conversion(const ConvertOptions& options) : options_(options) {}
  int run();

 private:
  void steps();
  void check_options() const;
  void open_input();
  void require_one_image() const;
  void describe_output();
  void rehearse();
  bool rehearse_without_groups();
  [[nodiscard]] Image open_output(const std::string& name, const std::string& shown) const;
  void settle_losses();
  void write();
  [[nodiscard]] Json summary(const char* result) const;
  void tell(const Json& outcome) const;
  [[noreturn]] void fail_with_code(const std::string& text) const;

  const ConvertOptions& options_;
  const ORB_FORMAT* input_format_ = nullptr;
  const ORB_FORMAT* output_format_ = nullptr;
  std::optional<DriverSettings> output_settings_;
  std::optional<Target> target_;
  Image reader_;
  Lut lut_;
  std::optional<Description> wanted_;
  std::vector<Loss> losses_;
  std::optional<RowPlan> plan_;
};

// Ends the conversion after a call of the library; text is said if the library said nothing.
void Conversion::fail_with_code(const std::string& text) const {
  if (last_error_text().empty()) say(ERR_ERROR, text);
  throw Failure(static_cast<ExitCode>(exit_code_of_last_error()));
}

void Conversion::check_options() const {
  const CommonOptions& common = options_.common;
  if (std::string_view(output_format_->key) == "mem") {
    throw Failure(kUsage, "an image in memory would be gone when orb ends; choose another format");
  }
  if (!target_->is_standard_output() || common.is_dry_run) return;
  if (common.json) throw Failure(kUsage, "--json writes to standard output, where the image goes");
  if (isatty(STDOUT_FILENO) != 0 && !common.force) {
    throw Failure(kUsage, "standard output is a terminal; -f writes an image there all the same");
  }
}

void Conversion::open_input() {
  const std::string name = input_name(options_.input);
  input_format_ = &format_for_reading(options_.input, options_.from);
  if (is_missing(name, *input_format_)) {
    throw Failure(kNoInput, "Cannot open file " + options_.input + "; No such file or directory");
  }
  say(ERR_DEBUG, options_.input + ": read as " + origin_of(*input_format_));
  forget_errors();
  const ShownAs shown_as(name, name);
  reader_ = open_for_reading(name, *input_format_, DriverSettings(*input_format_, options_.read_settings));
  if (!reader_) fail_with_code(options_.input + ": cannot be opened as " + input_format_->key);
}

void Conversion::require_one_image() const {
  const int32_t count = reader_->info.image_count;
  if (count < 1) throw Failure(kIoError, options_.input + ": holds no image");
  if (count == 1) return;
  const std::string text = options_.input + ": holds " + std::to_string(count) + " images";
  if (!options_.allow_lossy) {
    throw Failure(kLossRefused, text + ", and only the first can be converted; --allow-lossy takes it");
  }
  say(ERR_WARNING, text + "; the first is converted");
}

Image Conversion::open_output(const std::string& name, const std::string& shown) const {
  const ShownAs shown_as(name, shown);
  std::string key = output_format_->key;
  std::string file = name;
  ORB_INFO record = wanted_->record(key, file, lut_.get());
  record.settings = output_settings_->list();
  return Image(ORB_open(&record, "w"));
}

// What the output shall hold: all that the input does, but for what is dropped.
void Conversion::describe_output() {
  require_one_image();
  wanted_.emplace(*reader_.get());
  if (!wanted_->has_channels()) throw Failure(kIoError, options_.input + ": holds no channels");
  for (const std::string& name : options_.dropped) wanted_->drop(name);
  if (!wanted_->has_channels()) throw Failure(kUsage, options_.input + ": no channels are left to write");
  if (wanted_->first().index.count <= 0) return;
  ORB_LUT* lut = nullptr;
  static_cast<void>(ORB_lut_read(reader_.get(), &lut));  // a table or none: drivers' codes say no more
  lut_.reset(lut);
}

// Opens the writer on nothing, to learn what it would store before anything is touched.
void Conversion::rehearse() {
  forget_errors();
  Image writer;
  {
    // What is only remarked comes with the real open, if there will be one.
    const Muted muted(options_.common.is_dry_run ? ERR_DEBUG : ERR_ERROR);
    const bool has_refused_groups = options_.allow_lossy && rehearse_without_groups();
    writer = open_output(kNowhere, options_.common.output);
    if (!writer && !has_refused_groups && orb__err == ORB_E_HANDLE) {
      if (last_error_text().empty())
        say(ERR_ERROR, options_.common.output + ": the format refuses the image");
      throw Failure(kLossRefused, std::string(output_format_->key) +
                                      " cannot store the image as it is; --drop leaves groups out");
    }
    if (!writer) fail_with_code(options_.common.output + ": cannot be written as " + output_format_->key);
  }
  const std::vector<Loss> found = losses(*wanted_, writer->info);
  losses_.insert(losses_.end(), found.begin(), found.end());
  const uint64_t most = options_.memory.empty() ? ~uint64_t{0} : size_from_text(options_.memory);
  plan_ =
      plan_rows(reader_, writer.first(), *output_format_, most, can_open_again(input_name(options_.input)));
}

// With --allow-lossy a format that has no place for a group gets the image without it: the fewest groups that
// make the difference. True when some had to go.
bool Conversion::rehearse_without_groups() {
  const std::vector<std::vector<const char*>> attempts = {{}, {"aux"}, {"matte"}, {"aux", "matte"}};
  const Muted muted(ERR_FATAL);
  const Description before = *wanted_;
  for (const std::vector<const char*>& groups : attempts) {
    wanted_.emplace(before);
    for (const char* group : groups) wanted_->drop(group);
    if (!wanted_->has_channels() || !open_output(kNowhere, options_.common.output)) continue;
    for (const char* group : groups) {
      losses_.push_back({group, std::string("the ") + group + " group is not kept", true});
    }
    return !groups.empty();
  }
  wanted_.emplace(before);
  return false;
}

void Conversion::settle_losses() {
  bool is_refused = false;
  for (const Loss& loss : losses_) {
    const bool is_allowed = options_.allow_lossy && loss.may_be_allowed;
    is_refused = is_refused || !is_allowed;
    say(is_allowed ? ERR_WARNING : ERR_ERROR,
        options_.common.output + ": " + loss.text +
            (is_allowed || !loss.may_be_allowed ? "" : " (--drop " + loss.name + ")"));
  }
  if (!is_refused) return;
  throw Failure(kLossRefused, std::string(output_format_->key) + " would not keep all of " + options_.input +
                                  "; nothing was written");
}

void Conversion::write() {
  target_->create();
  say(ERR_DEBUG, options_.common.output + ": written as " + origin_of(*output_format_) +
                     (target_->is_direct() ? ", directly" : ", first as " + target_->write_name()));
  const ShownAs shown_as(target_->write_name(), options_.common.output);
  forget_errors();
  Image writer = open_output(target_->write_name(), options_.common.output);
  if (!writer) fail_with_code(options_.common.output + ": cannot be written");
  {
    Progress progress(options_.common, height_of(reader_.first().window) * passes_of(*plan_));
    transfer_rows(reader_, writer, *plan_, *wanted_, options_.input, options_.common.output, progress);
  }
  // A damaged end of the input shows at its close, so that comes before the target is replaced.
  forget_errors();
  if (!reader_.close()) fail_with_code(options_.input + ": cannot be read to its end");
  if (!writer.close()) fail_with_code(options_.common.output + ": cannot be finished");
  target_->commit();
}

Json Conversion::summary(const char* result) const {
  Json lost = Json::array();
  for (const Loss& loss : losses_) lost.push_back({{"name", loss.name}, {"text", loss.text}});
  return {{"input", options_.input},
          {"from", input_format_ == nullptr ? Json() : Json(input_format_->key)},
          {"output", options_.common.output},
          {"to", output_format_ == nullptr ? Json() : Json(output_format_->key)},
          {"result", result},
          {"rows", plan_ ? Json(name_of(plan_->way)) : Json()},
          {"losses", lost}};
}

// Puts the outcome on standard output: as JSON, or as the one line of a dry run.
void Conversion::tell(const Json& outcome) const {
  CommonOptions to_stdout = options_.common;
  to_stdout.output.clear();
  Results results(to_stdout);
  results.text = to_text(outcome);
  if (!to_stdout.json) {
    results.text = "would " + std::string(target_->replaces() ? "replace " : "write ") +
                   printable(options_.common.output) + " (" + output_format_->key + ") from " +
                   printable(options_.input) + " (" + input_format_->key + "), rows: " + name_of(plan_->way) +
                   "\n";
  }
  results.deliver();
}

void Conversion::steps() {
  target_.emplace(options_.common.output, options_.common.force);
  output_format_ = &format_for_writing(options_.common.output, options_.to);
  check_options();
  output_settings_.emplace(*output_format_, options_.settings);
  open_input();
  describe_output();
  rehearse();
  settle_losses();
  say(ERR_INFORMATION, std::string("rows: ") + name_of(plan_->way));
  if (!options_.common.is_dry_run) write();
}

int Conversion::run() {
  const CommonOptions& common = options_.common;
  const bool tells = common.json && (common.is_dry_run || output_name(common.output) != "/dev/stdout");
  try {
    steps();
  } catch (const Failure& failure) {
    if (tells && failure.code() != kUsage) {
      Json outcome = summary(failure.code() == kLossRefused ? "refused" : "failed");
      outcome["error"] = *failure.what() != '\0' ? failure.what() : last_error_text();
      tell(outcome);
    }
    throw;
  }
  if (tells || common.is_dry_run) tell(summary(common.is_dry_run ? "would be written" : "written"));
  return kDone;
}

void add_options(CLI::App& verb, ConvertOptions& options) {
  add_common_options(verb, options.common, "the image to write; - is standard output");
  verb.get_option("--output")->required();
  verb.add_option("IN", options.input, "the image to read; - is standard input")->required();
  verb.add_option("--from", options.from, "the input's format; default: by its name, or its content")
      ->type_name("KEY");
  verb.add_option("--to", options.to, "the output's format; default: by its name; pipe for standard output")
      ->type_name("KEY");
  add_repeated(verb, "--drop", options.dropped, "leave out what the output cannot keep: " + drop_names())
      ->type_name("NAME")
      ->delimiter(',');
  verb.add_flag("--allow-lossy", options.allow_lossy,
                "write although something is lost; each loss is a warning");
  add_repeated(verb, "--set", options.settings, "a setting of the output's driver; orb formats -v lists them")
      ->type_name("NAME=VALUE");
  add_repeated(verb, "--read-set", options.read_settings, "a setting of the input's driver")
      ->type_name("NAME=VALUE");
  verb.add_option("--mem", options.memory,
                  "the most memory for turning rows round; default: the limit of one handle's buffers")
      ->type_name("SIZE");
}

}  // namespace

Verb add_convert(CLI::App& app) {
  CLI::App* verb = app.add_subcommand("convert", "read one image and write it, losing nothing in silence");
  const auto options = std::make_shared<ConvertOptions>();
  add_options(*verb, *options);
  return {verb, &options->common, [options] { return Conversion(*options).run(); }};
}

}  // namespace orb::tool
