// Closing a handle: by its driver, or into the multi-frame cache.
#include "orbbase/core/internal.h"

int32_t ORB_close(ORB_IMAGE* image) {
  using namespace orb;
  if (!image) return fail(ORB_E_HANDLE);
  // The handle's lock first, then the library's: every other place that needs both takes them so.
  platform::lock(lock_of(image));
  platform::Lock lock(library_mutex());
  if (ORB_multiframe_used()) {
    platform::unlock(lock_of(image));
    return ORB_multiframe_set_closed(image);
  }
  // Without a close function the handle lives on, and its lock must not stay taken. Otherwise the lock is not
  // released here: it goes with the handle.
  if (!image->close) platform::unlock(lock_of(image));
  return ORB_close_do_it(image);
}

int32_t ORB_close_do_it(ORB_IMAGE* image) {
  if (!image || !image->close) return orb::fail(ORB_E_HANDLE);
  return image->close(image);
}
