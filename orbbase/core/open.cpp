// Opening an image: copying what the application describes into a handle and letting the driver take it from
// there.
#include <algorithm>
#include <array>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <utility>

#include "orbbase/core/ifd_copy.h"
#include "orbbase/core/internal.h"
#include "orbbase/driver.h"

namespace orb {
namespace {

constexpr const char* kUnknown = "unknown";
constexpr int32_t kJobFromEnvironment = 0;

// ---- The texts that a file's header carries ----

// Where a text comes from that the application left out. The result lies in buffer or is a constant.
using Fallback = const char* (*)(std::span<char> buffer, const ORB_INFO& wanted);

const char* unknown(std::span<char>, const ORB_INFO&) { return kUnknown; }

const char* this_host(std::span<char> buffer, const ORB_INFO&) {
  return platform::host_name(buffer.first(255)) ? buffer.data() : kUnknown;
}

const char* this_user(std::span<char> buffer, const ORB_INFO&) {
  return platform::user_name(buffer.first(256)) ? buffer.data() : kUnknown;
}

const char* this_moment(std::span<char> buffer, const ORB_INFO& wanted) {
  const std::time_t now = std::time(nullptr);
  const int error_number = errno;
  if (now == std::time_t{-1})
    ERR_report_errno(error_number, wanted.handle);  // and the failed value is written
  std::snprintf(buffer.data(), buffer.size(), "{%" PRIu32 "}", static_cast<uint32_t>(now));
  return buffer.data();
}

struct HeaderText {
  char* ORB_INFO::*text;
  Fallback fallback;
};

constexpr HeaderText kHeaderTexts[] = {
    {&ORB_INFO::text1, unknown},   {&ORB_INFO::text3, unknown},   {&ORB_INFO::text4, unknown},
    {&ORB_INFO::text5, this_host}, {&ORB_INFO::text6, this_user}, {&ORB_INFO::text7, this_moment},
    {&ORB_INFO::text8, unknown},   {&ORB_INFO::text9, unknown},   {&ORB_INFO::text10, unknown},
};

// A copy that fails ends the copying of texts but not the open: the rest stays at its defaults.
void copy_header_texts(const ORB_INFO& wanted, ORB_INFO& info) {
  std::array<char, 256> buffer;
  for (const HeaderText& row : kHeaderTexts) {
    const char* text = wanted.*(row.text);
    if (!text) text = row.fallback(buffer, wanted);
    if (!replace_text(&(info.*(row.text)), text)) {
      out_of_memory();
      return;
    }
  }
}

// ---- The description ----

void copy_job_number(const ORB_INFO& wanted, ORB_INFO& info) {
  if (wanted.job_number != kJobFromEnvironment) {
    info.job_number = wanted.job_number;
  } else if (const char* job = std::getenv("QV_JOB_NUM")) {
    info.job_number = leading_integer(job);
  }
}

// Whether only memory can be missing for a copy of the curve.
bool can_be_copied(const ORB_RESPONSE_CURVE& curve) {
  if (curve.kind == ORB_CURVE_GAMMA) return true;
  const bool has_integers = curve.curve_type == ORB_C_INTEGER && curve.depth >= 8 && curve.depth <= 16;
  const bool has_tables = curve.tables && curve.channel_count > 0 && curve.resolution > 0;
  return has_tables && (has_integers || curve.curve_type == ORB_C_FLOAT);
}

bool copy_images(const ORB_INFO& wanted, ORB_IMAGE* image) {
  if (!wanted.images || wanted.image_count < 1) return true;
  const auto image_count = static_cast<uint64_t>(wanted.image_count);
  if (!orb__within_limit(ORB_LIMIT_IMAGES, image_count, "ORB_open")) return false;
  image->info.images = make_zeroed<ORB_IFD>(image_count).release();
  if (!image->info.images) return out_of_memory();
  image->info.image_count = wanted.image_count;
  orb__init_ifd(image);
  for (int32_t i = 0; i < wanted.image_count; ++i) {
    const ORB_IFD& from = wanted.images[i];
    if (copy_ifd(from, image->info.images[i], UnknownNames::fill)) continue;
    if (can_be_copied(from.curve)) return out_of_memory();
    set_error(ORB_E_HANDLE);  // the copy of the curve has said what there was to say
    return false;
  }
  return true;
}

// ---- Opening by the driver ----

using DriverOpen = ORB_OPEN_FN ORB_LOAD_RECORD::*;

const ORB_LOAD_RECORD* find_driver(const ORB_INFO& wanted, Direction direction, DriverOpen open) {
  const ORB_LOAD_RECORD* driver = choose_driver(wanted.key, wanted.handle, direction);
  if (!driver) {
    set_error(ORB_E_TYPE);
    // Names the default key whatever was asked for, on purpose.
    orb__report(ORB_MSG_INVALID_TYPE, kDefaultKey);
    return nullptr;
  }
  if (driver->*open) return driver;
  set_error(ORB_E_HANDLE);
  orb__report(ORB_MSG_CANNOT_HANDLE, wanted.key ? wanted.key : driver->key);
  return nullptr;
}

// Stores the driver's extension, and its key where the file's name has decided.
bool name_driver(const ORB_LOAD_RECORD& driver, ORB_INFO& info) {
  if (!replace_text(&info.extension, driver.extension)) return out_of_memory();
  if (!info.key && !replace_text(&info.key, driver.key)) return out_of_memory();
  return true;
}

// A handle that does not come to life gives the settings back to the application.
void return_settings(const ORB_INFO& wanted, ORB_INFO& info) {
  if (info.settings == wanted.settings) info.settings = nullptr;
}

uint32_t errors_so_far() { return ERR_stats(ERR_ERROR) + ERR_stats(ERR_FATAL); }

// A failure that the driver leaves without a code gets one, and a word if nothing was said.
bool call_driver(const ORB_LOAD_RECORD& driver, ORB_OPEN_FN open, ORB_IMAGE* image) {
  const uint32_t errors_before = errors_so_far();
  if (open(image) != 0) return true;
  if (last_error() != ORB_OK) return false;
  set_error(ORB_E_HANDLE);
  if (errors_so_far() == errors_before) orb__report(ORB_MSG_CANNOT_HANDLE, driver.key);
  return false;
}

bool open_by_driver(const ORB_INFO& wanted, Direction direction, ORB_IMAGE* image) {
  const DriverOpen open =
      direction == Direction::read ? &ORB_LOAD_RECORD::read_open : &ORB_LOAD_RECORD::write_open;
  const ORB_LOAD_RECORD* driver = find_driver(wanted, direction, open);
  return driver && name_driver(*driver, image->info) && call_driver(*driver, driver->*open, image);
}

bool counts_what_it_has(const ORB_INFO& info) {
  return info.image_count >= 0 && (info.image_count == 0 || info.images);
}

// Closes what a driver has opened. What the driver says to that matters no more.
ORB_IMAGE* refuse(const ORB_INFO& wanted, ImageOwner image, int32_t code) {
  return_settings(wanted, image->info);
  if (image->close) static_cast<void>(ORB_close_do_it(image.release()));
  set_error(code);
  return nullptr;
}

// Closes what a driver has opened and described so that nobody could look at it.
ORB_IMAGE* refuse_description(const ORB_INFO& wanted, ImageOwner image) {
  ORB_INFO& info = image->info;
  orb__report(ORB_MSG_BAD_DESCRIPTION, info.handle ? info.handle : "", info.key, info.image_count);
  info.image_count = 0;
  return refuse(wanted, std::move(image), ORB_E_HANDLE);
}

uint64_t pixels_of(const ORB_WINDOW& window) {
  if (window.right < window.left || window.top < window.bottom) return 0;
  const auto width = static_cast<uint64_t>(int64_t{window.right} - window.left + 1);
  const auto height = static_cast<uint64_t>(int64_t{window.top} - window.bottom + 1);
  return width > UINT64_MAX / height ? UINT64_MAX : width * height;
}

bool pixels_are_within_limit(const ORB_INFO& info) {
  uint64_t most = 0;
  for (int32_t i = 0; i < info.image_count; ++i) most = std::max(most, pixels_of(info.images[i].window));
  return orb__within_limit(ORB_LIMIT_PIXELS, most, "ORB_open") != 0;
}

// ---- Reading ----

bool copy_for_reading(const ORB_INFO& wanted, ORB_INFO& info) {
  if (!replace_text(&info.key, wanted.key) || !replace_text(&info.handle, wanted.handle))
    return out_of_memory();
  info.open_option = wanted.open_option;
  info.settings = wanted.settings;
  info.read_option = wanted.read_option;
  return true;
}

// A handle out of the cache takes the application's settings like any other.
void take_settings(const ORB_INFO& wanted, ORB_INFO& info) {
  if (info.settings == wanted.settings) return;
  if (info.settings) return free_settings(wanted.settings);
  info.settings = wanted.settings;
}

ORB_IMAGE* open_for_reading(const ORB_INFO& wanted) {
  if (ORB_IMAGE* kept_open = ORB_multiframe_open(&wanted)) {
    take_settings(wanted, kept_open->info);
    return kept_open;
  }
  ImageOwner image = new_handle(ORB_MODE_READ);
  if (!image || !copy_for_reading(wanted, image->info)) return nullptr;
  if (!open_by_driver(wanted, Direction::read, image.get())) {
    return_settings(wanted, image->info);
    return nullptr;
  }
  if (!counts_what_it_has(image->info)) return refuse_description(wanted, std::move(image));
  if (!pixels_are_within_limit(image->info)) return refuse(wanted, std::move(image), ORB_E_MEMORY);
  ORB_multiframe_add(image.get(), &wanted);
  set_error(ORB_OK);
  return image.release();
}

// ---- Writing ----

// Fails when the handle would have no file name or no image descriptors for want of memory.
bool copy_for_writing(const ORB_INFO& wanted, ORB_IMAGE* image) {
  ORB_INFO& info = image->info;
  copy_numbers(wanted, info);
  if (!replace_text(&info.handle, wanted.handle)) return out_of_memory();
  if (!replace_text(&info.key, wanted.key)) out_of_memory();  // the driver's own key will stand there
  copy_header_texts(wanted, info);
  copy_job_number(wanted, info);
  if (!copy_images(wanted, image)) return false;
  if (wanted.settings) info.settings = wanted.settings;
  return true;
}

ORB_IMAGE* open_for_writing(const ORB_INFO& wanted) {
  if (!wanted.handle) {
    set_error(ORB_E_OPEN);
    orb__report(ORB_MSG_REQUIRED_FIELD, "handle");
    return nullptr;
  }
  ImageOwner image = new_handle(ORB_MODE_WRITE);
  if (!image || !copy_for_writing(wanted, image.get())) return nullptr;
  if (!open_by_driver(wanted, Direction::write, image.get())) {
    return_settings(wanted, image->info);
    return nullptr;
  }
  if (!counts_what_it_has(image->info)) return refuse_description(wanted, std::move(image));
  set_error(ORB_OK);
  return image.release();
}

// ---- Both ----

// A programming error of the application: said on standard error, and the call goes on.
void check_initialised(const ORB_INFO& info) {
  if (info.magic == ORB_INFO_MAGIC) return;
  std::fputs("ORB_open: application programming error.\n", stderr);
  std::fputs("The application must call ORB_info_init or ORB_info_alloc\n", stderr);
  std::fputs("on the info structure before passing it to ORB_open.\n", stderr);
}

void set_first_line(ORB_IMAGE* image) {
  if (!image->info.images || image->info.image_count < 1) return;
  set_current_line(image, line_before_first(image->info.images[0]));
}

// A handle that the cache shares between threads keeps the format it has.
void set_format(ORB_IMAGE* image) {
  ORB_FORMAT* format = ORB_find(image->info.key);
  if (image->format != format) image->format = format;
}

ORB_IMAGE* open_in_mode(const ORB_INFO& wanted, const char* mode) {
  if (std::strcmp(mode, "r") == 0) {
    ORB_IMAGE* image = open_for_reading(wanted);
    if (image) set_first_line(image);
    return image;
  }
  if (std::strcmp(mode, "w") == 0) return open_for_writing(wanted);
  orb__report(ORB_MSG_OPEN_MODE, mode);
  return nullptr;
}

}  // namespace
}  // namespace orb

ORB_IMAGE* ORB_open(ORB_INFO* info, const char* mode) {
  using namespace orb;
  set_error(ORB_OK);
  if (!start_on_demand("ORB_open")) return nullptr;
  if (!info) {
    set_error(ORB_E_OPEN);
    orb__report(ORB_MSG_REQUIRED_FIELD, "info");
    return nullptr;
  }
  platform::Lock lock(library_mutex());
  const platform::BinaryFileMode binary;
  check_initialised(*info);
  ORB_IMAGE* image = open_in_mode(*info, mode ? mode : "");
  if (image) set_format(image);
  return image;
}
