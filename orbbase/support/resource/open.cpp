// Opening a resource file: where it lies, how it may be used, and its header.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

#include "orbbase/platform/platform.h"
#include "orbbase/support/resource/internal.h"
#include "orbbase/support/resource/messages.h"
#include "orbbase/support/resource/stream.h"

namespace orb::resource {
namespace {

// Offsets have 32 bits: what lies further back can only be reached by a claim that is wrong.
constexpr uint64_t kMostFileBytes = uint64_t{1} << 32;

struct Header {
  uint32_t version;
  uint32_t type_count;
  uint32_t directory_offset;
};

// One way of opening, tried at each place.
struct Attempt {
  const char* mode;
  Stream stream;
  owned<char> path;
  int first_error = 0;  // of the name itself
  bool lacks_memory = false;
};

// Anything but a regular file has no size to hold its claims against.
std::FILE* open_regular(const char* path, const char* mode) {
  platform::FileStatus status;
  errno = platform::file_status(path, &status);
  if (errno != 0) return nullptr;
  errno = status.is_directory ? EISDIR : ESPIPE;
  return status.is_regular ? std::fopen(path, mode) : nullptr;
}

bool try_path(const char* path, void* context) {
  auto& attempt = *static_cast<Attempt*>(context);
  attempt.stream.reset(open_regular(path, attempt.mode));
  if (!attempt.stream && attempt.first_error == 0) attempt.first_error = errno;
  attempt.lacks_memory = !attempt.stream && errno == ENOMEM;
  if (attempt.lacks_memory) report(kNoMemory);
  if (!attempt.stream)
    return attempt.lacks_memory;  // the next place would be another file, or not for update
  const uint64_t bytes = std::strlen(path) + 1;
  attempt.path.reset(static_cast<char*>(allocate(bytes)));
  if (attempt.path) std::memcpy(attempt.path.get(), path, bytes);
  return true;
}

bool find_size(File& file) {
  if (platform::seek_stream(file.stream.get(), 0, SEEK_END) != 0) return false;
  const int64_t bytes = platform::tell_stream(file.stream.get());
  file.file_bytes = std::min(static_cast<uint64_t>(bytes), kMostFileBytes);
  return bytes >= 0 && seek_to(file.stream.get(), kHeaderBytes);
}

// The record, with the arena that the header asks for.
FileOwner new_file(const Header& header, Attempt& attempt, const char* name) {
  void* memory = allocate(sizeof(File));
  if (!memory) return nullptr;
  FileOwner file(new (memory) File(header.type_count > 0));
  file->path = file->arena.copy_text(attempt.path.get());
  file->requested = file->arena.copy_text(name);
  if (!file->path || !file->requested) return nullptr;
  file->stream = std::move(attempt.stream);
  file->version = header.version;
  file->type_count = header.type_count;
  file->written_count = header.type_count;
  file->directory_offset = header.directory_offset;
  return file;
}

bool read_header(const Attempt& attempt, Header* header) {
  std::FILE* stream = attempt.stream.get();
  if (read_word(stream, &header->version) && read_word(stream, &header->type_count) &&
      read_word(stream, &header->directory_offset)) {
    return true;
  }
  if (std::ferror(stream))
    return fail_with(kCannotRead, ORB_E_READ, attempt.path.get(), std::strerror(errno));
  return fail_with(kNotWhole, ORB_E_FORMAT, attempt.path.get(), "it has no header");
}

FileOwner read_file(Attempt& attempt, bool is_update, const char* name) {
  Header header;
  if (!read_header(attempt, &header)) return nullptr;
  FileOwner file = new_file(header, attempt, name);
  if (!file) {
    fail_for_memory();
    return nullptr;
  }
  file->is_update = is_update;
  if (!find_size(*file)) {
    fail_with(kCannotRead, ORB_E_READ, file->path, std::strerror(errno));
    return nullptr;
  }
  return read_directory(*file) ? std::move(file) : nullptr;
}

}  // namespace

FileOwner open_file(const char* name) {
  Attempt attempt = {"r+b", {}, {}};
  Searched searched = search(name, try_path, &attempt);
  const bool is_update = searched == Searched::found;
  if (searched == Searched::not_found) {
    attempt = {"rb", {}, {}};
    searched = search(name, try_path, &attempt);
  }
  if (searched == Searched::not_found) {
    fail_with(kCannotOpen, ORB_E_OPEN, name, std::strerror(attempt.first_error));
    return nullptr;
  }
  if (searched == Searched::no_memory || !attempt.path) {
    fail_for_memory();
    return nullptr;
  }
  return read_file(attempt, is_update, name);
}

}  // namespace orb::resource
