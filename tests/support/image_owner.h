// An open image that closes when its holder goes.
#pragma once

#include <memory>

#include "orbbase/core.h"

namespace orb::testing {

struct ImageClosed {
  void operator()(ORB_IMAGE* image) const { ORB_close(image); }
};
using Image = std::unique_ptr<ORB_IMAGE, ImageClosed>;

}  // namespace orb::testing
