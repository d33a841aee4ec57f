// What all formats promise alike: tests that a format's program runs over a table of its own.
#pragma once

#include <functional>
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

// A file of another hand that reads well.
struct Known {
  std::string bytes;
  std::vector<std::string> says = {};     // among its facts
  std::vector<std::string> reports = {};  // how each begins; "warning: " stands before a warning
  Planes planes = {};                     // of all images, one behind the other; none: whatever they are
  Settings settings = {};
};

// A description that is written.
struct Written {
  std::function<void(Wanted&)> change;    // of 4 x 3 pixels of the first layout
  std::string seen = {};                  // a part of what Format::look tells of the file
  std::vector<std::string> says = {};     // among the facts of it, read again
  std::vector<std::string> reports = {};  // as above, of the writer and the reader
  Planes planes = {};                     // what is written; none: noise
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
  kKeepsPrimaries = 8,
  kKeepsAspect = 16,
  kKeepsRate = 32,
  kKeepsFrame = 64,  // and the job
  kKeepsField = 128,
  kKeepsPlace = 256,
  kSettlesDates = 512,  // one in seconds becomes a local time
  // Of a file
  kReadsPipes = 1024,
  kHasCheckSums = 2048,
  kIsLossy = 4096,
  kHasImages = 8192,        // several
  kHasBareEntries = 16384,  // of a palette
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
  std::vector<Known> (*known)() = nullptr;
  std::vector<Written> (*written)() = nullptr;
  // Tells a file as its bytes or the codec library show it.
  std::string (*look)(const std::string& path) = nullptr;
};

// All that is said of a file but for its name: "gamma 2.2", "color 3x8", "image 2 aspect 1", a line each.
std::vector<std::string> facts_of(const ORB_INFO& info);
// The same of a lookup table.
std::string fact_of(const ORB_LUT& table);

inline void PrintTo(const Format* format, std::ostream* out) { *out << format->key; }

class Conformance : public FormatTest, public ::testing::WithParamInterface<const Format*> {
 protected:
  Conformance() : FormatTest(GetParam()->modules), format_(*GetParam()) {}

  [[nodiscard]] bool has(uint32_t trait) const { return (format_.traits & trait) != 0; }
  [[nodiscard]] Image open(const std::string& path) const { return open_read(format_.key, path); }
  [[nodiscard]] int32_t read(const std::string& path) const { return read_whole(format_.key, path); }
  // A picture of the first layout.
  [[nodiscard]] Wanted wanted(const std::string& path, int32_t width = 4, int32_t height = 3) const;
  void expect_reports(const std::vector<std::string>& beginnings) const;
  // Writes noise, or planes, and reads it again: what the handle said at once must be what a reader finds.
  Image there_and_back(Wanted& wanted, const Planes& planes = {});

  const Format& format_;
};

#define ORB_TEST_CONFORMANCE(format)                                           \
  INSTANTIATE_TEST_SUITE_P(Formats, Conformance, ::testing::Values(&(format)), \
                           [](const auto& of) { return std::string(of.param->key); })

}  // namespace orb::testing
