// Which frames a run of convert makes of which: missing ones filled in, those that are there passed over.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "sequence.h"

namespace orb::tool {

// What becomes of a frame that is not there.
enum class MissingPolicy : uint8_t {
  error,    // no output, and the run is not all done
  skip,     // no output, as asked
  hold,     // the frame before it
  nearest,  // the frame nearest to it, the earlier one of two
  black     // a black frame with the description of the first
};

// By the names above, for --missing. Throws Failure(kUsage).
[[nodiscard]] MissingPolicy policy_of(const std::string& name);

struct FrameJob {
  enum class Kind : uint8_t { convert, fill, black, skip, missing };
  frames::Frame frame;   // of the output
  frames::Frame source;  // of the input
  uint32_t input;
  Kind kind;

  [[nodiscard]] bool is_work() const { return kind < Kind::skip; }
};

struct PlanOptions {
  SequenceOptions sequence;
  MissingPolicy missing = MissingPolicy::error;
  bool only_missing = false;  // outputs that exist are passed over
  bool merges_fields =
      false;  // an even frame is its odd partner's second field, and no job where that is there
};

class FramePlan {
 public:
  // Looks the inputs up. Throws Failure as FrameInput does, and kUsage for files without a number, an output that
  // is no pattern and frames that would overwrite each other; kIoError when the output's folder is not there.
  FramePlan(const std::vector<std::string>& inputs, const std::string& output, const PlanOptions& options);

  [[nodiscard]] const std::vector<FrameJob>& jobs() const { return jobs_; }
  [[nodiscard]] std::string input(const FrameJob& job) const { return inputs_[job.input].name(job.source); }
  [[nodiscard]] std::string output(const FrameJob& job) const { return output_.name(job.frame); }
  // Whether a file is an input or the output of a job, by whatever name.
  [[nodiscard]] bool has_file(const std::string& file) const;

 private:
  void settle_output(const std::string& output, const PlanOptions& options);
  void add_jobs(uint32_t input, const PlanOptions& options);
  [[nodiscard]] FrameJob job_of(uint32_t input, frames::Frame frame, const PlanOptions& options) const;
  void require_own_outputs() const;
  void require_unread_outputs() const;

  std::vector<FrameInput> inputs_;
  frames::FramePattern output_;
  std::vector<FrameJob> jobs_;
  bool merges_fields_;
};

}  // namespace orb::tool
