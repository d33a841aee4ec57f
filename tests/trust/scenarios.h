// What people do with the library, as short scripts that stop at the first thing that fails: each is run again and
// again with another call of the C library failing under it.
#pragma once

#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "tests/core/picture.h"

namespace orb::testing {

// What a scenario saw, in the order in which it saw it: two runs that went the same way saw the same.
using Seen = std::string;

enum : uint32_t {
  kStartsItself = 1,  // runs without a started library
  kUnreported = 2,    // its failures are results, by contract: nothing reports them
  kNoFiles = 4,       // makes no call that faults of files could meet, or none that another does not
  kKeepsBlocks = 8,   // gives nothing back, by contract
  kGoesWithout = 16,  // the result may lack, by contract, what memory or a file could not be had for
  kTakesOnce = 32     // the first run in a process takes what later ones find there
};

struct Scenario {
  const char* name;
  // Returns 0, or the code of what failed first. Whatever it took it has given back by then. Its own calls of the C
  // library do not count, but what the C library allocates for them does.
  std::function<int32_t(Seen&)> run;
  uint32_t traits = 0;
  std::function<void()> prepare = {};       // makes the files that it needs; runs once
  std::function<int32_t(Seen&)> look = {};  // reads what it wrote, when nothing fails any more
  std::function<void()> tidy = {};          // after each run: things are again as its next run wants them
};

inline void PrintTo(const Scenario& scenario, std::ostream* out) { *out << scenario.name; }

const std::vector<Scenario>& format_scenarios();
const std::vector<Scenario>& operator_scenarios();
const std::vector<Scenario>& support_scenarios();

// Has the dynamic loader's memory for the plug-ins taken before anything fails.
void load_modules();
// Starts the library with all plug-ins, which stay loaded: 0 or the code.
int32_t start_library();
// Closes what is kept open and ends the library.
void end_library();

// ---- Pictures. Their own rows come from nobody whose calls count.

// Pictures that a format takes, small ones of every kind that it treats differently.
std::vector<Picture> pictures_of(const std::string& key);

// Makes or replaces a file.
void put_file(const char* path, const std::string& bytes);

// The first failure's code, never 0.
int32_t failure();

// frames: of a film, each the same picture; 0: a single picture.
int32_t write_picture(const Picture& picture, int32_t frames = 0);
// All rows of one image of an open handle, in the order of the handle.
int32_t see_rows(ORB_IMAGE* handle, int32_t image, Seen& seen);
int32_t write_rows(ORB_IMAGE* handle, const Picture& picture, int32_t image);
// Opens, sees all rows of all images, the lookup table if there are indices, and closes.
// settings: released in any case.
int32_t see_picture(const std::string& name, const std::string& key, Seen& seen,
                    ORB_CAP_SETTING** settings = nullptr);

ORB_IMAGE* open_picture(const std::string& name, const std::string& key, const char* mode = "r",
                        uint8_t open_option = 1, ORB_CAP_SETTING** settings = nullptr);
// Closes and passes on the code, or else that of the close.
int32_t close_picture(ORB_IMAGE* handle, int32_t code);

template <class Value>
void see(Seen& seen, const Value& value) {
  seen.append(reinterpret_cast<const char*>(&value), sizeof value);
}
inline void see_text(Seen& seen, const char* text) { seen += text ? text : "(null)", seen += '\n'; }

}  // namespace orb::testing
