// A file from a stranger in the hands of a restless application: the input's last bytes choose the calls that are
// made on up to three handles, in any order, with arguments that no sound program would pass. What the contracts of
// the public headers leave to the caller is kept: rows and buffers are as large as they say, handles are not used
// after their close. Everything else has to be borne.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <deque>
#include <limits>
#include <memory>
#include <span>
#include <vector>

#include "input_file.h"
#include "orbbase/imp.h"
#include "orbbase/operators.h"
#include "orbbase/registry.h"
#include "whole_file.h"

namespace {

using namespace orb::fuzz;

constexpr size_t kCallBytes = 4;
constexpr size_t kMostCalls = 48;
constexpr const char* kKeys[] = {"mem", "rla", "pnm", "png", "tiff", "gif", "exr", "jpeg", "pipe", "none"};
constexpr const char* kMemoryNames[] = {"m", "f.0001", "f.0002"};

// The bytes behind the call's own: what its arguments are made of.
struct Arguments {
  uint8_t a;
  uint8_t b;
  uint8_t c;

  [[nodiscard]] int32_t near(int32_t base, uint8_t byte) const {
    if (byte == 127) return INT32_MAX;
    if (byte == 128) return INT32_MIN;
    return static_cast<int32_t>(int64_t{base} + static_cast<int8_t>(byte));
  }
  [[nodiscard]] float real(uint8_t byte) const {
    constexpr float kReals[] = {0, 1, 2.2F, 0.45F, -1, 1e9F, 1e-9F, INFINITY, NAN, 0.5F, 255, 65535.5F};
    return kReals[byte % std::size(kReals)];
  }
};

struct Session {
  InputFile input;
  InputFile output;
  const char* output_key = "rla";  // what was last written there
  std::array<ORB_IMAGE*, 3> handles = {};
  std::deque<ORB_RESPONSE_CURVE> curves;  // stay as long as the handles

  ORB_IMAGE*& at(Arguments args) { return handles[args.a % 3]; }
  [[nodiscard]] bool is_shared(const ORB_IMAGE* image) const {
    return std::count(handles.begin(), handles.end(), image) > 1;
  }
};

bool is_open(const ORB_IMAGE* image, uint32_t mode) { return image && image->mode == mode; }

// ---- Opening ----

void free_settings(ORB_CAP_SETTING** settings) {
  for (ORB_CAP_SETTING** setting = settings; setting && *setting; ++setting) ERR_free(*setting);
  ERR_free(settings);
}

// One setting, of those that the format offers or of none.
ORB_CAP_SETTING** one_setting(const char* key, Arguments args) {
  if (args.c < 64) return nullptr;
  ORB_CAPABILITY* offered = nullptr;
  int32_t count = 0;
  ORB_info_get_specific(key, nullptr, &offered, nullptr, nullptr, &count);
  ORB_CAP_SETTING setting = {};
  setting.code = args.c;
  setting.value.integer = args.b;
  if (count > 0) {
    const ORB_CAPABILITY& chosen = offered[args.c % count];
    setting.code = static_cast<uint16_t>(chosen.ident);
    if (chosen.list && chosen.list->entry_count > 0) {
      setting.value.integer = chosen.list->entries[args.b % chosen.list->entry_count].code;
    }
  }
  ORB_CAP_SETTING* list[] = {&setting, nullptr};
  return ORB_cap_setting_copy(list);
}

ORB_IMAGE* open(ORB_INFO& info, const char* mode) {
  ORB_IMAGE* const image = ORB_open(&info, mode);
  require(image || orb__err != 0, "an open failed without a code");
  if (!image) free_settings(info.settings);
  return image;
}

// Lends the texts.
ORB_INFO description(const char* name, const char* key, Arguments args) {
  ORB_INFO info;
  ORB_info_init(&info);
  info.handle = const_cast<char*>(name);
  info.key = const_cast<char*>(key);
  info.open_option = 1;
  info.settings = one_setting(key, args);
  return info;
}

void open_input(Session& session, Arguments args) {
  if (session.at(args)) return;
  const char* known = ORB_get_file_type(session.input.path().c_str(), nullptr, nullptr);
  const bool is_known = known && std::strcmp(known, "__none_") != 0;
  const char* key = args.b < 240 ? (is_known ? known : "rla") : kKeys[args.b % std::size(kKeys)];
  ORB_INFO info = description(session.input.path().c_str(), key, args);
  session.at(args) = open(info, "r");
}

void open_output(Session& session, Arguments args) {
  if (session.at(args)) return;
  ORB_INFO info = description(session.output.path().c_str(), session.output_key, args);
  session.at(args) = open(info, "r");
}

void open_memory(Session& session, Arguments args) {
  if (session.at(args)) return;
  ORB_INFO info = description(kMemoryNames[args.b % std::size(kMemoryNames)], "mem", {args.a, args.b, 0});
  session.at(args) = open(info, "r");
}

ORB_CHANNELS group(int32_t count, uint8_t form) {
  constexpr struct {
    uint32_t type;
    int32_t width;
  } kForms[] = {{ORB_C_INTEGER, 8},  {ORB_C_INTEGER, 16}, {ORB_C_INTEGER, 1}, {ORB_C_INTEGER, 12},
                {ORB_C_INTEGER, 32}, {ORB_C_FLOAT, 32},   {ORB_C_DOUBLE, 64}, {ORB_C_INTEGER, 33}};
  return {nullptr, count, kForms[form % 8].type, kForms[form % 8].width};
}

ORB_IFD small_picture(Arguments args) {
  ORB_IFD ifd = {};
  ifd.image_kind = ifd.aspect_kind = 1;
  ifd.curve = {ORB_CURVE_GAMMA, 2.2F, 0, 1, 256, ORB_C_INTEGER, 12, nullptr};
  ifd.pixel_aspect = 1;
  const int32_t left = args.c % 5 - 2;
  ifd.window = ifd.active_window = {left, left + args.b % 19, left, left + args.b % 7};
  if (args.c & 8) ++ifd.active_window.left;
  if (args.c & 16) ++ifd.active_window.top;
  ifd.orientation = args.c & 32 ? 0 : ORB_BOTTOM_UP;
  ifd.color = group(args.b >> 4 & 3, args.c >> 5);
  ifd.matte = group(args.b >> 6 & 1, args.c >> 5);
  ifd.aux = group(args.b >> 7, args.c >> 4);
  ifd.index = {nullptr, ifd.color.count == 0 ? 1 : 0, ORB_C_INTEGER, 8};
  return ifd;
}

// The description of another open handle, or a small one of its own, of 1 to 3 images.
void write(Session& session, Arguments args, const char* name, const char* key) {
  if (session.at(args)) return;
  ORB_INFO info = description(name, key, {args.a, args.b, 0});
  std::vector<ORB_IFD> images(1 + args.a / 3 % 3, small_picture(args));
  info.images = images.data();
  info.image_count = static_cast<int32_t>(images.size());
  info.field_value = args.c & 1;
  const ORB_IMAGE* model = session.handles[args.b % 3];
  if (model && args.a >= 128 && model->info.images) {
    info.images = model->info.images;
    info.image_count = model->info.image_count;
  }
  ORB_LUT* lut = ORB_lut_alloc(1 + args.c);
  info.write_option = reinterpret_cast<uintptr_t>(lut);
  session.at(args) = open(info, "w");
  ORB_lut_free(lut);
}

void write_memory(Session& session, Arguments args) {
  write(session, args, kMemoryNames[args.c % std::size(kMemoryNames)], "mem");
}

void write_output(Session& session, Arguments args) {
  for (const ORB_IMAGE* image : session.handles) {
    if (image && image->info.handle == session.output.path()) return;
  }
  session.output_key = kKeys[1 + args.c % (std::size(kKeys) - 1)];
  write(session, args, session.output.path().c_str(), session.output_key);
}

void close(Session& session, Arguments args) {
  ORB_IMAGE*& image = session.at(args);
  if (image) static_cast<void>(ORB_close(image));
  image = nullptr;
}

// ---- Rows ----

int32_t line_of(const ORB_IMAGE& image, int32_t index, Arguments args) {
  if (!image.info.images || index >= image.info.image_count) return args.near(0, args.b);
  const ORB_WINDOW& window = image.info.images[index].window;
  return args.near(args.c & 1 ? window.top : window.bottom, args.b);
}

void read_one(Session& session, Arguments args) {
  ORB_IMAGE* image = session.at(args);
  if (!is_open(image, ORB_MODE_READ) || image->info.image_count < 1) return;
  static_cast<void>(read_line(image, 0, line_of(*image, 0, args)));
}

void read_of_sub_image(Session& session, Arguments args) {
  ORB_IMAGE* image = session.at(args);
  if (!is_open(image, ORB_MODE_READ) || image->layers || image->info.image_count < 1) return;
  const int32_t index = args.c / 2 % image->info.image_count;
  static_cast<void>(read_line(image, index, line_of(*image, index, args)));
}

void read_all(Session& session, Arguments args) {
  ORB_IMAGE* image = session.at(args);
  if (is_open(image, ORB_MODE_READ) && !image->layers) read_everything(image);
}

void write_lines(ORB_IMAGE& image, int32_t index, int32_t first, int32_t count, uint8_t value) {
  ORB_IFD ifd = image.info.images[index];
  const int64_t pixels = int64_t{ifd.window.right} - ifd.window.left + 1;
  if (pixels < 1 || pixels > 1 << 20) return;  // no application has rows for that
  size_t size_bytes = 0;
  void** rows = ORB_chan_alloc(&ifd, static_cast<int32_t>(pixels), "calls", &size_bytes);
  if (!rows) return;
  const bool is_upward = (ifd.orientation & ORB_BOTTOM_UP) != 0;
  for (int64_t i = 0; i < count; ++i) {
    const int64_t line = is_upward ? first + i : first - i;
    if (line > INT32_MAX || line < INT32_MIN) break;
    if (size_bytes > 0) std::memset(rows[0], value + static_cast<int>(i), std::min<size_t>(size_bytes, 4096));
    if (index == 0) {
      static_cast<void>(ORB_scan_write(&image, static_cast<int32_t>(line), rows));
    } else {
      static_cast<void>(image.scan(image.driver[index].data, static_cast<int32_t>(line), rows));
    }
  }
  ORB_chan_free(rows);
}

void write_some(Session& session, Arguments args) {
  ORB_IMAGE* image = session.at(args);
  if (!is_open(image, ORB_MODE_WRITE) || image->info.image_count < 1) return;
  write_lines(*image, 0, line_of(*image, 0, args), 1 + args.c / 64, args.c);
}

// Every image whole, in order.
void write_all(Session& session, Arguments args) {
  ORB_IMAGE* image = session.at(args);
  if (!is_open(image, ORB_MODE_WRITE)) return;
  for (int32_t i = 0; i < std::min(image->info.image_count, image->layers ? 1 : 4); ++i) {
    const ORB_IFD& ifd = image->info.images[i];
    const bool is_upward = (ifd.orientation & ORB_BOTTOM_UP) != 0;
    const int64_t height = int64_t{ifd.window.top} - ifd.window.bottom + 1;
    write_lines(*image, i, is_upward ? ifd.window.bottom : ifd.window.top,
                static_cast<int32_t>(std::min<int64_t>(height, 64)), args.c);
  }
}

void seek(Session& session, Arguments args) {
  ORB_IMAGE*& image = session.at(args);
  if (image && !session.is_shared(image)) static_cast<void>(ORB_seek(&image, line_of(*image, 0, args)));
}

void read_region(Session& session, Arguments args) {
  constexpr struct {
    uint32_t layout;
    uint32_t pixel_bytes;
  } kLayouts[] = {{ORB_REGION_GREY16, 2}, {ORB_REGION_RGBA16, 8}, {ORB_REGION_RGBA8, 4},
                  {ORB_REGION_GREY8, 1},  {ORB_REGION_RGB8, 3},   {2, 8}};
  ORB_IMAGE*& image = session.at(args);
  if (!image || session.is_shared(image)) return;
  const auto& [layout, pixel_bytes] = kLayouts[args.c % std::size(kLayouts)];
  const ORB_WINDOW window = image->info.image_count > 0 ? image->info.images[0].window : ORB_WINDOW{};
  const int64_t columns = args.b % 37 - 1;
  const int64_t rows = args.b % 11 - 1;
  const int64_t left = int64_t{window.left} + args.c % 23 - 9;
  const int64_t bottom = int64_t{window.bottom} + args.b % 13 - 4;
  for (const int64_t end : {left, left + columns - 1, bottom, bottom + rows - 1}) {
    if (end != static_cast<int32_t>(end)) return;
  }
  const auto row_bytes = static_cast<uint32_t>(std::max<int64_t>(columns, 0)) * pixel_bytes + args.a % 4;
  const auto buffer =
      std::make_unique<uint8_t[]>(static_cast<size_t>(std::max<int64_t>(rows, 0)) * row_bytes);
  static_cast<void>(ORB_get_region(&image, static_cast<int32_t>(left),
                                   static_cast<int32_t>(left + columns - 1), static_cast<int32_t>(bottom),
                                   static_cast<int32_t>(bottom + rows - 1), buffer.get(), row_bytes, layout));
}

void read_palette(Session& session, Arguments args) {
  if (!is_open(session.at(args), ORB_MODE_READ)) return;
  ORB_LUT* lut = nullptr;
  static_cast<void>(ORB_lut_read(session.at(args), &lut));
  lut = lut ? ORB_lut_realloc(lut, 1 + args.b) : nullptr;
  ORB_lut_free(ORB_lut_copy(lut));
  ORB_lut_free(lut);
}

// ---- Frames ----

int32_t show(void* user_data, ORB_IMAGE* image, int32_t, double seconds) {
  require(seconds >= 0, "a frame lasts less than no time");
  static_cast<void>(read_line(image, 0, line_of(*image, 0, {})));
  return --*static_cast<int32_t*>(user_data) <= 0 ? 1 : 0;
}

void choose_frame(Session& session, Arguments args) {
  ORB_IMAGE* image = session.at(args);
  if (!is_open(image, ORB_MODE_READ)) return;
  int32_t frame = args.near(args.c & 1 ? image->info.frame_count : 0, args.b);
  static_cast<void>(ORB_set_frame(image, frame, 0, 0));
  static_cast<void>(ORB_get_frame(image, reinterpret_cast<intptr_t>(&frame), 0, 0));
}

void play(Session& session, Arguments args) {
  ORB_IMAGE* image = session.at(args);
  if (!is_open(image, ORB_MODE_READ)) return;
  int32_t frames_left = 4;
  const float rate = args.real(args.c);
  const auto first = static_cast<uint32_t>(args.near(1, args.b));
  static_cast<void>(ORB_playback_bind(image, reinterpret_cast<intptr_t>(show),
                                      reinterpret_cast<intptr_t>(&frames_left), 0));
  static_cast<void>(ORB_playback_params(image, reinterpret_cast<intptr_t>(&rate), 0, 0, first,
                                        first + args.c / 16, args.c & 1, 0, 0));
  static_cast<void>(ORB_playback_goto(image, args.b, 0, 0));
  static_cast<void>(ORB_playback_play(image, 0, 0, 0, 0, 0));
  static_cast<void>(ORB_playback_stop(image, 0, 0, 0));
  static_cast<void>(ORB_playback_bind(image, 0, 0, 0));
}

// ---- Operators ----

void push_gamma(Session& session, Arguments args) {
  ORB_RESPONSE_CURVE& curve = session.curves.emplace_back();
  curve = {ORB_CURVE_GAMMA, args.real(args.b), 0, 3, 256, ORB_C_INTEGER, 8, nullptr};
  if (args.c & 1) static_cast<void>(ORB_response_curve_init(&curve));
  ORB__gamma(session.at(args), &curve);
}

void push_quantize(Session& session, Arguments args) {
  const ORB_CHANNELS form = group(1, args.b);
  const ORB_QUANTIZE_TARGET target = {form.type, form.width};
  const auto wanted = [&](uint8_t bit) { return args.c & bit ? &target : nullptr; };
  ORB__quantize(session.at(args), args.c & 8 ? ORB_MODE_WRITE : ORB_MODE_READ, wanted(1), wanted(2),
                wanted(4));
}

void push_minmax(Session& session, Arguments args) {
  const double min = args.real(args.b);
  const double max = args.real(args.c);
  if (std::fabs(min) < 1e6 && std::fabs(max) < 1e6) ORB__minmax(session.at(args), min, max);
}

void push_select(Session& session, Arguments args) { ORB__select(session.at(args), args.near(0, args.b)); }

void push_merge(Session& session, Arguments args) {
  ORB_IMAGE*& image = session.at(args);
  if (image && !session.is_shared(image)) image = ORB__merge_fields(image);
}

void push_process(Session& session, Arguments args) {
  constexpr const char* kTypes[] = {"swatch", "mipmap", "none", "other", nullptr};
  const ORB_IMAGE* model = session.handles[args.c % 3];
  const ORB_IFD* full = model && model->info.image_count > 0 && args.c & 64 ? model->info.images : nullptr;
  const IMP_PROCESS process = {kTypes[args.c / 3 % 5], static_cast<int8_t>(args.b),
                               static_cast<int8_t>(args.b) / 8, args.b == 77 ? 1 : 0, full};
  ORB_IFD plan[4];
  if (full) static_cast<void>(IMP_plan(&process, full, plan, 4));
  ORB_IMAGE* image = session.at(args);
  static_cast<void>(IMP_open(image, &process, image && image->mode == ORB_MODE_WRITE ? "w" : "r"));
}

void pop(Session& session, Arguments args) {
  ORB_IMAGE*& image = session.at(args);
  if (!image) return;
  constexpr int32_t (*kRemovals[])(ORB_IMAGE*) = {ORB__gamma_remove, ORB__quantize_remove, ORB__minmax_remove,
                                                  ORB__select_remove, IMP_remove};
  if (args.b % 8 < std::size(kRemovals)) {
    static_cast<void>(kRemovals[args.b % 8](image));
  } else if (!session.is_shared(image)) {
    ORB_IMAGE* field = nullptr;
    if (ORB__merge_fields_remove(image, &field) == 1) image = field;
  }
}

// ---- Questions ----

void ask(Session& session, Arguments args) {
  const char* path = session.input.path().c_str();
  int32_t is_known = 0;
  static_cast<void>(ORB_is_file_type(path, nullptr, kKeys[args.b % std::size(kKeys)], &is_known));
  ORB_SETTING setting = {};
  static_cast<void>(ORB_setting(args.near(0, args.c), &setting));
  const ORB_IMAGE* image = session.at(args);
  if (image) static_cast<void>(ORB_isMultiFrameFormat(image->info.key));
}

void forget(Session&, Arguments args) {
  static_cast<void>(ORB_mem_remove(kMemoryNames[args.b % std::size(kMemoryNames)]));
}

constexpr void (*kCalls[])(Session&, Arguments) = {
    open_input,   read_one,     read_all,    seek,          read_region, read_of_sub_image, close,
    choose_frame, play,         push_gamma,  push_quantize, push_minmax, push_select,       push_merge,
    push_process, pop,          open_memory, write_memory,  write_some,  write_all,         write_output,
    open_output,  read_palette, ask,         forget};

void run(Session& session, std::span<const uint8_t> calls) {
  open_input(session, {});
  for (; calls.size() >= kCallBytes; calls = calls.subspan(kCallBytes)) {
    kCalls[calls[0] % std::size(kCalls)](session, {calls[1], calls[2], calls[3]});
  }
  for (uint8_t i = 0; i < session.handles.size(); ++i) close(session, {i, 0, 0});
  for (uint8_t i = 0; i < std::size(kMemoryNames); ++i) forget(session, {0, i, 0});
  for (ORB_RESPONSE_CURVE& curve : session.curves) static_cast<void>(ORB_response_curve_done(&curve));
  session.curves.clear();
}

}  // namespace

// The last byte counts the calls, with its top bit for the cache of multi-frame files; before it stand their bytes,
// and the file before these.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static Session session;
  static const bool is_started = [] {
    start_with_modules(ORB_FUZZ_MODULES);
    return true;
  }();
  require(is_started, "the library does not start");
  if (size == 0) return 0;
  const uint8_t last = data[size - 1];
  const size_t count = std::min<size_t>({last & 0x7FU, kMostCalls, (size - 1) / kCallBytes});
  const size_t file_bytes = size - 1 - count * kCallBytes;
  session.input.hold(data, file_bytes);
  session.output.hold(nullptr, 0);
  ORB_multiframe_set(last >> 7, 3);
  run(session, {data + file_bytes, count * kCallBytes});
  ORB_multiframe_set(0, 0);
  return 0;
}
