// The plug-in symbol table, and how a module becomes a load record.
#include <cstddef>
#include <cstring>

#include "orbbase/core/internal.h"
#include "orbbase/driver.h"

namespace orb {
namespace {

enum class Kind : uint8_t { text, integer, byte, function };

enum class Need : uint8_t { no, always, when_reading, when_writing };

struct Symbol {
  const char* name;
  Kind kind;
  Need need;
  size_t offset;               // of its field in the load record
  int32_t number = 0;          // stands for an absent integer or byte
  const char* text = nullptr;  // stands for an absent text
};

#define FIELD(field) offsetof(ORB_LOAD_RECORD, field)

// In the order of the look-up; the key comes first, since it decides about earlier modules.
constexpr Symbol kSymbols[] = {
    {"imageKey", Kind::text, Need::always, FIELD(key)},
    {"imageExtension", Kind::text, Need::no, FIELD(extension), 0, ""},
    {"imageName", Kind::text, Need::always, FIELD(name)},
    {"imageDescription", Kind::text, Need::no, FIELD(description)},
    {"imageFormatString", Kind::text, Need::no, FIELD(format_string), 0, "%s.%04.4d%s"},
    {"imageNameSyntax", Kind::text, Need::no, FIELD(name_syntax)},
    {"imageAddExtension", Kind::integer, Need::no, FIELD(add_extension), 1},
    {"imageUsage", Kind::integer, Need::no, FIELD(usage), 1},
    {"imageOrientation", Kind::integer, Need::always, FIELD(orientation)},
    {"imageBitsPerPaletteEntry", Kind::integer, Need::no, FIELD(palette_bits), 0},
    {"imageNumberOfChannels", Kind::integer, Need::no, FIELD(channels), 3},
    {"imageBitsPerChannel", Kind::integer, Need::no, FIELD(channel_bits), 128},
    {"imageNumberOfMattes", Kind::integer, Need::no, FIELD(mattes), 0},
    {"imageBitsPerMatte", Kind::integer, Need::no, FIELD(matte_bits), 0},
    {"imageNumberOfZChannels", Kind::integer, Need::no, FIELD(z_channels), 0},
    {"imageBitsPerZChannel", Kind::integer, Need::no, FIELD(z_bits), 0},
    {"imageSupportsActiveWindow", Kind::integer, Need::no, FIELD(active_window), 0},
    {"imageAccess", Kind::integer, Need::no, FIELD(access), ORB_ACCESS_READ | ORB_ACCESS_WRITE},
    {"imageMultiFrame", Kind::integer, Need::no, FIELD(multi_frame), 0},
    {"imageHardLinkDuplicates", Kind::byte, Need::no, FIELD(hard_link_duplicates), 1},
    {"imageSupportRemoteAccess", Kind::byte, Need::no, FIELD(remote_access), 0},
    {"imageCapability", Kind::function, Need::no, FIELD(capability)},
    {"imageCapsAvailUpdate", Kind::function, Need::no, FIELD(caps_avail_update)},
    {"imageReadOpen", Kind::function, Need::when_reading, FIELD(read_open)},
    {"imageWriteOpen", Kind::function, Need::when_writing, FIELD(write_open)},
    {"imageDone", Kind::function, Need::no, FIELD(done)},
    {"imageIsFile", Kind::function, Need::no, FIELD(is_file)},
    {"imagePrivateUIPopup", Kind::function, Need::no, FIELD(ui_popup)},
    {"imagePrivateUIPopdown", Kind::function, Need::no, FIELD(ui_popdown)},
};

#undef FIELD

constexpr uint32_t kFirstCapacity = 20;

struct Module {
  void* handle;
  const char* name;  // in messages
};

void* find(const Module& module, const char* symbol) {
  return platform::module_symbol(module.handle, symbol);
}

// The text of a string variable; null when there is no such variable, and when it holds no text.
const char* find_text(const Module& module, const char* symbol) {
  const char* text = nullptr;
  if (const void* variable = find(module, symbol)) std::memcpy(&text, variable, sizeof text);
  return text;
}

template <class T>
void put(ORB_LOAD_RECORD& record, const Symbol& symbol, const T& value) {
  std::memcpy(reinterpret_cast<std::byte*>(&record) + symbol.offset, &value, sizeof value);
}

template <class T>
T number_at(const void* variable, const Symbol& symbol) {
  T value = static_cast<T>(symbol.number);
  if (variable) std::memcpy(&value, variable, sizeof value);
  return value;
}

// Reads one symbol, or its default, into its field. False when the module does not define it.
bool read_symbol(const Module& module, const Symbol& symbol, ORB_LOAD_RECORD& record) {
  if (symbol.kind == Kind::text) {
    const char* text = find_text(module, symbol.name);
    put(record, symbol, text ? text : symbol.text);
    return text != nullptr;
  }
  void* address = find(module, symbol.name);
  switch (symbol.kind) {
    case Kind::integer:
      put(record, symbol, number_at<int32_t>(address, symbol));
      break;
    case Kind::byte:
      put(record, symbol, number_at<uint8_t>(address, symbol));
      break;
    default:
      put(record, symbol, address);  // a function: its address is the field's value
  }
  return address != nullptr;
}

bool is_needed(const Symbol& symbol, const ORB_LOAD_RECORD& record) {
  switch (symbol.need) {
    case Need::always:
      return true;
    case Need::when_reading:
      return (record.access & ORB_ACCESS_READ) != 0;
    case Need::when_writing:
      return (record.access & ORB_ACCESS_WRITE) != 0;
    default:
      return false;
  }
}

bool speaks_our_version(const Module& module) {
  const char* version = find_text(module, "version");
  if (!version) {
    orb__report(ORB_MSG_MUST_BE_DEFINED, module.name, "version");
    return false;
  }
  if (std::strcmp(version, kInterfaceVersion) == 0) return true;
  orb__report(ORB_MSG_PLUGIN_VERSION, module.name, "version", kInterfaceVersion, version);
  return false;
}

bool accepts_start(const Module& module, ORB_LOAD_RECORD& record) {
  void* address = find(module, "imageInit");
  std::memcpy(&record.init, &address, sizeof address);
  return !record.init || record.init(&record) != 0;
}

void remove_key(Growable<ORB_LOAD_RECORD>& found, const char* key) {
  for (uint32_t i = 0; i < found.count(); ++i) {
    if (std::strcmp(found[i].key, key) == 0) return found.remove_at(i);
  }
}

bool read_symbols(const Module& module, ORB_LOAD_RECORD& record, Growable<ORB_LOAD_RECORD>& found) {
  for (const Symbol& symbol : kSymbols) {
    if (!read_symbol(module, symbol, record) && is_needed(symbol, record)) {
      orb__report(ORB_MSG_MUST_BE_DEFINED, module.name, symbol.name);
      return false;
    }
    // Right after the key, on purpose: an earlier module of this key goes even when the later one is refused
    // for another symbol.
    if (&symbol == kSymbols) remove_key(found, record.key);
  }
  record.description_from_catalogue = 0;
  return true;
}

}  // namespace

Loading load_plugin(void* handle, const char* name, Growable<ORB_LOAD_RECORD>& found) {
  const Module module = {handle, name};
  if (!speaks_our_version(module)) return Loading::refused;
  ORB_LOAD_RECORD record = {};
  if (!accepts_start(module, record) || !read_symbols(module, record, found)) return Loading::refused;
  return found.append(record, kFirstCapacity) ? Loading::taken : Loading::no_memory;
}

}  // namespace orb
