// The result of a comparison for people and for programs.
#include "diff_text.h"

#include <cmath>
#include <cstring>

#include "printable.h"

namespace orb::tool {
namespace {

// JSON has no numbers that are not finite; they go in as texts.
Json as_json(double value) { return std::isfinite(value) ? Json(value) : Json(shown(value)); }

std::string line_of(const char* label, const std::string& value) {
  return "  " + std::string(label) + std::string(14 - std::strlen(label), ' ') + value + "\n";
}

std::string excess_text(const Limits& limits, const Excess& excess, const Statistics& found) {
  return shown(limits.each) + ": " + std::to_string(excess.samples) + " of " +
         counted(static_cast<long long>(found.samples), "sample") + " (" +
         shown(percent(excess.samples, found.samples)) + "%), " + std::to_string(excess.pixels) + " of " +
         counted(static_cast<long long>(found.pixels), "pixel") + " (" +
         shown(percent(excess.pixels, found.pixels)) + "%)";
}

std::string greatest_text(const ImageResult& result) {
  const Greatest& greatest = result.found.greatest;
  if (!(greatest.error > 0)) return shown(greatest.error);
  return shown(greatest.error) + " at column " + std::to_string(result.window_a.left + greatest.column) +
         ", row " + std::to_string(result.window_a.bottom + greatest.row) + ", " + result.greatest_channel +
         ": " + shown(greatest.a) + " against " + shown(greatest.b);
}

Json excess_json(const Limits& limits, const Excess& excess, const Statistics& found) {
  return {{"threshold", as_json(limits.each)},
          {"samples", excess.samples},
          {"samples_percent", percent(excess.samples, found.samples)},
          {"pixels", excess.pixels},
          {"pixels_percent", percent(excess.pixels, found.pixels)}};
}

Json greatest_json(const ImageResult& result) {
  const Greatest& greatest = result.found.greatest;
  if (greatest.error == 0) return {{"value", 0.0}};
  return {{"value", as_json(greatest.error)},
          {"column", result.window_a.left + greatest.column},
          {"row", result.window_a.bottom + greatest.row},
          {"channel", result.greatest_channel},
          {"a", as_json(greatest.a)},
          {"b", as_json(greatest.b)}};
}

}  // namespace

std::string shown(double value) {
  char text[40];
  std::snprintf(text, sizeof text, "%.9g", value);
  return text;
}

std::string name_of(const PictureNumber& number) {
  const std::string frame = number.frame == 0 ? "" : "frame " + std::to_string(number.frame);
  if (number.image == 0) return frame;
  return "image " + std::to_string(number.image) + (frame.empty() ? "" : " of " + frame);
}

std::string text_of(const ImageResult& result, const DiffOptions& options) {
  if (result.verdict == kDifferentSizes) {
    return line_of("size", size_text(result.window_a) + " against " + size_text(result.window_b));
  }
  std::string text;
  for (const auto* lines : {&result.notes, &result.failures}) {
    for (const std::string& line : *lines) text += "  " + printable(line) + "\n";
  }
  const Statistics& found = result.found;
  text += line_of("mean error", shown(found.mean())) + line_of("RMS error", shown(found.rms())) +
          line_of("peak SNR", shown(found.peak_snr()) + " dB") + line_of("max error", greatest_text(result));
  if (found.not_finite > 0) {
    text += line_of("not finite", counted(static_cast<long long>(found.not_finite), "sample") +
                                      " on one side only, or by sign; not in mean and RMS error");
  }
  return text + line_of("over warn", excess_text(options.warn, found.over_warn, found)) +
         line_of("over fail", excess_text(options.fail, found.over_fail, found));
}

void add_to(Json& json, const ImageResult& result, const DiffOptions& options) {
  if (result.verdict == kDifferentSizes) {
    json["size_a"] = size_text(result.window_a);
    json["size_b"] = size_text(result.window_b);
    return;
  }
  const Statistics& found = result.found;
  json["notes"] = result.notes;
  json["failures"] = result.failures;
  json["samples"] = found.samples;
  json["pixels"] = found.pixels;
  json["not_finite"] = found.not_finite;
  json["mean_error"] = as_json(found.mean());
  json["rms_error"] = as_json(found.rms());
  json["peak_snr"] = as_json(found.peak_snr());
  json["max_error"] = greatest_json(result);
  json["over_warn"] = excess_json(options.warn, found.over_warn, found);
  json["over_fail"] = excess_json(options.fail, found.over_fail, found);
}

}  // namespace orb::tool
