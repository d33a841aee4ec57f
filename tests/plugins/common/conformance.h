// What all formats promise alike: tests that a format's program runs over a table of its own.
#pragma once

#include <ostream>

#include "tests/plugins/common/formats.h"

namespace orb::testing {

// A whole file, made by hand or by another library than the plug-in.
struct Example {
  std::string bytes;
  bool is_sequential = false;  // its lines come in the file's order only
};

// A file that fails, when it is opened or when its rows are read.
struct Damaged {
  std::string bytes;
  int32_t code;        // 0: any
  std::string report;  // what is said, or a part of it
};

struct Limited {
  std::string bytes;
  int which;       // ORB_LIMIT_…
  uint64_t least;  // that suffices
};

// Groups of these widths, which come back as they are written.
struct Layout {
  int colours, mattes, auxes;
  int least_bits, most_bits;
  uint32_t type = ORB_C_INTEGER;
  Settings settings = {};
  const char* key = nullptr;  // of another module of the family
};

// A description that is not written.
struct Refusal {
  const char* report;       // what is said, or a part of it
  void (*change)(Wanted&);  // of a description that is written: 4 x 3 pixels of the first layout
};

enum : uint32_t {
  // Of a description the format keeps
  kKeepsDescription = 1,
  kKeepsTexts = 2,  // all of them, and the names of picture and colours
  kKeepsGamma = 4,
  kKeepsCurve = 8,  // one that is a table
  kKeepsPrimaries = 16,
  kKeepsAspect = 32,
  kKeepsRate = 64,
  kKeepsFrame = 128,  // and the job
  kKeepsField = 256,
  kKeepsPlace = 512,
  kSettlesDates = 1024,  // one in seconds becomes a local time
  // Of a file
  kReadsPipes = 2048,
  kHasCheckSums = 4096,
  kIsLossy = 8192,
  kHasFrames = 16384,
  kHasImages = 32768,       // several
  kHasBareEntries = 65536,  // of a palette
};

struct Format {
  const char* key;
  std::vector<const char*> modules;
  uint32_t traits;
  size_t signature_bytes;          // a file cut within them is not known
  std::vector<int32_t> cut_codes;  // what a file cut behind them fails with
  std::vector<Example> (*examples)();
  std::vector<Damaged> (*damaged)();
  std::vector<Limited> (*limited)();
  std::vector<Layout> layouts;
  std::vector<int> index_bits = {};
  std::vector<Refusal> refusals = {};
};
inline void PrintTo(const Format* format, std::ostream* out) { *out << format->key; }

class Conformance : public FormatTest, public ::testing::WithParamInterface<const Format*> {
 protected:
  Conformance() : FormatTest(GetParam()->modules), format_(*GetParam()) {}

  [[nodiscard]] bool has(uint32_t trait) const { return (format_.traits & trait) != 0; }
  [[nodiscard]] Image open(const std::string& path) const { return open_read(format_.key, path); }
  [[nodiscard]] int32_t read(const std::string& path) const { return read_whole(format_.key, path); }
  // A picture of the first layout.
  [[nodiscard]] Wanted wanted(const std::string& path, int32_t width = 4, int32_t height = 3) const;
  // Repeats a step with another allocation failing each time, until none is left to fail, and checks what it did.
  template <class Step, class Check>
  void fail_each_allocation(Step step, Check check);

  const Format& format_;
};

#define ORB_TEST_CONFORMANCE(format)                                           \
  INSTANTIATE_TEST_SUITE_P(Formats, Conformance, ::testing::Values(&(format)), \
                           [](const auto& of) { return std::string(of.param->key); })

}  // namespace orb::testing
