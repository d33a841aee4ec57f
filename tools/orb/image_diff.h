// The comparison of one image, or one frame, of two open files.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "diff.h"
#include "differences.h"
#include "rows.h"

namespace orb::tool {

// One of the two files.
struct Side {
  std::string file;
  Image reader;
};

// Which picture of a file, from 1; 0 where a file has but one.
struct PictureNumber {
  int32_t image = 0;
  int32_t frame = 0;
};

// How it ended.
struct ImageResult {
  PictureNumber number;
  Verdict verdict = kMatch;
  ORB_WINDOW window_a = {};
  ORB_WINDOW window_b = {};
  std::vector<std::string> notes;     // what differs beside the samples
  std::vector<std::string> failures;  // what of that makes the comparison fail
  Statistics found;
  std::string greatest_channel;
};

// The differences of a row, and where they go.
class DifferenceWriter {
 public:
  // form is that of the rows that are compared.
  DifferenceWriter(OutputImage& output, const ORB_IFD& form, std::string name);

  [[nodiscard]] void* const* rows() const { return rows_.get(); }
  void write(int64_t above_bottom) { write_row(writer_, name_, above_bottom, selection_(rows_.get())); }
  void finish() { output_.finish(writer_); }

 private:
  OutputImage& output_;
  std::string name_;
  RowBuffers rows_;
  RowSelection selection_;
  Image writer_;
};

class ImageDiff {
 public:
  // index is the image's, from 0. All must stay.
  ImageDiff(const DiffOptions& options, Side& a, Side& b, int32_t index);

  [[nodiscard]] bool is_same_size() const;
  // Says what differs beside the samples, and compares these. stored is the descriptor of the difference image, whose
  // writer gets the rows, if there are such. Throws Failure.
  void compare(const std::optional<ORB_IFD>& stored, bool writes_any_order, DifferenceWriter* writer);
  [[nodiscard]] ImageResult result() const;

 private:
  struct Source {
    Side& side;
    RowWay way = RowWay::direct;
    Image memory;  // the same rows, when they had to be turned round
    std::unique_ptr<RowSource> rows;
  };
  [[nodiscard]] const ORB_IFD& ifd(const Side& side) const { return side.reader->info.images[index_]; }
  void note_description();
  void note_channels();
  void note_luts();
  [[nodiscard]] bool choose_order(const std::optional<ORB_IFD>& stored, bool writes_any_order) const;
  void plan(bool bottom_up);
  void open_rows(Source& source, bool bottom_up, Progress& progress);
  [[nodiscard]] Verdict verdict() const;

  const DiffOptions& options_;
  const int32_t index_;
  Source a_;
  Source b_;
  ORB_WINDOW window_a_;
  ORB_WINDOW window_b_;
  Comparison comparison_;
  std::vector<std::string> notes_;
  std::vector<std::string> failures_;
};

}  // namespace orb::tool
