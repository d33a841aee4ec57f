// Positioning a reader: by its driver, or by reading on and opening the file again.
#include <cstdio>
#include <limits>
#include <utility>

#include "orbbase/core/internal.h"
#include "orbbase/driver.h"

namespace orb {
namespace {

constexpr int32_t kFirstLine = -1;

// The order of an image's rows in its file.
struct RowOrder {
  int32_t first;  // the line that comes first
  int32_t last;
  int32_t first_active;
  int32_t last_active;
  int32_t step;  // 1 upward, -1 downward

  [[nodiscard]] bool is_before(int64_t a, int64_t b) const { return (b - a) * step > 0; }

  // The row to read next on the way from `row` to `goal`. Rows outside the active window are zeros and part of
  // no sequence, so those on the way are passed over.
  [[nodiscard]] int64_t next_on_the_way(int64_t row, int64_t goal) const {
    if (is_before(row, first_active)) return is_before(goal, first_active) ? goal : first_active;
    return is_before(last_active, row) ? goal : row;
  }
};

RowOrder row_order(const ORB_IFD& ifd) {
  const ORB_WINDOW& window = ifd.window;
  const ORB_WINDOW& active = ifd.active_window;
  if (ifd.orientation & ORB_BOTTOM_UP) return {window.bottom, window.top, active.bottom, active.top, 1};
  return {window.top, window.bottom, active.top, active.bottom, -1};
}

// Where the reader stands. Right after the open of a file read downward that is window.top + 1, which wraps
// round in current_line when the top is the largest line there is.
int64_t position_of(const ORB_IMAGE* image, const RowOrder& rows) {
  constexpr int32_t kLowest = std::numeric_limits<int32_t>::min();
  constexpr int32_t kHighest = std::numeric_limits<int32_t>::max();
  const bool is_wrapped = rows.step < 0 && rows.first == kHighest && image->current_line == kLowest;
  return is_wrapped ? int64_t{kHighest} + 1 : image->current_line;
}

bool accepts_any_line(const ORB_FORMAT* format) {
  constexpr int32_t kNeeded = ORB_ACCESS_READ | ORB_ACCESS_ANY_LINE;
  return format && (format->access & kNeeded) == kNeeded;
}

// Asks the driver. False when it has no such function.
bool seek_by_driver(ORB_IMAGE* image, int32_t line) {
  if (!image->seek) return false;
  platform::Lock lock(lock_of(image));
  image->seek(driver_data(image), line);  // its result is ignored, on purpose
  return true;
}

// What it takes to open the handle's file again.
struct Reopening {
  ORB_INFO info;
  char* key = nullptr;
  char* file_name = nullptr;

  Reopening() { ORB_info_init(&info); }
  ~Reopening() {
    ERR_free(key);
    ERR_free(file_name);
    ORB_info_cleanup(&info, 0);
  }
  Reopening(const Reopening&) = delete;
  Reopening& operator=(const Reopening&) = delete;

  [[nodiscard]] bool copy_names(const ORB_IMAGE* image) {
    if (!replace_text(&key, image->format ? image->format->key : image->info.key)) return false;
    return replace_text(&file_name, image->info.handle);
  }
};

// Closes the handle and opens its file anew. Null when that fails, with the handle closed; when memory for
// the names ran out, the handle is as it was and *image_ref still it.
ORB_IMAGE* reopen(ORB_IMAGE** image_ref) {
  ORB_IMAGE* image = *image_ref;
  Reopening again;
  if (!again.copy_names(image)) {
    out_of_memory();
    return nullptr;
  }
  again.info.key = again.key;
  again.info.handle = again.file_name;
  again.info.open_option = 1;
  again.info.read_option = 0;
  // Taken out of the handle, so that closing it does not take the list with it.
  again.info.settings = std::exchange(image->info.settings, nullptr);
  ORB_close(image);
  *image_ref = ORB_open(&again.info, "r");
  if (!*image_ref) free_settings(again.info.settings);
  return *image_ref;
}

// Reads and drops the rows before line, so that the next read finds line in sequence and current_line is the one
// before it. Never leaves the window, wherever current_line stands after the open.
void skip_rows_before(ORB_IMAGE* image, const RowOrder& rows, int32_t line) {
  const int64_t goal = rows.is_before(rows.last, line) ? rows.last : int64_t{line} - rows.step;
  int64_t next = position_of(image, rows) + rows.step;
  if (rows.is_before(next, rows.first)) next = rows.first;
  while (!rows.is_before(goal, next)) {
    next = rows.next_on_the_way(next, goal);
    void** ignored = nullptr;
    if (ORB_scan_read(image, static_cast<int32_t>(next), &ignored) != 0) return;
    next += rows.step;
  }
}

void seek_by_reading(ORB_IMAGE** image_ref, int32_t line) {
  ORB_IMAGE* image = *image_ref;
  if (image->mode != ORB_MODE_READ || !image->info.images || image->info.image_count < 1) {
    set_error(ORB_E_HANDLE);
    return;
  }
  const RowOrder rows = row_order(image->info.images[0]);
  if (line == kFirstLine) line = rows.first;
  if (rows.is_before(line, position_of(image, rows))) {
    if (image->layers) {  // they would be lost without a word
      orb__report(ORB_MSG_CANNOT_HANDLE, image->info.key ? image->info.key : "");
      set_error(ORB_E_HANDLE);
      return;
    }
    image = reopen(image_ref);
    if (!image) return;
    if (rows.is_before(line, position_of(image, rows))) {
      std::fputs("ORB_seek: did not advance image pointer correctly\n", stderr);
    }
  }
  skip_rows_before(image, rows, line);
}

}  // namespace
}  // namespace orb

int32_t ORB_seek(ORB_IMAGE** image_ref, int32_t line) {
  using namespace orb;
  set_error(ORB_OK);
  if (!image_ref || !*image_ref) return fail(ORB_E_HANDLE);
  if (!seek_by_driver(*image_ref, line) && !accepts_any_line((*image_ref)->format)) {
    seek_by_reading(image_ref, line);
  }
  return last_error();
}
