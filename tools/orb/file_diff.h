// The comparison of two files, image by image and frame by frame.
#pragma once

#include <optional>

#include "image_diff.h"
#include "json.h"

namespace orb::tool {

// How a comparison of files ended.
struct PairEnd {
  Verdict verdict;
  int status;
  std::string error;  // why there is no verdict; it has been shown
};

class FileDiff {
 public:
  // The options must stay.
  explicit FileDiff(const DiffOptions& options) : options_(options) {}

  // Throws Failure(kUsage) only.
  PairEnd end();
  [[nodiscard]] std::string text(Verdict verdict) const;
  [[nodiscard]] Json summary(const PairEnd& end) const;

 private:
  Verdict compare();
  void check_options() const;
  void open(Side& side) const;
  void compare_counts();
  void compare_image(const PictureNumber& number);
  void describe_output();
  void close_inputs();

  const DiffOptions& options_;
  Side a_;
  Side b_;
  std::optional<OutputImage> output_;
  std::optional<DifferenceWriter> writer_;
  int32_t image_count_ = 1;  // that both have
  int32_t frame_count_ = 0;
  Verdict worst_ = kMatch;
  std::vector<std::string> failures_;  // of the files as such
  uint64_t compared_ = 0;
  std::vector<ImageResult> results_;  // the first, and those that are worth a look
};

struct PairResult {
  PairEnd end;
  std::string text;  // "" without a verdict
  Json summary;
};

// The comparison of two files; with --isolate in another process. Throws Failure(kUsage) only.
PairResult compare_pair(const DiffOptions& options);

}  // namespace orb::tool
