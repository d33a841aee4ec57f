// The comparison of one image of two open files.
#include "image_diff.h"

#include <cstring>
#include <utility>

#include "format_choice.h"
#include "printable.h"
#include "progress.h"
#include "reports.h"

namespace orb::tool {
namespace {

bool is_beyond(const Limits& limits, const Excess& excess, const Statistics& found) {
  return percent(excess.pixels, found.pixels) > limits.percent || found.greatest.error > limits.hard;
}

std::string list_of(const std::vector<Channel>& channels) {
  std::string text;
  for (const Channel& channel : channels) text += (text.empty() ? "" : ", ") + name_of(channel);
  return text;
}

}  // namespace

DifferenceWriter::DifferenceWriter(OutputImage& output, const ORB_IFD& form, std::string name)
    : output_(output),
      name_(std::move(name)),
      rows_(form),
      selection_(form, output.wanted().first()),
      writer_(output.create()) {}

ImageDiff::ImageDiff(const DiffOptions& options, Side& a, Side& b, int32_t index)
    : options_(options),
      index_(index),
      a_{a, RowWay::direct, Image(), nullptr},
      b_{b, RowWay::direct, Image(), nullptr},
      window_a_(ifd(a).window),
      window_b_(ifd(b).window),
      comparison_(channels_of(ifd(a)), channels_of(ifd(b)), width_of(window_a_),
                  Thresholds{options.warn.each, options.fail.each}) {}

bool ImageDiff::is_same_size() const {
  return width_of(window_a_) == width_of(window_b_) && height_of(window_a_) == height_of(window_b_);
}

void ImageDiff::note_description() {
  if (std::memcmp(&window_a_, &window_b_, sizeof window_a_) != 0) {
    notes_.push_back("window: " + window_text(window_a_) + " against " + window_text(window_b_) +
                     "; compared corner to corner");
  }
  note_channels();
  note_luts();
}

void ImageDiff::note_channels() {
  int last_group = -1;
  for (const ChannelPair& pair : comparison_.pairs()) {
    const Channel& a = comparison_.channel_a(pair);
    const Channel& b = comparison_.channel_b(pair);
    if (a.group == last_group || form_of(a) == form_of(b)) continue;
    last_group = a.group;
    notes_.push_back(name_of(a) + " and on: " + form_of(a) + " against " + form_of(b) +
                     "; integers are compared as parts of their range");
  }
  const struct {
    const std::vector<Channel>& channels;
    const std::string& file;
  } only[] = {{comparison_.only_a(), options_.a}, {comparison_.only_b(), options_.b}};
  for (const auto& side : only) {
    if (!side.channels.empty()) failures_.push_back("only in " + side.file + ": " + list_of(side.channels));
  }
}

// Indices mean the same only with the same table.
void ImageDiff::note_luts() {
  if (index_ != 0) return;  // a file gives the first image's table alone
  for (const Side* side : {&a_.side, &b_.side}) {
    if (ifd(*side).color.count > 0 || ifd(*side).index.count <= 0) return;
  }
  const Lut a = lut_of(a_.side.reader);
  const Lut b = lut_of(b_.side.reader);
  const bool is_same =
      (!a && !b) ||
      (a && b && a->entry_count == b->entry_count &&
       std::memcmp(a->entries, b->entries, static_cast<size_t>(a->entry_count) * sizeof *a->entries) == 0);
  if (!is_same) failures_.emplace_back("the lookup tables differ");
}

// The order in which the writer takes rows, else the one of an image that gives its rows in one order only.
bool ImageDiff::choose_order(const std::optional<ORB_IFD>& stored, bool writes_any_order) const {
  if (stored && !writes_any_order) return is_bottom_up(*stored);
  return is_bottom_up(ifd(gives_any_line(a_.side.reader) ? b_.side : a_.side));
}

void ImageDiff::plan(bool bottom_up) {
  uint64_t most = most_spool_bytes(options_.memory);
  for (Source* source : {&a_, &b_}) {
    const Side& side = source->side;
    const uint64_t need = bytes_in_memory(ifd(side));
    const bool can_reopen = index_ == 0 && can_open_again(side.file);
    source->way = way_into_order(side.reader, ifd(side), bottom_up, need, most, can_reopen);
    if (source->way == RowWay::spool) most -= need;
    say(ERR_INFORMATION, side.file + ": rows: " + name_of(source->way));
  }
}

void ImageDiff::open_rows(Source& source, bool bottom_up, Progress& progress) {
  Side& side = source.side;
  const auto in_order = [&](bool upward, RowWay way) -> std::unique_ptr<RowSource> {
    if (index_ == 0) return std::make_unique<RowReader>(side.reader, side.file, upward, way);
    return std::make_unique<SubImageRows>(side.reader, index_, side.file, upward);
  };
  if (source.way != RowWay::spool) {
    source.rows = in_order(bottom_up, source.way);
    return;
  }
  Description all(*side.reader.get());
  all.reshape(ifd(side));
  source.memory = held_in_memory(*in_order(!bottom_up, RowWay::direct), all, side.file, progress);
  source.rows = std::make_unique<RowReader>(source.memory, side.file, bottom_up, RowWay::direct);
}

void ImageDiff::compare(const std::optional<ORB_IFD>& stored, bool writes_any_order,
                        DifferenceWriter* writer) {
  note_description();
  const bool bottom_up = choose_order(stored, writes_any_order);
  plan(bottom_up);
  const int64_t height = height_of(window_a_);
  Progress progress(options_.common, height * (passes_of(a_.way) + passes_of(b_.way) - 1));
  for (Source* source : {&a_, &b_}) open_rows(*source, bottom_up, progress);
  for (int64_t i = 0; i < height; ++i) {
    const int64_t above_bottom = bottom_up ? i : height - 1 - i;
    comparison_.row(a_.rows->read(above_bottom), b_.rows->read(above_bottom), above_bottom,
                    writer != nullptr ? writer->rows() : nullptr, options_.scale);
    if (writer != nullptr) writer->write(above_bottom);
    progress.step();
  }
}

Verdict ImageDiff::verdict() const {
  if (!is_same_size()) return kDifferentSizes;
  const Statistics& found = comparison_.statistics();
  if (!failures_.empty() || is_beyond(options_.fail, found.over_fail, found)) return kFailure;
  return is_beyond(options_.warn, found.over_warn, found) ? kWarning : kMatch;
}

ImageResult ImageDiff::result() const {
  const Statistics& found = comparison_.statistics();
  const bool has_greatest = found.greatest.error > 0;
  return {{},
          verdict(),
          window_a_,
          window_b_,
          notes_,
          failures_,
          found,
          has_greatest ? name_of(comparison_.channel_a(comparison_.pairs()[found.greatest.pair])) : ""};
}

}  // namespace orb::tool
