// The files that verbs read: the options that say how, opening them, and going through several of them.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "command_line.h"
#include "exit_codes.h"
#include "frame_summary.h"
#include "image.h"
#include "json.h"
#include "sequence.h"

namespace orb::tool {

struct InputOptions {
  std::string from;
  std::vector<std::string> read_settings;
};

// Adds --from and --read-set to a verb.
void add_input_options(CLI::App& verb, InputOptions& options);

// Opens a file, "-" for standard input. Throws Failure: kNoInput when it does not exist, else what the library's
// error means; that has been reported then.
[[nodiscard]] Image open_input(const std::string& file, const ORB_FORMAT& format,
                               const InputOptions& options);
[[nodiscard]] Image open_input(const std::string& file, const InputOptions& options);

// Whether a second open finds the same bytes again.
[[nodiscard]] bool can_open_again(const std::string& file);

// What a verb has to tell of its files, as far as it has come.
struct FileResults {
  std::string text;
  Json list = Json::array();
};

// What a verb does with its files, adding to the results. With --isolate a file is looked at in another process, whose
// results are then added here.
struct FileCalls {
  std::function<void(const std::string& file, FileResults& results)> look;
  // A Failure that look threw, which has been shown. For frames that are not there, file has their range in brackets.
  std::function<void(const std::string& file, const Failure& failure, FileResults& results)> note_failure;
  // After a sequence, if given.
  std::function<void(const std::string& typed, const FrameSummary& summary, FileResults& results)>
      note_sequence;
};

// Goes through files and sequences, frame by frame; one that fails stops no other, except that kUsage ends it all.
// Returns the exit status.
int for_each_file(const std::vector<std::string>& typed, const SequenceOptions& options,
                  const FileCalls& calls, FileResults& results);

}  // namespace orb::tool
