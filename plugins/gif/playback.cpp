// The frame and playback calls of a reader.
#include <atomic>
#include <cmath>
#include <cstdio>

#include "orbbase/driver.h"
#include "plugins/common/memory.h"
#include "read.h"

namespace orb::gif {
namespace {

Reader& reader_of(void* data) { return *static_cast<Reader*>(data); }

int32_t frame_count(const Reader& reader) { return reader.screen.contents.frame_count; }

int32_t refuse(const Reader& reader, const char* reason) {
  orb__report(ORB_MSG_READ_PROBLEM, reader.stream.path, reason);
  return plugin::fail(ORB_E_HANDLE);
}

int32_t refuse_frame(const Reader& reader, int64_t frame) {
  char text[96];
  std::snprintf(text, sizeof text, "there is no frame %lld; it has frames 1 to %d",
                static_cast<long long>(frame), frame_count(reader));
  return refuse(reader, text);
}

int32_t get_frame(void* data, intptr_t frame_out, intptr_t, intptr_t) {
  if (frame_out == 0) return plugin::fail(ORB_E_HANDLE);
  *reinterpret_cast<int32_t*>(frame_out) = reader_of(data).current;
  return 0;
}

// A frame that cannot be composed does not become current.
int32_t set_frame(void* data, intptr_t frame, intptr_t, intptr_t) {
  Reader& reader = reader_of(data);
  if (frame < 1 || frame > frame_count(reader)) return refuse_frame(reader, frame);
  const auto number = static_cast<int32_t>(frame);
  const int32_t code = compose(reader.screen, number);
  if (code == 0) reader.current = number;
  return code;
}

double seconds_of(const Reader& reader, int32_t frame) {
  const float rate = reader.playback.rate;
  return rate > 0.0F ? 1.0 / static_cast<double>(rate)
                     : reader.screen.contents.frames[frame - 1].delay / 100.0;
}

// By the library's call, which holds the handle's lock; the sink runs without it, so that it can read.
int32_t show(Reader& reader, int32_t frame) {
  const int32_t code = ORB_set_frame(reader.image, frame, 0, 0);
  const Playback& playback = reader.playback;
  if (code != 0 || !playback.sink) return code;
  return playback.sink(playback.sink_data, reader.image, frame, seconds_of(reader, frame));
}

int32_t playback_bind(void* data, intptr_t sink, intptr_t sink_data, intptr_t) {
  Playback& playback = reader_of(data).playback;
  playback.sink = reinterpret_cast<ORB_PLAYBACK_SINK>(sink);
  playback.sink_data = reinterpret_cast<void*>(sink_data);
  return 0;
}

int32_t playback_goto(void* data, intptr_t frame, intptr_t, intptr_t) {
  Reader& reader = reader_of(data);
  if (frame < 1 || frame > frame_count(reader)) return refuse_frame(reader, frame);
  return show(reader, static_cast<int32_t>(frame));
}

int32_t playback_params(void* data, intptr_t rate_at, intptr_t, intptr_t, uint32_t first, uint32_t last,
                        uint8_t loop, uint8_t, uint8_t) {
  Reader& reader = reader_of(data);
  const float rate = rate_at != 0 ? *reinterpret_cast<const float*>(rate_at) : 0.0F;
  if (!std::isfinite(rate) || rate < 0.0F) return refuse(reader, "such a frame rate cannot be played");
  const auto count = static_cast<uint32_t>(frame_count(reader));
  if (first > count) return refuse_frame(reader, first);
  if (last > count) return refuse_frame(reader, last);
  if (last != 0 && first > last) return refuse(reader, "the frames to be played end before they begin");
  Playback& playback = reader.playback;
  playback.rate = rate;
  playback.first = static_cast<int32_t>(first);
  playback.last = static_cast<int32_t>(last);
  playback.loops = loop != 0;
  return 0;
}

std::atomic_ref<int32_t> stop_mark(Reader& reader) {
  return std::atomic_ref<int32_t>(reader.playback.is_stopped);
}

int32_t playback_play(void* data, intptr_t, intptr_t, intptr_t, uint8_t, intptr_t) {
  Reader& reader = reader_of(data);
  Playback& playback = reader.playback;
  if (!playback.sink) return refuse(reader, "it cannot be played: no sink is bound");
  stop_mark(reader).store(0);
  const int32_t first = playback.first != 0 ? playback.first : 1;
  const int32_t last = playback.last != 0 ? playback.last : frame_count(reader);
  do {
    for (int32_t frame = first; frame <= last; ++frame) {
      const int32_t result = show(reader, frame);
      if (result != 0) return result;
      // The sink may unbind itself, which ends what it was for.
      if (stop_mark(reader).load() != 0 || !playback.sink) return 0;
    }
  } while (playback.loops);
  return 0;
}

int32_t playback_stop(void* data, intptr_t, intptr_t, intptr_t) {
  stop_mark(reader_of(data)).store(1);
  return 0;
}

}  // namespace

void attach_playback(ORB_IMAGE& image) {
  image.get_frame = get_frame;
  image.set_frame = set_frame;
  image.playback_bind = playback_bind;
  image.playback_goto = playback_goto;
  image.playback_params = playback_params;
  image.playback_play = playback_play;
  image.playback_stop = playback_stop;
}

}  // namespace orb::gif
