// What convert was asked for.
#pragma once

#include <string>
#include <vector>

#include "conversion.h"
#include "sequence.h"

namespace orb::tool {

struct ConvertOptions {
  ConversionOptions one;  // what holds for every image; without the input
  std::vector<std::string> inputs;
  SequenceOptions sequence;
  std::string missing = "error";
  std::string results;  // a file for the results of the frames; "": none
  bool only_missing = false;
  unsigned jobs = 1;  // 0: as many as there are processors
  std::string memory;
};

// Adds all options of convert to a verb.
void add_convert_options(CLI::App& verb, ConvertOptions& options);

// Converts one image, or sequences. Returns the exit status. Throws Failure.
int convert(const ConvertOptions& options);

// Converts the frames of sequences in worker processes. Returns the exit status. Throws Failure when it ends before
// any frame.
int convert_frames(const ConvertOptions& options);

}  // namespace orb::tool
