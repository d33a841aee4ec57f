#include "orbbase/formats/rla/input_window.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "orbbase/core/drivers/row_layout.h"
#include "orbbase/platform/platform.h"
#include "orbbase/support/err/internal.h"

namespace orb::rla {
namespace {

// A small file, or header, table and first rows of a larger one; also all that a jump fetches, since nobody knows
// whether the next rows will be wanted.
constexpr uint64_t kJumpBytes = 16384;
constexpr uint64_t kPageBytes = 4096;

}  // namespace

bool InputWindow::start(std::FILE* stream) {
  *this = {};
  stream_ = stream;
  is_position_known_ = true;
  capacity_bytes_ = kJumpBytes;
  block_ = static_cast<uint8_t*>(allocate(capacity_bytes_ + kCodedSlack + kSampleAlignment));
  if (!block_) return false;
  base_ = aligned_samples(block_);
  held_ = base_;
  return true;
}

// Takes the full memory, with what is held in it. False with error_ when there is none.
bool InputWindow::grow() {
  if (capacity_bytes_ == kBytes) return true;
  uint8_t* const block = static_cast<uint8_t*>(allocate(kBytes + kCodedSlack + kSampleAlignment));
  if (!block) {
    error_ = kNoMemory;
    return false;
  }
  base_ = aligned_samples(block);
  std::memcpy(base_, held_, held_bytes_);
  held_ = base_;
  ERR_free(block_);
  block_ = block;
  capacity_bytes_ = kBytes;
  return true;
}

void InputWindow::finish() {
  ERR_free(block_);
  block_ = nullptr;
}

uint64_t InputWindow::file_bytes() {
  if (file_bytes_ > 0) return file_bytes_;
  const bool is_at_end = platform::seek_stream(stream_, 0, SEEK_END) == 0;
  const int64_t end = is_at_end ? platform::tell_stream(stream_) : -1;
  if (is_at_end) {
    is_position_known_ = end >= 0;
    stream_position_ = static_cast<uint64_t>(end);
  }
  return file_bytes_ = end > 0 ? static_cast<uint64_t>(end) : UINT64_MAX;
}

const uint8_t* InputWindow::fetch(uint64_t position, uint64_t count) {
  error_ = 0;
  const bool goes_on = position >= first_ && position - first_ <= held_bytes_ && held_bytes_ > 0;
  bool is_there = false;
  if (!goes_on) {
    is_there = jump(position, count);
  } else if (grow()) {
    keep_tail(position);
    is_there = seek(first_ + held_bytes_) && fill(count, kBytes);
  }
  if (is_there) return held_ + (position - first_);
  forget();
  return nullptr;
}

// Makes room behind the bytes from position on, so that what is read next goes to an aligned address.
void InputWindow::keep_tail(uint64_t position) {
  const uint64_t tail_bytes = held_bytes_ - (position - first_);
  const uint64_t skipped = (kSampleAlignment - tail_bytes % kSampleAlignment) % kSampleAlignment;
  if (tail_bytes > 0) std::memmove(base_ + skipped, held_ + (position - first_), tail_bytes);
  held_ = base_ + skipped;
  held_bytes_ = tail_bytes;
  first_ = position;
}

// Whoever goes backwards by a little will go on so: he gets as many bytes before as behind.
bool InputWindow::jump(uint64_t position, uint64_t count) {
  const bool is_little_back = position < first_ && first_ - position <= kBytes;
  const uint64_t before = is_little_back ? std::min(position, kBytes / 2) : 0;
  if ((before > 0 || count > kJumpBytes) && !grow()) return false;
  held_ = base_;
  held_bytes_ = 0;
  first_ = position - before;
  return seek(first_) && fill(before + count, before > 0 ? kBytes : std::max(count, kJumpBytes));
}

// Reads until so many bytes are held as are needed, and at best as many as are wanted.
bool InputWindow::fill(uint64_t needed_bytes, uint64_t wanted_bytes) {
  uint8_t* const end = base_ + capacity_bytes_;
  while (held_bytes_ < needed_bytes) {
    uint8_t* const to = base_ + (held_ - base_) + held_bytes_;
    uint64_t bytes = std::min(wanted_bytes - held_bytes_, static_cast<uint64_t>(end - to));
    // Later reads begin where the system's pages do.
    const uint64_t past_page = (stream_position_ + bytes) % kPageBytes;
    if (past_page < bytes && held_bytes_ + bytes - past_page >= needed_bytes) bytes -= past_page;
    errno = 0;
    const int64_t got = platform::read_some(stream_, to, bytes);
    if (got <= 0) {
      error_ = got == 0 ? 0 : errno != 0 ? errno : EIO;
      return false;
    }
    held_bytes_ += static_cast<uint64_t>(got);
    stream_position_ += static_cast<uint64_t>(got);
  }
  return true;
}

bool InputWindow::read_past(uint64_t position, uint8_t* out, uint64_t bytes) {
  bool is_there = seek(position);
  while (is_there && bytes > 0) {
    const int64_t got = platform::read_some(stream_, out, bytes);
    is_there = got > 0;
    if (!is_there) break;
    stream_position_ += static_cast<uint64_t>(got);
    out += got;
    bytes -= static_cast<uint64_t>(got);
  }
  if (!is_there) forget();
  return is_there;
}

bool InputWindow::seek(uint64_t position) {
  if (is_position_known_ && stream_position_ == position) return true;
  errno = 0;
  if (platform::seek_stream(stream_, static_cast<int64_t>(position), SEEK_SET) != 0) {
    error_ = errno != 0 ? errno : EIO;
    return false;
  }
  stream_position_ = position;
  is_position_known_ = true;
  return true;
}

// After a failure nothing is known of the stream: the next take seeks.
void InputWindow::forget() {
  is_position_known_ = false;
  held_bytes_ = 0;
}

}  // namespace orb::rla
