// Reading a folder into sequences.
#include "on_disk.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <memory>
#include <numeric>
#include <unordered_map>

#include "group.h"

namespace orb::frames {
namespace {

struct FolderCloser {
  void operator()(DIR* folder) const { closedir(folder); }
};

enum class Presence : uint8_t { required, optional };

// Whether an entry is a folder. Only a file system that does not say so in the entry is asked.
bool is_folder(DIR* folder, const dirent& entry) {
  if (entry.d_type != DT_UNKNOWN) return entry.d_type == DT_DIR;
  struct stat status = {};
  return fstatat(dirfd(folder), entry.d_name, &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(status.st_mode);
}

[[noreturn]] void fail(int error_number, const std::string& folder) {
  throw std::system_error(error_number, std::generic_category(), "Cannot read folder " + folder);
}

// Gives every entry but "." and ".." to take(folder, entry).
template <typename Take>
void read_folder(const std::string& path, Presence presence, const Take& take) {
  const std::string shown = path.empty() ? "." : path;
  const std::unique_ptr<DIR, FolderCloser> folder(opendir(shown.c_str()));
  if (!folder) {
    if (presence == Presence::optional && (errno == ENOENT || errno == ENOTDIR)) return;
    fail(errno, shown);
  }
  for (;;) {
    errno = 0;
    const dirent* entry = readdir(folder.get());
    if (entry == nullptr) break;
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") take(folder.get(), *entry);
  }
  if (errno != 0) fail(errno, shown);
}

// Names gathered by what stands around their numbers.
class Buckets {
 public:
  struct Bucket {
    std::string prefix;
    std::string suffix;
    std::vector<WrittenFrame> numbers;
  };

  void add(const NameParts& parts) {
    bucket_of(parts).numbers.push_back(written_frame(parts.frame, parts.number));
  }

  [[nodiscard]] const std::vector<Bucket>& all() const { return buckets_; }

 private:
  // Names of one sequence often follow each other, so the latest bucket is tried first.
  Bucket& bucket_of(const NameParts& parts) {
    if (latest_ < buckets_.size()) {
      Bucket& bucket = buckets_[latest_];
      if (bucket.prefix == parts.prefix && bucket.suffix == parts.suffix) return bucket;
    }
    key_.assign(parts.prefix).append(1, '\0').append(parts.suffix);
    const auto [place, is_new] = index_.try_emplace(key_, buckets_.size());
    if (is_new) buckets_.push_back({std::string(parts.prefix), std::string(parts.suffix), {}});
    latest_ = place->second;
    return buckets_[latest_];
  }

  std::vector<Bucket> buckets_;
  std::unordered_map<std::string, size_t> index_;
  std::string key_;
  size_t latest_ = 0;
};

std::string with_slash(const std::string& folder) {
  return folder.empty() || folder.back() == '/' ? folder : folder + "/";
}

// The sequences of a bucket; a number that is alone is a file.
void take_bucket(const Buckets::Bucket& bucket, const std::string& folder, Listing& listing) {
  for (WidthGroup& group : group_by_width(bucket.numbers)) {
    FramePattern pattern = FramePattern::of(folder + bucket.prefix, group.width, bucket.suffix);
    if (group.frames.size() == 1) {
      listing.files.push_back(pattern.name(group.frames.front()));
    } else {
      listing.sequences.push_back({std::move(pattern), std::move(group.frames)});
    }
  }
}

void sort_names(std::vector<std::string>& names) { std::sort(names.begin(), names.end(), is_before); }

void sort_sequences(std::vector<Sequence>& sequences) {
  std::vector<std::pair<std::string, size_t>> order;
  for (const Sequence& sequence : sequences) {
    order.emplace_back(sequence.pattern.name(sequence.frames.front()), order.size());
  }
  std::sort(order.begin(), order.end(), [](const auto& a, const auto& b) {
    return a.first == b.first ? a.second < b.second : is_before(a.first, b.first);
  });
  std::vector<Sequence> sorted;
  sorted.reserve(sequences.size());
  for (const auto& [name, place] : order) sorted.push_back(std::move(sequences[place]));
  sequences = std::move(sorted);
}

// How many characters must be put in, taken out or replaced to make b of a; at most most + 1.
size_t edits_between(std::string_view a, std::string_view b, size_t most) {
  const size_t apart = a.size() < b.size() ? b.size() - a.size() : a.size() - b.size();
  if (apart > most) return most + 1;
  std::vector<size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), size_t{0});
  for (size_t i = 1; i <= a.size(); ++i) {
    size_t diagonal = row[0];
    row[0] = i;
    for (size_t j = 1; j <= b.size(); ++j) {
      const size_t replaced = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
      diagonal = row[j];
      row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
    }
  }
  return std::min(row.back(), most + 1);
}

// What the names of two patterns differ in is looked at without the width.
std::string without_width(const FramePattern& pattern) { return pattern.prefix() + "#" + pattern.suffix(); }

size_t width_apart(const FramePattern& a, const FramePattern& b) {
  return a.width() < b.width() ? b.width() - a.width() : a.width() - b.width();
}

bool is_digit(char c) { return c >= '0' && c <= '9'; }

// The run of digits at the beginning, without zeros in front.
std::string_view leading_number(std::string_view text) {
  const auto end = std::find_if_not(text.begin(), text.end(), is_digit);
  text = text.substr(0, static_cast<size_t>(end - text.begin()));
  while (text.size() > 1 && text.front() == '0') text.remove_prefix(1);
  return text;
}

size_t digits_at(std::string_view text) {
  const auto end = std::find_if_not(text.begin(), text.end(), is_digit);
  return static_cast<size_t>(end - text.begin());
}

}  // namespace

bool is_before(std::string_view a, std::string_view b) {
  const std::string_view whole_a = a;
  const std::string_view whole_b = b;
  while (!a.empty() && !b.empty()) {
    if (!is_digit(a.front()) || !is_digit(b.front())) {
      const auto byte_a = static_cast<unsigned char>(a.front());
      const auto byte_b = static_cast<unsigned char>(b.front());
      if (byte_a != byte_b) return byte_a < byte_b;
      a.remove_prefix(1);
      b.remove_prefix(1);
      continue;
    }
    const std::string_view number_a = leading_number(a);
    const std::string_view number_b = leading_number(b);
    if (number_a.size() != number_b.size()) return number_a.size() < number_b.size();
    if (number_a != number_b) return number_a < number_b;
    a.remove_prefix(digits_at(a));
    b.remove_prefix(digits_at(b));
  }
  return a.empty() && b.empty() ? whole_a < whole_b : a.empty();
}

FrameRange Sequence::missing() const {
  FrameRange range;
  for (size_t i = 1; i < frames.size(); ++i) {
    if (frames[i] - int64_t{frames[i - 1]} > 1) range.add(frames[i - 1] + 1, frames[i] - 1);
  }
  return range;
}

bool Sequence::contains(Frame frame) const { return std::binary_search(frames.begin(), frames.end(), frame); }

Listing list_folder(const std::string& folder) {
  const std::string start = with_slash(folder);
  Listing listing;
  Buckets buckets;
  read_folder(folder, Presence::required, [&](DIR* open, const dirent& entry) {
    const std::string_view name = entry.d_name;
    if (name.front() == '.') return;
    if (is_folder(open, entry)) {
      listing.folders.push_back(start + entry.d_name);
    } else if (const std::optional<NameParts> parts = split_name(name)) {
      buckets.add(*parts);
    } else {
      listing.files.push_back(start + entry.d_name);
    }
  });
  for (const Buckets::Bucket& bucket : buckets.all()) take_bucket(bucket, start, listing);
  sort_sequences(listing.sequences);
  sort_names(listing.files);
  sort_names(listing.folders);
  return listing;
}

std::optional<Sequence> find_sequence(const FramePattern& pattern) {
  // The numbers that match are of one width already; of an open width all are taken, and sorted by theirs.
  std::vector<WrittenFrame> numbers;
  read_folder(pattern.folder(), Presence::optional, [&](DIR*, const dirent& entry) {
    const std::string_view number = pattern.number_in(entry.d_name);
    if (!pattern.is_width_open()) {
      if (const std::optional<Frame> frame = pattern.match(entry.d_name))
        numbers.push_back({*frame, 1, false});
    } else if (const std::optional<Frame> frame = frame_from_digits(number)) {
      numbers.push_back(written_frame(*frame, number));
    }
  });
  std::vector<WidthGroup> groups = group_by_width(numbers);
  const auto most = std::max_element(
      groups.begin(), groups.end(),
      [](const WidthGroup& a, const WidthGroup& b) { return a.frames.size() < b.frames.size(); });
  if (most == groups.end()) return std::nullopt;
  Sequence sequence = {pattern, std::move(most->frames)};
  if (pattern.is_width_open()) sequence.pattern.set_width(most->width);
  return sequence;
}

Choice choose(const Sequence& sequence, const FrameRange& range) {
  Choice choice;
  for (const Frame frame : range.frames()) {
    (sequence.contains(frame) ? choice.there : choice.missing).push_back(frame);
  }
  return choice;
}

std::string nearest_sequence(const FramePattern& pattern) {
  Listing listing;
  try {
    listing = list_folder(pattern.folder());
  } catch (const std::system_error&) {
    return "";
  }
  const std::string wanted = without_width(pattern);
  const Sequence* nearest = nullptr;
  std::pair<size_t, size_t> least = {std::numeric_limits<size_t>::max() - 1, 0};  // edits, then widths
  for (const Sequence& sequence : listing.sequences) {
    const std::pair<size_t, size_t> apart = {
        edits_between(wanted, without_width(sequence.pattern), least.first),
        width_apart(pattern, sequence.pattern)};
    if (nearest != nullptr && apart >= least) continue;
    nearest = &sequence;
    least = apart;
  }
  return nearest == nullptr ? "" : nearest->text();
}

}  // namespace orb::frames
