// A driver's own settings as they are typed, against what the driver says that it offers.
#include "driver_settings.h"

#include <cstring>
#include <optional>

#include "at_work.h"
#include "exit_codes.h"
#include "numbers.h"
#include "reports.h"

namespace orb::tool {
namespace {

// Names of settings are words for people: case and the mark between words do not matter.
bool is_same_name(const std::string& typed, const char* name) {
  const auto plain = [](char c) {
    if (c >= 'A' && c <= 'Z') return static_cast<char>(c - 'A' + 'a');
    return c == ' ' || c == '_' ? '-' : c;
  };
  if (name == nullptr || typed.size() != std::strlen(name)) return false;
  for (size_t i = 0; i < typed.size(); ++i) {
    if (plain(typed[i]) != plain(name[i])) return false;
  }
  return true;
}

std::string names_of(const ORB_FORMAT& format) {
  std::string names;
  for (const ORB_CAPABILITY& capability : capabilities_of(format)) {
    names += (names.empty() ? "" : ", ") + std::string(capability.name);
  }
  return names.empty() ? "it has none" : "it has " + names;
}

void choose(ORB_CAP_SETTING& setting, const ORB_CAPABILITY& capability, const std::string& value) {
  std::string choices;
  for (uint32_t i = 0; capability.list != nullptr && i < capability.list->entry_count; ++i) {
    const ORB_CAP_ENTRY& entry = capability.list->entries[i];
    if (is_same_name(value, entry.name)) {
      setting.value.integer = entry.code;
      return;
    }
    choices += (choices.empty() ? "" : ", ") + std::string(entry.name);
  }
  throw Failure(
      kUsage, std::string("setting ") + capability.name + ": no choice \"" + value + "\"; it has " + choices);
}

// Code 1 holds a real number, others a whole one; a driver's further codes take what was typed.
void fill(ORB_CAP_SETTING& setting, const ORB_CAPABILITY& capability, const std::string& value) {
  const std::optional<int32_t> integer = as_number<int32_t>(value);
  const std::optional<float> real = as_number<float>(value);
  if (setting.code != 1 && integer) {
    setting.value.integer = *integer;
  } else if (setting.code != 0 && real) {
    setting.value.real = *real;
  } else {
    throw Failure(
        kUsage, std::string("setting ") + capability.name + ": \"" + value + "\" is not a number that fits");
  }
}

}  // namespace

std::span<const ORB_CAPABILITY> capabilities_of(const ORB_FORMAT& format) {
  ORB_CAPABILITY* table = nullptr;
  int32_t count_a = 0;
  int32_t count_b = 0;
  int32_t count = 0;
  ORB_info_get_specific(format.key, nullptr, &table, &count_a, &count_b, &count);
  if (table == nullptr || count <= 0) return {};
  return {table, static_cast<size_t>(count)};
}

DriverSettings::DriverSettings(const ORB_FORMAT& format, const std::vector<std::string>& typed) {
  for (const std::string& text : typed) {
    const size_t equals = text.find('=');
    const std::string name = text.substr(0, equals);
    const ORB_CAPABILITY* found = nullptr;
    for (const ORB_CAPABILITY& capability : capabilities_of(format)) {
      if (is_same_name(name, capability.name)) found = &capability;
    }
    if (equals == std::string::npos) throw Failure(kUsage, "setting \"" + text + "\": expecting NAME=VALUE");
    if (found == nullptr) {
      throw Failure(kUsage,
                    std::string(format.key) + " has no setting \"" + name + "\"; " + names_of(format));
    }
    if ((found->flags & ORB_CAP_UNAVAILABLE) != 0) {
      throw Failure(kUsage, std::string(format.key) + ": the setting " + found->name + " is not available");
    }
    ORB_CAP_SETTING setting = {};
    setting.code = static_cast<uint16_t>(found->ident);
    const std::string value = text.substr(equals + 1);
    if (found->is_value == 0) {
      choose(setting, *found, value);
    } else {
      fill(setting, *found, value);
    }
    settings_.push_back(setting);
  }
}

// A handle owns its settings; those of an open that failed are still ours.
ORB_IMAGE* DriverSettings::open(ORB_INFO& record, const char* mode) const {
  record.settings = list();
  note_file(*mode == 'w' ? Doing::writing : Doing::reading, shown_name(record.handle), record.key);
  ORB_IMAGE* const image = ORB_open(&record, mode);
  if (image != nullptr || record.settings == nullptr) return image;
  for (ORB_CAP_SETTING** setting = record.settings; *setting != nullptr; ++setting) ERR_free(*setting);
  ERR_free(record.settings);
  return nullptr;
}

ORB_CAP_SETTING** DriverSettings::list() const {
  std::vector<ORB_CAP_SETTING> copies = settings_;
  std::vector<ORB_CAP_SETTING*> pointers;
  for (ORB_CAP_SETTING& setting : copies) pointers.push_back(&setting);
  pointers.push_back(nullptr);
  return copies.empty() ? nullptr : ORB_cap_setting_copy(pointers.data());
}

}  // namespace orb::tool
