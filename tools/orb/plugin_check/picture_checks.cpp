// What becomes of pictures: those that the module claims to hold come back as they were, others are refused, and what
// cannot be written is not said to be.
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <clocale>
#include <csignal>
#include <filesystem>

#include "pictures.h"

namespace orb::tool::plugin_check {
namespace {

struct Type {
  uint32_t type;
  int32_t width;
};

bool has_width(uint32_t widths, int32_t width) {
  return width >= 1 && width <= 32 && (widths >> (width - 1) & 1U) != 0;
}

// Doubles have no bit of their own.
bool claims(const ORB_FORMAT& format, const Shape& shape) {
  const struct {
    int32_t count;
    int32_t most;
    uint32_t widths;
  } groups[] = {{shape.color, format.channels, format.channel_bits},
                {shape.matte, format.mattes, format.matte_bits},
                {shape.aux, format.z_channels, format.z_bits},
                {shape.index, format.palette_bits != 0 ? 1 : 0, format.palette_bits}};
  for (const auto& group : groups) {
    if (group.count > group.most) return false;
    if (group.count > 0 && shape.type != ORB_C_DOUBLE && !has_width(group.widths, shape.width)) return false;
  }
  return true;
}

// Every group on its own and together, in few and in as many channels as are claimed.
std::vector<Shape> shapes_of(const ORB_FORMAT& format, const Type& type) {
  constexpr int32_t kMost = 9;
  std::vector<int32_t> colors = {1, 2, 3, 4};
  if (format.channels > 4) colors.push_back(std::min(format.channels, kMost));
  std::vector<Shape> shapes;
  for (const int32_t color : colors) {
    for (const int32_t matte : {0, 1}) {
      for (const int32_t aux : {0, 1}) {
        shapes.push_back(
            {.color = color, .matte = matte, .aux = aux, .type = type.type, .width = type.width});
      }
    }
  }
  if (type.type == ORB_C_INTEGER && type.width <= 16) {
    shapes.push_back({.color = 0, .index = 1, .type = type.type, .width = type.width});
  }
  return shapes;
}

void check_refused(Kit& kit, const Shape& shape, const Written& written) {
  const std::string name = text_of(shape);
  if (written.code == 0) kit.fail(name + ": refused without a code");
  if (written.code != ORB_E_HANDLE && written.code != ORB_E_MEMORY) {
    kit.warn("pictures that cannot be held are refused with the code " + std::to_string(written.code) +
             "; -16 is usual");
  }
  if (kit.errors() != 1)
    kit.fail(name + ": refused with " + std::to_string(kit.errors()) + " reports, not one");
}

void check_stored(Kit& kit, const Shape& shape, const Picture& picture, const Written& written,
                  const std::string& file) {
  const std::string name = text_of(shape);
  if (written.code != 0) {
    return kit.fail(name + ": taken, and not written (" + std::to_string(written.code) + ", " +
                    kit.last_error() + ")");
  }
  if (kit.errors() > 0) kit.fail(name + ": written, and an error reported: " + kit.last_error());
  if (written.is_touched) kit.fail(name + ": the writer changes the rows that it is given");
  if (!kit.reads()) return;
  const ReadBack read = read_picture(kit, file);
  if (read.code != 0) {
    return kit.fail(name + ": what was written cannot be read back (" + read.call + ", " +
                    std::to_string(read.code) + ", " + kit.last_error() + ")");
  }
  // Indices may be given out as the colours that they stand for.
  const bool is_other_picture = written.is_lossy || (shape.index > 0 && read.picture.ifd.color.count > 0);
  const std::string found = is_other_picture ? "" : difference(picture, read.picture);
  if (!found.empty()) kit.fail(name + ": written and read back, " + found);
}

// Whether the picture was taken.
bool try_shape(Kit& kit, const Shape& shape) {
  const Picture picture = make_picture(shape);
  const std::string file = kit.file("picture");
  const Written written = write_picture(kit, picture, file);
  if (written.is_open) {
    check_stored(kit, shape, picture, written, file);
  } else {
    check_refused(kit, shape, written);
  }
  std::error_code ignored;
  std::filesystem::remove(file, ignored);
  return written.is_open;
}

// How many of the shapes that are claimed were taken, of one type.
struct Tally {
  size_t claimed = 0;
  size_t taken = 0;
};

Tally try_type(Kit& kit, const Type& type) {
  Tally tally;
  for (Shape shape : shapes_of(*kit.format(), type)) {
    const bool is_claimed = claims(*kit.format(), shape);
    const bool is_taken = try_shape(kit, shape);
    if (is_claimed && type.type != ORB_C_DOUBLE) ++tally.claimed;
    if (is_taken && is_claimed) ++tally.taken;
    if (!is_taken) continue;
    if (!is_claimed) kit.warn(text_of(shape) + ": taken, though it is not claimed");
    shape.is_bottom_up = true;
    static_cast<void>(try_shape(kit, shape));
  }
  return tally;
}

// ---- Full disks ----

void expect_failure(Kit& kit, const std::string& what, const Written& written) {
  if (written.code >= 0) kit.fail(what + ": written, says the format, with nowhere to write to");
  if (written.code < 0 && kit.errors() == 0) kit.fail(what + ": fails, and nothing is reported");
}

class FileLimit {
 public:
  explicit FileLimit(uint64_t bytes) {
    std::signal(SIGXFSZ, SIG_IGN);
    getrlimit(RLIMIT_FSIZE, &before_);
    const struct rlimit limit = {bytes, before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileLimit() { setrlimit(RLIMIT_FSIZE, &before_); }
  FileLimit(const FileLimit&) = delete;
  FileLimit& operator=(const FileLimit&) = delete;

 private:
  struct rlimit before_ = {};
};

}  // namespace

void check_pictures(Kit& kit, const std::vector<std::string>&) {
  if (!kit.writes()) return;
  const size_t descriptors = open_descriptors();
  size_t taken = 0;
  for (int32_t width = 1; width <= 32; ++width) {
    Tally tally = try_type(kit, {ORB_C_INTEGER, width});
    if (width == 32) tally.taken += try_type(kit, {ORB_C_FLOAT, width}).taken;
    if (tally.claimed > 0 && tally.taken == 0) {
      kit.fail("claims " + std::to_string(width) + " bits a sample, and refuses every picture of them");
    }
    taken += tally.taken;
  }
  taken += try_type(kit, {ORB_C_DOUBLE, 64}).taken;
  if (open_descriptors() != descriptors) kit.fail("files are left open");
  if (taken == 0 && !kit.has_failed()) kit.fail("takes no picture at all");
  if (!kit.has_failed()) kit.ok(std::to_string(taken) + " kinds of pictures are kept");
}

// Pictures that no format can hold.
void check_refusals(Kit& kit, const std::vector<std::string>&) {
  if (!kit.writes()) return;
  const size_t descriptors = open_descriptors();
  const Shape shapes[] = {{.type = 7}, {.width = 33}};
  for (const Shape& shape : shapes) {
    const Written written = write_picture(kit, make_picture(shape), kit.file("refused"));
    const std::string name = shape.type == 7 ? "an unknown type" : "33 bits a sample";
    if (written.is_open && written.code == 0) kit.fail(name + ": taken");
    if (!written.is_open && (written.code == 0 || kit.errors() == 0))
      kit.fail(name + ": refused without a code or a report");
  }
  Picture picture;
  if (open_descriptors() != descriptors) kit.fail("files are left open");
  if (!write_any_picture(kit, kit.file("any"), picture)) return;
  const Written nowhere =
      write_picture(kit, picture, "/nowhere/at/all" + std::string(kit.format()->extension));
  if (nowhere.code != ORB_E_OPEN) {
    kit.fail("a folder that is not there: the code is " + std::to_string(nowhere.code) + ", not -5");
  }
  if (kit.errors() != 1)
    kit.fail("a folder that is not there: " + std::to_string(kit.errors()) + " reports, not one");
}

void check_full_disk(Kit& kit, const std::vector<std::string>&) {
  Picture picture;
  const std::string file = kit.file("whole");
  if (!kit.writes() || !write_any_picture(kit, file, picture)) return;
  const size_t descriptors = open_descriptors();
  const auto bytes = std::filesystem::file_size(file);
  expect_failure(kit, "/dev/full", write_picture(kit, picture, "/dev/full"));
  for (const auto most : {bytes / 4, bytes / 2, bytes - 1}) {
    const FileLimit limit(most);
    expect_failure(kit, "a full disk", write_picture(kit, picture, kit.file("cut")));
  }
  if (open_descriptors() != descriptors) kit.fail("files are left open after a failure");
}

// What a plug-in leaves behind in the process of its host.
void check_manners(Kit& kit, const std::vector<std::string>& samples) {
  Picture picture;
  const std::string file = kit.file("manners");
  const std::string before = std::setlocale(LC_ALL, nullptr);
  const auto old_mask = umask(022);
  umask(022);
  const bool is_written = kit.writes() && write_any_picture(kit, file, picture);
  if (kit.reads() && (is_written || !samples.empty())) {
    static_cast<void>(read_picture(kit, is_written ? file : samples.front()));
  }
  if (before != std::setlocale(LC_ALL, nullptr)) kit.fail("the locale of the process is changed");
  if (umask(old_mask) != 022) kit.fail("the file mode mask of the process is changed");
}

}  // namespace orb::tool::plugin_check
