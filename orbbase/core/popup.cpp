// A driver's own panels: passing on the request to show one and to take it down.
#include <utility>

#include "orbbase/core/internal.h"

namespace orb {
namespace {

struct State {
  ORB_UI_POPDOWN_FN popdown = nullptr;  // of the panel shown last; null when none is to be taken down
} state;

}  // namespace
}  // namespace orb

int32_t ORB_private_ui_popup(ORB_FORMAT* format, intptr_t argument) {
  if (!format || !format->ui_popup || !format->ui_popdown) return orb::fail(ORB_E_HANDLE);
  orb::state.popdown = format->ui_popdown;
  return format->ui_popup(argument);
}

int32_t ORB_private_ui_popdown(intptr_t a, intptr_t b, intptr_t c, intptr_t d) {
  if (!orb::state.popdown) return 0;
  return std::exchange(orb::state.popdown, nullptr)(a, b, c, d);
}
