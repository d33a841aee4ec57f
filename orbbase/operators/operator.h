// What every operator is built on: whether it can be put on a handle, how it reads what lies beneath, how it is
// taken off. An operator is a layer of a handle; its state begins with the layer's fields.
#pragma once

#include "orbbase/core/layer.h"
#include "orbbase/driver.h"
#include "orbbase/operators.h"

namespace orb::op {

// What an operator is on a stack; the numbers between are those of operators that do not exist here.
enum Kind : int32_t {
  kSelect = 1,
  kGamma = 2,
  kFieldMerge = 14,
  kMinMax = 15,
  kQuantize = 22,
};

// The groups of channels that operators look at, in the order of their rows, with the messages that refuse them.
struct GroupRule {
  ORB_CHANNELS ORB_IFD::*group;
  int32_t bad_type;
  int32_t bad_width;
};
inline constexpr GroupRule kGroupRules[] = {
    {&ORB_IFD::color, ORB_MSG_IMAGE_TYPE, ORB_MSG_IMAGE_WIDTH},
    {&ORB_IFD::matte, ORB_MSG_MATTE_TYPE, ORB_MSG_MATTE_WIDTH},
    {&ORB_IFD::aux, ORB_MSG_AUX_TYPE, ORB_MSG_AUX_WIDTH},
};

// The samples of a row that lie in the active window: the first one's index and how many.
struct ActiveSpan {
  size_t offset;
  size_t count;
};

// Whether a handle can carry an operator for a mode: it is open in this mode, has a driver with data and at
// least one image, and the image's windows and channel counts are sound. Otherwise false with orb__err -16, reported with the
// operator's name: without an image as by check_image_count, else as ORB_MSG_CANNOT_HANDLE; but not for a handle
// without a driver's function or data.
[[nodiscard]] bool can_carry(const char* name, const ORB_IMAGE* image, uint32_t mode);

// Call only for a handle that can carry an operator.
[[nodiscard]] ActiveSpan active_span(const ORB_IFD& ifd);

// The applicability checks. Each sets orb__err to 0 and then, when the image index is not below the handle's
// image count, or the group holds anything but integers of up to 8 bits, to -16, reported with the operator's
// name. Return what orb__err then is.
int32_t check_image_count(const char* name, const ORB_IMAGE& image, int32_t index);
int32_t check_color(const char* name, const ORB_IMAGE& image, int32_t index);
int32_t check_matte(const char* name, const ORB_IMAGE& image, int32_t index);
int32_t check_aux(const char* name, const ORB_IMAGE& image, int32_t index);

// A cleared state of an operator. Null, with orb__err -10, when memory ran out.
template <class State>
[[nodiscard]] owned<State> make_state() {
  owned<State> state = make_zeroed<State>(1);
  if (!state) set_error(ORB_E_MEMORY);
  return state;
}

// What a scan function does that is called without a state.
int32_t locked_sub_image();

// Whether a scan function that claims success has given out rows for so many channels. If not, reports it and
// sets orb__err to -18.
[[nodiscard]] bool has_rows(void* const* rows, int32_t channels, int32_t line);

// Calls the scan function beneath.
inline int32_t scan_below(const Layer& layer, int32_t line, void* rows) {
  return layer.scan ? layer.scan(layer.data, line, rows) : fail(ORB_E_HANDLE);
}

// The same for reading rows of so many channels, which are there when this returns 0.
int32_t read_below(const Layer& layer, int32_t line, void*** rows_out, int32_t channels);

}  // namespace orb::op
