#include "orbbase/formats/rla/paths.h"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "orbbase/core/internal.h"
#include "orbbase/driver.h"
#include "orbbase/formats/rla/description.h"

namespace orb::rla {
namespace {

struct State {
  std::atomic<bool> standard_input_is_closed{
      false};  // by an open of "/dev/stdin"; it must not be touched again
} state;

constexpr const char* kImageFolder = "QV_IMG_DIR";

std::FILE* open_stream(const char* path, const char* mode) {
  errno = 0;
  std::FILE* const stream = std::fopen(path, mode);
  if (stream) std::setvbuf(stream, nullptr, _IONBF, 0);
  return stream;
}

bool adopt_path(ORB_INFO& info, const char* path) {
  return std::strcmp(path, info.handle) == 0 || replace_text(&info.handle, path) || out_of_memory();
}

// The header of standard input is never read, on purpose: such an open ends here, and ends the stream too.
std::FILE* refuse_standard_input(const char* name) {
  if (!state.standard_input_is_closed.exchange(true)) std::fclose(stdin);
  not_rla(name);
  return nullptr;
}

}  // namespace

bool cannot_open(const char* path, int error) {
  orb__report(ORB_MSG_CANNOT_OPEN, path, std::strerror(error != 0 ? error : EIO));
  set_error(ORB_E_OPEN);
  return false;
}

std::FILE* open_to_read(ORB_INFO& info) {
  if (std::strcmp(info.handle, "/dev/stdin") == 0) return refuse_standard_input(info.handle);
  const char* path = info.open_option ? info.handle : orb__build_handle(nullptr, info.handle, info.extension);
  if (!path) return nullptr;
  std::FILE* stream = open_stream(path, "rb");
  const char* const folder = info.open_option ? nullptr : std::getenv(kImageFolder);
  if (!stream && folder) {
    path = orb__build_handle(folder, info.handle, info.extension);
    if (!path) return nullptr;
    stream = open_stream(path, "rb");
  }
  if (!stream) {
    cannot_open(path, errno);
    return nullptr;
  }
  if (adopt_path(info, path)) return stream;
  std::fclose(stream);
  return nullptr;
}

bool settle_output_path(ORB_INFO& info) {
  if (info.open_option || std::strcmp(info.handle, "/dev/stdout") == 0) return true;
  const char* const path = orb__build_handle(std::getenv(kImageFolder), info.handle, info.extension);
  return path && adopt_path(info, path);
}

bool open_to_write(const char* path, OutputStream& stream_out) {
  if (std::strcmp(path, "/dev/stdout") == 0) {
    stream_out = {stdout, true, false};
    return true;
  }
  platform::FileStatus status;
  const bool was_there = platform::file_status(path, &status) == 0;
  stream_out = {open_stream(path, "wb"), false, false};
  if (!stream_out.file) return cannot_open(path, errno);
  stream_out.is_created = !was_there && platform::file_status(path, &status) == 0 && status.is_regular;
  return true;
}

}  // namespace orb::rla
