// The string family against the run-time library: comparison, hash, shared strings.
#include "orbbase/str.h"

#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "bench/pairs.h"

namespace {

using namespace orb::bench;

constexpr size_t kNames = 1000;

// Names as configuration keywords, channels and formats have them: 6 to 41 characters, all different.
std::vector<std::string> made_names() {
  std::vector<std::string> all;
  std::mt19937 random(1);
  for (size_t i = 0; i < kNames; ++i) {
    all.push_back("fmt__" + std::string(random() >> 27, static_cast<char>('a' + i % 26)) + std::to_string(i));
  }
  return all;
}
const std::vector<std::string> names = made_names();

// ---- Comparison: each string in a block of its own, at whatever address that has ----

using Texts = std::vector<std::pair<std::string, std::string>>;

// As a search does: every name against its neighbour, and every second one against its equal.
Texts name_pairs() {
  Texts all;
  for (size_t i = 0; i < kNames; ++i) all.emplace_back(names[i], names[i % 2 ? i : (i + 1) % kNames]);
  return all;
}

// Pairs of one length, equal but for the last character of every second pair.
Texts long_pairs(size_t length, int count) {
  Texts all;
  for (int i = 0; i < count; ++i) {
    const std::string text = "/" + std::string(length - 2, static_cast<char>('a' + i % 26));
    all.emplace_back(text + "x", text + (i % 2 ? "x" : "y"));
  }
  return all;
}

const Texts kNamePairs = name_pairs();
const Texts kPathPairs = long_pairs(64, 200);
const Texts kTextPairs = long_pairs(4096, 4);

void compare(benchmark::State& state, int32_t (*compared)(const char*, const char*), const Texts* texts) {
  for (auto _ : state) {
    for (const auto& [left, right] : *texts) benchmark::DoNotOptimize(compared(left.c_str(), right.c_str()));
  }
}

// ---- Hash ----

void hash_ours(benchmark::State& state) {
  for (auto _ : state) {
    for (const std::string& name : names) benchmark::DoNotOptimize(STR_hash(name.c_str(), 1023));
  }
}

// No more than the work itself. Not inlined, as ours cannot be.
[[gnu::noinline]] uint32_t multiply_add(const char* s) {
  uint32_t h = 0;
  for (; *s; ++s) h = h * 33 + static_cast<uint32_t>(static_cast<int8_t>(*s));
  return h;
}

void hash_peer(benchmark::State& state) {
  for (auto _ : state) {
    for (const std::string& name : names) benchmark::DoNotOptimize(multiply_add(name.c_str()));
  }
}

// ---- Shared strings ----

using Set = std::unordered_set<std::string>;

void define_names() {
  for (const std::string& name : names) benchmark::DoNotOptimize(STR_define(name.c_str()));
}

void undefine_names() {
  for (const std::string& name : names) STR_undefine(name.c_str());
}

void insert_names(Set& set) {
  for (const std::string& name : names) benchmark::DoNotOptimize(set.emplace(name.c_str()));
}

// Every name for the first time, and perhaps once more. Taking them away again is not timed, on either side.
void define(benchmark::State& state, int times) {
  for (auto _ : state) {
    for (int i = 0; i < times; ++i) define_names();
    state.PauseTiming();
    for (int i = 0; i < times; ++i) undefine_names();
    state.ResumeTiming();
  }
}

void insert(benchmark::State& state, bool finds) {
  for (auto _ : state) {
    Set set;
    insert_names(set);
    if (finds) {
      for (const std::string& name : names) benchmark::DoNotOptimize(set.find(name.c_str()));
    }
    state.PauseTiming();
    Set().swap(set);
    state.ResumeTiming();
  }
}

// A name's whole life.
void define_undefine(benchmark::State& state) {
  for (auto _ : state) {
    define_names();
    undefine_names();
  }
}

void insert_erase(benchmark::State& state) {
  for (auto _ : state) {
    Set set;
    insert_names(set);
    for (const std::string& name : names) set.erase(name.c_str());
  }
}

Pair comparison(const char* name, const Texts& texts) {
  return {name, on(compare, STR_compare, &texts), "strcmp", on(compare, std::strcmp, &texts), 2};
}

const Pairs pairs({
    comparison("STR_compare, 1,000 pairs of names", kNamePairs),
    comparison("STR_compare, 200 pairs of 64 characters", kPathPairs),
    comparison("STR_compare, 4 pairs of 4,096 characters", kTextPairs),
    {"STR_hash, 1,000 names", hash_ours, "multiply-add loop", hash_peer, 2},
    {"STR_define, 1,000 names", on(define, 1), "unordered_set insert", on(insert, false), 2},
    {"STR_define, 1,000 names, twice", on(define, 2), "unordered_set insert, find", on(insert, true), 2},
    {"STR_define, STR_undefine, 1,000 names", define_undefine, "unordered_set insert, erase", insert_erase,
     2},
});

}  // namespace
