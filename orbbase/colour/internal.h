// What the colour rooms lend to the rest of the library: start and end of the colour defaults database.
#pragma once

#include <cstdint>
#include <span>

#include "orbbase/support/config/setting.h"

namespace orb {

// Starts the colour defaults database with the catalogue handle that its reports carry. Returns 0, or -1 when
// reading failed, which was reported; the database counts as started all the same, and a second call only
// returns 0.
[[nodiscard]] int32_t clr_init(void* catalogue);

// Ends it; the next query starts it again. Returns 0.
int32_t clr_exit();

namespace clr {

// The matching-function table, x, y, z an entry: of CLR_def_xyz_tab_res() wavelengths from the shortest to
// the longest. After a start that met a word that is no number it is the built-in table; after another
// failure, and while the database is not started, it is empty.
[[nodiscard]] std::span<const float> matching_table();

// The settings and the sets of bins, for ORB_setting: starts the database like a query.
int32_t listed_count();
bool list(int32_t index, config::ListedSetting* out);

// Ends the database and puts every setting back to its built-in value.
void reset_for_test();

}  // namespace clr
}  // namespace orb
