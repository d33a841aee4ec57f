// The plug-in symbol table, and how a module becomes a load record.
#include <cstddef>
#include <cstring>
#include <span>

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

constexpr const char* kVersion = "version";
constexpr const char* kInit = "imageInit";
constexpr uint32_t kFirstCapacity = 20;

// What each kind has to be, in the words of ORB_MSG_SYMBOL_KIND; in the order of Kind.
struct Form {
  platform::SymbolKind kind;
  uint64_t unit_bytes;  // of a variable: it is as large or a multiple, as sanitizers make it
  const char* words;
};
constexpr Form kForms[] = {
    {platform::SymbolKind::variable, sizeof(const char*), "a variable that points to a text"},
    {platform::SymbolKind::variable, sizeof(int32_t), "a 32-bit variable"},
    {platform::SymbolKind::variable, sizeof(uint8_t), "an 8-bit variable"},
    {platform::SymbolKind::function, 1, "a function"}};
constexpr const char* kTextWords = "a text of less than 1024 bytes, none of them a control character";
constexpr const char* kKeyWords = "a text that is not empty";
constexpr size_t kTextRoom = 1024;  // of one, with its end

struct Module {
  void* handle;
  const char* name;  // in messages
};

// A symbol as a module has it.
struct Found {
  void* address = nullptr;         // null: the module does not define it ...
  const char* expected = nullptr;  // ... or defines it as something else than this
};

bool has_form(const void* address, const Form& form) {
  const platform::SymbolForm found = platform::form_of_symbol(address);
  if (found.kind == platform::SymbolKind::unknown) return true;
  return found.kind == form.kind && found.bytes % form.unit_bytes == 0;
}

Found find(void* module, const char* symbol, Kind kind) {
  void* const address = platform::module_symbol(module, symbol);
  const Form& form = kForms[static_cast<size_t>(kind)];
  if (!address || has_form(address, form)) return {address};
  return {nullptr, form.words};
}

// Whether there is a text of reasonable length to be read at an address, which is a stranger's word.
bool is_sound_text(const char* text) {
  constexpr size_t kStep = 64;  // divides a page: what can be read in part is read whole
  size_t looked_at = 0;
  while (looked_at < kTextRoom) {
    char block[kStep];
    const char* const at = text + looked_at;
    const size_t length = kStep - reinterpret_cast<uintptr_t>(at) % kStep;
    if (!platform::peek(at, {block, length})) return false;
    for (const char c : std::span(block, length)) {
      if (c == '\0') return true;
      if (static_cast<uint8_t>(c) < ' ' || c == '\x7F' || ++looked_at == kTextRoom) return false;
    }
  }
  return false;
}

struct FoundText {
  const char* text = nullptr;      // null: there is none ...
  const char* expected = nullptr;  // ... or it is none as it should be
};

// The text of a string variable. One that holds a null pointer is as good as none.
FoundText find_text(void* module, const char* symbol) {
  const Found variable = find(module, symbol, Kind::text);
  if (!variable.address) return {nullptr, variable.expected};
  const char* text = nullptr;
  std::memcpy(&text, variable.address, sizeof text);
  if (text && !is_sound_text(text)) return {nullptr, kTextWords};
  return {text};
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

bool refuse_symbol(const Module& module, const char* symbol, const char* expected) {
  if (expected) {
    orb__report(ORB_MSG_SYMBOL_KIND, module.name, symbol, expected);
  } else {
    orb__report(ORB_MSG_MUST_BE_DEFINED, module.name, symbol);
  }
  return false;
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

bool read_text(const Module& module, const Symbol& symbol, ORB_LOAD_RECORD& record) {
  const FoundText found = find_text(module.handle, symbol.name);
  put(record, symbol, found.text ? found.text : symbol.text);
  if (found.expected || (!found.text && is_needed(symbol, record))) {
    return refuse_symbol(module, symbol.name, found.expected);
  }
  const bool is_empty_key = &symbol == kSymbols && *found.text == '\0';
  return !is_empty_key || refuse_symbol(module, symbol.name, kKeyWords);
}

// Reads one symbol, or its default, into its field. False, reported, when that makes no plug-in.
bool read_symbol(const Module& module, const Symbol& symbol, ORB_LOAD_RECORD& record) {
  if (symbol.kind == Kind::text) return read_text(module, symbol, record);
  const Found found = find(module.handle, symbol.name, symbol.kind);
  switch (symbol.kind) {
    case Kind::integer:
      put(record, symbol, number_at<int32_t>(found.address, symbol));
      break;
    case Kind::byte:
      put(record, symbol, number_at<uint8_t>(found.address, symbol));
      break;
    default:
      put(record, symbol, found.address);  // a function: its address is the field's value
  }
  const bool is_missing = !found.address && is_needed(symbol, record);
  return (!found.expected && !is_missing) || refuse_symbol(module, symbol.name, found.expected);
}

bool speaks_our_version(const Module& module) {
  const FoundText version = find_text(module.handle, kVersion);
  if (!version.text) return refuse_symbol(module, kVersion, version.expected);
  if (std::strcmp(version.text, kInterfaceVersion) == 0) return true;
  orb__report(ORB_MSG_PLUGIN_VERSION, module.name, kVersion, kInterfaceVersion, version.text);
  return false;
}

bool accepts_start(const Module& module, ORB_LOAD_RECORD& record) {
  const Found found = find(module.handle, kInit, Kind::function);
  if (found.expected) return refuse_symbol(module, kInit, found.expected);
  std::memcpy(&record.init, &found.address, sizeof found.address);
  return !record.init || record.init(&record) != 0;
}

void remove_key(Growable<ORB_LOAD_RECORD>& found, const char* key) {
  for (uint32_t i = 0; i < found.count(); ++i) {
    if (std::strcmp(found[i].key, key) == 0) return found.remove_at(i);
  }
}

bool read_symbols(const Module& module, ORB_LOAD_RECORD& record, Growable<ORB_LOAD_RECORD>& found) {
  for (const Symbol& symbol : kSymbols) {
    if (!read_symbol(module, symbol, record)) return false;
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

const char* orb__module_text(void* module, const char* symbol) {
  return module && symbol ? orb::find_text(module, symbol).text : nullptr;
}
