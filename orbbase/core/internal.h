// What the rooms of the core lend each other and the floors above: the registry's nodes and tables, the
// library's lock, the making, duplicating and releasing of handles, the multi-frame cache's entries.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

#include "orbbase/core.h"
#include "orbbase/core/growable.h"
#include "orbbase/platform/platform.h"
#include "orbbase/registry.h"
#include "orbbase/support/config/integer.h"
#include "orbbase/support/containers/list.h"
#include "orbbase/support/err/internal.h"

namespace orb {

// ---- The registry ------------------------------------------------------------------------------------

inline constexpr const char* kLibraryName = "orb";       // the library's own name in messages
inline constexpr const char* kInterfaceVersion = "3.2";  // what a plug-in's version must say
inline constexpr const char* kDefaultKey = "rla";
inline constexpr const char* kDefaultBaseName = "im";

// Written by plug-in authors' compilers too: the record that imageInit receives keeps its size.
static_assert(sizeof(void*) != 8 || sizeof(ORB_LOAD_RECORD) == 192);

// A registered format.
struct FormatNode : ListNode {
  ORB_FORMAT format;
  uint32_t built_in;      // 0: a plug-in's; 1: a driver of the library
  char* own_description;  // owned; null where the driver's own text serves
};

// What a room above has to drop as the library ends. Its own; it is forgotten once it was run.
struct EndStep : ListNode {
  void (*run)() = nullptr;
};

// The library's process-wide state. Only the library's start and end change it, apart from the cursor of
// formats, which ORB_find, ORB_info and the file-type queries share.
struct Registry {
  ListOf<FormatNode> formats;         // plug-ins in their order, then the built-in drivers
  Growable<ORB_LOAD_RECORD> plugins;  // the plug-ins' load records, in the same order
  FormatNode* last_match = nullptr;   // what ORB_is_file_type found last; its is_file is never null
  ListOf<EndStep> end_steps;          // run by ORB_exit
  int32_t largest_count_a = 0;        // largest sizes that any format's imageCapability gave
  int32_t largest_count_b = 0;
  bool is_started = false;
  std::atomic<bool> is_ready{false};             // the start has ended: seen by queries without a lock
  std::atomic<platform::Mutex*> mutex{nullptr};  // the library's lock; made once, never taken away
};

Registry& registry();

// The drivers that the library brings itself; the same shape as a plug-in's record.
std::span<ORB_LOAD_RECORD> built_in_drivers();

// Makes a registry node of a load record and appends it. False when memory ran out.
[[nodiscard]] bool register_format(const ORB_LOAD_RECORD& record, bool built_in);

// Releases nodes and tables.
void clear_registry();

// Starts the library for a query that needs it, and reports that at category DEBUG with the query's name.
// False when the start failed. Two threads may come here at once; one of them starts.
[[nodiscard]] bool start_on_demand(const char* caller);

// Has the step run by the next ORB_exit. Not to be called again before.
inline void at_library_end(EndStep& step) { registry().end_steps.append(&step); }

// Makes the library's lock when there is none yet. False when memory ran out. Safe from several threads.
[[nodiscard]] bool make_library_mutex();

// The library's lock; null before the first start. Order: a handle's lock first, then this one, never the
// other way.
inline platform::Mutex* library_mutex() { return registry().mutex.load(std::memory_order_acquire); }

// What became of a module that the application offered.
enum class Loading {
  taken,
  refused,   // reported, or declined by the module itself: the others go on
  no_memory  // ends the start
};

// Reads a module's symbols into a record and appends it to found. An earlier record of the same key goes.
[[nodiscard]] Loading load_plugin(void* module, const char* name, Growable<ORB_LOAD_RECORD>& found);

// Checks every registration's capability table, in registry order, up to the first that fails.
void check_capabilities();

// Puts back the names that the check has replaced, and releases its copies. The plug-ins' tables must still
// be there.
void restore_capability_names();

// Environment variables are read as the configuration file's whole numbers are.
using config::leading_integer;

// ---- Handles -----------------------------------------------------------------------------------------

// Every text of a description, in the order of the record. Whoever owns a description owns them.
inline constexpr char* ORB_INFO::*kInfoTexts[] = {
    &ORB_INFO::key,   &ORB_INFO::handle, &ORB_INFO::text1, &ORB_INFO::extension,
    &ORB_INFO::text3, &ORB_INFO::text4,  &ORB_INFO::text5, &ORB_INFO::text6,
    &ORB_INFO::text7, &ORB_INFO::text8,  &ORB_INFO::text9, &ORB_INFO::text10,
};

struct ImageReleased {
  void operator()(ORB_IMAGE* image) const { orb__free_obj(image); }
};

// A handle that is released with all it owns when its holder goes.
using ImageOwner = std::unique_ptr<ORB_IMAGE, ImageReleased>;

// A handle with a default description, every slot clear, current_line -1 and a lock of its own. Null, with
// orb__err -10, reported, when memory ran out.
[[nodiscard]] ImageOwner new_handle(uint32_t mode);

// A second handle on the open file of image: a copy of its description without image descriptors, without a
// driver block, with its lut_read, scan, close and set_frame functions and a lock of its own. Returns 1, or 0
// with *copy_out null and orb__err -10, reported, when memory ran out. Release with orb__free_obj.
[[nodiscard]] int32_t duplicate_handle(const ORB_IMAGE* image, ORB_IMAGE** copy_out);

// Replaces the owned *text by a copy of source (null for null). False, with *text unchanged, when memory ran
// out, which only the allocator has reported.
[[nodiscard]] bool replace_text(char** text, const char* source);

// Copies what an application says of a file in numbers; not the job number, nor what is for reading alone.
void copy_numbers(const ORB_INFO& from, ORB_INFO& to);

// Releases a settings list as ORB_cap_setting_copy makes it, every setting with it. Null is accepted.
void free_settings(ORB_CAP_SETTING** list);

// Whether ORB_cap_setting_copy copied the whole list: when memory runs out, it gives out what it has.
[[nodiscard]] bool is_whole_copy(ORB_CAP_SETTING* const* list, ORB_CAP_SETTING* const* copy);

// Reports that memory ran out and sets orb__err to -10. The false is for callers to return.
bool out_of_memory();

// The driver's private data, or null.
inline void* driver_data(const ORB_IMAGE* image) { return image->driver ? image->driver->data : nullptr; }

// The handle's own lock.
inline platform::Mutex* lock_of(const ORB_IMAGE* image) { return static_cast<platform::Mutex*>(image->lock); }

// Written under the handle's lock by transfers, under the library's lock when a cached handle is opened
// again.
inline void set_current_line(ORB_IMAGE* image, int32_t line) {
  std::atomic_ref<int32_t>(image->current_line).store(line, std::memory_order_relaxed);
}

// Where a reader of an image stands after the open: above the top of one read downward, wrapping round behind
// the largest line there is; else at -1.
inline int32_t line_before_first(const ORB_IFD& ifd) {
  if (ifd.orientation & ORB_BOTTOM_UP) return -1;
  return static_cast<int32_t>(static_cast<uint32_t>(ifd.window.top) + 1);
}

// ---- Choosing a driver -------------------------------------------------------------------------------

enum class Direction { read, write };

// The first record that has the text in this field; null when there is none.
[[nodiscard]] const ORB_LOAD_RECORD* find_record(std::span<const ORB_LOAD_RECORD> records,
                                                 const char* ORB_LOAD_RECORD::*field,
                                                 std::string_view wanted);

// The driver for a key, or when key is null for a file name. Null when there is none; reports nothing.
[[nodiscard]] const ORB_LOAD_RECORD* choose_driver(const char* key, const char* file_name,
                                                   Direction direction);

}  // namespace orb

// ---- Multi-frame files -------------------------------------------------------------------------------

// One open multi-frame file in the cache.
struct ORB_MULTIFRAME_ENTRY {
  char* file_name;             // owned; the name that the application opened
  ORB_CAP_SETTING** settings;  // owned; a copy of those of the open
  ORB_IMAGE* image;
  int32_t use_count;  // opens not yet closed; 0: idle
  int64_t file_time;  // the file's status-change time when the entry was made, in seconds
  int64_t file_time_nanoseconds;
};

namespace orb {

// Closes the entry of a handle, or with null all entries, whether idle or not.
void close_multiframe_entry(ORB_IMAGE* image);

// The entries from least to most recently used.
std::span<ORB_MULTIFRAME_ENTRY* const> multiframe_entries();

// The number of entries at which idle ones are closed.
[[nodiscard]] int32_t multiframe_limit();

}  // namespace orb
