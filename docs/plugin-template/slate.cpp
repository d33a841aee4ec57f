// A plug-in to start from: "slate", a made-up format, read and written row by row.
//
//   offset  bytes
//        0      8  "slate\r\n" and 0x1A
//        8      4  column of the left edge       signed; all numbers are little-endian
//       12      4  row of the bottom edge        signed
//       16      4  width                         1 and more
//       20      4  height                        1 and more
//       24      1  colour channels               1 to 3
//       25      1  matte channels                0 or 1
//       26      1  bits a sample                 1 to 16
//       27      1  what is declared              bit 0: the gamma; bit 1: the pixel aspect
//       28      4  gamma                         single precision; 0 when it is not declared
//       32      4  pixel aspect                  the same
//       36         rows from the top down; in each the channels, one behind the other; a sample takes one
//                  byte up to 8 bits, else two
//              4  "end\n": without it the file is not whole
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <bit>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>

#include "orbbase/core.h"
#include "orbbase/driver.h"
#include "orbbase/registry.h"

namespace {

constexpr char kKey[] = "slate";
constexpr char kMagic[9] = "slate\r\n\x1a";
constexpr char kEndMark[5] = "end\n";
constexpr size_t kMagicBytes = 8;
constexpr size_t kHeaderBytes = 36;
constexpr size_t kEndBytes = 4;
constexpr uint8_t kDeclaresGamma = 1;
constexpr uint8_t kDeclaresAspect = 2;

// ---- Errors: whoever knows the reason reports it, once, and sets the code; the others pass it on ----

// Other threads use the library too, so the code is stored as the library stores it.
int32_t fail(int32_t code) {
  std::atomic_ref<int32_t>(orb__err).store(code, std::memory_order_relaxed);
  return code;
}

// Why a read gave fewer bytes than were asked for. To be called next: errno does not wait.
const char* reason_of(std::FILE* stream) {
  return std::ferror(stream) ? std::strerror(errno) : "the file ends too early";
}

bool give_up(int32_t code) {
  fail(code);
  return false;
}

bool refuse_image(int32_t message) {
  orb__report(message, kKey);
  return give_up(ORB_E_HANDLE);
}

bool refuse_file(const char* path, const char* reason) {
  orb__report(ORB_MSG_NOT_OF_FORMAT, path, kKey, reason);
  return give_up(ORB_E_FORMAT);
}

bool refuse_open(const char* path, const char* reason) {
  orb__report(ORB_MSG_CANNOT_OPEN, path, reason);
  return give_up(ORB_E_OPEN);
}

// ---- An open file ----

struct Header {
  int32_t left;
  int32_t bottom;
  uint32_t width;
  uint32_t height;
  uint8_t colours;
  uint8_t mattes;
  uint8_t bits;
  uint8_t declared;
  float gamma;
  float pixel_aspect;
};

struct File {
  std::FILE* stream;
  const char* path;  // the handle's own copy, which lives longer
  bool is_standard;  // standard input or output: never closed
  bool is_created;   // by this handle: removed when the open fails
  void** rows;       // reading: what is given out
  Header header;
  int64_t next_line;  // rows come in sequence; beyond the last row it may leave 32 bits
  int32_t failure;    // the code of an error that leaves nothing to be read or written
};

int32_t channels(const Header& header) { return header.colours + header.mattes; }
size_t sample_bytes(const Header& header) { return header.bits > 8 ? 2 : 1; }
int64_t width_of(const ORB_WINDOW& window) { return int64_t{window.right} - window.left + 1; }
int64_t height_of(const ORB_WINDOW& window) { return int64_t{window.top} - window.bottom + 1; }
int64_t top(const Header& header) { return int64_t{header.bottom} + header.height - 1; }
int64_t right(const Header& header) { return int64_t{header.left} + header.width - 1; }

// Closes the stream. False when the system could not.
bool close_stream(File& file) {
  std::FILE* stream = file.stream;
  file.stream = nullptr;
  return !stream || file.is_standard || std::fclose(stream) == 0;
}

// Releases a file whose open failed: the library then releases the handle, but knows nothing of this record.
struct Abandoned {
  void operator()(File* file) const {
    close_stream(*file);
    if (file->is_created) std::remove(file->path);
    ORB_chan_free(file->rows);
    ERR_free(file);
  }
};
using FileOwner = std::unique_ptr<File, Abandoned>;

FileOwner make_file(const ORB_IMAGE& image) {
  auto* file = static_cast<File*>(ERR_malloc(sizeof(File)));
  if (!file) {
    fail(ORB_E_MEMORY);  // ERR_malloc has reported it
    return nullptr;
  }
  *file = File{};
  file->path = image.info.handle ? image.info.handle : "";
  return FileOwner(file);
}

// Hands the file to the handle, which owns it from here on.
bool attach(ORB_IMAGE& image, FileOwner& file, ORB_SCAN_FN scan, ORB_CLOSE_FN close) {
  image.driver = static_cast<ORB_DRIVER_BLOCK*>(ERR_malloc(sizeof(ORB_DRIVER_BLOCK)));
  if (!image.driver) return give_up(ORB_E_MEMORY);
  image.driver->data = file.release();
  image.scan = scan;
  image.close = close;
  return true;
}

// ---- The header in bytes ----

uint32_t number_at(const unsigned char* bytes) {
  return bytes[0] | uint32_t{bytes[1]} << 8 | uint32_t{bytes[2]} << 16 | uint32_t{bytes[3]} << 24;
}

void put_number(unsigned char* bytes, uint32_t number) {
  for (int i = 0; i < 4; ++i) bytes[i] = static_cast<unsigned char>(number >> 8 * i);
}

Header header_from(const unsigned char* bytes) {
  Header header = {};
  header.left = static_cast<int32_t>(number_at(bytes + 8));
  header.bottom = static_cast<int32_t>(number_at(bytes + 12));
  header.width = number_at(bytes + 16);
  header.height = number_at(bytes + 20);
  header.colours = bytes[24];
  header.mattes = bytes[25];
  header.bits = bytes[26];
  header.declared = bytes[27];
  header.gamma = std::bit_cast<float>(number_at(bytes + 28));
  header.pixel_aspect = std::bit_cast<float>(number_at(bytes + 32));
  return header;
}

void put_header(const Header& header, unsigned char* bytes) {
  std::memcpy(bytes, kMagic, kMagicBytes);
  put_number(bytes + 8, static_cast<uint32_t>(header.left));
  put_number(bytes + 12, static_cast<uint32_t>(header.bottom));
  put_number(bytes + 16, header.width);
  put_number(bytes + 20, header.height);
  bytes[24] = header.colours;
  bytes[25] = header.mattes;
  bytes[26] = header.bits;
  bytes[27] = header.declared;
  put_number(bytes + 28, std::bit_cast<uint32_t>(header.gamma));
  put_number(bytes + 32, std::bit_cast<uint32_t>(header.pixel_aspect));
}

// A number of the file that is used as it stands later must make sense here. NaN is not above 0.
const char* fault_of(const Header& header) {
  if (header.width < 1 || header.height < 1) return "the picture has no pixels";
  if (header.width > INT32_MAX || header.height > INT32_MAX) return "the picture is too large";
  if (right(header) > INT32_MAX || top(header) > INT32_MAX) return "the window is too far out";
  if (header.colours < 1 || header.colours > 3 || header.mattes > 1) return "the number of channels is wrong";
  if (header.bits < 1 || header.bits > 16) return "the number of bits is wrong";
  if ((header.declared & kDeclaresGamma) && !(header.gamma > 0)) return "the gamma is not above 0";
  if ((header.declared & kDeclaresAspect) && !(header.pixel_aspect > 0))
    return "the pixel aspect is not above 0";
  return nullptr;
}

// Whether no sample is larger than its bits: a reader gives out no such row, a writer takes none.
bool fits(const Header& header, const void* row) {
  const auto is_larger = [&header](uint32_t sample) { return sample >> header.bits != 0; };
  const auto* bytes = static_cast<const uint8_t*>(row);
  const auto* shorts = static_cast<const uint16_t*>(row);
  return sample_bytes(header) == 1 ? std::none_of(bytes, bytes + header.width, is_larger)
                                   : std::none_of(shorts, shorts + header.width, is_larger);
}

// ---- Reading ----

bool open_to_read(File& file) {
  file.is_standard = std::strcmp(file.path, "/dev/stdin") == 0;
  file.stream = file.is_standard ? stdin : std::fopen(file.path, "rb");
  return file.stream || refuse_open(file.path, std::strerror(errno));
}

bool read_header(File& file) {
  unsigned char bytes[kHeaderBytes];
  const size_t got = std::fread(bytes, 1, sizeof bytes, file.stream);
  if (std::ferror(file.stream)) {
    orb__report(ORB_MSG_READ_PROBLEM, file.path, reason_of(file.stream));
    return give_up(ORB_E_READ);
  }
  if (got < kMagicBytes || std::memcmp(bytes, kMagic, kMagicBytes) != 0) {
    return refuse_file(file.path, got == 0 ? "the file is empty" : "it begins with other bytes");
  }
  if (got < sizeof bytes) return refuse_file(file.path, "its header is cut short");
  file.header = header_from(bytes);
  const char* fault = fault_of(file.header);
  return !fault || refuse_file(file.path, fault);
}

// The handle's description, as the file declares it; what it does not declare is marked as assumed.
bool describe(ORB_IMAGE& image, const Header& header) {
  auto* ifd = static_cast<ORB_IFD*>(ERR_malloc(sizeof(ORB_IFD)));
  if (!ifd) return give_up(ORB_E_MEMORY);
  *ifd = ORB_IFD{};
  image.info.images = ifd;
  image.info.image_count = 1;
  orb__init_ifd(&image);
  ifd->window = {header.left, static_cast<int32_t>(right(header)), header.bottom,
                 static_cast<int32_t>(top(header))};
  ifd->active_window = ifd->window;
  ifd->pair_a[0] = static_cast<int32_t>(header.width);
  ifd->pair_a[1] = static_cast<int32_t>(header.height);
  ifd->orientation = 0;
  ifd->color.count = header.colours;
  ifd->matte.count = header.mattes;
  ifd->color.width = ifd->matte.width = header.bits;
  ifd->pixel_aspect = 1;
  image.info.word_e = ORB_ASSUMED_PRIMARIES | ORB_ASSUMED_FRAME_RATE | ORB_ASSUMED_FRAME_NUMBER;
  if (header.declared & kDeclaresGamma) {
    ifd->curve.gamma = header.gamma;
  } else {
    image.info.word_e |= ORB_ASSUMED_GAMMA;
  }
  if (header.declared & kDeclaresAspect) {
    ifd->pixel_aspect = header.pixel_aspect;
  } else {
    image.info.word_e |= ORB_ASSUMED_PIXEL_ASPECT;
  }
  return true;
}

// ORB_chan_alloc holds the block against ORB_LIMIT_BUFFER; here it is also all that the handle takes.
bool make_rows(File& file, ORB_IFD& ifd) {
  const uint64_t row_bytes = uint64_t{file.header.width} * sample_bytes(file.header);
  if (!orb__within_limit(ORB_LIMIT_HANDLE, row_bytes * channels(file.header), "Opening a slate"))
    return false;
  file.rows = ORB_chan_alloc(&ifd, static_cast<int32_t>(file.header.width), kKey, nullptr);
  return file.rows != nullptr;  // the code is set
}

bool read_samples(File& file, void* row) {
  const size_t width = file.header.width;
  if (std::fread(row, sample_bytes(file.header), width, file.stream) != width) return false;
  if (sample_bytes(file.header) == 1) return true;
  const auto* bytes = static_cast<const unsigned char*>(row);
  auto* samples = static_cast<uint16_t*>(row);
  for (size_t i = 0; i < width; ++i) samples[i] = static_cast<uint16_t>(bytes[2 * i] | bytes[2 * i + 1] << 8);
  return true;
}

bool read_end(File& file) {
  char bytes[kEndBytes];
  const size_t got = std::fread(bytes, 1, sizeof bytes, file.stream);
  return got == sizeof bytes && std::memcmp(bytes, kEndMark, kEndBytes) == 0;
}

int32_t cannot_read(File& file, int32_t line, const char* reason) {
  orb__report(ORB_MSG_CANNOT_READ_LINE, line, reason);
  return file.failure = fail(ORB_E_READ);
}

int32_t cannot_decode(File& file, int32_t line) {
  orb__report(ORB_MSG_CANNOT_DECODE, line);
  return file.failure = fail(ORB_E_DECODE);
}

int32_t out_of_sequence(int32_t line) {
  orb__report(ORB_MSG_BAD_SCANLINE, line);
  return fail(ORB_E_SCANLINE);
}

int32_t read_line(void* data, int32_t line, void* rows_out) {
  File& file = *static_cast<File*>(data);
  if (file.failure != 0) return fail(file.failure);
  if (line != file.next_line || line < file.header.bottom) return out_of_sequence(line);
  for (int32_t c = 0; c < channels(file.header); ++c) {
    if (!read_samples(file, file.rows[c])) return cannot_read(file, line, reason_of(file.stream));
    if (!fits(file.header, file.rows[c])) return cannot_decode(file, line);
  }
  // Looked at together with the last row, so that no cut file passes for a whole one.
  if (line == file.header.bottom && !read_end(file))
    return cannot_read(file, line, "the end mark is missing");
  --file.next_line;
  *static_cast<void***>(rows_out) = file.rows;
  return 0;
}

int32_t close_reader(ORB_IMAGE* image) {
  File& file = *static_cast<File*>(image->driver->data);
  close_stream(file);
  ORB_chan_free(file.rows);
  orb__free_obj(image);  // with the driver block, the file record and the handle itself
  return 0;
}

bool open_reader(ORB_IMAGE& image) {
  FileOwner file = make_file(image);
  if (!file || !open_to_read(*file) || !read_header(*file) || !describe(image, file->header)) return false;
  if (!make_rows(*file, image.info.images[0])) return false;
  file->next_line = top(file->header);
  return attach(image, file, read_line, close_reader);
}

// ---- Writing ----

// What cannot be stored is refused, never converted.
bool is_storable(const ORB_INFO& info) {
  if (info.image_count != 1) return refuse_image(ORB_MSG_CANNOT_HANDLE);
  const ORB_IFD& ifd = info.images[0];
  const ORB_CHANNELS &color = ifd.color, &matte = ifd.matte;
  const int64_t width = width_of(ifd.window), height = height_of(ifd.window);
  if (width < 1 || width > INT32_MAX || height < 1 || height > INT32_MAX)
    return refuse_image(ORB_MSG_CANNOT_HANDLE);
  if (color.count < 1 || color.count > 3 || matte.count < 0 || matte.count > 1 || ifd.aux.count != 0) {
    return refuse_image(ORB_MSG_CANNOT_HANDLE);
  }
  if (color.type != ORB_C_INTEGER) return refuse_image(ORB_MSG_IMAGE_TYPE);
  if (color.width < 1 || color.width > 16) return refuse_image(ORB_MSG_IMAGE_WIDTH);
  if (matte.count != 0 && matte.type != ORB_C_INTEGER) return refuse_image(ORB_MSG_MATTE_TYPE);
  if (matte.count != 0 && matte.width != color.width) return refuse_image(ORB_MSG_MATTE_WIDTH);
  return true;
}

// The header of what is asked for: nothing is declared that the reader of the original only assumed.
Header header_for(const ORB_INFO& info) {
  const ORB_IFD& ifd = info.images[0];
  Header header = {};
  header.left = ifd.window.left;
  header.bottom = ifd.window.bottom;
  header.width = static_cast<uint32_t>(width_of(ifd.window));
  header.height = static_cast<uint32_t>(height_of(ifd.window));
  header.colours = static_cast<uint8_t>(ifd.color.count);
  header.mattes = static_cast<uint8_t>(ifd.matte.count);
  header.bits = static_cast<uint8_t>(ifd.color.width);
  if (!(info.word_e & ORB_ASSUMED_GAMMA) && ifd.curve.kind == ORB_CURVE_GAMMA && ifd.curve.gamma > 0) {
    header.declared |= kDeclaresGamma;
    header.gamma = ifd.curve.gamma;
  }
  if (!(info.word_e & ORB_ASSUMED_PIXEL_ASPECT) && ifd.pixel_aspect > 0) {
    header.declared |= kDeclaresAspect;
    header.pixel_aspect = ifd.pixel_aspect;
  }
  return header;
}

void drop_text(char*& text) {
  ERR_free(text);
  text = nullptr;
}

// The handle's own description becomes what the file will hold, so that the application sees what is lost
// before it writes a row.
void describe_what_is_kept(ORB_INFO& info, const Header& header) {
  ORB_INFO kept = {};
  ORB_info_init(&kept);
  for (char** text : {&info.text1, &info.text3, &info.text4, &info.text5, &info.text6, &info.text7,
                      &info.text8, &info.text9, &info.text10}) {
    drop_text(*text);
  }
  kept.key = info.key;
  kept.handle = info.handle;
  kept.extension = info.extension;
  kept.open_option = info.open_option;
  kept.settings = info.settings;
  kept.images = info.images;
  kept.image_count = info.image_count;
  kept.word_e = ORB_ASSUMED_PRIMARIES | ORB_ASSUMED_FRAME_RATE | ORB_ASSUMED_FRAME_NUMBER;
  if (!(header.declared & kDeclaresGamma)) kept.word_e |= ORB_ASSUMED_GAMMA;
  if (!(header.declared & kDeclaresAspect)) kept.word_e |= ORB_ASSUMED_PIXEL_ASPECT;
  info = kept;

  ORB_IFD& ifd = info.images[0];
  for (char** text : {&ifd.name, &ifd.color.name, &ifd.matte.name, &ifd.aux.name, &ifd.index.name})
    drop_text(*text);
  ORB_response_curve_done(&ifd.curve);
  ifd.curve = {
      ORB_CURVE_GAMMA, header.declared & kDeclaresGamma ? header.gamma : 2.2F, 0, 1, 256, ORB_C_INTEGER, 12,
      nullptr};
  ifd.pixel_aspect = header.declared & kDeclaresAspect ? header.pixel_aspect : 1;
  ifd.image_kind = ifd.aspect_kind = 1;
  ifd.pair_a[0] = static_cast<int32_t>(header.width);
  ifd.pair_a[1] = static_cast<int32_t>(header.height);
  ifd.active_window = ifd.window;
  ifd.orientation = 0;  // from the top down: the order in which the rows are to come
  ifd.index.count = 0;  // there are no indices beside colours
}

// A file that was there is overwritten; one that was not is removed again when the open fails later.
bool open_to_write(File& file) {
  file.is_standard = std::strcmp(file.path, "/dev/stdout") == 0;
  if (file.is_standard) {
    file.stream = stdout;
    return true;
  }
  file.stream = std::fopen(file.path, "wbx");
  file.is_created = file.stream != nullptr;
  if (!file.stream && errno == EEXIST) file.stream = std::fopen(file.path, "wb");
  return file.stream || refuse_open(file.path, std::strerror(errno));
}

int32_t cannot_write(File& file, const char* reason) {
  orb__report(ORB_MSG_CANNOT_WRITE, file.path, reason);
  return file.failure = fail(ORB_E_WRITE);
}

bool write_header(File& file) {
  unsigned char bytes[kHeaderBytes];
  put_header(file.header, bytes);
  if (std::fwrite(bytes, 1, sizeof bytes, file.stream) == sizeof bytes) return true;
  cannot_write(file, std::strerror(errno));
  return false;
}

bool write_samples(File& file, const void* row) {
  const size_t width = file.header.width;
  if (sample_bytes(file.header) == 1) return std::fwrite(row, 1, width, file.stream) == width;
  const auto* samples = static_cast<const uint16_t*>(row);
  unsigned char bytes[2 * 1024];
  for (size_t done = 0; done < width;) {
    const size_t count = std::min(width - done, sizeof bytes / 2);
    for (size_t i = 0; i < count; ++i) {
      bytes[2 * i] = static_cast<unsigned char>(samples[done + i]);
      bytes[2 * i + 1] = static_cast<unsigned char>(samples[done + i] >> 8);
    }
    if (std::fwrite(bytes, 2, count, file.stream) != count) return false;
    done += count;
  }
  return true;
}

// The file stays as it is, and the row may be given again.
int32_t refuse_row(int32_t line) {
  orb__report(ORB_MSG_CANNOT_WRITE_LINE, line, "a sample does not fit the channel width");
  return fail(ORB_E_HANDLE);
}

int32_t write_line(void* data, int32_t line, void* rows) {
  File& file = *static_cast<File*>(data);
  if (file.failure != 0) return fail(file.failure);
  if (line != file.next_line || line < file.header.bottom) return out_of_sequence(line);
  for (int32_t c = 0; c < channels(file.header); ++c) {
    if (!fits(file.header, static_cast<void**>(rows)[c])) return refuse_row(line);
  }
  for (int32_t c = 0; c < channels(file.header); ++c) {
    if (write_samples(file, static_cast<void**>(rows)[c])) continue;
    orb__report(ORB_MSG_CANNOT_WRITE_LINE, line, std::strerror(errno));
    return file.failure = fail(ORB_E_WRITE);
  }
  --file.next_line;
  return 0;
}

// Every step that may show that the file is not whole is looked at, the close itself too.
int32_t finish(File& file) {
  if (file.failure != 0) return file.failure;
  if (file.next_line >= file.header.bottom) return cannot_write(file, "closed before all rows were written");
  const bool is_written =
      std::fwrite(kEndMark, 1, kEndBytes, file.stream) == kEndBytes && std::fflush(file.stream) == 0;
  if (!is_written || !close_stream(file)) return cannot_write(file, std::strerror(errno));
  return 0;
}

int32_t close_writer(ORB_IMAGE* image) {
  File& file = *static_cast<File*>(image->driver->data);
  const int32_t code = finish(file);
  close_stream(file);
  orb__free_obj(image);
  return code == 0 ? 0 : fail(code);
}

// All that can be refused is refused before the file is touched.
bool open_writer(ORB_IMAGE& image) {
  FileOwner file = make_file(image);
  if (!file || !is_storable(image.info)) return false;
  file->header = header_for(image.info);
  file->next_line = top(file->header);
  describe_what_is_kept(image.info, file->header);
  return open_to_write(*file) && write_header(*file) && attach(image, file, write_line, close_writer);
}

// ---- Knowing the format by its first bytes ----

bool has_magic(std::FILE* stream) {
  char bytes[kMagicBytes];
  return std::fread(bytes, 1, sizeof bytes, stream) == sizeof bytes &&
         std::memcmp(bytes, kMagic, kMagicBytes) == 0;
}

// Asked about files of every kind: opening a FIFO would wait for its other end.
bool is_slate(const char* name) {
  struct stat status;
  if (!name || stat(name, &status) != 0 || !S_ISREG(status.st_mode)) return false;
  std::FILE* stream = std::fopen(name, "rb");
  const bool is_ours = stream && has_magic(stream);
  if (stream) std::fclose(stream);
  return is_ours;
}

}  // namespace

// ---- What the library reads from the module ----

ORB_BEGIN_C

ORB_PLUGIN_API const char* version = "3.2";
ORB_PLUGIN_API const char* imageKey = kKey;
ORB_PLUGIN_API const char* imageExtension = ".slate";
ORB_PLUGIN_API const char* imageName = "Slate";
ORB_PLUGIN_API const char* imageDescription = "a made-up format to start from";
ORB_PLUGIN_API int32_t imageOrientation = 0;          // stored from the top down
ORB_PLUGIN_API int32_t imageNumberOfChannels = 3;     // at most
ORB_PLUGIN_API int32_t imageBitsPerChannel = 0xFFFF;  // bit n - 1: n bits a sample
ORB_PLUGIN_API int32_t imageNumberOfMattes = 1;
ORB_PLUGIN_API int32_t imageBitsPerMatte = 0xFFFF;
ORB_PLUGIN_API int32_t imageAccess = ORB_ACCESS_READ | ORB_ACCESS_WRITE;

ORB_PLUGIN_API int32_t imageReadOpen(ORB_IMAGE* image) { return open_reader(*image) ? 1 : 0; }
ORB_PLUGIN_API int32_t imageWriteOpen(ORB_IMAGE* image) { return open_writer(*image) ? 1 : 0; }
ORB_PLUGIN_API uint8_t imageIsFile(const char* name, FILE* stream) {
  if (!stream) return is_slate(name) ? 1 : 0;
  std::rewind(stream);
  return has_magic(stream) ? 1 : 0;
}

ORB_END_C
