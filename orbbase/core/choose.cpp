// Which driver opens a file: by key, by the ending of the file's name, or by the default key. The load
// records are searched directly, plug-ins and built-in drivers each in their order.
#include <string_view>

#include "orbbase/core/internal.h"

namespace orb {
namespace {

using Drivers = std::span<const ORB_LOAD_RECORD>;

// An empty extension ends every name, on purpose: a plug-in without one takes what no plug-in before it took.
const ORB_LOAD_RECORD* ends(Drivers drivers, std::string_view file_name) {
  for (const ORB_LOAD_RECORD& driver : drivers) {
    if (file_name.ends_with(driver.extension)) return &driver;
  }
  return nullptr;
}

const ORB_LOAD_RECORD* choose_by_key(Drivers plugins, Drivers built_ins, std::string_view key,
                                     Direction direction) {
  if (const auto* driver = find_record(plugins, &ORB_LOAD_RECORD::key, key)) return driver;
  if (const auto* driver = find_record(built_ins, &ORB_LOAD_RECORD::key, key)) return driver;
  if (const auto* driver = find_record(plugins, &ORB_LOAD_RECORD::extension, key)) return driver;
  // A built-in driver's extension selects it for writing only, on purpose: ".mem" as a key opens nothing for
  // reading.
  return direction == Direction::write ? find_record(built_ins, &ORB_LOAD_RECORD::extension, key) : nullptr;
}

const ORB_LOAD_RECORD* choose_by_name(Drivers plugins, Drivers built_ins, std::string_view file_name) {
  if (const auto* driver = ends(plugins, file_name)) return driver;
  if (const auto* driver = ends(built_ins, file_name)) return driver;
  if (const auto* driver = find_record(plugins, &ORB_LOAD_RECORD::key, kDefaultKey)) return driver;
  return find_record(plugins, &ORB_LOAD_RECORD::extension, kDefaultKey);
}

}  // namespace

const ORB_LOAD_RECORD* find_record(std::span<const ORB_LOAD_RECORD> records,
                                   const char* ORB_LOAD_RECORD::*field, std::string_view wanted) {
  for (const ORB_LOAD_RECORD& record : records) {
    if (wanted == record.*field) return &record;
  }
  return nullptr;
}

const ORB_LOAD_RECORD* choose_driver(const char* key, const char* file_name, Direction direction) {
  const Drivers plugins = registry().plugins.items();
  const Drivers built_ins = built_in_drivers();
  if (key) return choose_by_key(plugins, built_ins, key, direction);
  return choose_by_name(plugins, built_ins, file_name ? file_name : "");
}

}  // namespace orb
