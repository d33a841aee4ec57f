// The conversion of one image, row by row. Nothing is lost in silence, and the target is either what it was or
// the whole new file.
#include "conversion.h"

#include <unistd.h>

#include "exit_codes.h"
#include "format_choice.h"
#include "printable.h"

namespace orb::tool {

void Conversion::check_options() const {
  const CommonOptions& common = options_.common;
  if (!output_->target().is_standard_output() || common.is_dry_run) return;
  if (common.json) throw Failure(kUsage, "--json writes to standard output, where the image goes");
  if (isatty(STDOUT_FILENO) != 0 && !common.force) {
    throw Failure(kUsage, "standard output is a terminal; -f writes an image there all the same");
  }
}

void Conversion::open_input() {
  input_format_ = &format_for_reading(options_.input, options_.reading.from);
  say(ERR_DEBUG, options_.input + ": read as " + origin_of(*input_format_));
  reader_ = tool::open_input(options_.input, *input_format_, options_.reading);
}

void Conversion::require_one_image() const {
  const int32_t count = reader_->info.image_count;
  if (count < 1) throw Failure(kIoError, options_.input + ": holds no image");
  if (count == 1) return;
  const std::string text = options_.input + ": holds " + std::to_string(count) + " images";
  if (!options_.writing.allow_lossy) {
    throw Failure(kLossRefused, text + ", and only the first can be converted; --allow-lossy takes it");
  }
  say(ERR_WARNING, text + "; the first is converted");
}

// The output shall hold all that the input does.
void Conversion::describe_output() {
  require_one_image();
  const Description all(*reader_.get());
  window_ = all.first().window;
  output_->want(all, all.first().index.count > 0 ? lut_of(reader_) : Lut(), options_.input);
}

void Conversion::choose_way(const ORB_IFD& stored) {
  if (options_.is_black) {
    plan_ = {RowWay::direct, is_bottom_up(stored)};
    return;
  }
  plan_ = plan_rows(reader_, stored, output_->format(), options_.most_spool_bytes,
                    can_open_again(options_.input));
}

void Conversion::write() {
  Image writer = output_->create();
  Progress progress(options_.common, height_of(reader_.first().window) * passes_of(plan_->way));
  if (options_.is_black) {
    write_black(writer, *plan_, output_->wanted(), options_.common.output, progress);
  } else {
    transfer_rows(reader_, writer, *plan_, output_->wanted(), options_.input, options_.common.output,
                  progress);
    // A damaged end of the input shows at its close, so that comes before the target is replaced.
    forget_errors();
    if (!reader_.close()) fail_as_reported(options_.input + ": cannot be read to its end");
  }
  output_->finish(writer);
}

Json Conversion::summary(const char* result) const {
  Json lost = Json::array();
  if (output_) {
    for (const Loss& loss : output_->losses()) lost.push_back({{"name", loss.name}, {"text", loss.text}});
  }
  return {{"input", options_.input},
          {"from", input_format_ == nullptr ? Json() : Json(input_format_->key)},
          {"output", options_.common.output},
          {"to", output_ ? Json(output_->format().key) : Json()},
          {"result", result},
          {"rows", plan_ ? Json(name_of(plan_->way)) : Json()},
          {"losses", lost}};
}

std::string Conversion::plan_text() const {
  return "would " + std::string(output_->target().replaces() ? "replace " : "write ") +
         printable(options_.common.output) + " (" + output_->format().key + ") from " +
         printable(options_.input) + " (" + input_format_->key + "), rows: " + name_of(plan_->way) + "\n";
}

std::optional<ORB_WINDOW> Conversion::window() const { return window_; }

void Conversion::run() {
  output_.emplace(options_.common, options_.writing);
  check_options();
  open_input();
  describe_output();
  choose_way(output_->rehearse());
  output_->settle_losses();
  say(ERR_INFORMATION, options_.label + "rows: " + name_of(plan_->way));
  if (!options_.common.is_dry_run) write();
}

}  // namespace orb::tool
