#include "steps.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <map>

#include "exit_codes.h"
#include "frames/pattern.h"
#include "numbers.h"
#include "orbbase/imp.h"
#include "orbbase/operators.h"
#include "orbbase/support/fmt.h"
#include "reports.h"
#include "sample_type.h"

namespace orb::tool {
namespace {

std::optional<double> number(std::string_view text) {
  const std::optional<double> value = as_number<double>(text);
  return value && std::isfinite(*value) ? value : std::nullopt;
}

std::optional<int32_t> whole_number(const std::string& text, int32_t least, int32_t most) {
  const std::optional<int32_t> value = as_number<int32_t>(text);
  return value && *value >= least && *value <= most ? value : std::nullopt;
}

// As a curve holds it: a number that is too small or too large for that is none.
std::optional<float> gamma_of(const std::string& text) {
  const double gamma = number(text).value_or(0);
  using Limits = std::numeric_limits<float>;
  if (gamma < Limits::min() || gamma > Limits::max()) return std::nullopt;
  return static_cast<float>(gamma);
}

std::optional<std::pair<double, double>> interval_of(const std::string& text) {
  const size_t comma = text.find(',');
  if (comma == std::string::npos) return std::nullopt;
  const std::optional<double> min = number(std::string_view(text).substr(0, comma));
  const std::optional<double> max = number(std::string_view(text).substr(comma + 1));
  return min && max ? std::optional(std::pair(*min, *max)) : std::nullopt;
}

// What the last install has set, after which nothing must have been changed.
void require_installed(const std::string& file, const std::string& step, const char* remedy) {
  if (orb__err == ORB_OK) return;
  say(ERR_INFORMATION, file + ": " + step + remedy);
  fail_as_reported(file + ": cannot put " + step + " on it");
}

// A file without a gamma of its own has the one that the library assumes of inputs.
void settle_gamma(const Image& reader, const std::string& file) {
  ORB_RESPONSE_CURVE& curve = reader->info.images[0].curve;
  if (curve.kind != ORB_CURVE_GAMMA || (std::isfinite(curve.gamma) && curve.gamma > 0)) return;
  curve.gamma = FMT_def_input_gamma();
  char text[40];
  std::snprintf(text, sizeof text, "%g", static_cast<double>(curve.gamma));
  say(ERR_WARNING, file + ": declares no gamma; " + text + " is assumed");
}

void put_gamma(Image& reader, const std::string& value, const std::string& file) {
  settle_gamma(reader, file);
  const ORB_CHANNELS& color = reader->info.images[0].color;
  if (color.count > 0 && color.type == ORB_C_INTEGER && color.width < 8) {
    // The operator would take them for samples of 8 bits.
    throw Failure(kIoError,
                  file + ": has samples of fewer than 8 bits, too few for --gamma: -d uint8 before it");
  }
  ORB_RESPONSE_CURVE wanted = {};
  wanted.kind = ORB_CURVE_GAMMA;
  wanted.gamma = *gamma_of(value);
  ORB__gamma(reader.get(), &wanted);
  require_installed(file, "--gamma", " is for samples of 8 bits and real ones: -d float --gamma G -d uint16");
  // What comes out has the curve that was asked for.
  reader->info.images[0].curve.gamma = wanted.gamma;
  reader->info.word_e &= ~uint64_t{ORB_ASSUMED_GAMMA};
}

void put_quantize(Image& reader, const std::string& value, const std::string& file) {
  const ORB_QUANTIZE_TARGET target = {ORB_C_INTEGER, *whole_number(value, 1, 32)};
  const ORB_IFD& ifd = reader->info.images[0];
  const auto target_of = [&target](const ORB_CHANNELS& group) {
    return group.type == ORB_C_INTEGER ? nullptr : &target;
  };
  ORB__quantize(reader.get(), ORB_MODE_READ, target_of(ifd.color), target_of(ifd.matte), nullptr);
  require_installed(file, "--quantize", " is for real samples");
}

void put_minmax(Image& reader, const std::string& value, const std::string& file) {
  const auto [min, max] = *interval_of(value);
  ORB_IFD& ifd = reader->info.images[0];
  if (ifd.index.count > 0) {
    throw Failure(kIoError, file + ": holds colour indices, which --minmax cannot map");
  }
  // A group without channels is in nobody's way, whatever type it would have.
  for (ORB_CHANNELS* group : {&ifd.color, &ifd.matte, &ifd.aux}) {
    if (group->count == 0) group->type = ORB_C_INTEGER, group->width = 8;
  }
  ORB__minmax(reader.get(), min, max);
  require_installed(file, "--minmax", " is for samples of up to 8 bits: -d uint8 before it");
}

void put_swatch(Image& reader, const std::string& value, const std::string& file) {
  const IMP_PROCESS process = {"swatch", *whole_number(value, 0, INT32_MAX), 0, 0, nullptr};
  orb__err = ORB_OK;
  if (IMP_open(reader.get(), &process, "r") == nullptr && orb__err == ORB_OK) orb__err = ORB_E_HANDLE;
  require_installed(file, "--swatch", " cannot be made of it");
  // The picture is the reduced one from here on.
  ORB_IFD& ifd = reader->info.images[0];
  ifd.pair_a[0] = static_cast<int32_t>(width_of(ifd.window));
  ifd.pair_a[1] = static_cast<int32_t>(height_of(ifd.window));
}

void put_type(Image& reader, const std::string& value, const std::string& file) {
  change_sample_type(reader, *sample_type_named(value), file);
}

std::string any_value() { return ""; }

struct StepKind {
  const char* names;
  const char* value_name;
  const char* help;
  const char* expected;
  bool (*is_valid)(const std::string& value);
  std::string (*choices)();  // as the parser describes them
  void (*put)(Image& reader, const std::string& value, const std::string& file);
};

constexpr StepKind kStepKinds[] = {
    {"--gamma", "G", "correct to a response curve of this gamma, a number above 0", "a number above 0",
     [](const std::string& value) { return gamma_of(value).has_value(); }, any_value, put_gamma},
    {"--quantize", "BITS",
     "turn real samples into integers of so many bits, 1 to 32; what is outside 0 to 1 wraps",
     "a number of 1 to 32", [](const std::string& value) { return whole_number(value, 1, 32).has_value(); },
     any_value, put_quantize},
    {"--minmax", "MIN,MAX", "map samples of up to 8 bits to this part of their range, which is 0,1",
     "two numbers, MIN,MAX", [](const std::string& value) { return interval_of(value).has_value(); },
     any_value, put_minmax},
    {"--swatch", "SIZE",
     "reduce to fit a square of so many pixels a side; 0: the size that orb config shows, else 128",
     "a number from 0",
     [](const std::string& value) { return whole_number(value, 0, INT32_MAX).has_value(); }, any_value,
     put_swatch},
    {"-d,--type", "TYPE", "turn colour and matte samples into another type: uint1 to uint32, float or double",
     "one of uint1 to uint32, float and double",
     [](const std::string& value) { return sample_type_named(value).has_value(); },
     [] { return as_choices(sample_type_names()); }, put_type},
};

// A driver that does not find the field where it has to be may look for it in folders that nobody named.
void require_other_field(const ORB_FORMAT& format, const std::string& file) {
  const std::optional<std::string> other = other_field(file, format.extension ? format.extension : "");
  if (!other) throw Failure(kIoError, file + kFieldNames);
  if (access(other->c_str(), R_OK) == 0) return;
  throw Failure(kIoError, file + ": cannot open its other field, " + *other + "; " + std::strerror(errno));
}

void merge_fields(Image& reader, const std::string& file) {
  require_other_field(*reader->format, file);
  reader->info.open_option = 0;  // the partner's name has no extension, and its driver adds one
  if (reader->info.field_value == 0) reader->info.field_value = 1;  // so says the command line
  forget_errors();
  orb__err = ORB_OK;
  ORB_IMAGE* const merged = ORB__merge_fields(reader.get());
  if (merged == reader.get()) fail_as_reported(file + ": cannot be merged with its other field");
  *reader.slot() = merged;
  merged->info.field_value = 0;
  for (int32_t i = 0; i < merged->info.image_count; ++i) {
    ORB_IFD& ifd = merged->info.images[i];
    // The size of a picture that a field was is that of the frame.
    if (2 * int64_t{ifd.pair_a[1]} == height_of(ifd.window)) ifd.pair_a[1] *= 2;
  }
}

void select_image(const Image& reader, int32_t number, const std::string& file) {
  const int32_t count = reader->info.image_count;
  if (number > count) {
    throw Failure(kIoError,
                  file + ": has no image " + std::to_string(number) + ", only " + std::to_string(count));
  }
  ORB__select(reader.get(), number - 1);
  require_installed(file, "--image", " cannot be chosen");
  reader->info.images[0].image_kind = 1;  // what it was among others it is no more
}

}  // namespace

void add_step_options(CLI::App& verb, StepOptions& options) {
  verb.add_flag("--merge-fields", options.merges_fields, "merge a field with its partner into one frame");
  verb.add_option("--image", options.image, "the image of a file with several, counted from 1")
      ->type_name("N")
      ->check(CLI::PositiveNumber);
  for (const StepKind& kind : kStepKinds) {
    // Each value joins the steps as it is met, so that they keep the order in which they were typed.
    verb.add_option_function<std::vector<std::string>>(
            kind.names, [](const std::vector<std::string>&) {}, kind.help)
        ->type_name(kind.value_name)
        ->take_all()
        ->allow_extra_args(false)
        ->check(
            [&kind](const std::string& value) {
              return kind.is_valid(value) ? std::string()
                                          : "expects " + std::string(kind.expected) + ", not " + value;
            },
            kind.choices());
  }
  verb.parse_complete_callback([&verb, &options] {
    std::map<const CLI::Option*, size_t> met;
    for (const CLI::Option* option : verb.parse_order()) {
      for (const StepKind& kind : kStepKinds) {
        if (!option->check_name(std::string(kind.names).substr(std::string_view(kind.names).rfind('-') - 1)))
          continue;
        options.steps.push_back({kind.names, option->results().at(met[option]++)});
      }
    }
  });
}

std::optional<std::string> other_field(const std::string& file, std::optional<std::string_view> extension) {
  const size_t base = file.rfind('/') + 1;
  const std::optional<frames::NameParts> parts = frames::split_name(std::string_view(file).substr(base));
  if (!parts || !parts->prefix.ends_with('.') || parts->frame < 0 || parts->frame == INT32_MAX) return {};
  const std::string prefix = file.substr(0, base + parts->prefix.size());
  const auto fields = frames::FramePattern::of(prefix, 4, std::string(parts->suffix));
  if (fields.name(parts->frame) != file || parts->suffix != extension.value_or(parts->suffix)) return {};
  return fields.name(parts->frame % 2 == 0 ? parts->frame - 1 : parts->frame + 1);
}

void put_steps_on(Image& reader, const StepOptions& options, const std::string& file) {
  if (options.merges_fields) merge_fields(reader, file);
  if (options.image != 0) select_image(reader, options.image, file);
  for (const StepOptions::Step& step : options.steps) {
    for (const StepKind& kind : kStepKinds) {
      if (step.option != kind.names) continue;
      forget_errors();
      kind.put(reader, step.value, file);
    }
  }
}

}  // namespace orb::tool
