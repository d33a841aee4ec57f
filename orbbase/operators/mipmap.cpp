// The "mipmap" generator: a pyramid of images, each half of the one before, read from a picture or written of one.
#include <algorithm>

#include "orbbase/driver.h"
#include "orbbase/operators/generator.h"
#include "orbbase/operators/operator.h"
#include "orbbase/operators/reduce_channels.h"
#include "orbbase/operators/reduce_plan.h"

namespace orb::imp {
namespace {

using reduce::kMostLevels;

constexpr const char* kName = "mipmap";

// The rows of light of a level above the full image, all channels of a row one after the other.
struct LevelRows {
  size_t width;
  int64_t height;
  uint8_t* lights;  // the newest row
  uint8_t* sums;    // pairs of the row of the level below that waits for the other one
  bool is_waiting;
};

struct Pyramid;

// What a slot of the handle leads to. The records lie in one array, the first of which is the layer.
struct Level : Layer {
  Pyramid* pyramid;
  int32_t index;
};

struct Pyramid {
  reduce::Picture picture;
  int32_t level_count;
  LevelRows rows[kMostLevels];  // of level 0 only the size
  ORB_IFD images[kMostLevels];
  int32_t bottoms[kMostLevels];  // writing: the lowest line of the images of the file
  uint8_t* block;                // of all rows of light
  void** samples;                // as wide as level 1: what is handed out, or written
  Description before;

  // Where reading or writing stands, rows counted from the bottom of their window.
  int32_t level;        // reading: the one that is being read; 0: none
  int64_t next_row;     // reading: of that level
  int64_t next_source;  // of the full image
  int32_t failure;      // writing: what kept a row from the file

  ORB_DRIVER_BLOCK* slots;  // reading: one a level
  ORB_DRIVER_BLOCK* driver_block;
};

int64_t step_of(const Pyramid& pyramid) { return pyramid.picture.layout.bottom_up ? 1 : -1; }

// ---- Averaging ----------------------------------------------------------------------------------------

// Where the row that a level takes comes from: samples of the full image, or light of the level below.
struct Source {
  int32_t line;
  void* const* samples;
};

void pair_up(const Pyramid& pyramid, int32_t level, const Source& source, uint8_t* sums_out) {
  const LevelRows& below = pyramid.rows[level - 1];
  for (int32_t i = 0; i < pyramid.picture.channel_count; ++i) {
    const reduce::Channel& channel = pyramid.picture.channels[i];
    uint8_t* const sums = reduce::channel_lights(sums_out, i, pyramid.rows[level].width);
    if (level == 1) {
      const uint8_t* const samples = active_samples(pyramid.picture, i, source.line, source.samples);
      channel.rows->pair_samples(channel.light, samples, below.width, sums);
    } else {
      channel.rows->pair_lights(reduce::channel_lights(below.lights, i, below.width), below.width, sums);
    }
  }
}

void average(const Pyramid& pyramid, const LevelRows& level, const uint8_t* other_sums) {
  for (int32_t i = 0; i < pyramid.picture.channel_count; ++i) {
    const size_t offset = static_cast<size_t>(i) * level.width * reduce::kMostLightBytes;
    pyramid.picture.channels[i].rows->average(level.sums + offset, other_sums + offset, level.width,
                                              level.lights + offset);
  }
}

// Gives a row of the level below to a level. True when a row of this one is complete with it.
bool take_row(Pyramid& pyramid, int32_t level, int64_t row_below, const Source& source) {
  LevelRows& rows = pyramid.rows[level];
  const bool is_alone = row_below % 2 == 0 && row_below == pyramid.rows[level - 1].height - 1;
  if (!is_alone && !rows.is_waiting) {
    pair_up(pyramid, level, source, rows.sums);
    rows.is_waiting = true;
    return false;
  }
  // The place of the lights holds the second row's sums until they are averaged.
  pair_up(pyramid, level, source, is_alone ? rows.sums : rows.lights);
  average(pyramid, rows, is_alone ? rows.sums : rows.lights);
  rows.is_waiting = false;
  return true;
}

void make_samples(const Pyramid& pyramid, int32_t level) {
  const LevelRows& rows = pyramid.rows[level];
  for (int32_t i = 0; i < pyramid.picture.channel_count; ++i) {
    const reduce::Channel& channel = pyramid.picture.channels[i];
    channel.rows->samples(channel.light, reduce::channel_lights(rows.lights, i, rows.width), rows.width,
                          static_cast<uint8_t*>(pyramid.samples[i]));
  }
}

// ---- Reading ------------------------------------------------------------------------------------------

// The row of the full image with which reading a row of a level begins.
int64_t first_source(const Pyramid& pyramid, int32_t level, int64_t row) {
  if (step_of(pyramid) > 0) return row << level;
  return std::min((row + 1) << level, pyramid.rows[0].height) - 1;
}

void forget_position(Pyramid& pyramid) { pyramid.level = 0; }

void begin_at(Pyramid& pyramid, int32_t level, int64_t row) {
  for (LevelRows& rows : pyramid.rows) rows.is_waiting = false;
  pyramid.level = level;
  pyramid.next_row = row;
  pyramid.next_source = first_source(pyramid, level, row);
}

// How many rows of the full image a row of a level stands for.
int64_t source_count(const Pyramid& pyramid, int32_t level, int64_t row) {
  return std::min((row + 1) << level, pyramid.rows[0].height) - (row << level);
}

// The level of which the next rows of the full image make a whole row in which nothing is active: the highest up to
// the one that is being read; 0: there is none, or it is the row of the full image itself.
int32_t inactive_level(const Pyramid& pyramid) {
  const int64_t source = pyramid.next_source;
  const int64_t inactive = reduce::inactive_rows(pyramid.picture.layout, source, step_of(pyramid));
  for (int32_t level = 1; level <= pyramid.level; ++level) {
    const int64_t row = source >> level;
    const bool begins_row = first_source(pyramid, level, row) == source;
    if (!begins_row || source_count(pyramid, level, row) > inactive) return level - 1;
  }
  return pyramid.level;
}

// The light of a row in which nothing is active.
void fill_inactive(const Pyramid& pyramid, int32_t level, int32_t line) {
  const LevelRows& rows = pyramid.rows[level];
  for (int32_t i = 0; i < pyramid.picture.channel_count; ++i) {
    const reduce::Channel& channel = pyramid.picture.channels[i];
    channel.rows->lights(channel.light, active_samples(pyramid.picture, i, line, nullptr), rows.width,
                         reduce::channel_lights(rows.lights, i, rows.width));
  }
}

// Reads a row of the full image, or makes one of a level in which nothing is active, and takes it as far up as it
// goes. Sets is_complete_out when that is the level that is being read.
int32_t read_source(Pyramid& pyramid, const Layer& layer, bool& is_complete_out) {
  const auto line = static_cast<int32_t>(pyramid.picture.layout.window.bottom + pyramid.next_source);
  int32_t level = inactive_level(pyramid);
  int64_t row = pyramid.next_source >> level;
  const int64_t taken = source_count(pyramid, level, row);
  void** samples = nullptr;
  if (level > 0) {
    fill_inactive(pyramid, level, line);
  } else {
    const int32_t result = op::read_below(layer, line, &samples, pyramid.picture.channel_count);
    if (result < 0) return result;
  }
  const Source source = {line, samples};
  for (++level; level <= pyramid.level && take_row(pyramid, level, row, source); ++level) row /= 2;
  is_complete_out = level > pyramid.level;
  pyramid.next_source += step_of(pyramid) * taken;
  return ORB_OK;
}

int32_t scan_level(void* data, int32_t line, void* rows_out) {
  const auto* const level = static_cast<const Level*>(data);
  if (!level) return op::locked_sub_image();
  if (level->index == 0) return op::scan_below(*level, line, rows_out);
  Pyramid& pyramid = *level->pyramid;
  if (line < 0 || line >= pyramid.rows[level->index].height) return bad_scanline(line);
  if (pyramid.level != level->index || pyramid.next_row != line) begin_at(pyramid, level->index, line);
  for (bool is_complete = false; !is_complete;) {
    const int32_t result = read_source(pyramid, *level, is_complete);
    if (result < 0) return forget_position(pyramid), result;
  }
  pyramid.next_row += step_of(pyramid);
  make_samples(pyramid, level->index);
  *static_cast<void***>(rows_out) = pyramid.samples;
  return ORB_OK;
}

// Stands in for the driver's own function, to which lines of the full image mean something.
int32_t seek_level(void* data, int32_t line) {
  const auto* const level = static_cast<const Level*>(data);
  if (!level || !level->data) return fail(ORB_E_HANDLE);
  Pyramid& pyramid = *level->pyramid;
  forget_position(pyramid);
  const bool is_reduced = level->index > 0 && line >= 0 && line < pyramid.rows[level->index].height;
  if (is_reduced) {
    const int64_t source = pyramid.picture.layout.window.bottom + first_source(pyramid, level->index, line);
    line = static_cast<int32_t>(source);
  }
  return level->seek(level->data, line);
}

// ---- Writing ------------------------------------------------------------------------------------------

int32_t write_level(Pyramid& pyramid, const Level& layer, int32_t level, int64_t row) {
  make_samples(pyramid, level);
  const auto line = static_cast<int32_t>(pyramid.bottoms[level] + row);
  return layer.scan(pyramid.driver_block[level].data, line, pyramid.samples);
}

// Gives a row of the full image to the levels, and those rows that it completes to the driver.
int32_t write_levels(Pyramid& pyramid, const Level& layer, int64_t row, const Source& source) {
  for (int32_t level = 1; level < pyramid.level_count && take_row(pyramid, level, row, source); ++level) {
    row /= 2;
    const int32_t result = write_level(pyramid, layer, level, row);
    if (result < 0) return result;
  }
  return ORB_OK;
}

int32_t scan_to_levels(void* data, int32_t line, void* rows) {
  const auto* const layer = static_cast<const Level*>(data);
  if (!layer) return op::locked_sub_image();
  Pyramid& pyramid = *layer->pyramid;
  if (pyramid.failure != ORB_OK) return fail(pyramid.failure);  // reported then
  const int64_t row = int64_t{line} - pyramid.picture.layout.window.bottom;
  if (row != pyramid.next_source || !pyramid.picture.layout.has_line(line)) return bad_scanline(line);
  int32_t result = op::scan_below(*layer, line, rows);
  if (result < 0) return result;
  pyramid.next_source += step_of(pyramid);
  result = write_levels(pyramid, *layer, row, {line, static_cast<void* const*>(rows)});
  if (result < 0) pyramid.failure = result;
  return result;
}

// What kept a level from the file also counts where its driver has forgotten it.
int32_t close_written(ORB_IMAGE* image) {
  const auto* const layer = static_cast<const Level*>(top_layer(*image));
  if (!layer) return fail(ORB_E_HANDLE);
  const ORB_CLOSE_FN close = layer->close;
  const int32_t failure = layer->pyramid->failure;
  remove_layer(*image);
  const int32_t result = close(image);
  return result == ORB_OK && failure != ORB_OK ? fail(failure) : result;
}

// ---- Installation -------------------------------------------------------------------------------------

void release_pyramid(Pyramid* pyramid) {
  release(pyramid->picture);
  ERR_free(pyramid->block);
  ERR_free(pyramid->slots);
  ORB_chan_free(pyramid->samples);
  ERR_free(pyramid);
}

struct PyramidReleased {
  void operator()(Pyramid* pyramid) const { release_pyramid(pyramid); }
};
using PyramidOwner = std::unique_ptr<Pyramid, PyramidReleased>;

void release_levels(ORB_IMAGE* image, Layer* layer) {
  Pyramid* const pyramid = static_cast<Level*>(layer)->pyramid;
  put_back(*image, pyramid->before);
  if (pyramid->slots) {
    image->driver = pyramid->driver_block;
    image->driver->data = layer->data;
  }
  release_pyramid(pyramid);
}

constexpr LayerKind kReading = {kMipmap, scan_level, release_levels};
constexpr LayerKind kWriting = {kMipmap, scan_to_levels, release_levels};

bool allocate_rows(Pyramid& pyramid) {
  uint64_t samples = 0;
  for (int32_t k = 1; k < pyramid.level_count; ++k) samples += 2 * uint64_t{pyramid.rows[k].width};
  pyramid.block = reduce::allocate_lights(pyramid.picture, samples, 0, kName).release();
  if (!pyramid.block) return false;
  uint8_t* row = pyramid.block;
  for (int32_t k = 1; k < pyramid.level_count; ++k) {
    const size_t row_bytes =
        static_cast<size_t>(pyramid.picture.channel_count) * pyramid.rows[k].width * reduce::kMostLightBytes;
    pyramid.rows[k].lights = row;
    pyramid.rows[k].sums = row + row_bytes;
    row += 2 * row_bytes;
  }
  pyramid.samples = reduce::allocate_samples(pyramid.images[std::min(1, pyramid.level_count - 1)], kName);
  return pyramid.samples != nullptr;
}

PyramidOwner make_pyramid(const ORB_IFD& full, const IMP_PROCESS& process) {
  PyramidOwner made(op::make_state<Pyramid>().release());
  if (!made || reduce::prepare(full, kName, made->picture) != ORB_OK) return nullptr;
  made->level_count = plan_mipmap(process, full, made->images);
  for (int32_t k = 0; k < made->level_count; ++k) {
    made->rows[k].width = static_cast<size_t>(reduce::width_of(made->images[k]));
    made->rows[k].height = reduce::height_of(made->images[k]);
  }
  if (made->level_count == 0 || !allocate_rows(*made)) return nullptr;
  return made;
}

owned<Level> make_levels(Pyramid* pyramid, int32_t count) {
  owned<Level> levels = make_zeroed<Level>(static_cast<uint64_t>(count));
  if (!levels) set_error(ORB_E_MEMORY);
  for (int32_t k = 0; levels && k < count; ++k) {
    levels.get()[k].pyramid = pyramid;
    levels.get()[k].index = k;
  }
  return levels;
}

// The handle gets slots of its own, one a level.
void install_to_read(ORB_IMAGE& image, Pyramid& pyramid, Level* levels) {
  install_layer(image, kReading, levels);
  levels->has_slots = 1;
  if (levels->seek) image.seek = seek_level;
  pyramid.driver_block = image.driver;
  image.driver = pyramid.slots;
  for (int32_t k = 0; k < pyramid.level_count; ++k) {
    pyramid.slots[k].data = &levels[k];
    if (k > 0) static_cast<Layer&>(levels[k]) = *levels;  // what goes on to the driver does so from each
  }
  show(image, pyramid.images, pyramid.level_count, pyramid.before);
}

void install_to_write(ORB_IMAGE& image, Pyramid& pyramid, Level* layer) {
  install_layer(image, kWriting, layer);
  image.close = close_written;
  pyramid.driver_block = image.driver;
  const ORB_IFD* const file = image.info.images;
  for (int32_t k = 0; k < pyramid.level_count; ++k) pyramid.bottoms[k] = file[k].window.bottom;
  pyramid.next_source = step_of(pyramid) > 0 ? 0 : pyramid.rows[0].height - 1;
  show(image, pyramid.images, 1, pyramid.before);
}

// Whether the handle's images are the levels, and nothing but the driver takes them.
bool fits(const ORB_IMAGE& image, const Pyramid& pyramid) {
  if (image.info.image_count != pyramid.level_count) return false;
  if (image.layers && pyramid.level_count > 1) return false;
  for (int32_t k = 1; k < pyramid.level_count; ++k) {
    const ORB_IFD& file = image.info.images[k];
    if (!windows_are_sound(file) || !reduce::takes(file, pyramid.images[k])) return false;
  }
  return true;
}

}  // namespace

int32_t plan_mipmap(const IMP_PROCESS& process, const ORB_IFD& full, std::span<ORB_IFD> images_out) {
  if (!is_sound(process, kName)) return 0;
  const int32_t count = reduce::count_levels(full, process.levels);
  ORB_IFD level = full;
  for (int32_t k = 0; k < count; ++k) {
    if (k > 0) level = reduce::half_of(level);
    if (static_cast<size_t>(k) < images_out.size()) images_out[static_cast<size_t>(k)] = level;
  }
  return count;
}

ORB_IMAGE* open_mipmap_to_read(ORB_IMAGE* context, const IMP_PROCESS& process) {
  if (!op::can_carry(kName, context, ORB_MODE_READ)) return nullptr;
  PyramidOwner pyramid = make_pyramid(context->info.images[0], process);
  if (!pyramid) return nullptr;
  owned<Level> levels = make_levels(pyramid.get(), pyramid->level_count);
  pyramid->slots = make_zeroed<ORB_DRIVER_BLOCK>(static_cast<uint64_t>(pyramid->level_count)).release();
  if (!levels || !pyramid->slots) return set_error(ORB_E_MEMORY), nullptr;
  install_to_read(*context, *pyramid, levels.release());
  pyramid.release();  // the layer has it
  return context;
}

ORB_IMAGE* open_mipmap_to_write(ORB_IMAGE* context, const IMP_PROCESS& process) {
  if (!op::can_carry(kName, context, ORB_MODE_WRITE)) return nullptr;
  PyramidOwner pyramid = make_pyramid(context->info.images[0], process);
  if (!pyramid) return nullptr;
  if (!fits(*context, *pyramid)) return refuse(kName);
  owned<Level> layer = make_levels(pyramid.get(), 1);
  if (!layer) return nullptr;
  install_to_write(*context, *pyramid, layer.release());
  pyramid.release();
  return context;
}

}  // namespace orb::imp
