// Reading and writing, each format by itself, and what a handle of any of them can be asked for.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "orbbase/core/drivers/mem_store.h"
#include "orbbase/core/internal.h"
#include "orbbase/formats/rla.h"
#include "orbbase/imp.h"
#include "orbbase/operators.h"
#include "tests/tools/animation.h"
#include "tests/trust/scenarios.h"

namespace orb::testing {
namespace {

int32_t write_all(const std::string& key) {
  for (const Picture& picture : pictures_of(key)) {
    if (const int32_t code = write_picture(picture)) return code;
  }
  return 0;
}

int32_t see_all(const std::string& key, Seen& seen) {
  for (const Picture& picture : pictures_of(key)) {
    if (const int32_t code = see_picture(picture.name, key, seen)) return code;
  }
  return 0;
}

void forget(const std::string& key) {
  for (const Picture& picture : pictures_of(key)) {
    if (key == "mem") ORB_mem_remove(picture.name.c_str());
    std::remove(picture.name.c_str());
  }
}

constexpr struct {
  const char *key, *write, *read;  // names of its scenarios
} kFormats[] = {
    {"mem", "MemWrite", "MemRead"}, {"pipe", "PipeWrite", "PipeRead"}, {"rla", "RlaWrite", "RlaRead"},
    {"png", "PngWrite", "PngRead"}, {"jpeg", "JpegWrite", "JpegRead"}, {"tiff", "TiffWrite", "TiffRead"},
    {"gif", "GifWrite", "GifRead"}, {"pnm", "PnmWrite", "PnmRead"},    {"exr", "ExrWrite", "ExrRead"}};

// Every format's own pictures, written and read.
std::vector<Scenario> writes_and_reads() {
  std::vector<Scenario> all;
  for (const auto& format : kFormats) {
    const std::string key = format.key;
    const uint32_t traits = key == "mem" ? uint32_t{kNoFiles} : 0;
    const auto see = [key](Seen& seen) { return see_all(key, seen); };
    all.push_back(
        {format.write, [key](Seen&) { return write_all(key); }, traits, {}, see, [key] { forget(key); }});
    all.push_back({format.read, see, traits, [key] { write_all(key); }});
  }
  return all;
}

// Backwards, so that a format without positions is opened anew.
int32_t seek_back(const std::string& key, Seen& seen) {
  ORB_IMAGE* handle = open_picture("bytes." + key, key);
  if (!handle) return failure();
  const ORB_WINDOW window = handle->info.images[0].window;
  int32_t code = 0;
  for (int32_t line = window.top; line >= window.bottom && code == 0; line -= 2) {
    code = ORB_seek(&handle, line);
    void** rows = nullptr;
    if (code == 0) code = ORB_scan_read(handle, line, &rows);
    if (code == 0) seen.append(static_cast<const char*>(rows[0]), 7);
  }
  return handle ? close_picture(handle, code) : code;
}

int32_t cut_regions(const std::string& key, Seen& seen) {
  ORB_IMAGE* handle = open_picture("bytes." + key, key);
  if (!handle) return failure();
  char pixels[16 * 16 * 8];
  int32_t code = 0;
  for (const uint32_t layout : {ORB_REGION_GREY16, ORB_REGION_RGBA16, ORB_REGION_RGBA8, ORB_REGION_RGB8}) {
    std::memset(pixels, 0, sizeof pixels);
    if (code == 0) code = ORB_get_region(&handle, -1, 5, 1, 3, pixels, ORB_REGION_PACKED, layout);
    if (code == 0) seen.append(pixels, sizeof pixels);
  }
  return handle ? close_picture(handle, code) : code;
}

// ---- Files of many frames

int32_t count_frame(void* seen, ORB_IMAGE* image, int32_t frame, double) {
  see(*static_cast<Seen*>(seen), frame);
  return see_rows(image, 0, *static_cast<Seen*>(seen));
}

int32_t play(Seen& seen) {
  ORB_IMAGE* const handle = open_picture("film.gif", "gif");
  if (!handle) return failure();
  int32_t code = ORB_playback_bind(handle, reinterpret_cast<intptr_t>(&count_frame),
                                   reinterpret_cast<intptr_t>(&seen), 0);
  if (code != 0) return close_picture(handle, code);
  code = ORB_playback_params(handle, 0, 0, 0, 1, 3, 0, 0, 0);
  if (code == 0) code = ORB_playback_play(handle, 0, 0, 0, 0, 0);
  if (code == 0) code = ORB_set_frame(handle, 2, 0, 0);
  if (code == 0) code = see_rows(handle, 0, seen);
  ORB_playback_bind(handle, 0, 0, 0);
  return close_picture(handle, code);
}

// More files than the cache keeps, in turns, each opened again while it is idle.
int32_t keep_open(Seen& seen) {
  ORB_multiframe_set(1, 3);
  for (const char* name : {"film.gif", "film2.gif", "film.gif", "film3.gif", "film4.gif", "film.gif"}) {
    if (const int32_t code = see_picture(name, "gif", seen)) return code;
  }
  return 0;
}

void make_films() {
  std::string bytes = gif("0123");
  bytes[bytes.find("\x21\xF9\x04") + 3] = 3 << 2;  // the first frame is taken away again
  for (const char* name : {"film.gif", "film2.gif", "film3.gif", "film4.gif"}) put_file(name, bytes);
}

int32_t write_film(Seen&) {
  Picture picture = pictures_of("gif").front();
  picture.name = "made.gif";
  return write_picture(picture, 3);
}

// ---- Which format

int32_t detect(Seen& seen) {
  for (const char* name :
       {"bytes.png", "bytes.rla", "bytes.tiff", "film.gif", "bytes.pipe", "bytes.jpeg", "bytes.pnm"}) {
    int32_t known = 0;
    see_text(seen, ORB_get_file_type(name, nullptr, &known));
    see_text(seen, ORB_is_file_type(name, nullptr, "rla", &known));
  }
  return 0;
}

// A driver that has its names from the catalogue of messages.
int32_t name_capabilities(Seen& seen) {
  ORB_CAPABILITY* table = nullptr;
  ORB_info_get_specific("tiff", nullptr, &table, nullptr, nullptr, nullptr);
  const ORB_CAPABILITY before = *table;
  table->name_from_catalogue = 1;
  table->catalogue_name = "named elsewhere";
  check_capabilities();
  see_text(seen, table->name);
  restore_capability_names();
  *table = before;
  return orb__err;
}

int32_t list_formats(Seen& seen) {
  char* names[32] = {};
  const int32_t count = ORB_getPluginNames(names);
  bool is_whole = true;
  for (int32_t i = 0; i < count; ++i) {
    is_whole = is_whole && names[i];
    see_text(seen, names[i]);
    std::free(names[i]);
  }
  return is_whole ? name_capabilities(seen) : failure();
}

// By the ending of its name.
int32_t see_named(Seen& seen) {
  for (const char* key : {"rla", "png"}) {
    ORB_IMAGE* const handle = open_picture("bytes", key, "r", 0);
    if (!handle) return failure();
    const int32_t code = close_picture(handle, see_rows(handle, 0, seen));
    if (code != 0) return code;
  }
  return 0;
}

// As indices, where colours are given unless these are asked for.
int32_t see_indices(Seen& seen) {
  ORB_CAP_SETTING wanted = {0, {1}};
  ORB_CAP_SETTING* const list[] = {&wanted, nullptr};
  for (const char* key : {"png", "gif", "tiff"}) {
    orb__err = 0;
    ORB_CAP_SETTING** const settings = ORB_cap_setting_copy(list);
    if (orb__err != 0) {
      ERR_free(settings);  // what there is of it holds none
      return failure();
    }
    const int32_t code = see_picture(std::string("index.") + key, key, seen, settings);
    if (code != 0) return code;
  }
  return 0;
}

// A texture is found through a variable that names a variable.
int32_t see_texture(Seen& seen) {
  ImageOwner handle = new_handle(ORB_MODE_READ);
  if (!handle) return failure();
  handle->info.handle = strdup("bytes.rla");
  if (!ORB_rla_texture_8_r_open(handle.get())) return failure();
  const int32_t code = see_rows(handle.get(), 0, seen);
  return close_picture(handle.release(), code);
}

// One pixel in seven passes.
void put_interlaced() {
  constexpr char kBytes[] =
      "\x89PNG\r\n\x1A\n\0\0\0\rIHDR\0\0\0\1\0\0\0\1\b\0\0\0\1My\xAB\xC3"
      "\0\0\0\nIDATx\xDA"
      "ch\0\0\0\x82\0\x81\xDA"
      "E\b;\0\0\0\0IEND\xAE"
      "B`\x82";
  put_file("interlaced.png", std::string(kBytes, sizeof kBytes - 1));
}

// More files than the memory driver's table has places at first.
int32_t keep_many(Seen&) {
  constexpr int kFiles = 70;
  const auto name_of = [](int i) { return std::to_string(i) + ".mem"; };
  int kept = 0;
  for (; kept < kFiles; ++kept) {
    MemFile* const file = make_zeroed<MemFile>(1).release();
    if (!file) break;
    file->name = strdup(name_of(kept).c_str());
    mem_publish(file);
  }
  for (int i = 0; i < kept; ++i) ORB_mem_remove(name_of(i).c_str());
  return kept == kFiles ? 0 : ORB_E_MEMORY;
}

// A row that is longer than what is read of a file at a time.
Picture wide_picture() {
  Picture picture("wide.rla", "rla");
  picture.window({0, 30000, 0, 1}).group(&ORB_IFD::color, 3, ORB_C_INTEGER, 16);
  return picture;
}

}  // namespace

const std::vector<Scenario>& format_scenarios() {
  static const std::vector<Scenario> others = {
      {"SeekRla", [](Seen& seen) { return seek_back("rla", seen); }, 0, [] { write_all("rla"); }},
      {"SeekPipe", [](Seen& seen) { return seek_back("pipe", seen); }, 0, [] { write_all("pipe"); }},
      {"Region", [](Seen& seen) { return cut_regions("pipe", seen); }, 0, [] { write_all("pipe"); }},
      {"Playback", play, 0, make_films},
      {"FilmWrite", write_film, 0, {}, [](Seen& seen) { return see_picture("made.gif", "gif", seen); }},
      {"MultiFrameCache", keep_open, 0, make_films},
      {"Detect", detect, kUnreported | kGoesWithout,
       [] {
         for (const char* key : {"png", "rla", "tiff", "pipe", "jpeg", "pnm"}) write_all(key);
         make_films();
       }},
      {"Catalogue", list_formats, kNoFiles},
      {"NamedRead", see_named, 0, [] { write_all("rla"), write_all("png"); }},
      {"Indices", see_indices, 0, [] { write_all("png"), write_all("gif"), write_all("tiff"); }},
      {"Texture", see_texture, 0,
       [] {
         write_all("rla");
         setenv("QV_TEX_DIR", "ORB_TEST_LINK", 1);
         setenv("ORB_TEST_LINK", ".", 1);
       }},
      {"InterlacedPng", [](Seen& seen) { return see_picture("interlaced.png", "png", seen); }, 0,
       put_interlaced},
      {"ManyInMemory", keep_many, kNoFiles | kTakesOnce},
      {"WideRla", [](Seen& seen) { return see_picture("wide.rla", "rla", seen); }, 0,
       [] { write_picture(wide_picture()); }},
  };
  static const std::vector<Scenario> all = [] {
    std::vector<Scenario> both = writes_and_reads();
    both.insert(both.end(), others.begin(), others.end());
    return both;
  }();
  return all;
}

}  // namespace orb::testing
