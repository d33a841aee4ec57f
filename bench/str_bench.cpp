// The string family against the run-time library: comparison, hash, shared strings.
#include <cstdint>
#include <cstring>
#include <string>
#include <unordered_set>
#include <vector>

#include "bench/pairs.h"
#include "orbbase/str.h"

namespace {

constexpr int kNames = 1000;

// Names as configuration keywords, channels and formats have them: 6 to 41 characters, all different.
const std::vector<std::string>& names() {
  static const std::vector<std::string> made = [] {
    std::vector<std::string> all;
    uint32_t random = 1;
    for (int i = 0; i < kNames; ++i) {
      random = random * 1664525 + 1013904223;
      all.push_back("fmt__" + std::string(random >> 27, static_cast<char>('a' + i % 26)) + std::to_string(i));
    }
    return all;
  }();
  return made;
}

// Pairs to compare, each string in a block of its own, at whatever address that has.
struct Comparison {
  std::vector<std::string> left, right;
};

// As a search does: every name against its neighbour, and every second one against its equal.
const Comparison& name_comparison() {
  static const Comparison made = [] {
    Comparison all;
    for (int i = 0; i < kNames; ++i) {
      all.left.push_back(names()[i]);
      all.right.push_back(names()[i % 2 ? i : (i + 1) % kNames]);
    }
    return all;
  }();
  return made;
}

// Pairs of one length, equal but for the last character of every second pair.
Comparison long_comparison(size_t length, int count) {
  Comparison all;
  for (int i = 0; i < count; ++i) {
    std::string text(length - 1, static_cast<char>('a' + i % 26));
    text[0] = '/';
    all.left.push_back(text + "x");
    all.right.push_back(text + (i % 2 ? "x" : "y"));
  }
  return all;
}

const Comparison& path_comparison() {
  static const Comparison made = long_comparison(64, 200);
  return made;
}

const Comparison& text_comparison() {
  static const Comparison made = long_comparison(4096, 4);
  return made;
}

template <int32_t (*compare)(const char*, const char*), const Comparison& (*data)()>
void compare_all(benchmark::State& state) {
  const Comparison& pairs = data();
  for (auto _ : state) {
    for (size_t i = 0; i < pairs.left.size(); ++i) {
      benchmark::DoNotOptimize(compare(pairs.left[i].c_str(), pairs.right[i].c_str()));
    }
  }
}

int32_t peer_compare(const char* a, const char* b) { return std::strcmp(a, b); }

void hash_ours(benchmark::State& state) {
  for (auto _ : state) {
    for (const std::string& name : names()) benchmark::DoNotOptimize(STR_hash(name.c_str(), 1023));
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
    for (const std::string& name : names()) benchmark::DoNotOptimize(multiply_add(name.c_str()));
  }
}

using Set = std::unordered_set<std::string>;

void define_names() {
  for (const std::string& name : names()) benchmark::DoNotOptimize(STR_define(name.c_str()));
}

void undefine_names() {
  for (const std::string& name : names()) STR_undefine(name.c_str());
}

void insert_names(Set& set) {
  for (const std::string& name : names()) benchmark::DoNotOptimize(set.emplace(name.c_str()));
}

// Every name for the first time. Taking them away again is not timed, on either side.
void define_ours(benchmark::State& state) {
  for (auto _ : state) {
    define_names();
    state.PauseTiming();
    undefine_names();
    state.ResumeTiming();
  }
}

void define_peer(benchmark::State& state) {
  for (auto _ : state) {
    Set set;
    insert_names(set);
    state.PauseTiming();
    Set().swap(set);
    state.ResumeTiming();
  }
}

// Every name for the first time and once more.
void define_twice_ours(benchmark::State& state) {
  for (auto _ : state) {
    define_names();
    define_names();
    state.PauseTiming();
    undefine_names();
    undefine_names();
    state.ResumeTiming();
  }
}

void define_twice_peer(benchmark::State& state) {
  for (auto _ : state) {
    Set set;
    insert_names(set);
    for (const std::string& name : names()) benchmark::DoNotOptimize(set.find(name.c_str()));
    state.PauseTiming();
    Set().swap(set);
    state.ResumeTiming();
  }
}

// A name's whole life.
void define_undefine_ours(benchmark::State& state) {
  for (auto _ : state) {
    define_names();
    undefine_names();
  }
}

void define_undefine_peer(benchmark::State& state) {
  for (auto _ : state) {
    Set set;
    insert_names(set);
    for (const std::string& name : names()) set.erase(name.c_str());
  }
}

const orb::bench::Pairs pairs({
    {"STR_compare, 1,000 pairs of names", compare_all<STR_compare, name_comparison>, "strcmp",
     compare_all<peer_compare, name_comparison>, 2.0},
    {"STR_compare, 200 pairs of 64 characters", compare_all<STR_compare, path_comparison>, "strcmp",
     compare_all<peer_compare, path_comparison>, 2.0},
    {"STR_compare, 4 pairs of 4,096 characters", compare_all<STR_compare, text_comparison>, "strcmp",
     compare_all<peer_compare, text_comparison>, 2.0},
    {"STR_hash, 1,000 names", hash_ours, "multiply-add loop", hash_peer, 2.0},
    {"STR_define, 1,000 names", define_ours, "unordered_set insert", define_peer, 2.0},
    {"STR_define, 1,000 names, twice", define_twice_ours, "unordered_set insert, find", define_twice_peer,
     2.0},
    {"STR_define, STR_undefine, 1,000 names", define_undefine_ours, "unordered_set insert, erase",
     define_undefine_peer, 2.0},
});

}  // namespace
