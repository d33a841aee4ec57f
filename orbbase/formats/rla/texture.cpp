// Texture files: RLA files that are looked for in the texture folder, of three kinds.
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "orbbase/core/internal.h"
#include "orbbase/formats/rla.h"
#include "orbbase/formats/rla/paths.h"

namespace orb::rla {
namespace {

// A variable may name another one, and that a third; more than so many name each other in a ring.
constexpr int kMostVariables = 64;

const char* texture_folder() {
  const char* folder = std::getenv("QV_TEX_DIR");
  for (int i = 0; folder && i < kMostVariables; ++i) {
    const char* const value = std::getenv(folder);
    if (!value) break;
    folder = value;
  }
  return folder;
}

bool exists(const char* path) {
  platform::FileStatus status;
  return platform::file_status(path, &status) == 0;
}

owned<char> join(const char* folder, const char* name) {
  const size_t folder_bytes = std::strlen(folder);
  const size_t name_bytes = std::strlen(name) + 1;
  owned<char> path(static_cast<char*>(allocate(folder_bytes + 1 + name_bytes)));
  if (!path) return path;
  std::memcpy(path.get(), folder, folder_bytes);
  path.get()[folder_bytes] = '/';
  std::memcpy(path.get() + folder_bytes + 1, name, name_bytes);
  return path;
}

// Puts the file that is there in place of a name that does not begin with "/".
bool resolve(ORB_INFO& info) {
  if (!info.handle || info.handle[0] == '/') return true;
  if (const char* const folder = texture_folder()) {
    owned<char> path = join(folder, info.handle);
    if (!path) return out_of_memory();
    if (exists(path.get())) {
      ERR_free(info.handle);
      info.handle = path.release();
      return true;
    }
  }
  return exists(info.handle) || cannot_open(info.handle, ENOENT);
}

int32_t open_texture(ORB_IMAGE* image, ORB_OPEN_FN open, int32_t kind) {
  if (!resolve(image->info) || open(image) == 0) return 0;
  for (int32_t i = 0; i < image->info.image_count; ++i) image->info.images[i].image_kind = kind;
  return 1;
}

}  // namespace
}  // namespace orb::rla

int32_t ORB_rla_texture_4_r_open(ORB_IMAGE* image) {
  return orb::rla::open_texture(image, ORB_rla_r_open, 4);
}
int32_t ORB_rla_texture_4_w_open(ORB_IMAGE* image) {
  return orb::rla::open_texture(image, ORB_rla_w_open, 4);
}
int32_t ORB_rla_texture_8_r_open(ORB_IMAGE* image) {
  return orb::rla::open_texture(image, ORB_rla_r_open, 8);
}
int32_t ORB_rla_texture_8_w_open(ORB_IMAGE* image) {
  return orb::rla::open_texture(image, ORB_rla_w_open, 8);
}
int32_t ORB_rla_texture_16_r_open(ORB_IMAGE* image) {
  return orb::rla::open_texture(image, ORB_rla_r_open, 16);
}
int32_t ORB_rla_texture_16_w_open(ORB_IMAGE* image) {
  return orb::rla::open_texture(image, ORB_rla_w_open, 16);
}
