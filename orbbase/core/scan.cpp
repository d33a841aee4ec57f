// Transferring scanlines: through the driver's function, under the handle's lock.
#include "orbbase/core/internal.h"

namespace orb {
namespace {

// Calls function(data, line, arguments...); a success makes line the current one.
template <class Function, class... Arguments>
int32_t transfer(ORB_IMAGE* image, Function ORB_IMAGE::*slot, int32_t line, Arguments... arguments) {
  if (!image) return fail(ORB_E_HANDLE);
  platform::Lock lock(lock_of(image));
  void* data = driver_data(image);
  if (!(image->*slot) || !data) return fail(ORB_E_HANDLE);
  const int32_t result = (image->*slot)(data, line, arguments...);
  if (result == 0) set_current_line(image, line);
  return result;
}

}  // namespace
}  // namespace orb

int32_t ORB_scan_read(ORB_IMAGE* image, int32_t line, void*** rows_out) {
  return orb::transfer(image, &ORB_IMAGE::scan, line, static_cast<void*>(rows_out));
}

int32_t ORB_scan_write(ORB_IMAGE* image, int32_t line, void** rows) {
  return orb::transfer(image, &ORB_IMAGE::scan, line, static_cast<void*>(rows));
}

int32_t ORB_direct_scan_read(ORB_IMAGE* image, int32_t line, intptr_t a, intptr_t b, intptr_t c, intptr_t d) {
  return orb::transfer(image, &ORB_IMAGE::direct_scan, line, a, b, c, d);
}

int32_t ORB_direct_scan_write(ORB_IMAGE* image, int32_t line, intptr_t a, intptr_t b, intptr_t c,
                              intptr_t d) {
  return orb::transfer(image, &ORB_IMAGE::direct_scan, line, a, b, c, d);
}
