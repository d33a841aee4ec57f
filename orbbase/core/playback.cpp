// Frames and playback of multi-frame files: passed on to the driver's function of the same name.
#include "orbbase/core/internal.h"
#include "orbbase/driver.h"

namespace orb {
namespace {

// Calls function(data, arguments...). Where the handle has none, or holds no frames, reports the message and
// gives -16; orb__err is left alone, on purpose.
template <class Function, class... Arguments>
int32_t pass_on(ORB_IMAGE* image, Function ORB_IMAGE::*slot, int32_t message, Arguments... arguments) {
  if (!image) return ORB_E_HANDLE;
  if (image->*slot && image->info.frame_count > 0) return (image->*slot)(driver_data(image), arguments...);
  const char* file_name = image->info.handle;
  const char* key = image->info.key;
  orb__report(message, file_name ? file_name : "", key ? key : "");
  return ORB_E_HANDLE;
}

// The same under the handle's lock, as scanlines are transferred: for what moves a reader. Playback itself
// goes without, since its sink runs meanwhile and another thread may stop it.
template <class Function, class... Arguments>
int32_t pass_on_locked(ORB_IMAGE* image, Function ORB_IMAGE::*slot, int32_t message, Arguments... arguments) {
  platform::Lock lock(image ? lock_of(image) : nullptr);
  return pass_on(image, slot, message, arguments...);
}

}  // namespace
}  // namespace orb

int32_t ORB_get_frame(ORB_IMAGE* image, intptr_t a, intptr_t b, intptr_t c) {
  // Speaks of setting a frame, on purpose.
  return orb::pass_on_locked(image, &ORB_IMAGE::get_frame, ORB_MSG_SET_FRAME, a, b, c);
}

int32_t ORB_set_frame(ORB_IMAGE* image, intptr_t a, intptr_t b, intptr_t c) {
  return orb::pass_on_locked(image, &ORB_IMAGE::set_frame, ORB_MSG_SET_FRAME, a, b, c);
}

int32_t ORB_playback_bind(ORB_IMAGE* image, intptr_t a, intptr_t b, intptr_t c) {
  return orb::pass_on(image, &ORB_IMAGE::playback_bind, ORB_MSG_PLAYBACK_BIND, a, b, c);
}

int32_t ORB_playback_goto(ORB_IMAGE* image, intptr_t a, intptr_t b, intptr_t c) {
  return orb::pass_on(image, &ORB_IMAGE::playback_goto, ORB_MSG_PLAYBACK_GOTO, a, b, c);
}

int32_t ORB_playback_params(ORB_IMAGE* image, intptr_t a, intptr_t b, intptr_t c, uint32_t d, uint32_t e,
                            uint8_t f, uint8_t g, uint8_t h) {
  return orb::pass_on(image, &ORB_IMAGE::playback_params, ORB_MSG_PLAYBACK_PARAMS, a, b, c, d, e, f, g, h);
}

int32_t ORB_playback_play(ORB_IMAGE* image, intptr_t a, intptr_t b, intptr_t c, uint8_t d, intptr_t e) {
  return orb::pass_on(image, &ORB_IMAGE::playback_play, ORB_MSG_PLAYBACK_PLAY, a, b, c, d, e);
}

int32_t ORB_playback_stop(ORB_IMAGE* image, intptr_t a, intptr_t b, intptr_t c) {
  return orb::pass_on(image, &ORB_IMAGE::playback_stop, ORB_MSG_PLAYBACK_STOP, a, b, c);
}
