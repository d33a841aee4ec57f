// A configuration file from a stranger, read by every database that looks into it: formats, frame buffers, colours.
#include <fcntl.h>

#include <cstring>
#include <filesystem>

#include "input_file.h"
#include "orbbase/clr.h"
#include "orbbase/colour/internal.h"
#include "orbbase/core.h"
#include "orbbase/support/config/fb.h"
#include "orbbase/support/config/internal.h"
#include "orbbase/support/fmt.h"

namespace {

using namespace orb::fuzz;

// A home folder whose configuration file is the input.
class Home {
 public:
  Home() {
    std::string pattern = (std::filesystem::temp_directory_path() / "orbfuzzXXXXXX").string();
    require(mkdtemp(pattern.data()) != nullptr, "no scratch folder");
    folder_ = pattern;
    std::filesystem::create_symlink("/proc/" + std::to_string(getpid()) + input_.path().substr(10), file());
    setenv("HOME", folder_.c_str(), 1);
  }
  ~Home() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }
  Home(const Home&) = delete;
  Home& operator=(const Home&) = delete;
  [[nodiscard]] std::filesystem::path file() const { return folder_ / ".orbrc"; }
  [[nodiscard]] const InputFile& input() const { return input_; }

 private:
  InputFile input_;
  std::filesystem::path folder_;
};

size_t read_text(const char* text) {
  require(text != nullptr, "a text is missing");
  return std::strlen(text);
}

size_t walk_aspects() {
  size_t count = 0;
  while (const FMT_ASPECT* aspect = FMT_info()) {
    read_text(aspect->name);
    require(FMT_find(aspect->name) == aspect, "an aspect is not found by its name");
    ++count;
  }
  return count;
}

void walk_frame_buffers() {
  while (const orb::fb::FrameBuffer* buffer = orb::fb::info()) {
    read_text(buffer->name);
    require(orb::fb::find(buffer->name) == buffer, "a frame buffer is not found by its name");
  }
  read_text(orb::fb::default_name());
}

void walk_bins(int32_t most) {
  for (int32_t count = 0; count <= most; ++count) {
    const CLR_BINS* bins = CLR_find(count);
    if (!bins) continue;
    float sum = bins->boundaries[count];
    for (int32_t i = 0; i < count; ++i) sum += bins->wavelengths[i] + bins->weights[3 * i + 2];
    require(bins->count == count && (sum == sum || sum != sum), "a set of bins has another count");
  }
}

void list_settings() {
  ORB_SETTING setting = {};
  for (int32_t i = 0; ORB_setting(i, &setting) != 0; ++i) {
    read_text(setting.name);
    read_text(setting.value);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const Home home;
  ERR_dcl_handler(nullptr, swallow, nullptr);
  home.input().hold(data, size);
  require(FMT_init(nullptr) == 0 && orb::fb::init(nullptr) == 0, "a database does not start");
  static_cast<void>(orb::clr_init(nullptr));
  require(walk_aspects() > 0, "the built-in aspect is missing");
  walk_frame_buffers();
  walk_bins(64);
  read_text(FMT_def_aspect());
  read_text(FMT_def_image_data());
  require(FMT_def_frame_rate() > 0 && FMT_def_swatch() >= 0, "a setting is out of its range");
  list_settings();
  orb::clr::reset_for_test();
  orb::fb::reset_for_test();
  orb::fmt::reset_for_test();
  ERR_can_handler(nullptr);
  return 0;
}
