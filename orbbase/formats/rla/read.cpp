// Opening RLA files for reading, and closing them.
#include <cerrno>
#include <cstring>
#include <memory>

#include "orbbase/core/ifd_copy.h"
#include "orbbase/core/internal.h"
#include "orbbase/driver.h"
#include "orbbase/formats/rla.h"
#include "orbbase/formats/rla/description.h"
#include "orbbase/formats/rla/paths.h"
#include "orbbase/formats/rla/reading.h"

namespace orb::rla {
namespace {

// Rows up to this size are taken on trust. Beyond it the file must be long enough for one of them, so that a short
// file cannot ask for much memory.
constexpr uint64_t kTrustedRowBytes = 32768;

void release_input(Input* input) {
  input->window.finish();
  if (input->stream) std::fclose(input->stream);
  ERR_free(input);
}

struct InputReleased {
  void operator()(Input* input) const { release_input(input); }
};
using InputOwner = std::unique_ptr<Input, InputReleased>;

// The images found so far.
struct Found {
  Found() = default;
  ~Found() {
    for (ORB_IFD& ifd : ifds.items()) release_ifd(ifd);
    images.release();
    ifds.release();
  }
  Found(const Found&) = delete;
  Found& operator=(const Found&) = delete;

  Growable<ReadImage> images;
  Growable<ORB_IFD> ifds;
};

// Notices a chain of headers that comes back to one of them, after Brent (BIT 20, 1980): one position is remembered,
// a later one after each doubling of the way.
class ChainWatch {
 public:
  bool comes_back_to(uint64_t position) {
    if (position == remembered_) return true;
    if (++steps_ == until_) {
      remembered_ = position;
      until_ *= 2;
      steps_ = 0;
    }
    return false;
  }

 private:
  uint64_t remembered_ = 0;
  uint64_t steps_ = 0;
  uint64_t until_ = 1;
};

bool append_image(Found& found) {
  constexpr uint32_t kUsualCount = 1;
  const ReadImage image = {};
  const ORB_IFD ifd = {};
  return (found.images.append(image, kUsualCount) && found.ifds.append(ifd, kUsualCount)) || out_of_memory();
}

// Whether a row of such an image can be in the file beside its header and table, before memory is taken for one. It
// may lie before them: the last image's does.
bool row_is_possible(InputWindow& window, const ORB_IFD& ifd) {
  return sample_row_bytes(ifd) <= kTrustedRowBytes ||
         least_row_bytes(ifd) <= window.file_bytes() - kHeaderBytes - table_bytes_of(ifd);
}

int32_t cannot_take(const InputWindow& window, const char* path) {
  if (window.error() == InputWindow::kNoMemory) return fail(ORB_E_MEMORY);
  if (window.error() == 0) return not_rla(path);
  cannot_open(path, window.error());
  return ORB_E_OPEN;
}

// Reads the header at a position as that of the last image found. Returns 0 or the code, reported.
int32_t read_header(Input& input, Found& found, ORB_INFO& info, uint64_t position, uint64_t* next_out) {
  const uint8_t* const bytes = input.window.take(position, kHeaderBytes);
  if (!bytes) return cannot_take(input.window, info.handle);
  Header header;
  parse_header(ConstHeaderBytes(bytes, kHeaderBytes), header);
  const uint32_t index = found.images.count() - 1;
  ORB_IFD& ifd = found.ifds[index];
  ReadImage& image = found.images[index];
  int32_t code = describe_image(header, static_cast<int32_t>(index), info.handle, info, ifd);
  if (code != ORB_OK) return code;
  if (index == 0 && !describe_file(header, info)) return ORB_E_MEMORY;
  image.table_position = position + kHeaderBytes;
  const uint64_t table_bytes = table_bytes_of(ifd);
  if (!input.window.take(image.table_position, table_bytes)) return cannot_take(input.window, info.handle);
  if (!row_is_possible(input.window, ifd)) return not_rla(info.handle);
  code = lay_out(ifd, key_of(info), EmptyGroups::of_known_types, image.layout);
  image.most_block_bytes = most_block_bytes(ifd, static_cast<uint64_t>(image.layout.rows.width()));
  *next_out = header.revision == kCurrentRevision ? static_cast<uint64_t>(header.next) : 0;
  return code;
}

int32_t read_headers(Input& input, Found& found, ORB_INFO& info) {
  ChainWatch chain;
  for (uint64_t position = 0;;) {
    const uint64_t image_count = uint64_t{found.images.count()} + 1;
    if (!orb__within_limit(ORB_LIMIT_IMAGES, image_count, "ORB_open") || !append_image(found))
      return ORB_E_MEMORY;
    uint64_t next = 0;
    const int32_t code = read_header(input, found, info, position, &next);
    if (code != ORB_OK || next == 0) return code;
    if (chain.comes_back_to(next)) return not_rla(info.handle);
    position = next;
  }
}

// Hands what was found over to the handle.
bool attach(ORB_IMAGE& image, Found& found, InputOwner& input) {
  owned<ORB_DRIVER_BLOCK> slots = make_zeroed<ORB_DRIVER_BLOCK>(found.images.count());
  if (!slots) return out_of_memory();
  input->image_count = static_cast<int32_t>(found.images.count());
  for (uint32_t i = 0; i < found.images.count(); ++i) {
    found.images[i].input = input.get();
    slots.get()[i].data = &found.images[i];
  }
  image.info.images = found.ifds.items().data();
  image.info.image_count = input->image_count;
  found.images = {};
  found.ifds = {};
  image.driver = slots.release();
  input.release();
  return true;
}

int32_t close_reader(ORB_IMAGE* image) {
  ReadImage* const images = static_cast<ReadImage*>(image->driver->data);
  Input* const input = images->input;
  for (int32_t i = 0; i < input->image_count; ++i) {
    ERR_free(images[i].table);
    ERR_free(images[i].scratch);
    ERR_free(images[i].rows);
  }
  release_input(input);
  orb__free_obj(image);
  return ORB_OK;
}

bool open_reader(ORB_IMAGE& image) {
  image.info.image_count = 0;
  if (!image.info.handle) {
    orb__report(ORB_MSG_REQUIRED_FIELD, "handle");
    set_error(ORB_E_OPEN);
    return false;
  }
  InputOwner input(make_zeroed<Input>(1).release());
  if (!input) return out_of_memory();
  input->stream = open_to_read(image.info);
  if (!input->stream) return false;
  if (!input->window.start(input->stream)) return out_of_memory();
  Found found;
  if (read_headers(*input, found, image.info) != ORB_OK || !attach(image, found, input)) return false;
  image.scan = read_row;
  image.close = close_reader;
  return true;
}

}  // namespace
}  // namespace orb::rla

int32_t ORB_rla_r_open(ORB_IMAGE* image) { return orb::rla::open_reader(*image) ? 1 : 0; }
