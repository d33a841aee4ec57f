// The image that a verb writes.
#include "output_image.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <string_view>
#include <utility>

#include "exit_codes.h"
#include "format_choice.h"
#include "orbbase/imp.h"
#include "rows.h"

namespace orb::tool {
namespace {

constexpr const char* kNowhere = "/dev/null";
constexpr const char* kNoMipmap = " cannot store the levels of a mipmap as the images of a file";
constexpr IMP_PROCESS kMipmap = {"mipmap", 0, 0, 0, nullptr};

}  // namespace

void add_output_options(CLI::App& verb, OutputOptions& options) {
  verb.add_option(
          "--to", options.to,
          "the format of the output, a key of orb formats; default: by its name, pipe for standard output")
      ->type_name("KEY");
  add_repeated(verb, "--drop", options.dropped,
               "leave something out, so that its loss is none; several with commas between: " + drop_names())
      ->type_name("NAME")
      ->delimiter(',')
      // Whoever drops judges the names; this is for completion.
      ->check([](const std::string&) { return std::string(); }, as_choices(drop_names()));
  verb.add_flag("--allow-lossy", options.allow_lossy,
                "write although something is lost; each loss is a warning");
  add_repeated(verb, "--set", options.settings, "a setting of the output's driver; orb formats -v lists them")
      ->type_name("NAME=VALUE");
}

Lut lut_of(const Image& reader) {
  ORB_LUT* lut = nullptr;
  static_cast<void>(ORB_lut_read(reader.get(), &lut));  // a table or none: drivers' codes say no more
  return Lut(lut);
}

OutputImage::OutputImage(const CommonOptions& common, const OutputOptions& options)
    : common_(common),
      options_(options),
      target_(common.output, common.force),
      format_(&format_for_writing(common.output, options.to)) {
  if (std::string_view(format_->key) == "mem") {
    throw Failure(kUsage, "an image in memory would be gone when orb ends; choose another format");
  }
  settings_.emplace(*format_, options.settings);
}

// The images that a mipmap of what is wanted has; none when it shall be no mipmap.
std::vector<ORB_IFD> OutputImage::levels() const {
  if (!options_.makes_mipmap) return {};
  const int32_t count = IMP_plan(&kMipmap, &wanted_->first(), nullptr, 0);
  if (count < 1) fail_as_reported(input_ + ": cannot be made a mipmap");
  std::vector<ORB_IFD> images(static_cast<size_t>(count));
  IMP_plan(&kMipmap, &wanted_->first(), images.data(), count);
  // What the first image does not declare the others do not either; formats know it by the 0.
  if ((wanted_->info().word_e & ORB_ASSUMED_GAMMA) != 0) {
    for (auto level = images.begin() + 1; level != images.end(); ++level) level->curve.gamma = 0;
  }
  return images;
}

Image OutputImage::open(const std::string& name) const {
  const ShownAs shown_as(name, common_.output);
  std::string key = format_->key;
  std::string file = name;
  ORB_INFO record = wanted_->record(key, file, lut_.get());
  std::vector<ORB_IFD> images = levels();
  if (!images.empty()) {
    record.images = images.data();
    record.image_count = static_cast<int32_t>(images.size());
  }
  const uint32_t errors_before = ERR_stats(ERR_ERROR);
  Image image(settings_->open(record, "w"));
  // The library opens even without the texts that it had no memory for. That would be a loss without a name.
  if (image && ERR_stats(ERR_ERROR) != errors_before) {
    image.abandon();
    throw Failure(kRetry);
  }
  return image;
}

void OutputImage::add_losses(const std::vector<Loss>& losses) {
  losses_.insert(losses_.end(), losses.begin(), losses.end());
}

void OutputImage::want(const Description& wanted, Lut lut, const std::string& input,
                       const std::string& remedy) {
  input_ = input;
  remedy_ = remedy;
  wanted_.emplace(wanted);
  if (!wanted_->has_channels()) throw Failure(kIoError, input + ": holds no channels");
  for (const std::string& name : options_.dropped) wanted_->drop(name);
  if (!wanted_->has_channels()) throw Failure(kUsage, input + ": no channels are left to write");
  if (wanted_->first().index.count > 0) lut_ = std::move(lut);
}

ORB_IFD OutputImage::rehearse() {
  forget_errors();
  Image writer;
  {
    // What is only remarked comes with the real open, if there will be one.
    const Muted muted(common_.is_dry_run ? ERR_DEBUG : ERR_ERROR);
    const bool has_refused_groups = options_.allow_lossy && rehearse_without_groups();
    writer = open(kNowhere);
    if (!writer && !has_refused_groups && orb__err == ORB_E_HANDLE) {
      if (last_error_text().empty()) say(ERR_ERROR, common_.output + ": the format refuses the image");
      throw Failure(kLossRefused,
                    std::string(format_->key) +
                        (options_.makes_mipmap
                             ? kNoMipmap
                             : " cannot store the image as it is; --drop leaves groups out" + remedy_));
    }
    if (!writer) fail_as_reported(common_.output + ": cannot be written as " + format_->key);
  }
  std::vector<Loss> found = tool::losses(*wanted_, writer->info);
  const auto is_date = [](const Loss& loss) { return loss.name == "date"; };
  if (std::any_of(found.begin(), found.end(), is_date) && wanted_->shorten_date()) {
    const Muted muted(ERR_ERROR);
    writer = open(kNowhere);
    if (!writer) fail_as_reported(common_.output + ": cannot be written as " + format_->key);
    found = tool::losses(*wanted_, writer->info);
  }
  add_losses(found);
  if (options_.makes_mipmap) rehearse_mipmap();
  if (format_->multi_frame != 0 && writer->set_frame != nullptr) frame_count_ = writer->info.frame_count;
  return writer.first();
}

// With --allow-lossy a format that has no place for a group gets the image without it: the fewest groups that
// make the difference. True when some had to go.
bool OutputImage::rehearse_without_groups() {
  const std::vector<std::vector<const char*>> attempts = {{}, {"aux"}, {"matte"}, {"aux", "matte"}};
  const Muted muted(ERR_FATAL);
  const Description before = *wanted_;
  for (const std::vector<const char*>& groups : attempts) {
    wanted_.emplace(before);
    for (const char* group : groups) wanted_->drop(group);
    if (!wanted_->has_channels() || !open(kNowhere)) continue;
    for (const char* group : groups) {
      losses_.push_back({group, std::string("the ") + group + " group is not kept", true});
    }
    return !groups.empty();
  }
  wanted_.emplace(before);
  return false;
}

// A format may take several images, but only one after the other. The first rows show it, from which the second image
// gets its first.
void OutputImage::rehearse_mipmap() const {
  forget_errors();
  const Muted muted(ERR_ERROR);
  Image writer = open(kNowhere);
  if (!writer) fail_as_reported(common_.output + ": cannot be written as " + format_->key);
  make_mipmap(writer);
  const RowBuffers rows(wanted_->first());
  const int64_t height = height_of(wanted_->first().window);
  const Unshown unshown;
  try {
    for (int64_t i = 0; i < std::min<int64_t>(height, 2); ++i) {
      write_row(writer, common_.output, is_bottom_up(writer.first()) ? i : height - 1 - i, rows.get());
    }
  } catch (const Failure& failure) {
    if (failure.code() != kIoError) throw Failure(failure.code(), last_error_text());
    throw Failure(kLossRefused, format_->key + std::string(kNoMipmap));
  }
}

void OutputImage::settle_losses() const {
  bool is_refused = false;
  for (const Loss& loss : losses_) {
    const bool is_allowed = options_.allow_lossy && loss.may_be_allowed;
    is_refused = is_refused || !is_allowed;
    say(is_allowed ? ERR_WARNING : ERR_ERROR,
        common_.output + ": " + loss.text +
            (is_allowed || !loss.may_be_allowed ? "" : " (" + loss.remedy + ")"));
  }
  if (!is_refused) return;
  throw Failure(kLossRefused,
                std::string(format_->key) + " would not keep all of " + input_ + "; nothing was written");
}

// Light is averaged by the curve of the input, declared or assumed, whatever the format keeps of it.
void OutputImage::make_mipmap(const Image& writer) const {
  for (int32_t i = 0; i < writer->info.image_count; ++i) {
    writer->info.images[i].curve.gamma = wanted_->first().curve.gamma;
  }
  if (IMP_open(writer.get(), &kMipmap, "w") != nullptr) return;
  fail_as_reported(common_.output + ": cannot be written as a mipmap");
}

Image OutputImage::create() {
  target_.create();
  say(ERR_DEBUG, common_.output + ": written as " + origin_of(*format_) +
                     (target_.is_direct() ? ", directly" : ", first as " + target_.write_name()));
  shown_as_.emplace(target_.write_name(), common_.output);
  forget_errors();
  Image writer = open(target_.write_name());
  if (!writer) fail_as_reported(common_.output + ": cannot be written");
  if (options_.makes_mipmap) make_mipmap(writer);
  return writer;
}

void OutputImage::finish(Image& writer) {
  forget_errors();
  if (!writer.close()) fail_as_reported(common_.output + ": cannot be finished");
  target_.commit();
}

}  // namespace orb::tool
