// Getting the rows of open images in an order, and carrying them to another image, whatever order each of them
// stores its rows in.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
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

// The way in which a reader gives its rows in an order: direct, spool or reopen. need_bytes is what spooling
// takes. Throws Failure when rows would have to be turned round, most_spool_bytes are too few and the input
// cannot be opened again.
[[nodiscard]] RowWay way_into_order(const Image& reader, bool bottom_up, uint64_t need_bytes,
                                    uint64_t most_spool_bytes, bool can_reopen);

// Brings a reader's rows into an order, one after the other. The reader may be another handle afterwards; it
// outlives this.
class RowReader {
 public:
  // The order is the one in which read will be called; the name is for messages.
  RowReader(Image& reader, std::string name, bool bottom_up, RowWay way);
  // The reader's own row pointers of a row, counted from the window's bottom; valid until the next call.
  // Throws Failure; what the library said about it has been reported.
  [[nodiscard]] void** read(int64_t above_bottom);

 private:
  Image& reader_;
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

// The groups of the wanted description from a reader's whole image, held in memory, whose rows can be read in
// any order. Throws Failure as RowReader does.
[[nodiscard]] Image held_in_memory(Image& reader, const Description& wanted, const std::string& name,
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

// Transfers every row of the wanted description's window, with its groups only. Bit for bit. The reader may
// be another handle afterwards. Throws Failure; what the library said about it has been reported.
void transfer_rows(Image& reader, Image& writer, const RowPlan& plan, const Description& wanted,
                   const std::string& input, const std::string& output, Progress& progress);

}  // namespace orb::tool
