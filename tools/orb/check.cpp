// orb check: decodes everything that files hold, and writes nothing.
#include <CLI/CLI.hpp>
#include <algorithm>

#include "at_work.h"
#include "input.h"
#include "json.h"
#include "printable.h"
#include "progress.h"
#include "reports.h"
#include "results.h"
#include "rows.h"
#include "samples.h"
#include "verbs.h"

namespace orb::tool {
namespace {

struct CheckOptions {
  CommonOptions common;
  std::vector<std::string> files;
  InputOptions input;
  SequenceOptions sequence;
};

// What has been decoded of a file so far.
struct Checked {
  std::string format;
  int32_t frames = 0;  // 0: the file has none
  int32_t images = 0;
  int64_t rows = 0;
  size_t channels = 0;  // of the first image
  uint64_t bytes = 0;   // of samples
  bool has_lut = false;
  int32_t code = 0;               // the library's, of what failed first
  frames::FrameRange bad_frames;  // each for itself
  std::string error;              // of the first of them
};

[[noreturn]] void fail_with(Checked& checked, int32_t code, const std::string& text) {
  checked.code = code;
  fail_as_reported(text);
}

// An open reader has a slot of driver data for each of its images, and one scan function that serves them all.
void check_image(Image& reader, int32_t index, const std::string& file, Checked& checked,
                 Progress& progress) {
  const ORB_IFD& image = reader->info.images[index];
  const int64_t height = height_of(image.window);
  const uint64_t row_bytes = pixel_bytes(image) * static_cast<uint64_t>(width_of(image.window));
  for (int64_t i = 0; i < height; ++i) {
    const auto line =
        static_cast<int32_t>(is_bottom_up(image) ? image.window.bottom + i : image.window.top - i);
    void** rows = nullptr;
    note_call(Doing::reading);
    const int32_t code = index == 0 ? ORB_scan_read(reader.get(), line, &rows)
                                    : reader->scan(reader->driver[index].data, line, &rows);
    if (code != 0 || !has_rows(rows, image)) {
      fail_with(checked, code,
                file + ": cannot read row " + std::to_string(line) + " of image " + std::to_string(index));
    }
    ++checked.rows;
    checked.bytes += row_bytes;
    progress.step();
  }
  ++checked.images;
}

void check_images(Image& reader, const std::string& file, Checked& checked, Progress& progress) {
  for (int32_t i = 0; i < reader->info.image_count; ++i) check_image(reader, i, file, checked, progress);
}

void check_lut(const Image& reader, const std::string& file, Checked& checked) {
  if (reader->lut_read == nullptr) return;
  ORB_LUT* lut = nullptr;
  const int32_t code = ORB_lut_read(reader.get(), &lut);
  checked.has_lut = lut != nullptr;
  ORB_lut_free(lut);
  if (code != 0) fail_with(checked, code, file + ": cannot read the lookup table");
}

// One that cannot be decoded stops no other.
void check_frame(Image& reader, int32_t frame, const std::string& file, Checked& checked,
                 Progress& progress) {
  const int32_t first_code = checked.code;
  try {
    go_to_frame(reader, frame, file);
    check_images(reader, file, checked, progress);
    ++checked.frames;
  } catch (const Failure& failure) {
    if (failure.code() == kUsage) throw;
    if (checked.bad_frames.empty()) checked.error = last_error_text();
    if (checked.code == 0) checked.code = orb__err;
    if (first_code != 0) checked.code = first_code;
    checked.bad_frames.add(frame);
  }
}

void check_frames(Image& reader, const std::string& file, Checked& checked, Progress& progress) {
  const int32_t count = reader->info.frame_count;
  if (count <= 1) {
    check_images(reader, file, checked, progress);
    return;
  }
  if (reader->set_frame == nullptr) {
    check_images(reader, file, checked, progress);
    say(ERR_WARNING, file + ": holds " + std::to_string(count) +
                         " frames, and only the one that it opens with was decoded");
    return;
  }
  for (int32_t frame = 1; frame <= count; ++frame) check_frame(reader, frame, file, checked, progress);
}

int64_t rows_of(const ORB_INFO& info) {
  int64_t height = 0;
  for (int32_t i = 0; i < info.image_count; ++i) height += height_of(info.images[i].window);
  return std::max<int64_t>(height * std::max(info.frame_count, 1), 1);
}

void check_file(const CheckOptions& options, const std::string& file, Checked& checked) {
  orb__err = 0;  // so that a failure that is not the library's has no number of an earlier one
  Image reader = open_input(file, options.input);
  checked.format = reader->format->key;
  const ORB_INFO& info = reader->info;
  if (info.image_count < 1) fail_with(checked, ORB_E_FORMAT, file + ": holds no image");
  checked.channels = channels_of(info.images[0]).size();
  {
    Progress progress(options.common, rows_of(info));
    check_lut(reader, file, checked);
    check_frames(reader, file, checked, progress);
  }
  if (!checked.bad_frames.empty()) throw Failure(kIoError);
  if (!reader.close()) fail_with(checked, orb__err, file + ": cannot be read to its end");
}

// The library's number for what ended the look at a file; where the tool found out itself, the one that the
// library would have given.
int32_t code_of(const Failure& failure) {
  if (failure.code() == kNoInput) return ORB_E_OPEN;
  return orb__err != 0 ? orb__err : ORB_E_TYPE;
}

std::string as_text(const std::string& file, const Checked& checked) {
  return printable(file) + ": ok, " + checked.format + ", " +
         (checked.frames == 0 ? "" : counted(checked.frames, "frame") + ", ") +
         counted(checked.images, "image") + ", " + counted(checked.rows, "row") + ", " +
         counted(static_cast<long long>(checked.channels), "channel") +
         (checked.has_lut ? " and a lookup table, " : ", ") +
         counted(static_cast<long long>(checked.bytes), "byte") + "\n";
}

std::string error_of(const Checked& checked) {
  return checked.error.empty() ? last_error_text() : checked.error;
}

std::string failure_text(const std::string& file, const Checked& checked) {
  return printable(file) + ": failed" + (checked.format.empty() ? "" : ", " + checked.format) + ", error " +
         std::to_string(checked.code) + (checked.rows == 0 ? "" : ", after " + counted(checked.rows, "row")) +
         (checked.bad_frames.empty() ? "" : ", frames " + checked.bad_frames.text()) + ": " +
         printable(error_of(checked)) + "\n";
}

Json as_json(const std::string& file, const char* result, const Checked& checked) {
  return {{"file", file},
          {"result", result},
          {"format", checked.format.empty() ? Json() : Json(checked.format)},
          {"frames", checked.frames},
          {"bad_frames", checked.bad_frames.text()},
          {"images", checked.images},
          {"rows", checked.rows},
          {"channels", checked.channels},
          {"bytes", checked.bytes},
          {"lookup_table", checked.has_lut}};
}

int run(const CheckOptions& options) {
  Results told(options.common);
  FileResults found;
  Checked checked;
  const auto check = [&](const std::string& file, FileResults& results) {
    checked = {};
    check_file(options, file, checked);
    if (!options.common.is_quiet) results.text += as_text(file, checked);
    results.list.push_back(as_json(file, "ok", checked));
  };
  const auto note_failure = [&](const std::string& file, const Failure& failure, FileResults& results) {
    if (failure.code() == kNoInput) checked = {};  // of another file
    if (checked.code == 0) checked.code = code_of(failure);
    results.text += failure_text(file, checked);
    Json outcome = as_json(file, "failed", checked);
    outcome["code"] = checked.code;
    outcome["error"] = error_of(checked);
    results.list.push_back(outcome);
  };
  Json sequences = Json::array();
  const auto note_sequence = [&](const std::string& typed, const FrameSummary& summary,
                                 FileResults& results) {
    if (!options.common.is_quiet) results.text += printable(typed) + ": " + summary.text() + "\n";
    sequences.push_back({{"sequence", typed}, {"summary", summary.json()}});
  };
  const int status =
      for_each_file(options.files, options.sequence, {check, note_failure, note_sequence}, found);
  told.text = found.text;
  if (options.common.json) {
    Json all = {{"files", found.list}};
    if (!sequences.empty()) all["sequences"] = sequences;
    told.text = to_text(all);
  }
  told.deliver();
  return status;
}

}  // namespace

Verb add_check(CLI::App& app) {
  CLI::App* verb = app.add_subcommand("check", "decode everything that files hold, and write nothing");
  const auto options = std::make_shared<CheckOptions>();
  add_common_options(*verb, options->common, "write the results to a file");
  verb->add_option("FILE", options->files, "images and sequences to check; - is standard input")->required();
  add_input_options(*verb, options->input);
  add_sequence_options(*verb, options->sequence);
  return {verb, &options->common, [options] { return run(*options); }};
}

}  // namespace orb::tool
