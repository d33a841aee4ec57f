// The registry of formats: its state, the built-in drivers' records, finding and walking. Starting and ending
// it is lifecycle.cpp's.
#include <cstring>

#include "orbbase/core/drivers/drivers.h"
#include "orbbase/core/internal.h"

namespace orb {
namespace {

constexpr const char* kFormatString = "%s.%04.4d%s";
constexpr const char* kNameSyntax = "Name.####.Ext";
constexpr uint32_t kAllBits = UINT32_MAX;
constexpr int32_t kMany = 32767;

constexpr ORB_LOAD_RECORD pipe_driver() {
  ORB_LOAD_RECORD record = {};
  record.key = "pipe";
  record.extension = ".pipe";
  record.name = "pipe";
  record.description = "ipc";
  record.format_string = kFormatString;
  record.name_syntax = kNameSyntax;
  record.add_extension = 1;
  record.usage = 1;
  record.orientation = 1;
  record.channels = 3;
  record.channel_bits = kAllBits;
  record.mattes = 1;
  record.matte_bits = kAllBits;
  record.active_window = 1;
  record.access = ORB_ACCESS_READ | ORB_ACCESS_WRITE;
  record.read_open = pipe_read_open;
  record.write_open = pipe_write_open;
  record.is_file = pipe_is_file;
  return record;
}

constexpr ORB_LOAD_RECORD mem_driver() {
  ORB_LOAD_RECORD record = {};
  record.key = "mem";
  record.extension = ".mem";
  record.name = "memory";
  record.format_string = kFormatString;
  record.name_syntax = kNameSyntax;
  record.add_extension = 1;
  record.usage = 255;
  record.orientation = 1;
  record.channels = kMany;
  record.channel_bits = kAllBits;
  record.mattes = kMany;
  record.matte_bits = kAllBits;
  record.z_channels = kMany;
  record.z_bits = kAllBits;
  record.active_window = 1;
  record.access = ORB_ACCESS_READ | ORB_ACCESS_WRITE | ORB_ACCESS_ANY_LINE | ORB_ACCESS_MEMORY;
  record.read_open = mem_read_open;
  record.write_open = mem_write_open;
  record.is_file = mem_is_file;
  return record;
}

// Plug-ins that carry one of these keys come before them in every search.
constinit ORB_LOAD_RECORD built_ins[] = {pipe_driver(), mem_driver()};

constinit Registry state;

void fill_format(const ORB_LOAD_RECORD& record, bool built_in, ORB_FORMAT& format) {
  format.key = record.key;
  format.extension = record.extension;
  format.name = record.name;
  format.description = record.description;
  format.description_from_catalogue = record.description_from_catalogue;
  format.catalogue_description = record.catalogue_description;
  format.format_string = record.format_string;
  format.name_syntax = record.name_syntax;
  format.add_extension = record.add_extension;
  format.usage = record.usage;
  format.orientation = record.orientation;
  format.palette_bits = record.palette_bits;
  format.channels = record.channels;
  format.channel_bits = record.channel_bits;
  format.mattes = record.mattes;
  format.matte_bits = record.matte_bits;
  format.z_channels = record.z_channels;
  format.z_bits = record.z_bits;
  format.active_window = record.active_window;
  format.access = record.access;
  format.capability = record.capability;
  // Left out of a built-in driver's node, on purpose.
  format.caps_avail_update = built_in ? nullptr : record.caps_avail_update;
  format.multi_frame = record.multi_frame;
  format.hard_link_duplicates = record.hard_link_duplicates;
  format.remote_access = record.remote_access;
  format.is_file = record.is_file;
  format.ui_popdown = record.ui_popdown;
  format.ui_popup = record.ui_popup;
}

bool answers_to(const ORB_FORMAT& format, const char* name) {
  return std::strcmp(format.key, name) == 0 || std::strcmp(format.extension, name) == 0;
}

}  // namespace

Registry& registry() { return state; }

std::span<ORB_LOAD_RECORD> built_in_drivers() { return built_ins; }

bool register_format(const ORB_LOAD_RECORD& record, bool built_in) {
  owned<FormatNode> node = make_zeroed<FormatNode>(1);
  if (!node) return false;
  fill_format(record, built_in, node->format);
  node->built_in = built_in ? 1 : 0;
  if (record.description_from_catalogue && record.catalogue_description) {
    if (!replace_text(&node->own_description, record.catalogue_description)) return out_of_memory();
    node->format.description = node->own_description;
  }
  state.formats.append(node.release());
  return true;
}

void clear_registry() {
  state.last_match = nullptr;
  while (FormatNode* node = state.formats.take_first()) {
    ERR_free(node->own_description);
    ERR_free(node);
  }
  state.formats = {};
  state.plugins.release();
}

}  // namespace orb

ORB_FORMAT* ORB_find(const char* name) {
  if (!orb::start_on_demand("ORB_find") || !name) return nullptr;
  auto& formats = orb::state.formats;
  orb::ListNode* const position = formats.position();
  formats.rewind();
  while (orb::FormatNode* node = formats.next()) {
    if (orb::answers_to(node->format, name)) return &node->format;  // the walk stays behind it
  }
  formats.set_position(position);
  return nullptr;
}

ORB_FORMAT* ORB_info(void) {
  if (!orb::start_on_demand("ORB_info")) return nullptr;
  while (orb::FormatNode* node = orb::state.formats.next()) {
    if (!node->built_in) return &node->format;
  }
  return nullptr;
}

const char* ORB_def_key(void) {
  (void)orb::start_on_demand("ORB_def_key");  // its own failure is reported; the key stands regardless
  return orb::kDefaultKey;
}

const char* ORB_def_base_name(void) {
  (void)orb::start_on_demand("ORB_def_base_name");
  return orb::kDefaultBaseName;
}
