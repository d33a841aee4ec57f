#include "channels.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "plugins/common/counted_text.h"
#include "plugins/common/description.h"

namespace orb::exr {
namespace {

using plugin::CountedText;

constexpr size_t kLongestName = 255;
constexpr std::string_view kInteger = "uint";

// The names that make a group, without a layer.
struct NamedGroup {
  bool is_matte;
  int32_t count;
  const char* names[3];
};
constexpr NamedGroup kNamedGroups[] = {
    {false, 3, {"R", "G", "B"}}, {false, 1, {"Y"}}, {true, 1, {"A"}}, {true, 3, {"AR", "AG", "AB"}}};

bool is_integer(exr_pixel_type_t type) { return type == EXR_PIXEL_UINT; }

// ---- What is in a file ----

// The layer's name with its dot; empty for a channel of none.
std::string_view layer_of(std::string_view name) {
  const size_t dot = name.rfind('.');
  return dot == std::string_view::npos ? std::string_view() : name.substr(0, dot + 1);
}

std::string_view common_layer(std::span<const Channel> channels) {
  const std::string_view layer = layer_of(channels.front().name);
  const bool is_common = std::all_of(channels.begin(), channels.end(),
                                     [layer](const Channel& c) { return layer_of(c.name) == layer; });
  return is_common ? layer : std::string_view();
}

Channel* find(std::span<Channel> channels, std::string_view layer, std::string_view name) {
  for (Channel& channel : channels) {
    const std::string_view whole = channel.name;
    if (whole.size() == layer.size() + name.size() && whole.starts_with(layer) && whole.ends_with(name)) {
      return &channel;
    }
  }
  return nullptr;
}

constexpr int32_t kNoRow = -1;

// Gives the group's channels the rows from first on, if all of them are there and of one kind.
bool take_group(std::span<Channel> channels, std::string_view layer, const NamedGroup& group, int32_t first,
                ORB_CHANNELS& out) {
  Channel* found[3] = {};
  for (int32_t i = 0; i < group.count; ++i) {
    found[i] = find(channels, layer, group.names[i]);
    if (!found[i] || is_integer(found[i]->type) != is_integer(found[0]->type)) return false;
  }
  for (int32_t i = 0; i < group.count; ++i) found[i]->row = first + i;
  out = {nullptr, group.count, is_integer(found[0]->type) ? ORB_C_INTEGER : ORB_C_FLOAT, 32};
  return true;
}

ORB_CHANNELS take_rest(std::span<Channel> channels, int32_t first) {
  int32_t integers = 0;
  int32_t count = 0;
  for (Channel& channel : channels) {
    if (channel.row != kNoRow) continue;
    channel.row = first + count++;
    integers += is_integer(channel.type) ? 1 : 0;
  }
  if (integers == 0) return {nullptr, count, ORB_C_FLOAT, 32};
  if (integers == count) return {nullptr, count, ORB_C_INTEGER, 32};
  return {nullptr, count, ORB_C_DOUBLE, 64};
}

// ---- Lists of names ----

void add_list(std::span<const Channel> channels, bool has_types, CountedText& text) {
  for (const Channel& channel : channels) {
    if (&channel != channels.data()) text.add(',');
    for (const char* c = channel.name; *c != '\0'; ++c) {
      if (*c == ',' || *c == ':' || *c == '\\') text.add('\\');
      text.add(*c);
    }
    if (has_types && is_integer(channel.type)) {
      text.add(':');
      text.add(kInteger);
    }
  }
}

// The next name of a list, unescaped into out, zero-terminated; rest moves behind its comma. False when there is
// none that a channel can have.
struct Item {
  std::string_view name;
  std::string_view type;
};
bool take_item(std::string_view& rest, char* out, Item& item) {
  size_t used = 0;
  size_t at = 0;
  for (; at < rest.size() && rest[at] != ',' && rest[at] != ':'; ++at) {
    if (rest[at] == '\\' && ++at == rest.size()) return false;
    out[used++] = rest[at];
  }
  out[used] = '\0';
  item.name = {out, used};
  const size_t comma = std::min(rest.find(',', at), rest.size());
  item.type = comma > at ? rest.substr(at + 1, comma - at - 1) : std::string_view();
  rest.remove_prefix(std::min(comma + 1, rest.size()));
  return used > 0 && used <= kLongestName;
}

// The channels that a list names; as many as there is room for, and not one less. False when it is no such list.
// names has room for the list and one character more.
bool take_list(std::string_view list, std::span<Channel> out, exr_pixel_type_t floats, bool has_types,
               char* names) {
  // An end after a comma would be one more name, an empty one.
  if (list.ends_with(',')) return false;
  for (Channel& channel : out) {
    Item item;
    if (list.empty() || !take_item(list, names, item)) return false;
    if (!item.type.empty() && (!has_types || item.type != kInteger)) return false;
    channel.name = names;
    if (has_types) channel.type = item.type.empty() ? floats : EXR_PIXEL_UINT;
    names += item.name.size() + 1;
  }
  return list.empty();
}

bool is_sorted_and_distinct(std::span<const Channel> channels) {
  return std::adjacent_find(channels.begin(), channels.end(), [](const Channel& a, const Channel& b) {
           return std::strcmp(a.name, b.name) >= 0;
         }) == channels.end();
}

// Whether names are those of a group with or without a layer in front.
bool is_named_group(std::span<const Channel> channels, bool is_matte) {
  return std::any_of(std::begin(kNamedGroups), std::end(kNamedGroups), [&](const NamedGroup& group) {
    if (group.is_matte != is_matte || static_cast<size_t>(group.count) != channels.size()) return false;
    for (size_t i = 0; i < channels.size(); ++i) {
      const std::string_view name = channels[i].name;
      if (name.substr(layer_of(name).size()) != group.names[i]) return false;
    }
    return true;
  });
}

// ---- Names for a file ----

constexpr ORB_CHANNELS ORB_IFD::*kGroups[3] = {&ORB_IFD::color, &ORB_IFD::matte, &ORB_IFD::aux};
constexpr int kAux = 2;
constexpr size_t kUsualNameBytes = 16;

int digits_of(int32_t number) { return std::snprintf(nullptr, 0, "%d", number); }

// "Z", and "aux2" for a second one; as many digits for each as sorts them.
void give_usual_name(int group, int32_t index, int32_t count, char* out) {
  if (group == kAux) {
    if (index == 0) {
      std::snprintf(out, kUsualNameBytes, "Z");
    } else {
      std::snprintf(out, kUsualNameBytes, "aux%0*d", digits_of(count), index + 1);
    }
    return;
  }
  for (const NamedGroup& named : kNamedGroups) {
    if (named.is_matte == (group == 1) && named.count == count) {
      std::snprintf(out, kUsualNameBytes, "%s", named.names[index]);
    }
  }
}

// False when memory ran out.
bool name_usually(int group, std::span<Channel> channels, owned<char>& names) {
  names = plugin::make_zeroed<char>(channels.size() * kUsualNameBytes + 1);
  if (!names) return false;
  const auto count = static_cast<int32_t>(channels.size());
  for (int32_t i = 0; i < count; ++i) {
    char* name = names.get() + static_cast<size_t>(i) * kUsualNameBytes;
    give_usual_name(group, i, count, name);
    channels[static_cast<size_t>(i)].name = name;
  }
  return true;
}

bool is_good_list(int group, std::span<const Channel> channels) {
  return group == kAux ? is_sorted_and_distinct(channels) : is_named_group(channels, group == 1);
}

// False when memory ran out.
bool name_as_listed(int group, const char* list, bool has_types, exr_pixel_type_t floats,
                    std::span<Channel> channels, owned<char>& names) {
  if (!plugin::is_given(list)) return name_usually(group, channels, names);
  // One more for the end of each name whose comma is not there: the last.
  names = plugin::make_zeroed<char>(std::strlen(list) + 2);
  if (!names) return false;
  if (take_list(list, channels, floats, has_types, names.get()) && is_good_list(group, channels)) return true;
  return name_usually(group, channels, names);
}

bool is_same_group(const ORB_CHANNELS& wanted, const ORB_CHANNELS& found) {
  return wanted.count == found.count && (wanted.count == 0 || wanted.type == found.type);
}

// Whether the channels, sorted in place, come back as what they were chosen for.
bool comes_back(const ORB_IFD& ifd, std::span<Channel> channels, std::span<int32_t> rows) {
  std::sort(channels.begin(), channels.end(),
            [](const Channel& a, const Channel& b) { return std::strcmp(a.name, b.name) < 0; });
  for (size_t i = 0; i < channels.size(); ++i) rows[i] = channels[i].row;
  const Groups groups = classify(channels);
  bool is_same = is_sorted_and_distinct(channels) && is_same_group(ifd.color, groups.color) &&
                 is_same_group(ifd.matte, groups.matte) && is_same_group(ifd.aux, groups.aux) &&
                 !groups.is_luminance_chroma;
  for (size_t i = 0; i < channels.size(); ++i) is_same = is_same && rows[i] == channels[i].row;
  return is_same;
}

enum class Naming { listed, usual };

// False when memory ran out.
bool fill_in(const ORB_IFD& ifd, const FloatTypes& types, Naming naming, NamedChannels& out) {
  Channel* next = out.channels.get();
  int32_t row = 0;
  for (int i = 0; i < 3; ++i) {
    const ORB_CHANNELS& group = ifd.*kGroups[i];
    const exr_pixel_type_t floats = i == kAux ? types.aux : types.picture;
    const std::span<Channel> channels(next, static_cast<size_t>(group.count));
    for (Channel& channel : channels) {
      channel = {"", group.type == ORB_C_INTEGER ? EXR_PIXEL_UINT : floats, row++};
    }
    const char* list = naming == Naming::listed ? group.name : nullptr;
    if (!name_as_listed(i, list, group.type == ORB_C_DOUBLE, floats, channels, out.names[i])) return false;
    next += group.count;
  }
  return true;
}

}  // namespace

Groups classify(std::span<Channel> channels) {
  Groups groups = {{nullptr, 0, ORB_C_FLOAT, 32}, {nullptr, 0, ORB_C_FLOAT, 32}, {}, false};
  const std::string_view layer = common_layer(channels);
  for (Channel& channel : channels) channel.row = kNoRow;
  groups.is_luminance_chroma = find(channels, layer, "RY") && find(channels, layer, "BY");
  for (const NamedGroup& named : kNamedGroups) {
    ORB_CHANNELS& group = named.is_matte ? groups.matte : groups.color;
    if (group.count == 0) {
      static_cast<void>(take_group(channels, layer, named, named.is_matte ? groups.color.count : 0, group));
    }
  }
  groups.aux = take_rest(channels, groups.color.count + groups.matte.count);
  return groups;
}

bool name_group(std::span<const Channel> channels, bool is_aux, uint32_t type, char** name_out) {
  *name_out = nullptr;
  const bool is_usual = !is_aux && std::all_of(channels.begin(), channels.end(), [](const Channel& channel) {
    return layer_of(channel.name).empty();
  });
  if (channels.empty() || is_usual) return true;
  *name_out =
      plugin::make_text([&](CountedText& text) { add_list(channels, type == ORB_C_DOUBLE, text); }).release();
  return *name_out != nullptr;
}

bool choose_names(const ORB_IFD& ifd, const FloatTypes& types, NamedChannels& out, bool* is_storable_out) {
  *is_storable_out = true;
  out.count = ifd.color.count + ifd.matte.count + ifd.aux.count;
  const auto count = static_cast<size_t>(out.count);
  out.channels = plugin::make_zeroed<Channel>(count);
  const owned<int32_t> rows = plugin::make_zeroed<int32_t>(count);
  if (!out.channels || !rows) return false;
  for (const Naming naming : {Naming::listed, Naming::usual}) {
    if (!fill_in(ifd, types, naming, out)) return false;
    const std::span<Channel> channels(out.channels.get(), count);
    if (comes_back(ifd, channels, {rows.get(), count})) return true;
  }
  return *is_storable_out = false;
}

}  // namespace orb::exr
