// The arena.
#include "orbbase/support/containers/arena.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "orbbase/support/err/internal.h"

namespace orb {
namespace {

constexpr uint64_t kAlignment = 8;
constexpr uint64_t kLinkBytes = 8;
constexpr uint64_t kDefaultBlockBytes = 512;
// More than any memory holds, and little enough that rounding and link cannot wrap.
constexpr uint64_t kMostPieceBytes = UINT64_MAX / 2;

constexpr uint64_t round_up(uint64_t bytes) { return (bytes + (kAlignment - 1)) & ~(kAlignment - 1); }

}  // namespace

Arena::Arena(int32_t size_bytes)
    : block_bytes_(size_bytes < 8 ? kDefaultBlockBytes
                                  : round_up(static_cast<uint64_t>(size_bytes)) + kLinkBytes) {
  static_assert(sizeof(Block) <= kLinkBytes);
}

void* Arena::take(uint64_t size_bytes) {
  const uint64_t piece_bytes = round_up(std::min(size_bytes, kMostPieceBytes));
  if ((!block_ || piece_bytes > left_bytes_) && !add_block(piece_bytes)) return nullptr;
  char* piece = free_;
  free_ += piece_bytes;
  left_bytes_ -= piece_bytes;
  return piece;
}

bool Arena::add_block(uint64_t piece_bytes) {
  const uint64_t bytes = std::max(block_bytes_, piece_bytes + kLinkBytes);
  void* memory = allocate(bytes);
  if (!memory) return false;
  block_ = new (memory) Block{block_};
  free_ = static_cast<char*>(memory) + kLinkBytes;
  left_bytes_ = bytes - kLinkBytes;
  return true;
}

char* Arena::copy_text(const char* text) {
  if (!text) return nullptr;
  const size_t bytes = std::strlen(text) + 1;
  void* copy = take(bytes);
  return copy ? static_cast<char*>(std::memcpy(copy, text, bytes)) : nullptr;
}

void Arena::release() {
  while (block_) {
    Block* previous = block_->previous;
    ERR_free(block_);
    block_ = previous;
  }
  free_ = nullptr;
  left_bytes_ = 0;
}

}  // namespace orb
