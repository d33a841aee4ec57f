// Reads the configuration file into the colour defaults database.
#include "orbbase/colour/clr_reader.h"

#include <algorithm>

#include "orbbase/support/config/database.h"
#include "orbbase/support/config/integer.h"
#include "orbbase/support/config/real.h"

namespace orb::clr {
namespace {

using config::Line;

constexpr int32_t kPointWords = 4;

Outcome report_not_a_number(const Line& line) {
  report_with(config::catalogue(), config::kNotANumber, line.number);
  return Outcome::not_a_number;
}

void remove_bins(Database& database, int32_t count) {
  for (ListNode* link = database.bins.head(); link; link = link->next) {
    auto* const node = static_cast<BinsNode*>(link);
    if (node->bins.count != count) continue;
    database.bins.remove(node);
    ERR_free(node);
    return;
  }
}

// The words of a line, and of the lines that "\" joins to it.
class JoinedWords {
 public:
  JoinedWords(const Line& line, int32_t first) : line_(&line), next_(first) {}

  // The next word; null when the line has no more, or there is no line to go on with.
  const char* next() {
    while (next_ < line_->token_count && std::strcmp(line_->tokens[next_], "\\") == 0) {
      const Line* const following = config::next_line();
      if (!following) return nullptr;
      line_ = following;
      next_ = 0;
    }
    return next_ < line_->token_count ? line_->tokens[next_++] : nullptr;
  }
  [[nodiscard]] const Line& line() const { return *line_; }

 private:
  const Line* line_;
  int32_t next_;
};

Outcome read_boundaries(BinsNode& node, JoinedWords& words, const char* word, bool* is_complete_out) {
  *is_complete_out = false;
  for (float& boundary : node.boundaries()) {
    if (!word) {
      config::report_syntax(words.line());
      return Outcome::done;
    }
    if (!config::parse_real(word, &boundary)) return report_not_a_number(words.line());
    if (&boundary != &node.boundaries().back()) word = words.next();
  }
  *is_complete_out = true;
  return Outcome::done;
}

Outcome read_sample_bins(Database& database, const Line& line) {
  int32_t count = 0;
  if (line.token_count > 1 && !config::parse_integer(line.tokens[1], &count))
    return report_not_a_number(line);
  if (count < 1 || count > kMostBins) {
    config::report_syntax(line);
    return Outcome::done;
  }
  owned<BinsNode> node = make_bins(count);
  if (!node) return Outcome::no_memory;
  node->origin = config::origin_of(line);
  JoinedWords words(line, 2);
  const char* const first = words.next();
  if (first && std::strcmp(first, "uniform") == 0) {
    node->bins.is_uniform = 1;
  } else {
    bool is_complete = false;
    const Outcome outcome = read_boundaries(*node, words, first, &is_complete);
    if (!is_complete) return outcome;
  }
  remove_bins(database, count);
  database.bins.append(node.release());
  return Outcome::done;
}

bool parse_reals(const Line& line, int32_t first, std::span<float> out) {
  for (float& value : out)
    if (!config::parse_real(line.tokens[first++], &value)) return false;
  return true;
}

// A line whose first word is no keyword.
Outcome read_other(FilePoints& given, const Line& line) {
  if (!given.has_begun || given.has_ended) return Outcome::done;
  if (!config::has_word_count(line, kPointWords)) return Outcome::done;
  float values[kPointWords] = {};
  if (!parse_reals(line, 0, values)) return report_not_a_number(line);
  const Point point = {values[0], {values[1], values[2], values[3]}};
  return given.points.add(point) ? Outcome::done : Outcome::no_memory;
}

Outcome read_setting(Database& database, const Keyword& row, const Line& line) {
  if (row.integer) {
    if (!config::parse_integer(line.tokens[1], row.integer(database.settings)))
      return report_not_a_number(line);
  } else {
    float values[3] = {};
    const auto count = static_cast<size_t>(row.word_count - 1);
    if (!parse_reals(line, 1, std::span(values).first(count))) return report_not_a_number(line);
    std::copy_n(values, count, row.reals(database.settings));
  }
  database.origins[static_cast<size_t>(&row - kKeywords)] = config::origin_of(line);
  return Outcome::done;
}

Outcome read_line(Database& database, Reading& reading, const Line& line) {
  const Keyword* const row = config::find_keyword(std::span<const Keyword>(kKeywords), line);
  if (!row) return read_other(reading.given, line);
  if (row->word_count != kAnyCount && !config::has_word_count(line, row->word_count)) return Outcome::done;
  switch (row->code) {
    case Code::sample_bins:
      reading.has_bins = true;
      return read_sample_bins(database, line);
    case Code::begin_points:
      if (!reading.given.has_begun) reading.given.origin = config::origin_of(line);
      reading.given.has_begun = true;
      return Outcome::done;
    case Code::end_points:
      reading.given.has_ended = true;
      return Outcome::done;
    default:
      return read_setting(database, *row, line);
  }
}

}  // namespace

bool add_built_in_bins(Database& database) {
  for (int32_t count = 1; count <= kMostBuiltInBins; ++count) {
    owned<BinsNode> node = make_bins(count);
    if (!node) return false;
    const std::span<const float> boundaries = built_in_boundaries(count);
    std::copy(boundaries.begin(), boundaries.end(), node->boundaries().begin());
    database.bins.append(node.release());
  }
  return true;
}

Outcome read_file(Database& database, Reading& reading, void* catalogue) {
  const config::Loaded loaded = config::load(catalogue);
  if (loaded == config::Loaded::no_memory) return Outcome::no_memory;
  if (loaded == config::Loaded::no_file) return Outcome::done;
  while (const Line* line = config::next_line()) {
    if (line->token_count == 0) continue;
    const Outcome outcome = read_line(database, reading, *line);
    if (outcome != Outcome::done) return outcome;
  }
  return Outcome::done;
}

}  // namespace orb::clr
