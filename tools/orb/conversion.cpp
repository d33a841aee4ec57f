// The conversion of one image, row by row. Nothing is lost in silence, and the target is either what it was or
// the whole new file.
#include "conversion.h"

#include <unistd.h>

#include <algorithm>
#include <string_view>

#include "exit_codes.h"
#include "format_choice.h"
#include "printable.h"
#include "region_rows.h"

namespace orb::tool {
namespace {

// Some formats store nothing but colour indices, which others give only when told to.
std::string palette_remedy(const ORB_FORMAT& format, const InputOptions& reading) {
  if (!reading.read_settings.empty()) return "";  // whoever chose settings knows of them
  for (const ORB_CAPABILITY& capability : capabilities_of(format)) {
    if (std::string_view(capability.name) == "palette")
      return "; --read-set palette=indices reads colour indices";
  }
  return "";
}

}  // namespace

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
  put_steps_on(reader_, options_.steps, options_.input);
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

// The output shall hold all that the input does, as far as a region leaves it.
void Conversion::describe_output() {
  require_one_image();
  Description all(*reader_.get());
  if (options_.region.is_given()) {
    region_.emplace(options_.region, all.first(), options_.input);
    all.reshape(region_->form());
    output_->add_losses(region_->losses(options_.writing.dropped));
  }
  window_ = all.first().window;
  output_->want(all, all.first().index.count > 0 ? lut_of(reader_) : Lut(), options_.input,
                palette_remedy(*input_format_, options_.reading));
}

void Conversion::choose_way(const ORB_IFD& stored) {
  if (options_.is_black) {
    plan_ = {RowWay::direct, is_bottom_up(stored)};
    return;
  }
  plan_ = plan_rows(reader_, stored, output_->format(), options_.most_spool_bytes,
                    !options_.steps.is_given() && can_open_again(options_.input));
}

// The steps that rows pass through on their way, each fed by the one before: the reader, with what stands on its
// handle; the region. The groups that are dropped go last, where rows are handed to the writer.
std::unique_ptr<RowSource> Conversion::rows(bool bottom_up, RowWay way) {
  if (region_) return std::make_unique<RegionRows>(reader_, *region_, options_.input);
  return std::make_unique<RowReader>(reader_, options_.input, bottom_up, way);
}

void Conversion::write_frame(Image& writer, Progress& progress) {
  if (options_.is_black) {
    write_black(writer, *plan_, output_->wanted(), options_.common.output, progress);
    return;
  }
  const auto in_order = [this](bool bottom_up, RowWay way) { return rows(bottom_up, way); };
  transfer_rows(in_order, writer, *plan_, output_->wanted(), options_.input, options_.common.output,
                progress);
}

void Conversion::write() {
  Image writer = output_->create();
  const int32_t frames = output_->frame_count();
  const int64_t height = height_of(output_->wanted().first().window);
  Progress progress(options_.common, height * passes_of(plan_->way) * std::max(frames, 1));
  if (frames == 0) write_frame(writer, progress);
  for (int32_t frame = 1; frame <= frames; ++frame) {
    go_to_frame(reader_, frame, options_.input);
    go_to_frame(writer, frame, options_.common.output);
    write_frame(writer, progress);
  }
  // A damaged end of the input shows at its close, so that comes before the target is replaced.
  forget_errors();
  if (!options_.is_black && !reader_.close())
    fail_as_reported(options_.input + ": cannot be read to its end");
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
          {"layout", region_ ? Json(region_->layout().name) : Json()},
          {"losses", lost}};
}

std::string Conversion::plan_text() const {
  return "would " + std::string(output_->target().replaces() ? "replace " : "write ") +
         printable(options_.common.output) + " (" + output_->format().key + ") from " +
         printable(options_.input) + " (" + input_format_->key + "), rows: " + name_of(plan_->way) +
         (region_ ? ", " + window_text(*window_) + " as " + region_->layout().name : "") + "\n";
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
