// How files are read: whose the rows are, in what order they come, and what becomes of files that are cut.
#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "pictures.h"

namespace orb::tool::plugin_check {
namespace {

namespace fs = std::filesystem;

constexpr size_t kMostCuts = 120;

// A file to read: one that the module writes, else the author's first; "" without either.
std::string some_file(Kit& kit, const std::vector<std::string>& samples) {
  Picture picture;
  const std::string file = kit.file("read");
  if (kit.writes() && write_any_picture(kit, file, picture)) return file;
  if (!samples.empty()) return samples.front();
  kit.warn("not checked: the format writes no file, and none was named");
  return "";
}

// Lines in an order that goes up, down and to and fro.
std::vector<int32_t> mixed_lines(const ORB_WINDOW& window) {
  std::vector<int32_t> lines;
  for (int32_t line = window.bottom; line <= window.top; ++line) lines.push_back(line);
  std::vector<int32_t> mixed = lines;
  mixed.insert(mixed.end(), lines.rbegin(), lines.rend());
  for (size_t i = 0; i < lines.size(); ++i) mixed.push_back(lines[i * 5 % lines.size()]);
  mixed.push_back(lines.front());
  mixed.push_back(lines.front());
  return mixed;
}

void check_line(Kit& kit, ORB_IMAGE* image, int32_t line, const Picture& whole) {
  std::vector<std::string> channels;
  const int32_t code = take_row(image, line, channels);
  const auto above_bottom = static_cast<size_t>(int64_t{line} - whole.ifd.window.bottom);
  if (code != 0) return kit.fail("a line out of order cannot be read (" + std::to_string(code) + ")");
  if (channels != whole.rows[above_bottom])
    kit.fail("a line is another one when it is read out of order or again");
}

void expect_bad_line(Kit& kit, ORB_IMAGE* image, int32_t line, const std::string& what) {
  std::vector<std::string> channels;
  kit.forget();
  const int32_t code = take_row(image, line, channels);
  if (code != ORB_E_SCANLINE) kit.fail(what + ": the code is " + std::to_string(code) + ", not -2");
  if (code != 0 && kit.errors() != 1)
    kit.fail(what + ": " + std::to_string(kit.errors()) + " reports, not one");
}

// Closes it and opens it again when a sequential reader has to go back, as applications have it.
void check_seeking(Kit& kit, const std::string& file, const Picture& whole) {
  ORB_IMAGE* image = open_for_reading(kit, file);
  if (image == nullptr) return;
  std::vector<int32_t> lines = mixed_lines(whole.ifd.window);
  lines.erase(std::unique(lines.begin(), lines.end()), lines.end());  // what was just read lies behind
  for (const int32_t line : lines) {
    kit.forget();
    if (ORB_seek(&image, line) != 0 || image == nullptr) {
      kit.fail("ORB_seek to line " + std::to_string(line) + " fails, " + kit.last_error());
      break;
    }
    check_line(kit, image, line, whole);
    if (kit.has_failed()) break;
  }
  if (image != nullptr) ORB_close(image);
}

void check_cut(Kit& kit, const std::string& bytes, size_t kept, const Picture& whole) {
  const std::string file = kit.file("cut");
  std::ofstream(file, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(kept));
  const ReadBack read = read_picture(kit, file);
  const std::string where =
      " of a file cut after " + std::to_string(kept) + " of " + std::to_string(bytes.size()) + " bytes";
  if (read.code > 0) kit.fail(read.call + where + ": the code is " + std::to_string(read.code));
  if (read.code < 0 && kit.errors() == 0) kit.fail(read.call + where + " fails, and nothing is reported");
  if (read.code == 0 && read.call == "open") kit.fail("the open" + where + " fails without a code");
  if (read.code != 0 || read.call == "open") return;
  if (difference(whole, read.picture).empty()) {
    kit.warn("a file can be cut at its end and passes for whole; all of its samples are there");
  } else {
    kit.fail("the reading" + where + " succeeds, with samples that are not there");
  }
}

}  // namespace

void check_lines(Kit& kit, const std::vector<std::string>& samples) {
  const std::string file = kit.reads() ? some_file(kit, samples) : "";
  if (file.empty()) return;
  const ReadBack read = read_picture(kit, file);
  if (read.code != 0) return kit.fail(file + ": " + read.call + " fails, " + kit.last_error());
  const ORB_WINDOW& window = read.picture.ifd.window;
  const ReadBack again = read_picture(kit, file);
  if (!difference(read.picture, again.picture).empty())
    kit.fail("a file that is read twice gives two pictures");
  check_seeking(kit, file, read.picture);
  const size_t descriptors = open_descriptors();
  ORB_IMAGE* const image = open_for_reading(kit, file);
  if (image == nullptr) return kit.fail("a file that was closed cannot be opened again");
  expect_bad_line(kit, image, window.top + 1, "a line above the window");
  expect_bad_line(kit, image, window.bottom - 1, "a line below the window");
  if ((kit.format()->access & ORB_ACCESS_ANY_LINE) != 0) {
    for (const int32_t line : mixed_lines(window)) check_line(kit, image, line, read.picture);
  } else if (image->seek == nullptr && window.top > window.bottom) {
    const bool is_bottom_up = (read.picture.ifd.orientation & ORB_BOTTOM_UP) != 0;
    expect_bad_line(kit, image, is_bottom_up ? window.top : window.bottom,
                    "the last line first, of a sequential reader");
  }
  ORB_close(image);
  if (open_descriptors() != descriptors) kit.fail("a file is left open");
}

void check_cut_files(Kit& kit, const std::vector<std::string>& samples) {
  const std::string file = kit.reads() ? some_file(kit, samples) : "";
  if (file.empty()) return;
  std::ifstream stream(file, std::ios::binary);
  const std::string bytes(std::istreambuf_iterator<char>(stream), {});
  const ReadBack whole = read_picture(kit, file);
  if (whole.code != 0) return kit.fail(file + ": " + whole.call + " fails, " + kit.last_error());
  const size_t descriptors = open_descriptors();
  const size_t step = std::max<size_t>(bytes.size() / kMostCuts, 1);
  for (size_t kept = 0; kept < bytes.size(); kept += step) check_cut(kit, bytes, kept, whole.picture);
  check_cut(kit, bytes, bytes.size() - 1, whole.picture);
  kit.forget();
  if (open_for_reading(kit, kit.file("nowhere")) != nullptr)
    return kit.fail("a file that is not there is opened");
  if (orb__err != ORB_E_OPEN)
    kit.fail("a file that is not there: the code is " + std::to_string(orb__err) + ", not -5");
  if (kit.errors() != 1)
    kit.fail("a file that is not there: " + std::to_string(kit.errors()) + " reports, not one");
  if (open_descriptors() != descriptors) kit.fail("files are left open after a failure");
}

void check_samples(Kit& kit, const std::vector<std::string>& samples) {
  for (const std::string& sample : samples) {
    const ReadBack read = read_picture(kit, sample);
    if (read.code == 0 && read.call.empty()) {
      kit.ok(sample + " is read");
    } else {
      kit.fail(sample + ": " + read.call + " fails (" + std::to_string(read.code) + ", " + kit.last_error() +
               ")");
    }
  }
}

}  // namespace orb::tool::plugin_check
