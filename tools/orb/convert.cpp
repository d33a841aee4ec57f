// orb convert: one image in, one image out; or the frames of sequences.
#include "convert.h"

#include <CLI/CLI.hpp>
#include "exit_codes.h"
#include "format_choice.h"
#include "interrupt.h"
#include "isolation.h"
#include "results.h"
#include "verbs.h"

namespace orb::tool {
namespace {

bool has_frames(const ConvertOptions& options) {
  return options.inputs.size() > 1 || is_sequence(options.inputs.front(), options.sequence) ||
         is_sequence(options.one.common.output, options.sequence);
}

void refuse_frame_options(const ConvertOptions& options) {
  const struct {
    const char* name;
    bool is_given;
  } only_for_frames[] = {{"--frames", !options.sequence.frames.empty()},
                         {"--only-missing", options.only_missing},
                         {"--results", !options.results.empty()}};
  for (const auto& option : only_for_frames) {
    if (option.is_given) {
      throw Failure(kUsage, std::string(option.name) + " is for sequences, but " + options.inputs.front() +
                                " is one file");
    }
  }
}

bool tells_in_json(const CommonOptions& common) {
  return common.json && (common.is_dry_run || output_name(common.output) != "/dev/stdout");
}

void tell_failure(const CommonOptions& common, const Conversion& conversion, const Failure& failure) {
  if (!tells_in_json(common) || failure.code() == kUsage) return;
  Json outcome = conversion.summary(failure.code() == kLossRefused ? "refused" : "failed");
  outcome["error"] = *failure.what() != '\0' ? failure.what() : last_error_text();
  show(to_text(outcome));
}

int convert_one(const ConversionOptions& options) {
  const CommonOptions& common = options.common;
  Conversion conversion(options);
  try {
    conversion.run();
  } catch (const Failure& failure) {
    tell_failure(common, conversion, failure);
    throw;
  }
  if (tells_in_json(common)) {
    show(to_text(conversion.summary(common.is_dry_run ? "would be written" : "written")));
  } else if (common.is_dry_run) {
    show(conversion.plan_text());
  }
  return kDone;
}

int convert_one_apart(const ConversionOptions& options) {
  try {
    static_cast<void>(contain([&] { return convert_one(options), std::string(); }, options.common.output));
  } catch (const Death& death) {
    tell_failure(options.common, Conversion(options), death);
    throw;
  }
  return kDone;
}

void add_frame_options(CLI::App& verb, ConvertOptions& options) {
  add_sequence_options(verb, options.sequence);
  CLI::Option* const missing = verb.add_option(
      "--missing", options.missing,
      "what becomes of frames that are missing: error, skip, hold, nearest or black; default: error");
  take_one_of(*missing->type_name("HOW"), {"error", "skip", "hold", "nearest", "black"});
  verb.add_flag("--only-missing", options.only_missing, "make only the frames whose outputs do not exist");
  verb.add_option("--results", options.results,
                  "write one line of JSON a frame to this file; - is standard output")
      ->type_name("FILE");
  verb.add_option("-j,--jobs", options.jobs,
                  "frames to convert at once, up to " + std::to_string(kMostWorkers) +
                      "; 0: as many as there are processors; default: 1")
      ->type_name("N")
      ->check(CLI::Range(0, kMostWorkers));
}

}  // namespace

int convert(const ConvertOptions& options) {
  if (has_frames(options)) return convert_frames(options);
  refuse_frame_options(options);
  ConversionOptions one = options.one;
  one.input = options.inputs.front();
  one.most_spool_bytes = most_spool_bytes(options.memory);
  return isolation() == nullptr ? convert_one(one) : convert_one_apart(one);
}

void add_convert_options(CLI::App& verb, ConvertOptions& options) {
  add_common_options(verb, options.one.common,
                     "the image to write, or a pattern for a sequence; - is standard output");
  verb.get_option("--output")->required();
  verb.add_option("IN", options.inputs,
                  "the image to read; or a pattern, or several files, for a sequence; - is standard input")
      ->required();
  add_input_options(verb, options.one.reading);
  add_step_options(verb, options.one.steps);
  add_region_options(verb, options.one.region);
  add_output_options(verb, options.one.writing);
  verb.add_flag("--mipmap", options.one.writing.makes_mipmap,
                "write the image and its halves down to one pixel as the images of one file");
  add_frame_options(verb, options);
  add_memory_option(verb, options.memory);
}

Verb add_convert(CLI::App& app) {
  CLI::App* verb =
      app.add_subcommand("convert", "read an image or a sequence and write it, losing nothing in silence");
  const auto options = std::make_shared<ConvertOptions>();
  add_convert_options(*verb, *options);
  return {verb, &options->one.common, [options] { return convert(*options); }};
}

}  // namespace orb::tool
