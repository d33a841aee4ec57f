// Reads the configuration file into the colour defaults database.
#pragma once

#include "orbbase/colour/clr_database.h"
#include "orbbase/colour/clr_points.h"

namespace orb::clr {

enum class Outcome { done, not_a_number, no_memory, invalid };

// The matching functions that the file gives, and how far it does.
struct FilePoints {
  PointList points;
  bool has_begun = false;
  bool has_ended = false;
  config::Origin origin;
};

struct Reading {
  FilePoints given;
  bool has_bins = false;  // the file names bins, in whatever way
};

// Adds the sets of 1 to 10 bins. False when memory ran out, reported.
[[nodiscard]] bool add_built_in_bins(Database& database);

// Reads every line, or all before the first one that holds a word where a number must be. Reports what is
// wrong. Without a file there is nothing to do.
[[nodiscard]] Outcome read_file(Database& database, Reading& reading, void* catalogue);

}  // namespace orb::clr
