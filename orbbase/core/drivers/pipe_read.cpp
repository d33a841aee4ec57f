// Reading with the "pipe" driver: the stream's header becomes the handle's description, its lines come in
// their order.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "orbbase/core/drivers/description.h"
#include "orbbase/core/drivers/drivers.h"
#include "orbbase/core/drivers/pipe_layout.h"
#include "orbbase/core/drivers/pipe_stream.h"
#include "orbbase/core/drivers/row_layout.h"
#include "orbbase/driver.h"

namespace orb {
namespace {

constexpr const char* kFormatName = "pipe";
constexpr const char* kOpenCall = "ORB_open";

struct ReadState {
  StreamReader in;
  RowLayout layout;
  int64_t next_line;
  const char* broken;  // why no further line can be read, or null
  void** rows;         // those handed out; null before the first read
  ORB_LUT* lut;        // or null
};

// All but the state itself, which goes with the handle's driver block.
void release_contents(ReadState& state) {
  close_stream(state.in.stream);
  ERR_free(state.in.buffer);
  ERR_free(state.rows);
  ORB_lut_free(state.lut);
}

struct StateReleased {
  void operator()(ReadState* state) const {
    release_contents(*state);
    ERR_free(state);
  }
};
using StateOwner = std::unique_ptr<ReadState, StateReleased>;

// ---- Scanlines ----

int32_t bad_scanline(int32_t line) {
  orb__report(ORB_MSG_BAD_SCANLINE, line);
  return fail(ORB_E_SCANLINE);
}

// The active samples of the next line, and behind those of the last line the end mark: who has read the last
// line has read a whole image.
const char* take_line(ReadState& state) {
  const char* wrong = nullptr;
  for_each_active_span(state.layout, state.rows, [&](uint8_t* span, size_t bytes) {
    wrong = state.in.take(span, bytes);
    return !wrong;
  });
  if (wrong) return wrong;
  const int64_t last_line = state.layout.bottom_up ? state.layout.active.top : state.layout.active.bottom;
  if (state.next_line != last_line) return nullptr;
  uint8_t mark[sizeof kPipeEndMark];
  wrong = state.in.take(mark, sizeof mark);
  if (wrong) return wrong;
  return std::memcmp(mark, kPipeEndMark, sizeof mark) == 0 ? nullptr : "its end mark is damaged";
}

int32_t pipe_scan_read(void* data, int32_t line, void* rows_out) {
  ReadState& state = *static_cast<ReadState*>(data);
  if (!state.layout.has_line(line)) return bad_scanline(line);
  if (!state.rows) {
    uint64_t row_bytes = 0;  // the only rows of this handle
    state.rows = allocate_rows(state.layout, row_bytes, "ORB_scan_read");
    if (!state.rows) return ORB_E_MEMORY;
  }
  if (!state.layout.has_active_line(line)) {
    zero_rows(state.layout, state.rows);  // not in the stream, and so at any time
  } else {
    if (line != state.next_line) return bad_scanline(line);
    zero_pads(state.layout, state.rows);
    if (!state.broken) state.broken = take_line(state);
    if (state.broken) {
      orb__report(ORB_MSG_CANNOT_READ_LINE, line, state.broken);
      return fail(ORB_E_READ);
    }
    state.next_line += state.layout.bottom_up ? 1 : -1;
  }
  *static_cast<void***>(rows_out) = state.rows;
  return ORB_OK;
}

int32_t pipe_lut_read(void* data, ORB_LUT** lut_out) {
  *lut_out = ORB_lut_copy(static_cast<ReadState*>(data)->lut);
  return *lut_out ? ORB_OK : ORB_E_MEMORY;
}

int32_t pipe_close_read(ORB_IMAGE* image) {
  release_contents(*static_cast<ReadState*>(image->driver->data));
  orb__free_obj(image);
  return ORB_OK;
}

// ---- Opening ----

bool not_of_format(const char* path, const char* reason) {
  orb__report(ORB_MSG_NOT_OF_FORMAT, path, kFormatName, reason);
  set_error(ORB_E_FORMAT);
  return false;
}

bool out_of_memory_unreported() {
  set_error(ORB_E_MEMORY);
  return false;
}

// What take() says of a header that is not there in full.
bool cannot_read_header(const char* path, const char* wrong) {
  if (wrong == kCutShort) return not_of_format(path, "its header is cut short");
  orb__report(ORB_MSG_READ_PROBLEM, path, wrong);
  set_error(ORB_E_READ);
  return false;
}

bool take_prologue(StreamReader& in, const char* path, uint32_t& header_bytes_out) {
  uint8_t bytes[kPipePrologueBytes] = {};
  size_t taken = 0;
  in.allow(sizeof bytes);
  const char* const wrong = in.take(bytes, sizeof bytes, &taken);
  if (wrong && wrong != kCutShort) return cannot_read_header(path, wrong);
  if (taken == 0) return not_of_format(path, "it is empty");
  if (std::memcmp(bytes, kPipeMagic, taken < sizeof kPipeMagic ? taken : sizeof kPipeMagic) != 0) {
    return not_of_format(path, "it does not begin with the magic word");
  }
  if (wrong) return cannot_read_header(path, wrong);
  const PipePrologue prologue = read_prologue(bytes);
  if (prologue.version != kPipeVersion) return not_of_format(path, "its version is not known here");
  header_bytes_out = prologue.header_bytes;
  return true;
}

// The header's bytes. The block grows with what has really arrived, whatever the stream claims.
owned<uint8_t> take_header(StreamReader& in, const char* path, uint32_t header_bytes) {
  constexpr uint64_t kFirstBytes = 65536;
  if (!orb__within_limit(ORB_LIMIT_BUFFER, header_bytes, kOpenCall)) return nullptr;
  // The header, the texts and tables made from it, and a copy of the tables on the way.
  if (!orb__within_limit(ORB_LIMIT_HANDLE, uint64_t{header_bytes} * 3, kOpenCall)) return nullptr;
  in.allow(header_bytes);
  owned<uint8_t> block;
  uint64_t arrived = 0;
  do {
    const uint64_t wanted = std::min<uint64_t>(header_bytes, arrived == 0 ? kFirstBytes : arrived * 2);
    owned<uint8_t> larger(static_cast<uint8_t*>(allocate(wanted)));
    if (!larger) {
      out_of_memory_unreported();
      return nullptr;
    }
    if (arrived > 0) std::memcpy(larger.get(), block.get(), static_cast<size_t>(arrived));
    block = std::move(larger);
    const char* const wrong = in.take(block.get() + arrived, static_cast<size_t>(wanted - arrived));
    if (wrong) {
      cannot_read_header(path, wrong);
      return nullptr;
    }
    arrived = wanted;
  } while (arrived < header_bytes);
  return block;
}

bool counts_are_sound(const ORB_IFD& ifd) {
  return ifd.color.count >= 0 && ifd.matte.count >= 0 && ifd.aux.count >= 0 && ifd.index.count >= 0;
}

// The header as the handle's description.
bool read_description(ReadState& state, ORB_IMAGE& image, const char* path, std::span<const uint8_t> header) {
  ORB_INFO& info = image.info;
  info.images = make_zeroed<ORB_IFD>(1).release();
  if (!info.images) return out_of_memory_unreported();
  info.image_count = 1;
  orb__init_ifd(&image);
  const char* const wrong = decode_header(header, info, &state.lut);
  if (wrong == kNoRoom) return out_of_memory_unreported();
  if (wrong) return not_of_format(path, wrong);
  if (!counts_are_sound(info.images[0])) return not_of_format(path, "its channel counts are damaged");
  if (!windows_are_sound(info.images[0])) return not_of_format(path, "its windows are damaged");
  return lay_out_rows(info.images[0], info.key ? info.key : kFormatName, kOpenCall, state.layout) == ORB_OK;
}

// Lets the reader take the lines and the end mark.
bool allow_lines(ReadState& state, const char* path) {
  const uint64_t lines = static_cast<uint64_t>(state.layout.active_lines());
  if (state.layout.packed_bytes > (UINT64_MAX - sizeof kPipeEndMark) / lines) {
    return not_of_format(path, "its windows are damaged");
  }
  state.in.allow(state.layout.packed_bytes * lines + sizeof kPipeEndMark);
  state.next_line = state.layout.first_active_line();
  return true;
}

bool read_header(ReadState& state, ORB_IMAGE& image, const char* path) {
  uint32_t header_bytes = 0;
  if (!take_prologue(state.in, path, header_bytes)) return false;
  const owned<uint8_t> header = take_header(state.in, path, header_bytes);
  return header && read_description(state, image, path, {header.get(), header_bytes}) &&
         allow_lines(state, path);
}

bool attach(ORB_IMAGE& image, StateOwner state) {
  owned<ORB_DRIVER_BLOCK> block = make_zeroed<ORB_DRIVER_BLOCK>(1);
  if (!block) return out_of_memory_unreported();
  if (state->lut) image.lut_read = pipe_lut_read;
  image.scan = pipe_scan_read;
  image.close = pipe_close_read;
  block->data = state.release();
  image.driver = block.release();
  return true;
}

bool cannot_open(const char* path, int error) {
  orb__report(ORB_MSG_CANNOT_OPEN, path, std::strerror(error));
  set_error(ORB_E_OPEN);
  return false;
}

bool open_for_read(ORB_IMAGE& image) {
  if (!image.info.handle) return cannot_open("", ENOENT);
  owned<char> path = pipe_path(image.info, Direction::read);
  StateOwner state(make_zeroed<ReadState>(1).release());
  if (!path || !state || !(state->in.buffer = allocate_stream_buffer())) return out_of_memory_unreported();
  const int error = open_stream(path.get(), Direction::read, state->in.stream);
  if (error != 0) return cannot_open(path.get(), error);
  if (!read_header(*state, image, path.get()) || !attach(image, std::move(state))) return false;
  adopt_path(image.info, std::move(path));
  return true;
}

}  // namespace

int32_t pipe_read_open(ORB_IMAGE* image) { return open_for_read(*image) ? 1 : 0; }

uint8_t pipe_is_file(const char* name, std::FILE* stream) {
  PipeStream own = {};
  if (!stream) {
    // Only what can be read again is looked into: from a FIFO the bytes would be gone, and none may come.
    platform::FileStatus status;
    if (!name || platform::file_status(name, &status) != 0 || !status.is_regular) return 0;
    if (open_stream(name, Direction::read, own) != 0) return 0;
    stream = own.file;
  } else {
    std::rewind(stream);
  }
  uint8_t bytes[sizeof kPipeMagic];
  const bool is_pipe = std::fread(bytes, 1, sizeof bytes, stream) == sizeof bytes &&
                       std::memcmp(bytes, kPipeMagic, sizeof bytes) == 0;
  close_stream(own);
  return is_pipe ? 1 : 0;
}

}  // namespace orb
