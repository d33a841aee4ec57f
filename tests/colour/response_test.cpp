#include "orbbase/response.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <limits>

#include "orbbase/support/err.h"
#include "tests/support/report_recorder.h"

namespace {

using orb::testing::ReportRecorder;

ORB_RESPONSE_CURVE described(float gamma, int32_t channels, int32_t resolution, int32_t type, int32_t depth) {
  return {ORB_CURVE_GAMMA, gamma, 0, channels, resolution, type, depth, nullptr};
}

// A described curve, tabulated, and released in the end.
struct Curve : ORB_RESPONSE_CURVE {
  Curve(float exponent, int32_t channels, int32_t entries, int32_t type, int32_t bits)
      : ORB_RESPONSE_CURVE(described(exponent, channels, entries, type, bits)) {
    EXPECT_EQ(ORB_response_curve_init(this), 0);
  }
  Curve() : ORB_RESPONSE_CURVE() {}
  ~Curve() { ORB_response_curve_done(this); }
  Curve(const Curve&) = delete;
  Curve& operator=(const Curve&) = delete;
};

// Calls visit with a pointer to entry i of a table, whatever its type.
template <class Visit>
void at_entry(const ORB_RESPONSE_CURVE& curve, int32_t channel, int32_t i, Visit visit) {
  void* table = curve.tables[channel];
  if (curve.curve_type == ORB_C_FLOAT) return visit(static_cast<float*>(table) + i);
  curve.depth == 8 ? visit(static_cast<uint8_t*>(table) + i) : visit(static_cast<uint16_t*>(table) + i);
}

double entry(const ORB_RESPONSE_CURVE& curve, int32_t channel, int32_t i) {
  double value = 0;
  at_entry(curve, channel, i, [&](const auto* at) { value = *at; });
  return value;
}

void set_entry(const ORB_RESPONSE_CURVE& curve, int32_t channel, int32_t i, int value) {
  at_entry(curve, channel, i, [&]<class Entry>(Entry* at) { *at = static_cast<Entry>(value); });
}

TEST(ResponseCurve, init_tabulates_every_entry_type_in_one_block) {
  const struct {
    float gamma;
    int32_t resolution, type, depth, at;
    double expected;
  } rows[] = {
      {1.0f, 256, 1, 8, 0, 0},         {1.0f, 256, 1, 8, 200, 200},
      {1.0f, 3, 1, 8, 1, 128},  // 127.5 rounds up
      {1.0f, 256, 1, 16, 255, 65535},  {1.0f, 256, 1, 16, 1, 257},
      {1.0f, 256, 1, 9, 255, 511},     {2.0f, 4096, 1, 12, 0, 0},
      {2.0f, 4096, 1, 12, 4095, 4095}, {2.0f, 256, 1, 8, 16, 1},  // 256 / 255 rounds down
      {2.0f, 3, 1, 8, 1, 64},                                     // 63.75
      {1.0f, 3, 2, 0, 1, 0.5},         {2.0f, 3, 2, 99, 1, 0.25},
      {0.0f, 3, 1, 8, 0, 255},  // anything to the power of 0
  };
  for (const auto& row : rows) {
    const Curve curve(row.gamma, 2, row.resolution, row.type, row.depth);
    EXPECT_EQ(curve.kind, ORB_CURVE_TABLE);
    for (int32_t channel = 0; channel < 2; ++channel) {
      EXPECT_DOUBLE_EQ(entry(curve, channel, row.at), row.expected) << row.gamma << " " << row.depth;
    }
    const int32_t bytes = row.type == ORB_C_FLOAT ? 4 : row.depth == 8 ? 1 : 2;
    EXPECT_EQ(curve.tables[1], static_cast<uint8_t*>(curve.tables[0]) + row.resolution * bytes);
  }
}

TEST(ResponseCurve, init_holds_wild_gammas_and_single_entries_within_the_depth) {
  const float infinity = std::numeric_limits<float>::infinity();
  for (const float gamma : {-1.0f, -1e30f, infinity, -infinity, std::nanf("")}) {
    const Curve curve(gamma, 1, 16, ORB_C_INTEGER, 12);
    for (int32_t i = 0; i < 16; ++i) EXPECT_LE(entry(curve, 0, i), 4095) << gamma;
  }
  EXPECT_EQ(entry(Curve(1.0f, 1, 1, ORB_C_INTEGER, 8), 0, 0), 0);
  EXPECT_EQ(entry(Curve(2.0f, 1, 1, ORB_C_FLOAT, 0), 0, 0), 0);
}

TEST(ResponseCurve, init_refuses_silently_what_cannot_be_tabulated) {
  ReportRecorder recorder;
  const struct {
    int32_t channels, resolution, type, depth;
  } rows[] = {{1, 256, 1, 7}, {1, 256, 1, 17}, {1, 256, 1, INT_MIN}, {1, 256, 3, 8}, {1, 256, 0, 8},
              {0, 256, 1, 8}, {-1, 256, 1, 8}, {1, 0, 1, 8},         {1, -256, 1, 8}};
  for (const auto& row : rows) {
    ORB_RESPONSE_CURVE curve = described(1.0f, row.channels, row.resolution, row.type, row.depth);
    EXPECT_EQ(ORB_response_curve_init(&curve), -1);
    EXPECT_EQ(curve.tables, nullptr);
    EXPECT_EQ(ORB_response_curve_done(&curve), 1);
  }
  EXPECT_EQ(ORB_response_curve_init(nullptr), -1);
  EXPECT_EQ(recorder.texts(), "");
  ORB_RESPONSE_CURVE huge = described(1.0f, 1 << 20, INT_MAX, ORB_C_FLOAT, 0);
  EXPECT_EQ(ORB_response_curve_init(&huge), -1);
  EXPECT_EQ(orb__err, -10);
}

TEST(ResponseCurve, copy_has_equal_tables_of_its_own) {
  for (const auto& [type, depth] : {std::pair{1, 8}, {1, 13}, {2, 0}}) {
    Curve source(2.2f, 2, 50, type, depth);
    set_entry(source, 1, 49, 3);
    Curve copy;
    EXPECT_EQ(ORB_response_curve_copy(&copy, &source), 0);
    EXPECT_EQ(copy.kind, ORB_CURVE_TABLE);
    EXPECT_EQ(copy.gamma, 2.2f);
    EXPECT_NE(copy.tables[0], source.tables[0]);
    for (int32_t channel = 0; channel < 2; ++channel) {
      for (int32_t i = 0; i < 50; ++i) EXPECT_EQ(entry(copy, channel, i), entry(source, channel, i));
    }
    EXPECT_EQ(ORB_response_curve_copy(&copy, &copy), 0);
  }
}

TEST(ResponseCurve, copy_names_what_it_cannot_copy) {
  constexpr const char* kDepth = "Invalid curve depth 1 found: must be in the range 8 to 16";
  const struct {
    int32_t type, depth;
    std::string text;  // the numbers in it are constants
  } rows[] = {{1, 7, kDepth},
              {1, 17, kDepth},
              {3, 8, "Invalid curve type 3 found: must be of type ORB_C_INTEGER or ORB_C_FLOAT"},
              {-9, 8, "Invalid curve type -9 found: must be of type ORB_C_INTEGER or ORB_C_FLOAT"}};
  Curve copy;
  for (const auto& row : rows) {
    ReportRecorder recorder;
    Curve source(1.0f, 1, 256, 1, 8);
    source.curve_type = row.type;
    source.depth = row.depth;
    EXPECT_EQ(ORB_response_curve_copy(&copy, &source), -1);
    EXPECT_EQ(copy.tables, nullptr);
    EXPECT_EQ(recorder.texts(), row.text);
    EXPECT_EQ(recorder.reports.at(0).category, ERR_ERROR);
  }
  const ORB_RESPONSE_CURVE no_tables = described(2.2f, 1, 256, 1, 8);
  EXPECT_EQ(ORB_response_curve_copy(&copy, &no_tables), -1);
  EXPECT_EQ(ORB_response_curve_copy(&copy, nullptr), -1);
  EXPECT_EQ(ORB_response_curve_copy(nullptr, &no_tables), -1);
}

TEST(ResponseCurve, done_takes_the_tables_of_table_curves_only) {
  ORB_RESPONSE_CURVE curve = described(1.0f, 1, 256, 1, 8);
  void* lent[1] = {nullptr};
  curve.tables = lent;
  EXPECT_EQ(ORB_response_curve_done(&curve), 1);
  EXPECT_EQ(curve.tables, lent);
  EXPECT_EQ(ORB_response_curve_init(&curve), 0);
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(ORB_response_curve_done(&curve), 1);
    EXPECT_EQ(curve.tables, nullptr);
  }
  EXPECT_EQ(ORB_response_curve_done(nullptr), 1);
}

TEST(Composition, of_two_gammas_divides_them) {
  const ORB_RESPONSE_CURVE a = described(2.2f, 9, 99, ORB_C_INTEGER, 12);
  const ORB_RESPONSE_CURVE b = described(1.1f, 2, 256, ORB_C_FLOAT, 8);
  Curve out;
  ASSERT_EQ(ORB_response_curve_comp(&a, &b, &out), 0);
  EXPECT_FLOAT_EQ(out.gamma, 0.5f);
  EXPECT_EQ(out.kind, ORB_CURVE_TABLE);
  EXPECT_EQ(out.channel_count, 2);
  EXPECT_EQ(out.resolution, 256);
  EXPECT_EQ(out.curve_type, ORB_C_INTEGER);
  EXPECT_EQ(out.depth, 12);
  EXPECT_EQ(entry(out, 1, 64), std::floor(std::sqrt(64 / 255.0) * 4095 + 0.5));
}

TEST(Composition, of_tables_looks_up_b_in_a_for_every_pair_of_widths) {
  for (const auto& [type, depth] : {std::pair{1, 8}, {1, 16}, {2, 0}}) {
    for (const int32_t b_depth : {8, 10, 16}) {
      const Curve a(1.0f, 2, 1 << b_depth, type, depth);
      const Curve b(1.0f, 2, 5, ORB_C_INTEGER, b_depth);
      for (int32_t channel = 0; channel < 2; ++channel) {
        for (int32_t i = 0; i < a.resolution; ++i) set_entry(a, channel, i, (i * 7 + channel) % 251);
        for (int32_t i = 0; i < 5; ++i) set_entry(b, channel, i, ((1 << b_depth) - 1) * (4 - i) / 4);
      }
      const int last = (1 << b_depth) - 1;
      if (b_depth == 10) set_entry(b, 0, 0, 65535);  // over its depth: counts as the last of a
      Curve out;
      ASSERT_EQ(ORB_response_curve_comp(&a, &b, &out), 0);
      EXPECT_EQ(out.gamma, 1.0f);
      EXPECT_EQ(out.resolution, 5);
      EXPECT_EQ(out.curve_type, type);
      EXPECT_EQ(out.depth, depth);
      for (int32_t channel = 0; channel < 2; ++channel) {
        for (int32_t i = 0; i < 5; ++i) {
          const int at = last * (4 - i) / 4;
          EXPECT_EQ(entry(out, channel, i), (at * 7 + channel) % 251) << depth << " " << b_depth;
        }
      }
    }
  }
}

TEST(Composition, tabulates_the_gamma_curve_of_a_mixed_pair) {
  const ORB_RESPONSE_CURVE gamma = described(2.0f, 2, 256, ORB_C_INTEGER, 8);
  const Curve table(2.0f, 2, 256, ORB_C_INTEGER, 8);
  Curve a_gamma, b_gamma;
  ASSERT_EQ(ORB_response_curve_comp(&gamma, &table, &a_gamma), 0);  // the root of the square
  ASSERT_EQ(ORB_response_curve_comp(&table, &gamma, &b_gamma), 0);  // the square of the square
  EXPECT_EQ(a_gamma.gamma, 1.0f);
  EXPECT_EQ(b_gamma.gamma, 1.0f);
  for (int32_t i = 0; i < 256; ++i) {
    const double square = std::floor(std::pow(i / 255.0, 2.0) * 255 + 0.5);
    EXPECT_EQ(entry(a_gamma, 1, i), std::floor(std::sqrt(square / 255) * 255 + 0.5));
    EXPECT_EQ(entry(b_gamma, 0, i), std::floor(std::pow(square / 255, 2.0) * 255 + 0.5));
  }
}

TEST(Composition, may_replace_one_of_its_own_curves) {
  const Curve reference(2.0f, 1, 256, ORB_C_INTEGER, 8);
  Curve expected;
  ASSERT_EQ(ORB_response_curve_comp(&reference, &reference, &expected), 0);
  for (const bool is_a : {true, false}) {
    for (const bool is_b : {true, false}) {
      Curve out(2.0f, 1, 256, ORB_C_INTEGER, 8);
      if (!is_a && !is_b) continue;
      ASSERT_EQ(ORB_response_curve_comp(is_a ? &out : &reference, is_b ? &out : &reference, &out), 0);
      EXPECT_EQ(std::memcmp(out.tables[0], expected.tables[0], 256), 0);
    }
  }
}

TEST(Composition, leaves_out_alone_when_curves_do_not_fit_or_are_of_no_known_kind) {
  const Curve table(1.0f, 1, 256, ORB_C_INTEGER, 8);
  const Curve two(1.0f, 2, 256, ORB_C_INTEGER, 8);
  const Curve real(1.0f, 1, 256, ORB_C_FLOAT, 8);
  const Curve deep(1.0f, 1, 256, ORB_C_INTEGER, 9);
  Curve shallow(1.0f, 1, 16, ORB_C_INTEGER, 8);
  shallow.depth = 4;
  const ORB_RESPONSE_CURVE gamma = described(2.0f, 1, 256, ORB_C_INTEGER, 8);
  const ORB_RESPONSE_CURVE untabulable = described(2.0f, 1, 256, ORB_C_INTEGER, 40);
  ORB_RESPONSE_CURVE unknown = gamma;
  unknown.kind = 3;
  ORB_RESPONSE_CURVE no_tables = table;
  no_tables.tables = nullptr;
  constexpr const char* kCounts =
      "Incompatible response curve channel counts (channel counts must be the same for composited response "
      "curves)";
  constexpr const char* kType =
      "Incompatible response curve channel type (channel must be of type ORB_C_INTEGER for composited "
      "response curve)";
  constexpr const char* kElements = "Incompatible response curve channel element counts";
  constexpr const char* kDepth = "Invalid curve depth 1 found: must be in the range 8 to 16";
  const struct {
    const ORB_RESPONSE_CURVE *a, *b;
    const char* text;
    int32_t result = -1;
  } rows[] = {
      {&unknown, &gamma, "", 0},  {&gamma, &unknown, "", 0},    {&table, &two, kCounts},
      {&two, &gamma, kCounts},    {&table, &real, kType},       {&gamma, &real, kType},
      {&table, &deep, kElements}, {&deep, &shallow, kElements}, {&shallow, &shallow, kDepth},
      {&gamma, &shallow, kDepth}, {&table, &untabulable, ""},   {&untabulable, &gamma, ""},
      {&table, &no_tables, ""},   {&no_tables, &table, ""},     {nullptr, &table, ""},
  };
  for (const auto& row : rows) {
    ReportRecorder recorder;
    ORB_RESPONSE_CURVE out = described(7.5f, 1, 2, 3, 4);
    EXPECT_EQ(ORB_response_curve_comp(row.a, row.b, &out), row.result) << row.text;
    EXPECT_EQ(recorder.texts(), row.text);
    EXPECT_EQ(out.gamma, 7.5f);
  }
}

}  // namespace
