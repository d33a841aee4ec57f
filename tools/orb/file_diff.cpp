// The comparison of two files.
#include "file_diff.h"

#include <algorithm>
#include <utility>

#include "diff_text.h"
#include "exit_codes.h"
#include "format_choice.h"
#include "isolation.h"
#include "printable.h"
#include "reports.h"

namespace orb::tool {
namespace {

// Frames that a format does not let one go to cannot be compared.
int32_t frames_of(const Side& side) {
  const int32_t count = side.reader->info.frame_count;
  if (count > 1 && side.reader->set_frame == nullptr) {
    say(ERR_WARNING, side.file + ": holds " + std::to_string(count) +
                         " frames; only the one that it opens with is compared");
    return 0;
  }
  return count > 1 ? count : 0;
}

}  // namespace

void FileDiff::check_options() const {
  if (options_.a == "-" && options_.b == "-")
    throw Failure(kUsage, "only one image can be on standard input");
  if (output_ && output_->target().is_standard_output()) {
    throw Failure(kUsage, "the results go to standard output; -o needs a file for the difference image");
  }
}

void FileDiff::open(Side& side) const {
  side.reader = open_input(side.file, options_.reading);
  if (side.reader->info.image_count < 1) throw Failure(kIoError, side.file + ": holds no image");
}

void FileDiff::compare_counts() {
  const int32_t images_a = a_.reader->info.image_count;
  const int32_t images_b = b_.reader->info.image_count;
  const int32_t frames_a = frames_of(a_);
  const int32_t frames_b = frames_of(b_);
  if (images_a != images_b) {
    failures_.push_back(counted(images_a, "image") + " against " + std::to_string(images_b));
  }
  if (frames_a != frames_b) {
    failures_.push_back(counted(std::max(frames_a, 1), "frame") + " against " +
                        std::to_string(std::max(frames_b, 1)));
  }
  if (!failures_.empty()) worst_ = kFailure;
  image_count_ = std::min(images_a, images_b);
  frame_count_ = std::max(frames_a, frames_b) == 0 ? 0 : std::max(1, std::min(frames_a, frames_b));
}

// A new picture with A's window and samples; what A says of itself does not hold for it.
void FileDiff::describe_output() {
  Description wanted(*a_.reader.get());
  if (wanted.first().index.count > 0) {
    throw Failure(kIoError, options_.a + ": holds colour indices, whose differences are no image");
  }
  for (const char* name : {"texts", "names", "frame", "curve", "primaries", "active-window", "image-kind",
                           "aspect-kind", "driver-words"}) {
    wanted.drop(name);
  }
  output_->want(wanted, Lut(), options_.a);
}

// The difference image is that of the first.
void FileDiff::compare_image(const PictureNumber& number) {
  const bool is_first = compared_++ == 0;
  ImageDiff diff(options_, a_, b_, std::max(number.image - 1, 0));
  if (diff.is_same_size()) {
    std::optional<ORB_IFD> stored;
    if (is_first && output_) {
      describe_output();
      stored = output_->rehearse();
      output_->settle_losses();
      if (!options_.common.is_dry_run) {
        writer_.emplace(*output_, a_.reader.first(), options_.common.output);
      }
    }
    diff.compare(stored, stored && takes_any_order(output_->format()),
                 is_first && writer_ ? &*writer_ : nullptr);
  }
  ImageResult result = diff.result();
  result.number = number;
  worst_ = std::max(worst_, result.verdict);
  if (is_first || result.verdict != kMatch) results_.push_back(std::move(result));
}

// A damaged end shows here, so this comes before a result is told or a target replaced.
void FileDiff::close_inputs() {
  for (Side* side : {&a_, &b_}) {
    forget_errors();
    if (!side->reader.close()) fail_as_reported(side->file + ": cannot be read to its end");
  }
}

Verdict FileDiff::compare() {
  a_.file = options_.a;
  b_.file = options_.b;
  if (!options_.common.output.empty()) output_.emplace(options_.common, options_.writing);
  check_options();
  open(a_);
  open(b_);
  compare_counts();
  const bool has_several = a_.reader->info.image_count > 1 || b_.reader->info.image_count > 1;
  for (int32_t frame = std::min(frame_count_, 1); frame <= frame_count_; ++frame) {
    if (frames_of(a_) > 0 && frame > 0) go_to_frame(a_.reader, frame, a_.file);
    if (frames_of(b_) > 0 && frame > 0) go_to_frame(b_.reader, frame, b_.file);
    for (int32_t image = 1; image <= image_count_; ++image) compare_image({has_several ? image : 0, frame});
  }
  close_inputs();
  if (writer_) writer_->finish();
  return worst_;
}

std::string FileDiff::text(Verdict verdict) const {
  std::string text = "comparing " + printable(options_.a) + " with " + printable(options_.b) + "\n";
  for (const std::string& line : failures_) text += "  " + line + "\n";
  for (const ImageResult& result : results_) {
    const std::string name = name_of(result.number);
    if (!name.empty()) text += name + ": " + kVerdictNames[result.verdict] + "\n";
    text += text_of(result, options_);
  }
  if (compared_ > results_.size()) {
    text += "match: " + std::to_string(compared_ - results_.size()) + " more\n";
  }
  std::string last = kVerdictNames[verdict];
  std::transform(last.begin(), last.end(), last.begin(), [](char c) { return c >= 'a' ? c - 'a' + 'A' : c; });
  return text + last + "\n";
}

Json FileDiff::summary(const PairEnd& end) const {
  Json json = {{"a", options_.a}, {"b", options_.b}, {"result", kVerdictNames[end.verdict]}};
  if (!end.error.empty()) json["error"] = end.error;
  if (end.verdict == kFileError || results_.empty()) return json;
  add_to(json, results_.front(), options_);
  for (const std::string& failure : failures_) json["failures"].push_back(failure);
  const bool has_image = writer_.has_value();
  json["difference_image"] = has_image ? Json(options_.common.output) : Json();
  if (compared_ < 2) return json;
  json["compared"] = compared_;
  Json others = Json::array();
  for (const ImageResult& result : std::span(results_).subspan(1)) {
    Json other = {{"picture", name_of(result.number)}, {"result", kVerdictNames[result.verdict]}};
    add_to(other, result, options_);
    others.push_back(std::move(other));
  }
  json["others"] = others;  // that do not match
  return json;
}

PairEnd FileDiff::end() {
  try {
    const Verdict verdict = compare();
    return {verdict, verdict, ""};
  } catch (const Failure& failure) {
    if (failure.code() == kUsage) throw;
    if (*failure.what() != '\0') say(ERR_ERROR, failure.what());
    return {kFileError, exit_code_of(failure), last_error_text()};
  }
}

namespace {

PairResult compare_here(const DiffOptions& options) {
  FileDiff diff(options);
  const PairEnd end = diff.end();
  return {end, end.verdict == kFileError ? "" : diff.text(end.verdict), diff.summary(end)};
}

PairResult compare_apart(const DiffOptions& options) {
  const auto compare = [&] {
    const PairResult result = compare_here(options);
    return packed({{"verdict", static_cast<int>(result.end.verdict)},
                   {"status", result.end.status},
                   {"error", result.end.error},
                   {"text", result.text},
                   {"summary", result.summary}});
  };
  const Json result = unpacked(contain(compare, options.common.output));
  const PairEnd end = {static_cast<Verdict>(result["verdict"].get<int>()), result["status"], result["error"]};
  return {end, result["text"], result["summary"]};
}

}  // namespace

PairResult compare_pair(const DiffOptions& options) {
  if (isolation() == nullptr) return compare_here(options);
  try {
    return compare_apart(options);
  } catch (const Death& death) {
    say(ERR_ERROR, death.what());
    const PairEnd end = {kFileError, kFileError, death.what()};
    return {end, "", FileDiff(options).summary(end)};
  }
}

}  // namespace orb::tool
