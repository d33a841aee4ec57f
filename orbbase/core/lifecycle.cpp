// Start-up, start on demand, and shut-down of the library.
#include <cstdlib>
#include <utility>

#include "orbbase/colour/internal.h"
#include "orbbase/core/internal.h"
#include "orbbase/driver.h"
#include "orbbase/support/config/fb.h"
#include "orbbase/support/fmt.h"

namespace orb {
namespace {

constexpr int32_t kFailed = -1;
constexpr int32_t kMultiframeOpen = 15;  // files kept open when QV_ORB_MULTIFRAME_OPEN is unset

// Takes back what the start has done so far. When a configuration database is what failed, that is nothing,
// on purpose: ORB_exit passes over a library that is not started, the colour database counts as read from its
// first reading on, and so the next start goes through with it as it stands.
int32_t abandon_start() {
  ORB_exit();
  set_error(ORB_E_MEMORY);
  return kFailed;
}

// Plug-ins found so far; on the stack until they become the registry's table.
struct FoundPlugins {
  Growable<ORB_LOAD_RECORD> records;
  ~FoundPlugins() { records.release(); }
};

bool load_plugins(ORB_ENUMERATE_FN enumerate) {
  FoundPlugins found;
  void* module = nullptr;
  const char* name = nullptr;
  while (enumerate(&module, &name)) {
    if (module && load_plugin(module, name ? name : "", found.records) == Loading::no_memory) return false;
    module = nullptr;
    name = nullptr;
  }
  std::swap(registry().plugins, found.records);
  return true;
}

bool register_plugins() {
  for (const ORB_LOAD_RECORD& record : registry().plugins.items()) {
    if (!register_format(record, false)) return false;
  }
  return true;
}

enum class BuiltIns { registered, refused, no_memory };

BuiltIns register_built_ins() {
  for (ORB_LOAD_RECORD& record : built_in_drivers()) {
    if (!register_format(record, true)) return BuiltIns::no_memory;
    if (record.init && !record.init(&record)) return BuiltIns::refused;
  }
  return BuiltIns::registered;
}

void start_multiframe() {
  const char* limit = std::getenv("QV_ORB_MULTIFRAME_OPEN");
  ORB_multiframe_init();
  ORB_multiframe_set(1, limit ? leading_integer(limit) : kMultiframeOpen);
}

}  // namespace

bool make_library_mutex() {
  std::atomic<platform::Mutex*>& mutex = registry().mutex;
  if (mutex.load(std::memory_order_acquire)) return true;
  platform::Mutex* made = platform::create_mutex();
  if (!made) return false;
  platform::Mutex* before = nullptr;
  if (!mutex.compare_exchange_strong(before, made, std::memory_order_acq_rel)) platform::close_mutex(made);
  return true;
}

bool start_on_demand(const char* caller) {
  Registry& formats = registry();
  if (formats.is_ready.load(std::memory_order_acquire)) return true;
  if (!make_library_mutex()) return out_of_memory();
  platform::Lock lock(library_mutex());
  // Also true for a query from a plug-in's own start, and after a start that ended half-way.
  if (formats.is_started) return true;
  if (ORB_init(nullptr, nullptr) == kFailed) return false;
  orb__report(ORB_MSG_DATABASE_START, kLibraryName, caller);
  return true;
}

}  // namespace orb

int32_t ORB_init(void* catalogue, ORB_ENUMERATE_FN enumerate) {
  using namespace orb;
  Registry& formats = registry();
  set_error(ORB_OK);
  if (formats.is_started) {
    formats.formats.rewind();
    return 0;
  }
  orb__msg_cat = catalogue;
  if (!make_library_mutex()) {
    out_of_memory();
    return kFailed;
  }
  if (FMT_init(catalogue) != 0 || clr_init(catalogue) != 0) return abandon_start();

  formats.is_started = true;
  formats.largest_count_a = 0;
  formats.largest_count_b = 0;
  if (enumerate && !load_plugins(enumerate)) return abandon_start();
  if (!register_plugins()) return abandon_start();
  switch (register_built_ins()) {
    case BuiltIns::no_memory:
      return abandon_start();
    case BuiltIns::refused:
      return kFailed;  // what is registered stays
    case BuiltIns::registered:
      break;
  }
  check_capabilities();
  formats.formats.rewind();
  start_multiframe();
  formats.is_ready.store(true, std::memory_order_release);
  return last_error();
}

int32_t ORB_exit(void) {
  using namespace orb;
  Registry& formats = registry();
  if (!formats.is_started) return 0;
  formats.is_ready.store(false, std::memory_order_release);
  while (EndStep* step = formats.end_steps.take_first()) step->run();
  restore_capability_names();  // before a plug-in takes its table down
  for (const ORB_LOAD_RECORD& plugin : formats.plugins.items()) {
    if (plugin.done) plugin.done();
  }
  clear_registry();
  formats.is_started = false;
  clr_exit();
  FMT_exit();
  fb::exit();  // ORB_setting may have started it
  return 0;
}
