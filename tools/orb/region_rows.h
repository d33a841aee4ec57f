// The rows of a region, split into channels as a writer takes them.
#pragma once

#include <string>

#include "region.h"
#include "region_bands.h"
#include "rows.h"

namespace orb::tool {

class RegionRows : public RowSource {
 public:
  // The region outlives this, and so does the reader, which may be another handle afterwards.
  RegionRows(Image& reader, const Region& region, std::string name);
  [[nodiscard]] const ORB_IFD& form() const override { return region_.form(); }
  [[nodiscard]] void** read(int64_t above_bottom) override;

 private:
  const Region& region_;
  RegionBands bands_;
  RowBuffers rows_;
};

}  // namespace orb::tool
