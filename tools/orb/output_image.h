// The image that a verb writes: opened on nothing first, so that what the format would lose is known before
// anything is touched; then written beside the target, which it replaces when it is whole.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "command_line.h"
#include "description.h"
#include "image.h"
#include "reports.h"
#include "target.h"

namespace orb::tool {

struct OutputOptions {
  std::string to;
  std::vector<std::string> dropped;
  std::vector<std::string> settings;
  bool allow_lossy = false;
  bool makes_mipmap = false;  // every level of the image's pyramid becomes an image of the file
};

// Adds --to, --drop, --allow-lossy and --set to a verb.
void add_output_options(CLI::App& verb, OutputOptions& options);

// The lookup table of colour indices, of which a reader gives a copy.
struct LutFreed {
  void operator()(ORB_LUT* lut) const { ORB_lut_free(lut); }
};
using Lut = std::unique_ptr<ORB_LUT, LutFreed>;

// The table of an open image; empty when it has none.
[[nodiscard]] Lut lut_of(const Image& reader);

class OutputImage {
 public:
  // Looks at the target, the format and its settings, and touches nothing. Throws Failure.
  OutputImage(const CommonOptions& common, const OutputOptions& options);

  [[nodiscard]] const ORB_FORMAT& format() const { return *format_; }
  [[nodiscard]] const Target& target() const { return target_; }
  [[nodiscard]] const Description& wanted() const { return *wanted_; }
  [[nodiscard]] const std::vector<Loss>& losses() const { return losses_; }

  // What the image shall hold, less what is dropped. input names, in messages, what it is made from; what the
  // description lends must stay. remedy is added when the format refuses the image. Throws Failure when no channels
  // are there or left.
  void want(const Description& wanted, Lut lut, const std::string& input, const std::string& remedy = "");
  // What was lost before the description, by a step on the way.
  void add_losses(const std::vector<Loss>& losses);
  // Opens a writer on nothing and gathers the losses. Returns the descriptor as it would be stored; what it
  // points to is gone. Throws Failure when the format refuses the image.
  ORB_IFD rehearse();
  // After it: how many frames the image is to get, one after the other; 0 for one that has no frames.
  [[nodiscard]] int32_t frame_count() const { return frame_count_; }
  // Tells of the losses. Throws Failure(kLossRefused) if one of them was not asked for.
  void settle_losses() const;
  // Makes the file and opens it. Throws Failure.
  [[nodiscard]] Image create();
  // Closes the image and puts it in the target's place. Throws Failure.
  void finish(Image& writer);

 private:
  bool rehearse_without_groups();
  [[nodiscard]] Image open(const std::string& name) const;
  [[nodiscard]] std::vector<ORB_IFD> levels() const;
  void make_mipmap(const Image& writer) const;
  void rehearse_mipmap() const;

  const CommonOptions& common_;
  const OutputOptions& options_;
  Target target_;
  const ORB_FORMAT* format_;
  std::optional<DriverSettings> settings_;
  std::string input_;
  std::string remedy_;
  Lut lut_;
  int32_t frame_count_ = 0;
  std::optional<Description> wanted_;
  std::vector<Loss> losses_;
  std::optional<ShownAs> shown_as_;  // from create on
};

}  // namespace orb::tool
