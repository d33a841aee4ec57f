// A file from a stranger, for the format ORB_FUZZ_KEY: is it one, what does it hold, and every row of every image.
// Nothing is limited here: whatever a header claims has to be borne by the library with the limits it comes with.
#include "input_file.h"
#include "orbbase/registry.h"
#include "whole_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace orb::fuzz;
  static const InputFile file;
  static const bool is_started = [] {
    start_with_modules(ORB_FUZZ_MODULES);
    ORB_multiframe_set(0, 0);
    return true;
  }();
  require(is_started, "the library does not start");
  file.hold(data, size);
  const char* path = file.path().c_str();
  if (ORB_FORMAT* const format = ORB_find(ORB_FUZZ_KEY); format && format->is_file) {
    static_cast<void>(format->is_file(path, nullptr));
  }
  ORB_IMAGE* const image = open_to_read(path, ORB_FUZZ_KEY);
  if (!image) return 0;
  read_everything(image);
  ORB_close(image);
  return 0;
}
