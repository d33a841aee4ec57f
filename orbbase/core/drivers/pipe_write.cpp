// Writing with the "pipe" driver: the header at once, then the lines in their order, and the end mark behind
// the last. Only a stream that has it is whole.
#include <cstdio>
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

constexpr const char* kOpenCall = "ORB_open";

struct WriteState {
  StreamWriter out;
  RowLayout layout;
  int64_t next_line;
  int64_t lines_left;
  int32_t failure;  // the code of what was reported already; nothing is written any more
};

struct StateReleased {
  void operator()(WriteState* state) const {
    close_stream(state->out.stream);
    ERR_free(state->out.buffer);
    ERR_free(state);
  }
};
using StateOwner = std::unique_ptr<WriteState, StateReleased>;

// ---- Scanlines ----

int32_t bad_scanline(int32_t line) {
  orb__report(ORB_MSG_BAD_SCANLINE, line);
  return fail(ORB_E_SCANLINE);
}

int put_line(WriteState& state, void* const* rows) {
  int error = 0;
  for_each_active_span(state.layout, rows, [&](const uint8_t* span, size_t bytes) {
    error = state.out.put(span, bytes);
    return error == 0;
  });
  if (error == 0 && state.lines_left == 1) error = state.out.put(kPipeEndMark, sizeof kPipeEndMark);
  return error;
}

int32_t pipe_scan_write(void* data, int32_t line, void* rows) {
  WriteState& state = *static_cast<WriteState*>(data);
  if (state.failure != ORB_OK) return fail(state.failure);
  if (!state.layout.has_line(line)) return bad_scanline(line);
  if (!state.layout.has_active_line(line)) return ORB_OK;  // not in the stream, and so at any time
  if (line != state.next_line) return bad_scanline(line);
  const int error = put_line(state, static_cast<void* const*>(rows));
  if (error != 0) {
    orb__report(ORB_MSG_CANNOT_WRITE_LINE, line, std::strerror(error));
    return state.failure = fail(ORB_E_WRITE);
  }
  state.next_line += state.layout.bottom_up ? 1 : -1;
  --state.lines_left;
  return ORB_OK;
}

// ---- Closing ----

int32_t cannot_write(const char* path, const char* reason) {
  orb__report(ORB_MSG_CANNOT_WRITE, path, reason);
  return fail(ORB_E_WRITE);
}

int32_t not_all_lines(const WriteState& state, const char* path) {
  char reason[96];
  std::snprintf(reason, sizeof reason, "closed with %lld of %lld scanlines not written",
                static_cast<long long>(state.lines_left),
                static_cast<long long>(state.layout.active_lines()));
  return cannot_write(path, reason);
}

int32_t finish(WriteState& state, const char* path) {
  int32_t code = state.failure;
  // After a failure nothing is sent any more: what is left would stand in a wrong place.
  int error = code == ORB_OK ? state.out.flush() : 0;
  const int close_error = close_stream(state.out.stream);
  if (error == 0) error = close_error;
  if (code == ORB_OK && error != 0) code = cannot_write(path, std::strerror(error));
  if (code == ORB_OK && state.lines_left > 0) code = not_all_lines(state, path);
  return code;
}

int32_t pipe_close_write(ORB_IMAGE* image) {
  WriteState& state = *static_cast<WriteState*>(image->driver->data);
  const int32_t code = finish(state, image->info.handle);
  ERR_free(state.out.buffer);
  orb__free_obj(image);
  if (code != ORB_OK) set_error(code);
  return code;
}

// ---- Opening ----

bool failed(int32_t code) {
  set_error(code);
  return false;
}

bool cannot_handle(const ORB_INFO& info) {
  orb__report(ORB_MSG_CANNOT_HANDLE, info.key ? info.key : "pipe");
  return failed(ORB_E_HANDLE);
}

// The description as the stream will hold it. Whatever it cannot hold is refused.
bool prepare_description(ORB_INFO& info, RowLayout& layout_out) {
  if (!has_required_fields(info)) return false;
  if (info.image_count != 1) return cannot_handle(info);
  ORB_IFD& image = info.images[0];
  if (image.curve.kind == ORB_CURVE_GAMMA) {
    settle_gamma_curve(image.curve);
  } else if (!image.curve.tables || !table_curve_is_sound(image.curve)) {
    return cannot_handle(info);
  }
  info.frame_count = 0;
  return lay_out_rows(image, info.key, kOpenCall, layout_out) == ORB_OK;
}

owned<uint8_t> make_header(const ORB_INFO& info, uint32_t* bytes_out) {
  const ORB_LUT* const lut = lut_to_write(info);
  if (!orb__within_limit(ORB_LIMIT_BUFFER, encoded_header_bytes(info, lut), kOpenCall)) return nullptr;
  owned<uint8_t> header(encode_header(info, lut, bytes_out));
  if (!header) set_error(ORB_E_MEMORY);
  return header;
}

// Sends the header at once, so that a reader can begin and a full disk shows early.
int send_header(StreamWriter& out, const uint8_t* header, uint32_t bytes) {
  const int error = out.put(header, bytes);
  return error != 0 ? error : out.flush();
}

bool open_and_begin(WriteState& state, const char* path, const uint8_t* header, uint32_t header_bytes) {
  int error = open_stream(path, Direction::write, state.out.stream);
  if (error != 0) {
    orb__report(ORB_MSG_CANNOT_OPEN, path, std::strerror(error));
    return failed(ORB_E_OPEN);
  }
  error = send_header(state.out, header, header_bytes);
  if (error == 0) return true;
  const bool leaves_file = state.out.stream.is_new;
  close_stream(state.out.stream);
  if (leaves_file) std::remove(path);
  cannot_write(path, std::strerror(error));
  return false;
}

bool open_for_write(ORB_IMAGE& image) {
  StateOwner state(make_zeroed<WriteState>(1).release());
  if (!state) return failed(ORB_E_MEMORY);
  if (!prepare_description(image.info, state->layout)) return false;
  uint32_t header_bytes = 0;
  const owned<uint8_t> header = make_header(image.info, &header_bytes);
  if (!header) return false;
  owned<char> path = pipe_path(image.info, Direction::write);
  owned<ORB_DRIVER_BLOCK> block = make_zeroed<ORB_DRIVER_BLOCK>(1);
  if (!path || !block || !(state->out.buffer = allocate_stream_buffer())) return failed(ORB_E_MEMORY);
  // From here on only the system can fail.
  if (!open_and_begin(*state, path.get(), header.get(), header_bytes)) return false;
  state->next_line = state->layout.first_active_line();
  state->lines_left = state->layout.active_lines();
  image.info.write_option = 0;  // what it pointed to is in the stream
  image.scan = pipe_scan_write;
  image.close = pipe_close_write;
  block->data = state.release();
  image.driver = block.release();
  adopt_path(image.info, std::move(path));
  return true;
}

}  // namespace

int32_t pipe_write_open(ORB_IMAGE* image) { return open_for_write(*image) ? 1 : 0; }

}  // namespace orb
