// The "mem" driver: opening images of the process for reading and writing, and their scanlines.
//
// A handle has one state a sub-image. They lie in one array, whose first element is the driver block's data;
// the block has a slot for each, so that whoever selects an image finds its state there.
#include <cerrno>
#include <cstring>

#include "orbbase/core/drivers/description.h"
#include "orbbase/core/drivers/drivers.h"
#include "orbbase/core/drivers/mem_store.h"
#include "orbbase/driver.h"
#include "orbbase/support/err/internal.h"

namespace orb {
namespace {

// What one sub-image of an open handle needs.
struct MemState {
  MemState* first;     // of the handle; what holds for all of them is kept there
  MemFile* file;       // read: shared with others. written: this handle's own until it is published
  MemImage* image;     // this sub-image of it
  void** rows;         // read: the rows that are handed out; null before the first read
  uint64_t row_bytes;  // first state only, read: of all images' rows
  int32_t failure;     // first state only, written: the code that keeps the image from being published
};

struct FileDiscarded {
  void operator()(MemFile* file) const { mem_discard(file); }
};
struct FileReleased {
  void operator()(MemFile* file) const { mem_release(file); }
};

// The block of a packed line, with room to begin at an aligned address.
uint64_t line_bytes(const RowLayout& layout) { return layout.packed_bytes + kSampleAlignment; }

// ---- States ----

// The block with its slots, and the states behind them. False when memory runs out, reported.
bool attach_states(ORB_IMAGE& image, MemFile* file) {
  const uint64_t count = static_cast<uint64_t>(file->description.image_count);
  owned<ORB_DRIVER_BLOCK> slots = make_zeroed<ORB_DRIVER_BLOCK>(count);
  owned<MemState> states = make_zeroed<MemState>(count);
  if (!slots || !states) return false;
  MemState* const first = states.release();
  for (uint64_t i = 0; i < count; ++i) {
    first[i].first = first;
    first[i].file = file;
    first[i].image = &file->images[i];
    slots.get()[i].data = &first[i];
  }
  image.driver = slots.release();
  return true;
}

int32_t bad_scanline(int32_t line) {
  orb__report(ORB_MSG_BAD_SCANLINE, line);
  return fail(ORB_E_SCANLINE);
}

// ---- Reading ----

void unpack_line(const RowLayout& layout, const uint8_t* packed, void* const* rows) {
  if (layout.is_packed) {
    std::memcpy(rows[0], packed, static_cast<size_t>(layout.packed_bytes));
    return;
  }
  zero_pads(layout, rows);  // on every read: operators change the rows in place
  for_each_active_span(layout, rows, [&packed](uint8_t* span, size_t bytes) {
    std::memcpy(span, packed, bytes);
    packed += bytes;
    return true;
  });
}

int32_t mem_scan_read(void* data, int32_t line, void* rows_out) {
  MemState& state = *static_cast<MemState*>(data);
  const RowLayout& layout = state.image->layout;
  if (!layout.has_line(line)) return bad_scanline(line);
  if (!state.rows) {
    state.rows = allocate_rows(layout, state.first->row_bytes, "ORB_scan_read");
    if (!state.rows) return ORB_E_MEMORY;
  }
  uint8_t* const packed =
      layout.has_active_line(line) ? state.image->lines[int64_t{line} - layout.active.bottom] : nullptr;
  if (packed) {
    unpack_line(layout, aligned_samples(packed), state.rows);
  } else {
    zero_rows(layout, state.rows);
  }
  *static_cast<void***>(rows_out) = state.rows;
  return ORB_OK;
}

int32_t mem_lut_read(void* data, ORB_LUT** lut_out) {
  *lut_out = ORB_lut_copy(static_cast<MemState*>(data)->file->lut);
  return *lut_out ? ORB_OK : ORB_E_MEMORY;
}

int32_t mem_close_read(ORB_IMAGE* image) {
  MemState* const states = static_cast<MemState*>(image->driver->data);
  MemFile* const file = states->file;
  for (int32_t i = 0; i < file->description.image_count; ++i) ERR_free(states[i].rows);
  mem_release(file);
  orb__free_obj(image);
  return ORB_OK;
}

// ---- Writing ----

void pack_line(const RowLayout& layout, void* const* rows, uint8_t* packed) {
  for_each_active_span(layout, rows, [&packed](const uint8_t* span, size_t bytes) {
    std::memcpy(packed, span, bytes);
    packed += bytes;
    return true;
  });
}

int32_t mem_scan_write(void* data, int32_t line, void* rows) {
  MemState& state = *static_cast<MemState*>(data);
  const RowLayout& layout = state.image->layout;
  if (!layout.has_line(line)) return bad_scanline(line);
  if (!layout.has_active_line(line)) return ORB_OK;
  uint8_t*& packed = state.image->lines[int64_t{line} - layout.active.bottom];
  if (!packed) packed = static_cast<uint8_t*>(allocate(line_bytes(layout)));
  if (!packed) return state.first->failure = fail(ORB_E_MEMORY);
  pack_line(layout, static_cast<void* const*>(rows), aligned_samples(packed));
  return ORB_OK;
}

int32_t mem_close_write(ORB_IMAGE* image) {
  const MemState& first = *static_cast<MemState*>(image->driver->data);
  const int32_t code = first.failure;
  if (code == ORB_OK) {
    mem_publish(first.file);
  } else {
    mem_discard(first.file);
  }
  orb__free_obj(image);
  if (code != ORB_OK) set_error(code);
  return code;
}

// The descriptors as the file will hold them, and with them the sizes of all images. 0 or the code.
int32_t lay_out_images(ORB_INFO& info, MemFile& file) {
  constexpr const char* kCall = "ORB_open";
  uint64_t handle_bytes = 0;
  for (int32_t i = 0; i < info.image_count; ++i) {
    if (info.images[i].curve.kind == ORB_CURVE_GAMMA) settle_gamma_curve(info.images[i].curve);
    RowLayout& layout = file.images[i].layout;
    const int32_t code = lay_out_rows(info.images[i], info.key, kCall, layout);
    if (code != ORB_OK) return code;
    const uint64_t lines = static_cast<uint64_t>(layout.active_lines());
    if (!orb__within_limit(ORB_LIMIT_BUFFER, lines * sizeof(uint8_t*), kCall)) return ORB_E_MEMORY;
    const uint64_t bytes_a_line = line_bytes(layout) + sizeof(uint8_t*);
    const bool overflows = bytes_a_line > (UINT64_MAX - handle_bytes) / lines;
    handle_bytes = overflows ? UINT64_MAX : handle_bytes + lines * bytes_a_line;
    if (!orb__within_limit(ORB_LIMIT_HANDLE, handle_bytes, kCall)) return ORB_E_MEMORY;
  }
  return ORB_OK;
}

bool allocate_line_tables(MemFile& file) {
  for (int32_t i = 0; i < file.description.image_count; ++i) {
    MemImage& image = file.images[i];
    image.lines = make_zeroed<uint8_t*>(static_cast<uint64_t>(image.layout.active_lines())).release();
    if (!image.lines) return false;
  }
  return true;
}

bool copy_lut_to_write(const ORB_INFO& info, MemFile& file) {
  const ORB_LUT* const lut = lut_to_write(info);
  return !lut || (file.lut = ORB_lut_copy(lut)) != nullptr;
}

// Fills an empty file from the handle's description. 0, or the code, reported.
int32_t make_file(ORB_INFO& info, MemFile& file) {
  file.images = make_zeroed<MemImage>(static_cast<uint64_t>(info.image_count)).release();
  if (!file.images) return ORB_E_MEMORY;
  const int32_t code = lay_out_images(info, file);
  if (code != ORB_OK) return code;
  const bool copied = copy_lut_to_write(info, file) &&
                      copy_description(info, file.description, UnknownNames::drop) &&
                      copy_text(info.handle, file.name, UnknownNames::keep) && allocate_line_tables(file);
  return copied ? ORB_OK : ORB_E_MEMORY;
}

}  // namespace

int32_t mem_read_open(ORB_IMAGE* image) {
  const char* const name = image->info.handle ? image->info.handle : "";
  std::unique_ptr<MemFile, FileReleased> file(mem_acquire(name));
  if (!file) {
    orb__report(ORB_MSG_CANNOT_OPEN, name, std::strerror(ENOENT));
    set_error(ORB_E_OPEN);
    return 0;
  }
  if (!copy_description(file->description, image->info, UnknownNames::keep) ||
      !attach_states(*image, file.get())) {
    set_error(ORB_E_MEMORY);
    return 0;
  }
  if (file->lut) image->lut_read = mem_lut_read;
  image->scan = mem_scan_read;
  image->close = mem_close_read;
  file.release();
  return 1;
}

int32_t mem_write_open(ORB_IMAGE* image) {
  ORB_INFO& info = image->info;
  if (!has_required_fields(info)) return 0;
  if (!orb__within_limit(ORB_LIMIT_IMAGES, static_cast<uint64_t>(info.image_count), "ORB_open")) return 0;
  std::unique_ptr<MemFile, FileDiscarded> file(make_zeroed<MemFile>(1).release());
  int32_t code = file ? make_file(info, *file) : ORB_E_MEMORY;
  if (code == ORB_OK && !attach_states(*image, file.get())) code = ORB_E_MEMORY;
  if (code != ORB_OK) {
    set_error(code);
    return 0;
  }
  info.frame_count = 0;
  info.write_option = 0;  // what it pointed to has been copied
  image->scan = mem_scan_write;
  image->close = mem_close_write;
  file.release();
  return 1;
}

uint8_t mem_is_file(const char* name, std::FILE* stream) {
  return name && !stream && mem_holds(name) ? 1 : 0;
}

}  // namespace orb
