// An open image that closes itself.
#pragma once

#include <string>
#include <utility>

#include "driver_settings.h"
#include "orbbase/core.h"

namespace orb::tool {

class Image {
 public:
  Image() = default;
  explicit Image(ORB_IMAGE* handle) : handle_(handle) {}
  ~Image();
  Image(Image&& other) noexcept : handle_(std::exchange(other.handle_, nullptr)) {}
  Image& operator=(Image&& other) noexcept {
    std::swap(handle_, other.handle_);
    return *this;
  }

  [[nodiscard]] explicit operator bool() const { return handle_ != nullptr; }
  [[nodiscard]] ORB_IMAGE* get() const { return handle_; }
  ORB_IMAGE* operator->() const { return handle_; }
  // For ORB_seek, which may put another handle in place.
  [[nodiscard]] ORB_IMAGE** slot() { return &handle_; }
  [[nodiscard]] const ORB_IFD& first() const { return handle_->info.images[0]; }

  // Closes now. False when that failed; the library has reported why.
  [[nodiscard]] bool close();
  // Closes what is not to be finished; what the driver says about that is not shown.
  void abandon();

 private:
  ORB_IMAGE* handle_ = nullptr;
};

// Opens a file for reading; an empty Image when the library refused, reported.
[[nodiscard]] Image open_for_reading(const std::string& name, const ORB_FORMAT& format,
                                     const DriverSettings& settings);

// Makes a frame of a file with several current, counted from 1; name is for messages. Throws Failure, reported.
void go_to_frame(const Image& image, int32_t frame, const std::string& name);

// Whether the name stands for a file that is not there. Throws nothing, reports nothing.
[[nodiscard]] bool is_missing(const std::string& name, const ORB_FORMAT& format);

[[nodiscard]] int64_t width_of(const ORB_WINDOW& window);
[[nodiscard]] int64_t height_of(const ORB_WINDOW& window);
// "451 x 300"
[[nodiscard]] std::string size_text(const ORB_WINDOW& window);
// "columns 0 to 450, rows 0 to 299"
[[nodiscard]] std::string window_text(const ORB_WINDOW& window);

}  // namespace orb::tool
