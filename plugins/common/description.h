// The description of a handle, for formats that say little beside the samples.
#pragma once

#include <cstdint>

#include "memory.h"
#include "orbbase/core.h"
#include "stream.h"

namespace orb::plugin {

inline int64_t width_of(const ORB_WINDOW& window) {
  return static_cast<int64_t>(window.right) - window.left + 1;
}
inline int64_t height_of(const ORB_WINDOW& window) {
  return static_cast<int64_t>(window.top) - window.bottom + 1;
}

// The bytes of one row that ORB_chan_alloc gives out: rows are even.
constexpr uint64_t given_row_bytes(uint64_t pixels, uint64_t sample_bytes) {
  return (pixels * sample_bytes + 1) / 2 * 2;
}

// Whether a text is there: the core puts "unknown" where the application left one out.
bool is_given(const char* text);

// What the name of a matte group may say: whether the colours are multiplied by the matte.
inline constexpr const char* kAssociated = "associated";
inline constexpr const char* kSeparate = "separate";
bool has_matte_named(const ORB_IFD& ifd, const char* name);

// For a writer of a format whose colours are by definition not multiplied by the matte: warns when the name says that
// they are.
void warn_of_associated(Stream& stream, const ORB_IFD& ifd);

void drop_text(char*& text);

// Whether a date is of the form "YYYY:MM:DD hh:mm:ss", which is local time.
bool is_local_date(const char* text);

// Makes a date that is the core's own stamp, seconds since 1970 in braces, one of that form. What is no such stamp
// stays. False, with orb__err -10, when memory ran out.
[[nodiscard]] bool settle_date(char*& date);

// Whether the file declares, or is to declare, what these ORB_ASSUMED_ bits stand for, and the mark that it does.
inline bool is_declared(const ORB_INFO& info, uint64_t assumed) { return (info.word_e & assumed) == 0; }
inline void declare(ORB_INFO& info, uint64_t assumed) { info.word_e &= ~assumed; }

// What a description says where nobody said anything.
inline constexpr float kInitialFrameRate = 29.97F;
void reset_curve(ORB_RESPONSE_CURVE& curve);
void reset_primaries(ORB_INFO& info);  // not declared

// Whether a frame rate is to be declared. One that is not, or is no rate, which is a warning, becomes the initial one,
// not declared.
bool settle_frame_rate(Stream& stream, ORB_INFO& info);

// Gives a handle opened for reading its descriptors, and marks everything as not declared by the file. False,
// with orb__err -10, when memory ran out.
[[nodiscard]] bool make_descriptors(ORB_IMAGE& image, int32_t count);

// A picture of this size at 0, 0, whose rows are stored from the top down.
void describe_size(ORB_IFD& ifd, int32_t width, int32_t height);

// What a format keeps of a description beside size and channels.
enum Kept : uint32_t { kKeepsNothing = 0, kKeepsDescription = 1, kKeepsPixelAspect = 2 };

// Takes out of the description of a handle opened for writing, of one image, all that the format does not
// keep: the window moves to 0, 0, the rows come from the top down, and no text, name or number is left but for
// those kept. A description that says nothing, and a pixel aspect that is not declared, are not there either.
void keep_only(ORB_INFO& info, uint32_t kept);

// Drops what keep_only left, when it turns out that the file cannot hold it.
void drop_description(ORB_INFO& info);
void drop_pixel_aspect(ORB_INFO& info);

// Reports "closed when 3 of 7 scanlines were written" for the file. Returns -20, and orb__err is that too.
int32_t report_missing_rows(const char* path, int64_t height, int64_t missing);

}  // namespace orb::plugin
