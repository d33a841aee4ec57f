// What the loaded plug-ins offer, for menus and file dialogs: listings, and look-ups between key, name and
// extension. Then the few questions that go to the whole registry, built-in drivers included.
#include <cstdio>
#include <cstring>
#include <string_view>

#include "orbbase/core/internal.h"
#include "orbbase/driver.h"
#include "orbbase/str.h"

namespace orb {
namespace {

constexpr int32_t kNotFound = -1;
constexpr int32_t kManyFrames = 2;         // imageMultiFrame from here on: many frames
constexpr size_t kTooLongForDisplay = 25;  // characters of a pattern

using Plugins = std::span<const ORB_LOAD_RECORD>;
using Text = const char* ORB_LOAD_RECORD::*;

void print(const char* text) { std::fputs(text, stderr); }

// The plug-in table; it is only looked at, whatever the words say that are printed for an empty one.
Plugins loaded_plugins() {
  const Plugins plugins = registry().plugins.items();
  if (plugins.empty()) print("Plugins not loaded, so Load!!\n\n");
  return plugins;
}

// For the queries that then say the same once more.
Plugins loaded_plugins_or_say() {
  const Plugins plugins = loaded_plugins();
  if (plugins.empty()) print("No Plugins!\n");
  return plugins;
}

int32_t list_texts(Text field, const char** texts_out) {
  if (!texts_out) {
    print("NULL pointer passed\n");
    return 0;
  }
  const Plugins plugins = loaded_plugins_or_say();
  for (const ORB_LOAD_RECORD& plugin : plugins) *texts_out++ = plugin.*field;
  return static_cast<int32_t>(plugins.size());
}

// Null, with a word on standard error, for a null key.
const ORB_LOAD_RECORD* plugin_of_key(const char* key) {
  if (!key) {
    print("NULL key passed in\n");
    return nullptr;
  }
  return find_record(loaded_plugins(), &ORB_LOAD_RECORD::key, key);
}

const ORB_LOAD_RECORD* plugin_of_name(const char* name) {
  if (!name) {
    print("NULL pluginName passed in\n");
    return nullptr;
  }
  return find_record(loaded_plugins_or_say(), &ORB_LOAD_RECORD::name, name);
}

// The caller's buffer has room, by contract.
char* append(char* at, std::string_view text) {
  std::memcpy(at, text.data(), text.size());
  return at + text.size();
}

int32_t copy_out(const ORB_LOAD_RECORD* plugin, Text field, char* text_out) {
  if (!plugin || !text_out) return kNotFound;
  *append(text_out, plugin->*field) = '\0';
  return 0;
}

// "TIFF (*.tif)", a zero, "*.tif", a zero.
char* append_filter(char* at, const ORB_LOAD_RECORD& plugin) {
  const std::string_view extension = plugin.extension;
  at = append(append(at, plugin.name), " (");
  if (extension.size() + 1 < kTooLongForDisplay) {
    at = append(append(at, "*"), extension);
  } else {
    at = append(at, "all formats");
  }
  at = append(append(at, std::string_view(")\0*", 3)), extension);
  *at++ = '\0';
  return at;
}

int32_t access_of(const char* key, int32_t wanted) {
  const ORB_FORMAT* format = key ? ORB_find(key) : nullptr;
  return format ? format->access & wanted : 0;
}

}  // namespace
}  // namespace orb

int32_t ORB_getFormatKeys(const char** keys_out) { return orb::list_texts(&ORB_LOAD_RECORD::key, keys_out); }

int32_t ORB_getPluginExtensions(const char** extensions_out) {
  return orb::list_texts(&ORB_LOAD_RECORD::extension, extensions_out);
}

int32_t ORB_getPluginNames(char** names_out) {
  // The names themselves first, then a copy in the place of each.
  const auto texts = const_cast<const char**>(names_out);
  const int32_t count = orb::list_texts(&ORB_LOAD_RECORD::name, texts);
  bool is_whole = true;
  for (int32_t i = 0; i < count; ++i) {
    names_out[i] = STR_save(texts[i]);
    is_whole = is_whole && names_out[i];
  }
  if (!is_whole) orb::out_of_memory();
  return count;
}

int32_t ORB_getPluginNameFromKey(const char* key, char* name_out) {
  return orb::copy_out(orb::plugin_of_key(key), &ORB_LOAD_RECORD::name, name_out);
}

int32_t ORB_getKeyFromPluginName(const char* name, char* key_out) {
  return orb::copy_out(orb::plugin_of_name(name), &ORB_LOAD_RECORD::key, key_out);
}

int32_t ORB_getExtFromPluginName(const char* name, char* extension_out) {
  return orb::copy_out(orb::plugin_of_name(name), &ORB_LOAD_RECORD::extension, extension_out);
}

int32_t ORB_getExtFromFormatKey(const char* key, char* extension_out) {
  const ORB_LOAD_RECORD* plugin = orb::plugin_of_key(key);
  if (!plugin) return orb::kNotFound;
  // By way of the name, on purpose: of two plug-ins with one name, the first's extension serves both.
  return ORB_getExtFromPluginName(plugin->name, extension_out);
}

void ORB_getOnlyExtensions(char* buffer) {
  if (!buffer) return orb::print("NULL buffer passed in\n");
  for (const ORB_LOAD_RECORD& plugin : orb::loaded_plugins_or_say()) {
    buffer = orb::append(orb::append(orb::append(buffer, "*"), plugin.extension), ";");
  }
  *buffer = '\0';
}

void ORB_getPluginNamesWithFilters(char* buffer) {
  if (!buffer) return orb::print("NULL pointer passed!\n");
  for (const ORB_LOAD_RECORD& plugin : orb::loaded_plugins()) buffer = orb::append_filter(buffer, plugin);
  *buffer = '\0';
}

int32_t ORB_isMultiFrameFormat(const char* key) {
  if (!key) {
    orb::print("NULL key passed in\n");
    return 0;
  }
  const ORB_LOAD_RECORD* plugin = orb::find_record(orb::loaded_plugins_or_say(), &ORB_LOAD_RECORD::key, key);
  return plugin && plugin->multi_frame >= orb::kManyFrames;
}

int32_t ORB_hasReadSupport(const char* key) { return orb::access_of(key, ORB_ACCESS_READ); }

int32_t ORB_hasWriteSupport(const char* key) { return orb::access_of(key, ORB_ACCESS_WRITE); }

const char* ORB_name_from_key(const char* key) {
  if (!key) return nullptr;
  const ORB_FORMAT* format = ORB_find(key);
  if (!format) orb__report(ORB_MSG_UNKNOWN_KEY, key);
  return format && format->name ? format->name : key;
}
