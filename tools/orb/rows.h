// Carrying the rows of one open image to another, whatever order each of them stores its rows in.
#pragma once

#include <cstdint>
#include <string>

#include "description.h"
#include "image.h"
#include "progress.h"

namespace orb::tool {

// What the order of rows costs, cheapest first.
enum class RowWay {
  direct,   // the reader gives each row as the writer asks for it
  forward,  // the writer takes rows in any order, so it gets the reader's
  spool,    // through the memory of the process: read in one order, written in the other
  reopen    // the reader starts again for every row
};

[[nodiscard]] const char* name_of(RowWay way);

struct RowPlan {
  RowWay way;
  bool is_bottom_up;     // the order in which the writer gets its rows
  uint64_t spool_bytes;  // what spooling takes or would take
};

// Chooses the way. stored is the writer's own descriptor after its open. Throws Failure when rows would have
// to be turned round, most_spool_bytes are too few and the input cannot be opened again.
[[nodiscard]] RowPlan plan_rows(const Image& reader, const ORB_IFD& stored, const ORB_FORMAT& writer_format,
                                uint64_t most_spool_bytes, bool can_reopen);

// How often each row passes on the plan's way, for the progress.
[[nodiscard]] int64_t passes_of(const RowPlan& plan);

// Transfers every row of the wanted description's window, with its groups only. Bit for bit. The reader may
// be another handle afterwards. Throws Failure; what the library said about it has been reported.
void transfer_rows(Image& reader, Image& writer, const RowPlan& plan, const Description& wanted,
                   const std::string& input, const std::string& output, Progress& progress);

}  // namespace orb::tool
