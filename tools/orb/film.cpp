// What is played: the frames of a sequence of files, or those of one file.
#include "film.h"

#include <algorithm>
#include <utility>

#include "at_work.h"
#include "reports.h"
#include "shrink.h"

namespace orb::tool {
namespace {

// ---- A sequence: a file a frame ----

double declared_seconds(const ORB_INFO& info) {
  const bool is_declared = (info.word_e & ORB_ASSUMED_FRAME_RATE) == 0 && info.frame_rate > 0;
  return is_declared ? 1.0 / static_cast<double>(info.frame_rate) : 0;
}

class SequenceFilm : public Film {
 public:
  SequenceFilm(const std::string& typed, InputOptions reading, const SequenceOptions& sequence)
      : reading_(std::move(reading)), input_(typed, sequence) {}
  [[nodiscard]] const std::vector<frames::Frame>& frames() const override { return input_.wanted(); }
  [[nodiscard]] bool is_there(frames::Frame frame) const override { return input_.is_there(frame); }
  [[nodiscard]] std::string name(frames::Frame frame) const override { return input_.name(frame); }
  [[nodiscard]] Shot take(frames::Frame frame, const FrameSize& size) override;

 private:
  InputOptions reading_;
  FrameInput input_;
};

Shot SequenceFilm::take(frames::Frame frame, const FrameSize& size) {
  const std::string file = name(frame);
  Image reader = open_input(file, reading_);
  const double seconds = declared_seconds(reader->info);
  Picture picture = shrunk(reader, file, size.most_width, size.most_height);
  forget_errors();
  if (!reader.close()) fail_as_reported(file + ": cannot be read to its end");
  return {std::move(picture), seconds};
}

// ---- One file with frames, or a still, which is a film of one ----

// The driver's player tells how long a frame is to be shown; its rows are read afterwards.
int32_t note_seconds(void* seconds, ORB_IMAGE*, int32_t, double of_frame) {
  *static_cast<double*>(seconds) = of_frame;
  return 0;
}

class FileFilm : public Film {
 public:
  FileFilm(std::string file, const InputOptions& reading, const SequenceOptions& sequence);
  ~FileFilm() override;
  FileFilm(const FileFilm&) = delete;
  FileFilm& operator=(const FileFilm&) = delete;
  [[nodiscard]] const std::vector<frames::Frame>& frames() const override { return wanted_; }
  [[nodiscard]] bool is_there(frames::Frame frame) const override { return frame >= 1 && frame <= count_; }
  [[nodiscard]] std::string name(frames::Frame frame) const override;
  void reopen() override;
  [[nodiscard]] Shot take(frames::Frame frame, const FrameSize& size) override;

 private:
  [[nodiscard]] bool has_player() const { return reader_ && reader_->info.frame_count > 0; }
  void bind_player();

  std::string file_;
  InputOptions reading_;
  Image reader_;
  int32_t count_;
  std::vector<frames::Frame> wanted_;
  double seconds_ = 0;  // of the frame that has become current
};

FileFilm::FileFilm(std::string file, const InputOptions& reading, const SequenceOptions& sequence)
    : file_(std::move(file)),
      reading_(reading),
      reader_(open_input(file_, reading_)),
      count_(std::max(reader_->info.frame_count, 1)) {
  if (!sequence.frames.empty()) {
    wanted_ = range_from(sequence.frames).frames();
  } else {
    for (int32_t frame = 1; frame <= count_; ++frame) wanted_.push_back(frame);
  }
  bind_player();
}

void FileFilm::bind_player() {
  if (!has_player()) return;
  if (ORB_playback_bind(reader_.get(), reinterpret_cast<intptr_t>(&note_seconds),
                        reinterpret_cast<intptr_t>(&seconds_), 0) != 0) {
    fail_as_reported(file_ + ": cannot be played");
  }
}

FileFilm::~FileFilm() {
  if (has_player()) ORB_playback_bind(reader_.get(), 0, 0, 0);  // the handle may live on, for another open
}

// The place in the file is common to all processes that have it open from one opening, so what the other read is gone.
void FileFilm::reopen() {
  if (!can_open_again(file_)) throw Failure(kIoError, file_ + ": cannot be read a second time");
  if (has_player()) ORB_playback_bind(reader_.get(), 0, 0, 0);
  ORB_multiframe_set(0, 0);  // or the same handle would come back
  reader_.abandon();
  reader_ = open_input(file_, reading_);
  bind_player();
}

std::string FileFilm::name(frames::Frame frame) const {
  return count_ == 1 ? file_ : file_ + ", frame " + std::to_string(frame);
}

Shot FileFilm::take(frames::Frame frame, const FrameSize& size) {
  forget_errors();
  note_file(Doing::reading, file_, reader_->info.key);  // it may have been opened in another process
  if (has_player() && ORB_playback_goto(reader_.get(), frame, 0, 0) != 0) {
    fail_as_reported(name(frame) + ": cannot be shown");
  }
  return {shrunk(reader_, name(frame), size.most_width, size.most_height), seconds_};
}

}  // namespace

std::unique_ptr<Film> film_of(const std::string& typed, const InputOptions& reading,
                              const SequenceOptions& sequence) {
  if (is_sequence(typed, sequence)) return std::make_unique<SequenceFilm>(typed, reading, sequence);
  return std::make_unique<FileFilm>(typed, reading, sequence);
}

}  // namespace orb::tool
