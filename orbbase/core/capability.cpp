// Capability tables: checking them at start-up, and handing them out.
#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "orbbase/core/internal.h"
#include "orbbase/driver.h"

namespace orb {
namespace {

// A name that was replaced by a copy of the catalogue's.
struct Replaced {
  const char** name;
  const char* before;  // what the driver's table had there
  char* copy;
};

struct State {
  Growable<Replaced> names;  // in the order of their replacement
};
constinit State state;

constexpr uint32_t kFirstCapacity = 16;

struct Capabilities {
  ORB_CAPABILITY* table = nullptr;
  int32_t count_a = 0;
  int32_t count_b = 0;
  int32_t count = 0;
};

enum class Name { good, missing, no_memory };

bool replace_name(const char*& name, const char* wanted) {
  Replaced row = {&name, name, nullptr};
  if (!replace_text(&row.copy, wanted)) return false;
  if (!state.names.append(row, kFirstCapacity)) {
    ERR_free(row.copy);
    return false;
  }
  name = row.copy;
  return true;
}

// Puts a copy of the catalogue's name in place where the table asks for it. The copy lives until ORB_exit.
template <class Named>
Name settle_name(Named& named) {
  if (!named.name_from_catalogue || !named.catalogue_name) return named.name ? Name::good : Name::missing;
  if (replace_name(named.name, named.catalogue_name)) return Name::good;
  out_of_memory();
  return Name::no_memory;
}

[[noreturn]] void abort_invalid_default(const char* key, const ORB_CAPABILITY& capability) {
  // An inconsistent table is a programming error that must not ship: it ends the process, on purpose.
  std::fprintf(stderr, "%s: capability `%s' has invalid list default %d\n", key, capability.name,
               static_cast<int>(capability.list->default_code));
  std::fflush(stderr);
  std::abort();
}

bool is_end(const ORB_CAP_ENTRY& entry) { return !entry.name && !entry.name_from_catalogue; }

bool check_list(const char* key, int32_t index, ORB_CAPABILITY& capability) {
  ORB_CAP_LIST* list = capability.list;
  if (!list) return true;  // a choice without a list offers nothing that could be wrong
  bool has_default = false;
  uint32_t count = 0;
  for (; list->entries && !is_end(list->entries[count]); ++count) {
    ORB_CAP_ENTRY& entry = list->entries[count];
    const Name name = settle_name(entry);
    if (name == Name::missing) orb__report(ORB_MSG_CAPABILITY_ENTRY, key, index, static_cast<int32_t>(count));
    if (name != Name::good) return false;
    has_default = has_default || entry.code == list->default_code;
  }
  list->entry_count = count;
  if (!has_default) abort_invalid_default(key, capability);
  return true;
}

bool check_capability(const char* key, int32_t index, ORB_CAPABILITY& capability) {
  const Name name = settle_name(capability);
  if (name == Name::missing) orb__report(ORB_MSG_CAPABILITY_NAME, key, index);
  if (name != Name::good) return false;
  return capability.is_value || check_list(key, index, capability);
}

bool check_format(const ORB_FORMAT& format) {
  Capabilities found;
  // By key, as applications ask: a built-in driver behind a plug-in of its key is checked as that plug-in.
  ORB_info_get_specific(format.key, nullptr, &found.table, &found.count_a, &found.count_b, &found.count);
  for (int32_t i = 0; found.table && i < found.count; ++i) {
    if (!check_capability(format.key, i, found.table[i])) return false;
  }
  Registry& formats = registry();
  formats.largest_count_a = std::max(formats.largest_count_a, found.count_a);
  formats.largest_count_b = std::max(formats.largest_count_b, found.count_b);
  return true;
}

template <class T>
void give(T* out, const T& value) {
  if (out) *out = value;
}

}  // namespace

void check_capabilities() {
  // Walks by the links: the cursor moves with every look-up of a key.
  for (ListNode* node = registry().formats.head(); node; node = node->next) {
    if (!check_format(static_cast<FormatNode*>(node)->format)) return;
  }
}

void restore_capability_names() {
  // Backwards: a table that two formats share was gone through twice.
  for (uint32_t i = state.names.count(); i-- > 0;) {
    const Replaced& row = state.names[i];
    *row.name = row.before;
    ERR_free(row.copy);
  }
  state.names.release();
}

}  // namespace orb

void ORB_info_get_specific(const char* key, ORB_FORMAT* format, ORB_CAPABILITY** capabilities_out,
                           int32_t* count_a_out, int32_t* count_b_out, int32_t* capability_count_out) {
  if (key) {
    format = ORB_find(key);
    if (!format) return orb__report(ORB_MSG_UNKNOWN_KEY, key);
  }
  orb::Capabilities found;
  if (format && format->capability) {
    format->capability(&found.table, &found.count_a, &found.count_b, &found.count);
  }
  orb::give(capabilities_out, found.table);
  orb::give(count_a_out, found.count_a);
  orb::give(count_b_out, found.count_b);
  orb::give(capability_count_out, found.count);
}

int32_t ORB_info_num_specific(int32_t* count_a_out, int32_t* count_b_out) {
  const orb::Registry& formats = orb::registry();
  orb::give(count_a_out, formats.largest_count_a);
  orb::give(count_b_out, formats.largest_count_b);
  return formats.largest_count_b;
}

int32_t ORB_capabilities_available(ORB_FORMAT* format, intptr_t a, intptr_t b) {
  if (!format || !format->caps_avail_update) return 0;
  return format->caps_avail_update(a, static_cast<uint8_t>(b));
}
