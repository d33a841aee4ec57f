// Reading: the open call, and what an open file keeps between the calls.
#pragma once

#include <cstdint>
#include <cstdio>

#include "compose.h"
#include "orbbase/core.h"
#include "plugins/common/stream.h"

namespace orb::gif {

// What playback was told, and whether it is to go on.
struct Playback {
  ORB_PLAYBACK_SINK sink;
  void* sink_data;
  float rate;  // frames a second; 0: each as long as the file says
  int32_t first;
  int32_t last;  // 0 in both: the file's
  bool loops;
  int32_t is_stopped;  // atomic
};

// The record of an open file. One flat block: the handle's release frees it.
struct Reader {
  ORB_IMAGE* image;
  plugin::Stream stream;
  std::FILE* spooled;  // a copy of a stream in which no place can be sought, else null
  Screen screen;
  void** rows;      // given out; ORB_chan_free
  int32_t current;  // the frame that is read, from 1
  Playback playback;
};

// The body of imageReadOpen. False on failure: reported, with orb__err set.
[[nodiscard]] bool read_open(ORB_IMAGE& image);

// The body of imageIsFile.
bool is_gif(const char* name, std::FILE* stream);

// The handle's frame and playback slots.
void attach_playback(ORB_IMAGE& image);

}  // namespace orb::gif
