// What the configuration databases have in common: keyword tables, the report of a line that is not as its
// keyword wants it, and the start on the first query.
#pragma once

#include <cstdint>
#include <cstring>
#include <span>

#include "orbbase/support/config/line_store.h"
#include "orbbase/support/config/messages.h"

namespace orb::config {

// The row of a database's keyword table that a line begins with, or null. A row has a keyword.
template <class Row>
const Row* find_keyword(std::span<const Row> table, const Line& line) {
  for (const Row& row : table)
    if (std::strcmp(row.keyword, line.tokens[0]) == 0) return &row;
  return nullptr;
}

inline void report_syntax(const Line& line) { report_with(catalogue(), kSyntax, path(), line.number); }

// Whether a line has this many words, its keyword included. Reports when it has not.
inline bool has_word_count(const Line& line, int32_t word_count) {
  if (line.token_count == word_count) return true;
  report_syntax(line);
  return false;
}

// The first step of every query: starts a database that is not started. False when it cannot start.
inline bool start_on_demand(bool is_started, int32_t (*init)(void*), const char* module, const char* query) {
  if (is_started) return true;
  if (init(nullptr) != 0) return false;
  report_with(catalogue(), kStarting, module, query);
  return true;
}

}  // namespace orb::config
