// What docs/threads.md promises, with the formats that are shipped: one promise, one test.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "orbbase/naming.h"
#include "orbbase/operators.h"
#include "orbbase/registry.h"
#include "tests/plugins/common/formats.h"

namespace orb::testing {
namespace {

constexpr int32_t kWidth = 19;
constexpr int32_t kHeight = 11;
constexpr int kRounds = 10;

class PluginThreads : public FormatTest {
 protected:
  PluginThreads()
      : FormatTest({RLA_MODULE, PNG_MODULE, TIFF_MODULE, PNM_MODULE, EXR_MODULE, GIF_MODULE, JPEG_MODULE}) {}
};

struct Kind {
  const char* key;
  int32_t bits;
  uint32_t type;
};
constexpr Kind kKinds[] = {{"rla", 8, ORB_C_INTEGER},  {"png", 16, ORB_C_INTEGER}, {"tiff", 8, ORB_C_INTEGER},
                           {"pnm", 16, ORB_C_INTEGER}, {"exr", 32, ORB_C_FLOAT},   {"gif", 8, ORB_C_INTEGER},
                           {"jpeg", 8, ORB_C_INTEGER}, {"mem", 8, ORB_C_INTEGER}};

template <class Work>
void run_threads(int count, Work work) {
  std::vector<std::thread> threads;
  for (int i = 0; i < count; ++i) threads.emplace_back(work, i);
  for (std::thread& thread : threads) thread.join();
}

// Writes a picture of the kind and reads it again; empty when either fails.
Planes there_and_back(const Kind& kind, const std::string& name) {
  Wanted wanted(kind.key, name, kWidth, kHeight);
  wanted.group(&ORB_IFD::color, 1, kind.bits, kind.type);
  // Numbers of 24 bits are no infinities as floats.
  const Planes planes = noise(1, std::min(kind.bits, 24), size_t{kWidth} * kHeight);
  if (write_all(wanted.open(), planes) != 0) return {};
  const Image image = open_read(kind.key, name);
  return image ? read_all(*image) : Planes();
}

TEST_F(PluginThreads, use_files_of_every_format_at_once_and_report_meanwhile) {
  std::vector<Planes> alone;
  for (const Kind& kind : kKinds) alone.push_back(there_and_back(kind, std::string("alone.") + kind.key));
  for (const Planes& planes : alone) ASSERT_FALSE(planes.empty()) << reports.texts();
  reports.clear();
  std::atomic<int> different = 0;
  run_threads(8, [&](int thread) {
    const std::string prefix = std::to_string(thread) + '.';
    for (size_t round = 0; round < std::size(kKinds) * 2; ++round) {
      const size_t which = (static_cast<size_t>(thread) + round) % std::size(kKinds);
      different += there_and_back(kKinds[which], prefix + kKinds[which].key) != alone[which];
      EXPECT_FALSE(open_read("png", prefix + "missing"));
    }
  });
  EXPECT_EQ(different, 0);
  EXPECT_EQ(reports.reports.size(), 8 * 2 * std::size(kKinds));
  for (const auto& report : reports.reports) EXPECT_NE(report.text.find("missing"), std::string::npos);
}

TEST_F(PluginThreads, take_turns_on_one_handle) {
  ASSERT_FALSE(there_and_back(kKinds[0], "one.rla").empty());
  const Image image = open_read("rla", "one.rla");
  ASSERT_TRUE(image);
  std::atomic<int> failed = 0;
  run_threads(4, [&](int thread) {
    for (int32_t i = 0; i < kRounds * kHeight; ++i) {
      void** rows = nullptr;  // shared by all who use the handle: not looked at
      failed += ORB_scan_read(image.get(), (i * (thread + 1)) % kHeight, &rows) != 0;
    }
  });
  EXPECT_EQ(failed, 0) << reports.texts();
}

TEST_F(PluginThreads, ask_for_types_while_others_open_and_close) {
  for (const Kind& kind : kKinds) ASSERT_FALSE(there_and_back(kind, std::string("file.") + kind.key).empty());
  std::atomic<int> wrong = 0;
  run_threads(8, [&](int thread) {
    for (int round = 0; round < kRounds; ++round) {
      const Kind& kind = kKinds[static_cast<size_t>(thread + round) % std::size(kKinds)];
      const std::string name = std::string("file.") + kind.key;
      if (thread % 2 == 0) {
        wrong += ORB_close(open_read(kind.key, name).release()) != 0;
      } else {
        const char* found = ORB_get_file_type(name.c_str(), nullptr, nullptr);
        wrong += !found || std::string(found) != kind.key;
      }
    }
  });
  EXPECT_EQ(wrong, 0) << reports.texts();
}

// What a thread makes of its own handle with operators on it, and a rectangle.
std::vector<uint8_t> through_operators() {
  Image image = open_read("rla", "source.rla");
  ORB_RESPONSE_CURVE linear = {};
  linear.kind = ORB_CURVE_GAMMA;
  linear.gamma = 1.0F;
  std::vector<uint8_t> bytes(size_t{kWidth} * kHeight);
  if (!image) return {};
  ORB__minmax(ORB__gamma(image.get(), &linear), 0.25, 0.75);
  ORB_IMAGE* handle = image.release();
  const int32_t code = ORB_get_region(&handle, 0, kWidth - 1, 0, kHeight - 1, bytes.data(), ORB_REGION_PACKED,
                                      ORB_REGION_GREY8);
  image.reset(handle);
  return code == 0 ? bytes : std::vector<uint8_t>();
}

TEST_F(PluginThreads, stack_operators_and_read_rectangles_on_handles_of_their_own) {
  Wanted wanted("rla", "source.rla", kWidth, kHeight);
  wanted.group(&ORB_IFD::color, 1, 8);
  wanted.info.word_e = 0;  // the gamma is declared
  ASSERT_EQ(write_all(wanted.open(), noise(1, 8, size_t{kWidth} * kHeight)), 0);
  const std::vector<uint8_t> alone = through_operators();
  ASSERT_FALSE(alone.empty()) << reports.texts();
  std::atomic<int> different = 0;
  run_threads(8, [&](int) {
    for (int round = 0; round < kRounds; ++round) different += through_operators() != alone;
  });
  EXPECT_EQ(different, 0) << reports.texts();
}

TEST_F(PluginThreads, work_on_arguments_of_their_own_without_a_lock) {
  std::atomic<int> wrong = 0;
  run_threads(4, [&](int thread) {
    for (int round = 0; round < kRounds * 20; ++round) {
      ORB_NAME_TOKEN* tokens = nullptr;
      wrong += ORB_parse_name_syntax("name.####.ext", &tokens, 0) != 1 || tokens[2].length != 4;
      ERR_free(tokens);
      ORB_LUT* const lut = ORB_lut_alloc(16 + thread);
      wrong += !lut || lut->last_index != 15 + thread;
      ORB_lut_free(lut);
      ORB_limit(ORB_LIMIT_IMAGES, static_cast<uint64_t>(1000 + thread));
    }
  });
  EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace orb::testing
