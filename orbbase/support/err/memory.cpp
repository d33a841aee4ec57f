// The checked allocator: running out of memory is reported, and nothing else is done about it here.
#include <algorithm>
#include <cstdlib>

#include "orbbase/support/err/internal.h"

namespace orb {
namespace {

// What the exported calls can ask for is what the library asks for anywhere, on every system.
constexpr uint64_t kLargestBlock = UINT32_MAX;
static_assert(SIZE_MAX >= kLargestBlock);

void* checked(void* block) {
  if (!block) report(kNoMemory);
  return block;
}

}  // namespace

void* allocate(uint64_t size_bytes) {
  if (size_bytes > kLargestBlock) return checked(nullptr);
  return checked(std::malloc(std::max<size_t>(size_bytes, 1)));
}

void* allocate_zeroed(uint64_t count, uint64_t record_bytes) {
  if (record_bytes != 0 && count > kLargestBlock / record_bytes) return checked(nullptr);
  return checked(std::calloc(std::max<size_t>(count * record_bytes, 1), 1));
}

}  // namespace orb

void* ERR_malloc(uint32_t size_bytes) { return orb::checked(std::malloc(size_bytes)); }

void* ERR_zalloc(uint32_t size_bytes) { return orb::checked(std::calloc(size_bytes, 1)); }

void* ERR_realloc(void* block, uint32_t size_bytes) { return orb::checked(std::realloc(block, size_bytes)); }

int32_t ERR_free(void* block) {
  std::free(block);
  return 1;
}
