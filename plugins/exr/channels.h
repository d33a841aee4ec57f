// Which of a part's channels are the colours, the mattes and the auxiliary channels of a description, and the
// lists of channel names that a group's name may be.
//
// A list is names between commas; a backslash makes a comma, colon or backslash part of a name. Where a group
// mixes integers with floating-point samples, the integers' names are followed by ":uint".
#pragma once

#include <openexr_attr.h>

#include <cstdint>
#include <span>

#include "orbbase/core.h"
#include "plugins/common/memory.h"

namespace orb::exr {

using plugin::owned;

// The most that the codec library counts.
inline constexpr int32_t kMostChannels = INT16_MAX;

struct Channel {
  const char* name;
  exr_pixel_type_t type;
  int32_t row;  // among the channel rows: colours, mattes, auxiliary channels
};

// What the groups come to: their names are not set. is_luminance_chroma: the colours are stored as luminance and
// differences, which nothing here undoes.
struct Groups {
  ORB_CHANNELS color;
  ORB_CHANNELS matte;
  ORB_CHANNELS aux;
  bool is_luminance_chroma;
};

// Gives every channel its row. Channels come in the file's order, sorted by their names. The colours are R, G, B
// or else Y, the mattes A or else AR, AG, AB; in a part whose names all have the same layer in front ("light.R")
// that is passed over. Colours of one group are all integers or all floating-point. The rest is auxiliary, in
// the file's order: integers, floats, or doubles where both are mixed.
Groups classify(std::span<Channel> channels);

// What a group of channels is called in a description: null when the names are those that every writer uses for
// colours and mattes, else the list. channels: of the group, in the order of its rows. False when memory ran out.
[[nodiscard]] bool name_group(std::span<const Channel> channels, bool is_aux, uint32_t type, char** name_out);

// Channels to be written and the block of their names.
struct NamedChannels {
  owned<Channel> channels;  // sorted by name
  owned<char> names[3];     // by group
  int32_t count;
};

// How floating-point samples are stored: those of colours and mattes, and auxiliary ones.
struct FloatTypes {
  exr_pixel_type_t picture;
  exr_pixel_type_t aux;
};

// Chooses names for the channels of a description's groups: those that a group's name lists, if they will be
// read back into the same group in the same order; else the usual ones. False when memory ran out, or, with
// *is_storable_out false, when doubles are not listed as what classify makes doubles of.
[[nodiscard]] bool choose_names(const ORB_IFD& ifd, const FloatTypes& types, NamedChannels& out,
                                bool* is_storable_out);

}  // namespace orb::exr
