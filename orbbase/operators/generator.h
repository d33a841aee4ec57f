// The generators of the image-process table: layers of a handle that make reduced pictures of its first image.
#pragma once

#include <cstddef>
#include <span>

#include "orbbase/core/layer.h"
#include "orbbase/imp.h"

namespace orb::imp {

// What a generator is on a stack; beyond the numbers of the operators.
enum Kind : int32_t {
  kSwatch = 257,
  kMipmap = 258,
};

// Each returns the handle, or null with orb__err as IMP_open says.
ORB_IMAGE* open_swatch_to_read(ORB_IMAGE* context, const IMP_PROCESS& process);
ORB_IMAGE* open_swatch_to_write(ORB_IMAGE* context, const IMP_PROCESS& process);
ORB_IMAGE* open_mipmap_to_read(ORB_IMAGE* context, const IMP_PROCESS& process);
ORB_IMAGE* open_mipmap_to_write(ORB_IMAGE* context, const IMP_PROCESS& process);

// What IMP_plan does for a sound descriptor. 0, reported, when the process cannot be.
int32_t plan_swatch(const IMP_PROCESS& process, const ORB_IFD& full, std::span<ORB_IFD> images_out);
int32_t plan_mipmap(const IMP_PROCESS& process, const ORB_IFD& full, std::span<ORB_IFD> images_out);

// Reports ORB_MSG_CANNOT_HANDLE with the generator's name and sets orb__err to -16. The null is for callers to
// return.
std::nullptr_t refuse(const char* name);

// Whether a process asks for what there is: no filter, no negative numbers. Otherwise reported as by refuse.
[[nodiscard]] bool is_sound(const IMP_PROCESS& process, const char* name);

// Reports a line that is not one of the image, or not the next one. Returns -2.
int32_t bad_scanline(int32_t line);

// What a handle says of its images: put away for the time that a generator stands on it.
struct Description {
  ORB_IFD* images;
  int32_t image_count;
  int32_t current_line;
};

// Puts others in their place, to be read or written from the first row on.
void show(ORB_IMAGE& image, ORB_IFD* images, int32_t image_count, Description& before);
void put_back(ORB_IMAGE& image, const Description& before);

}  // namespace orb::imp
