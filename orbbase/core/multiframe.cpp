// The cache of open multi-frame files: closing one only marks it idle, and opening it again finds it. Called
// by ORB_open and ORB_close under the library's lock; it has none of its own.
#include <algorithm>
#include <cstring>

#include "orbbase/core/internal.h"
#include "orbbase/core/layer.h"

namespace orb {
namespace {

struct State {
  Growable<ORB_MULTIFRAME_ENTRY*> entries;  // from least to most recently used
  int32_t limit = 0;                        // number of entries at which idle ones are closed
  bool is_enabled = false;
};
constinit State state;

constexpr uint32_t kFirstCapacity = 5;

struct EntryReleased {
  void operator()(ORB_MULTIFRAME_ENTRY* entry) const {
    ERR_free(entry->file_name);
    free_settings(entry->settings);
    ERR_free(entry);
  }
};
using EntryOwner = std::unique_ptr<ORB_MULTIFRAME_ENTRY, EntryReleased>;

// Zeros when the status cannot be read, which is reported.
platform::FileStatus status_of(const char* file_name, bool* is_read_out) {
  platform::FileStatus status;
  const int error_number = platform::file_status(file_name, &status);
  if (error_number != 0) ERR_report_errno(error_number, file_name);
  *is_read_out = error_number == 0;
  return status;
}

bool is_at_limit() { return int64_t{state.entries.count()} >= state.limit; }

void close_entry(uint32_t index) {
  const EntryOwner entry(state.entries[index]);
  state.entries.remove_at(index);  // first: the driver's close may come back here for another handle
  ORB_close_do_it(entry->image);
}

// Closes idle entries from the least recently used, at most so many, for as long as `needed` says so.
template <class Needed>
void close_idle(uint32_t most, Needed needed) {
  for (uint32_t i = 0; i < state.entries.count() && most > 0 && needed();) {
    if (state.entries[i]->use_count != 0) {
      ++i;
      continue;
    }
    close_entry(i);
    --most;
  }
}

// The entries go; what they hold open is no longer this cache's affair.
void forget_entries() {
  for (ORB_MULTIFRAME_ENTRY* entry : state.entries.items()) EntryReleased()(entry);
  state.entries.release();
}

// Index of the first entry that the claim holds for; count() when there is none.
template <class Claim>
uint32_t find_entry(Claim holds) {
  uint32_t i = 0;
  while (i < state.entries.count() && !holds(*state.entries[i])) ++i;
  return i;
}

uint32_t find_open(const ORB_INFO& wanted) {
  return find_entry([&](const ORB_MULTIFRAME_ENTRY& entry) {
    return std::strcmp(entry.file_name, wanted.handle) == 0 &&
           ORB_cap_setting_compare(entry.settings, wanted.settings);
  });
}

uint32_t find_image(const ORB_IMAGE* image) {
  return find_entry([&](const ORB_MULTIFRAME_ENTRY& entry) { return entry.image == image; });
}

bool has_changed(const ORB_MULTIFRAME_ENTRY& entry) {
  bool is_read = false;  // a file that is gone has changed
  const platform::FileStatus status = status_of(entry.file_name, &is_read);
  return status.changed_seconds != entry.file_time ||
         status.changed_nanoseconds != entry.file_time_nanoseconds;
}

bool has_many_frames(const ORB_IMAGE* image) {
  const ORB_FORMAT* format = ORB_find(image->info.key);
  return format && format->multi_frame != 0;
}

// Null when the file's status cannot be read or memory runs out, reported; the file then stays uncached.
EntryOwner make_entry(ORB_IMAGE* image, const ORB_INFO& wanted) {
  EntryOwner entry(make_zeroed<ORB_MULTIFRAME_ENTRY>(1).release());
  if (!entry || !replace_text(&entry->file_name, wanted.handle)) {
    report(kNoMemory);
    return nullptr;
  }
  entry->settings = ORB_cap_setting_copy(wanted.settings);
  // An entry with other settings than the open's would be handed out to the wrong caller.
  if (!is_whole_copy(wanted.settings, entry->settings)) return nullptr;
  entry->image = image;
  entry->use_count = 1;
  bool is_read = false;
  const platform::FileStatus status = status_of(wanted.handle, &is_read);
  if (!is_read) return nullptr;
  entry->file_time = status.changed_seconds;
  entry->file_time_nanoseconds = status.changed_nanoseconds;
  return entry;
}

}  // namespace

void close_multiframe_entry(ORB_IMAGE* image) {
  if (image) {
    const uint32_t index = find_image(image);
    if (index < state.entries.count()) close_entry(index);
    return;
  }
  while (state.entries.count() > 0) close_entry(0);
}

std::span<ORB_MULTIFRAME_ENTRY* const> multiframe_entries() { return state.entries.items(); }

int32_t multiframe_limit() { return state.limit; }

}  // namespace orb

void ORB_multiframe_init(void) {
  // Closes nothing: after a restart of the library the modules of earlier files may be gone.
  orb::forget_entries();
  orb::state.limit = 0;
  orb::state.is_enabled = false;
}

void ORB_multiframe_set(int32_t enabled, int32_t limit) {
  orb::close_idle(orb::state.entries.count(), [] { return true; });
  orb::forget_entries();
  orb::state.limit = limit;
  orb::state.is_enabled = enabled != 0;
}

int32_t ORB_multiframe_used(void) { return orb::state.is_enabled; }

ORB_IMAGE* ORB_multiframe_open(const ORB_INFO* info) {
  using namespace orb;
  if (!state.is_enabled || state.entries.count() == 0 || !info || !info->handle) return nullptr;
  const uint32_t index = find_open(*info);
  if (index == state.entries.count()) return nullptr;
  ORB_MULTIFRAME_ENTRY& entry = *state.entries[index];
  // Looked at for an entry in use as well, though it is handed out all the same: a failure is reported.
  if (has_changed(entry) && entry.use_count == 0) {
    close_entry(index);
    return nullptr;
  }
  ++entry.use_count;
  state.entries.move_to_end(index);
  return entry.image;
}

void ORB_multiframe_add(ORB_IMAGE* image, const ORB_INFO* info) {
  using namespace orb;
  if (!state.is_enabled || !image || !info || !info->handle || !has_many_frames(image)) return;
  if (is_at_limit()) close_idle(1, [] { return true; });
  EntryOwner entry = make_entry(image, *info);
  if (!entry) return;
  if (!state.entries.append(entry.get(), kFirstCapacity)) {
    report(kNoMemory);
    return;
  }
  (void)entry.release();  // the cache's from here
}

int32_t ORB_multiframe_set_closed(ORB_IMAGE* image) {
  using namespace orb;
  if (!state.is_enabled) return 0;
  const uint32_t index = find_image(image);
  if (index == state.entries.count()) return ORB_close_do_it(image);
  int32_t& use_count = state.entries[index]->use_count;
  if (use_count > 0) --use_count;  // closed once too often, it is still idle and no more
  // Whoever opens the file next gets it without the operators of those before.
  if (use_count == 0) remove_layers(*image);
  close_idle(state.entries.count(), is_at_limit);
  return 0;
}
