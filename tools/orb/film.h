// What is played: the frames of a sequence of files, or those of one file.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "box_average.h"
#include "input.h"

namespace orb::tool {

struct FrameSize {
  int32_t most_width;
  int32_t most_height;
};

struct Shot {
  Picture picture;
  double seconds;  // that it is to be shown by what the file declares; 0: it says nothing
};

class Film {
 public:
  virtual ~Film() = default;
  // In the order asked for.
  [[nodiscard]] virtual const std::vector<frames::Frame>& frames() const = 0;
  [[nodiscard]] virtual bool is_there(frames::Frame frame) const = 0;
  // Of a frame, for people.
  [[nodiscard]] virtual std::string name(frames::Frame frame) const = 0;
  // In a process forked from the one that opened it, when another such has read of it before. Throws Failure, reported.
  virtual void reopen() {}
  // Throws Failure, reported.
  [[nodiscard]] virtual Shot take(frames::Frame frame, const FrameSize& size) = 0;
};

// Opens a file or looks a sequence up. Throws Failure as open_input and FrameInput do.
[[nodiscard]] std::unique_ptr<Film> film_of(const std::string& typed, const InputOptions& reading,
                                            const SequenceOptions& sequence);

}  // namespace orb::tool
