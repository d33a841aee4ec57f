// A resource file from a stranger: opened, every item loaded, dumped, one item replaced, saved, and opened again.
#include <cstdint>

#include "input_file.h"
#include "orbbase/support/resource.h"

namespace {

using orb::fuzz::require;
using orb::fuzz::swallow;

constexpr uint32_t kError = 0x4552524F;  // "ERRO"

// Dumps are made in full, and shown to nobody.
void drop(const char*, void*) {}

struct Items {
  ORB_RSRC_FILE* file;
  uint64_t live = 0;
  uint64_t lost = 0;  // that cannot be loaded
};

int32_t load_item(const ORB_RSRC_ITEM* item, void* user_data) {
  auto* items = static_cast<Items*>(user_data);
  if (item->is_deleted) return 1;
  ++items->live;
  require(orb__rsrc_find(items->file, item->code, item->name, nullptr) != 0, "an item is not found");
  if (!orb__rsrc_load(items->file, item->code, item->name, nullptr)) ++items->lost;
  return 1;
}

Items load_all(ORB_RSRC_FILE* file) {
  Items items = {file};
  orb__rsrc_each(file, load_item, &items);
  return items;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const orb::fuzz::InputFile input;
  static const bool is_started = [] {
    ERR_dcl_handler(nullptr, swallow, nullptr);
    return orb__rsrc_init(drop, nullptr) != 0;
  }();
  require(is_started, "the module does not start");
  input.hold(data, size);
  ORB_RSRC_FILE* file = orb__rsrc_open(input.path().c_str());
  if (!file) return 0;
  uint64_t live = load_all(file).live;
  orb__rsrc_dump(file, 1);
  orb__rsrc_report("n", "dfs", 1, 0.5, "text");
  if (orb__rsrc_delete(file, kError, "n")) --live;
  if (!orb__rsrc_find(file, kError, "n", nullptr)) {
    require(orb__rsrc_add(file, kError, "n", "new", 3) != 0, "an item is not added");
    ++live;
  }
  if (!orb__rsrc_close(input.path().c_str(), 1)) return 0;  // an item that claims more than there is
  file = orb__rsrc_open(input.path().c_str());
  require(file != nullptr, "what was saved cannot be opened");
  const Items saved = load_all(file);
  require(saved.live == live && saved.lost == 0, "what was saved is not all there");
  orb__rsrc_close(input.path().c_str(), 0);
  return 0;
}
