// The loops between pixels, whose samples stand side by side, and the rows of channels. Pure functions.
#pragma once

#include <cstddef>
#include <cstdint>

namespace orb::plugin {

namespace detail {

// With the number of channels known the loops become moves of whole pixels.
template <int kChannels, class T, class Change>
void split(const T* packed, size_t pixels, void* const* rows, Change change) {
  T* planes[kChannels];
  for (int c = 0; c < kChannels; ++c) planes[c] = static_cast<T*>(rows[c]);
  for (size_t i = 0; i < pixels; ++i) {
    for (int c = 0; c < kChannels; ++c) planes[c][i] = change(packed[i * kChannels + static_cast<size_t>(c)]);
  }
}

template <int kChannels, class T, class Change>
void merge(void* const* rows, size_t pixels, T* packed, Change change) {
  const T* planes[kChannels];
  for (int c = 0; c < kChannels; ++c) planes[c] = static_cast<const T*>(rows[c]);
  for (size_t i = 0; i < pixels; ++i) {
    for (int c = 0; c < kChannels; ++c) packed[i * kChannels + static_cast<size_t>(c)] = change(planes[c][i]);
  }
}

}  // namespace detail

// rows[c][i] = change(packed[i * channels + c])
template <class T, class Change>
void split_pixels(const T* packed, size_t channels, size_t pixels, void* const* rows, Change change) {
  if (channels == 1) return detail::split<1>(packed, pixels, rows, change);
  if (channels == 2) return detail::split<2>(packed, pixels, rows, change);
  if (channels == 3) return detail::split<3>(packed, pixels, rows, change);
  if (channels == 4) return detail::split<4>(packed, pixels, rows, change);
  for (size_t c = 0; c < channels; ++c) {
    T* plane = static_cast<T*>(rows[c]);
    for (size_t i = 0; i < pixels; ++i) plane[i] = change(packed[i * channels + c]);
  }
}

// packed[i * channels + c] = change(rows[c][i])
template <class T, class Change>
void merge_pixels(void* const* rows, size_t channels, size_t pixels, T* packed, Change change) {
  if (channels == 1) return detail::merge<1>(rows, pixels, packed, change);
  if (channels == 2) return detail::merge<2>(rows, pixels, packed, change);
  if (channels == 3) return detail::merge<3>(rows, pixels, packed, change);
  if (channels == 4) return detail::merge<4>(rows, pixels, packed, change);
  for (size_t c = 0; c < channels; ++c) {
    const T* plane = static_cast<const T*>(rows[c]);
    for (size_t i = 0; i < pixels; ++i) packed[i * channels + c] = change(plane[i]);
  }
}

}  // namespace orb::plugin
