// Chunks that a description has no place for: each is named in a report, so that nothing goes by unseen.
#pragma once

#include "codec.h"

namespace orb::png {

// Has the codec library hand every such chunk over. Calls into it: a step of guarded().
void watch_unkept_chunks(Codec& codec);

}  // namespace orb::png
