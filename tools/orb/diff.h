// What diff was asked for, and how a comparison may end.
#pragma once

#include <limits>
#include <string>

#include "input.h"
#include "options.h"
#include "output_image.h"

namespace orb::tool {

// This verb's own meaning of the low exit statuses.
enum Verdict : int { kMatch = 0, kWarning = 1, kFailure = 2, kDifferentSizes = 3, kFileError = 4 };
inline constexpr const char* kVerdictNames[] = {"match", "warning", "failure", "different sizes", "failed"};

struct Limits {
  double each = 1e-6;                                     // more than this in one sample makes it count
  double percent = 0;                                     // more than this part of the pixels counts
  double hard = std::numeric_limits<double>::infinity();  // more than this in any sample counts at once
};

struct DiffOptions {
  CommonOptions common;
  std::string a;
  std::string b;
  InputOptions reading;
  SequenceOptions sequence;
  OutputOptions writing;
  std::string memory;
  Limits warn;
  Limits fail;
  double scale = 1;
};

// Whether a comparison that ended so is told as text.
[[nodiscard]] bool is_told(const DiffOptions& options, Verdict verdict);

// What the other verbs call no input, which is 3 there, is an error of a file here.
[[nodiscard]] ExitCode exit_code_of(const Failure& failure);

// Compares two sequences frame by frame; the worst pair is the result. Returns the exit status. Throws Failure.
int compare_sequences(const DiffOptions& options);

}  // namespace orb::tool
