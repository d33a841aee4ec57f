// Getting the rows of open images in an order, and carrying them to another image, whatever order each of them
// stores its rows in.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "description.h"
#include "image.h"
#include "progress.h"

namespace orb::tool {

// What the order of rows costs, cheapest first.
enum class RowWay {
  direct,   // the reader gives each row as it is asked for
  forward,  // the writer takes rows in any order, so it gets the reader's
  spool,    // through the memory of the process: read in one order, handed on in the other
  reopen    // the reader starts again for every row
};

[[nodiscard]] const char* name_of(RowWay way);

[[nodiscard]] bool is_bottom_up(const ORB_IFD& ifd);
[[nodiscard]] bool takes_any_order(const ORB_FORMAT& format);
[[nodiscard]] bool gives_any_line(const Image& reader);

// What an image of this description takes in memory; the largest number when that overflows.
[[nodiscard]] uint64_t bytes_in_memory(const ORB_IFD& ifd);

// The way in which a reader gives the rows of one of its images in an order: direct, spool or reopen. need_bytes is
// what spooling takes. Throws Failure when rows would have to be turned round, most_spool_bytes are too few and the
// input cannot be opened again.
[[nodiscard]] RowWay way_into_order(const Image& reader, const ORB_IFD& image, bool bottom_up,
                                    uint64_t need_bytes, uint64_t most_spool_bytes, bool can_reopen);

// Whether a reader that claims success has given out a row for every channel.
[[nodiscard]] bool has_rows(void* const* rows, const ORB_IFD& ifd);

// Rows of one form, one after the other: as an image has them, or as a step on their way has made them.
class RowSource {
 public:
  virtual ~RowSource() = default;
  // Groups, types and window of the rows, and the order in which they come without a turn.
  [[nodiscard]] virtual const ORB_IFD& form() const = 0;
  // The row pointers of a row, counted from the window's bottom; valid until the next call. Throws Failure; what the
  // library said about it has been reported.
  [[nodiscard]] virtual void** read(int64_t above_bottom) = 0;
};

// A reader's own rows, brought into an order. The reader may be another handle afterwards; it outlives this.
class RowReader : public RowSource {
 public:
  // The order is the one in which read will be called; the name is for messages.
  RowReader(Image& reader, std::string name, bool bottom_up, RowWay way);
  [[nodiscard]] const ORB_IFD& form() const override { return reader_.first(); }
  [[nodiscard]] void** read(int64_t above_bottom) override;

 private:
  Image& reader_;
  std::string name_;
  bool must_seek_;
};

// The rows of one image of a file with several. They cannot be had by opening the file again.
class SubImageRows : public RowSource {
 public:
  SubImageRows(Image& reader, int32_t index, std::string name, bool bottom_up)
      : reader_(reader),
        index_(index),
        name_(std::move(name)),
        must_seek_(reader->seek != nullptr && bottom_up != is_bottom_up(form())) {}
  [[nodiscard]] const ORB_IFD& form() const override { return reader_->info.images[index_]; }
  [[nodiscard]] void** read(int64_t above_bottom) override;

 private:
  Image& reader_;
  int32_t index_;
  std::string name_;
  bool must_seek_;
};

// Which of a reader's row pointers go to a writer, when groups are left out.
class RowSelection {
 public:
  RowSelection(const ORB_IFD& source, const ORB_IFD& wanted);
  [[nodiscard]] void** operator()(void** rows);

 private:
  std::vector<size_t> kept_;
  std::vector<void*> rows_;
  bool is_all_;
};

// The wanted groups of all rows of a source, held in memory, where they can be read in any order. Throws as the
// source does.
[[nodiscard]] Image held_in_memory(RowSource& rows, const Description& wanted, const std::string& name,
                                   Progress& progress);

struct RowPlan {
  RowWay way;
  bool is_bottom_up;  // the order in which the writer gets its rows
};

// Chooses the way to a writer. stored is the writer's own descriptor after its open; the rest, and what is
// thrown, as way_into_order.
[[nodiscard]] RowPlan plan_rows(const Image& reader, const ORB_IFD& stored, const ORB_FORMAT& writer_format,
                                uint64_t most_spool_bytes, bool can_reopen);

// How often each row passes on a way, for the progress.
[[nodiscard]] int64_t passes_of(RowWay way);

// Writes the row that lies so far above the window's bottom. Throws Failure, reported; name is for messages.
void write_row(Image& writer, const std::string& name, int64_t above_bottom, void** rows);

// Row buffers of a description, all samples 0. Throws Failure when there is no memory for them.
class RowBuffers {
 public:
  explicit RowBuffers(ORB_IFD form);
  [[nodiscard]] void** get() const { return rows_.get(); }

 private:
  struct Freed {
    void operator()(void** rows) const { ORB_chan_free(rows); }
  };
  std::unique_ptr<void*, Freed> rows_;
};

// Writes samples of 0 for every row of the wanted description's window. Throws as write_row.
void write_black(Image& writer, const RowPlan& plan, const Description& wanted, const std::string& name,
                 Progress& progress);

// Makes the source of the rows in an order: all the steps that they pass through.
using RowsInOrder = std::function<std::unique_ptr<RowSource>(bool bottom_up, RowWay way)>;

// Transfers every row, with the wanted description's groups only. Throws Failure; what the library said about it
// has been reported.
void transfer_rows(const RowsInOrder& rows, Image& writer, const RowPlan& plan, const Description& wanted,
                   const std::string& input, const std::string& output, Progress& progress);

}  // namespace orb::tool
