#include "orbbase/core/drivers/pipe_layout.h"

#include <bit>
#include <cstring>

#include "orbbase/core/drivers/description.h"
#include "orbbase/support/err/internal.h"

namespace orb {

const char* const kNoRoom = "no memory";

namespace {

// Samples, words and tables are stored as they lie in memory.
static_assert(std::endian::native == std::endian::little);
static_assert(sizeof(float) == 4);

constexpr uint32_t kAbsentText = UINT32_MAX;  // in the place of a text's length
constexpr uint32_t kNoLut = 0;                // in the place of a lookup table's number of entries

// One entry of the layout: count values of the record, one after the other in it and in the stream.
struct Field {
  enum class Kind : uint8_t { word32, word64, text };
  Kind kind;
  size_t offset;
  size_t count;
};
constexpr auto kWord32 = Field::Kind::word32;
constexpr auto kWord64 = Field::Kind::word64;
constexpr auto kText = Field::Kind::text;

constexpr Field kInfoFields[] = {
    {kText, offsetof(ORB_INFO, text1), 1},         {kText, offsetof(ORB_INFO, text3), 8},  // to text10
    {kWord32, offsetof(ORB_INFO, job_number), 1},  {kWord32, offsetof(ORB_INFO, frame_number), 1},
    {kWord32, offsetof(ORB_INFO, field_value), 1}, {kWord32, offsetof(ORB_INFO, chromaticity), 12},
    {kWord32, offsetof(ORB_INFO, field_mode), 1},  {kWord32, offsetof(ORB_INFO, frame_rate), 1},
    {kWord32, offsetof(ORB_INFO, words), 2},       {kWord32, offsetof(ORB_INFO, int_d), 1},
    {kWord64, offsetof(ORB_INFO, word_e), 1},      {kWord64, offsetof(ORB_INFO, word_f), 1},
};
static_assert(offsetof(ORB_INFO, text10) == offsetof(ORB_INFO, text3) + 7 * sizeof(char*));

constexpr Field kImageFields[] = {
    {kWord32, offsetof(ORB_IFD, image_kind), 1},
    {kText, offsetof(ORB_IFD, name), 1},
    {kWord32, offsetof(ORB_IFD, pair_a), 2},
    {kWord32, offsetof(ORB_IFD, pixel_aspect), 1},
    {kWord32, offsetof(ORB_IFD, window), 4},
    {kWord32, offsetof(ORB_IFD, active_window), 4},
    {kWord32, offsetof(ORB_IFD, aspect_kind), 1},
    {kWord32, offsetof(ORB_IFD, orientation), 1},
    {kText, offsetof(ORB_IFD, color.name), 1},
    {kWord32, offsetof(ORB_IFD, color.count), 3},  // count, type, width
    {kText, offsetof(ORB_IFD, matte.name), 1},
    {kWord32, offsetof(ORB_IFD, matte.count), 3},
    {kText, offsetof(ORB_IFD, aux.name), 1},
    {kWord32, offsetof(ORB_IFD, aux.count), 3},
    {kText, offsetof(ORB_IFD, index.name), 1},
    {kWord32, offsetof(ORB_IFD, index.count), 3},
    {kWord32, offsetof(ORB_IFD, curve.kind), 1},
    {kWord32, offsetof(ORB_IFD, curve.gamma), 1},
    {kWord64, offsetof(ORB_IFD, curve.reserved), 1},
    {kWord32, offsetof(ORB_IFD, curve.channel_count), 1},
    {kWord32, offsetof(ORB_IFD, curve.resolution), 1},
    {kWord32, offsetof(ORB_IFD, curve.curve_type), 1},
    {kWord32, offsetof(ORB_IFD, curve.depth), 1},  // the last: the tables follow
};
static_assert(offsetof(ORB_CHANNELS, width) == offsetof(ORB_CHANNELS, count) + 8);

constexpr size_t value_bytes(Field::Kind kind) { return kind == kWord64 ? 8 : 4; }

// ---- Writing ----

// Puts bytes one after the other; without a block it only counts them.
class Encoder {
 public:
  explicit Encoder(uint8_t* block) : block_(block) {}
  void put(const void* bytes, uint64_t count) {
    if (block_ && count > 0) std::memcpy(block_ + at_, bytes, static_cast<size_t>(count));
    at_ += count;
  }
  void put_word(uint32_t word) { put(&word, sizeof word); }
  [[nodiscard]] uint64_t bytes() const { return at_; }

 private:
  uint8_t* block_;
  uint64_t at_ = 0;
};

// The word of the core for an absent text is not stored.
bool says_something(const char* text) { return text && std::strcmp(text, "unknown") != 0; }

void put_text(Encoder& out, const char* text) {
  if (!says_something(text)) return out.put_word(kAbsentText);
  const size_t bytes = std::strlen(text);
  out.put_word(static_cast<uint32_t>(bytes));
  out.put(text, bytes);
}

void put_record(Encoder& out, const void* record, std::span<const Field> fields) {
  for (const Field& field : fields) {
    const uint8_t* const values = static_cast<const uint8_t*>(record) + field.offset;
    if (field.kind != kText) {
      out.put(values, field.count * value_bytes(field.kind));
      continue;
    }
    for (size_t i = 0; i < field.count; ++i) put_text(out, reinterpret_cast<char* const*>(values)[i]);
  }
}

uint64_t entry_bytes(const ORB_RESPONSE_CURVE& curve) {
  return curve.curve_type == ORB_C_FLOAT ? 4 : curve.depth <= 8 ? 1 : 2;
}

void put_tables(Encoder& out, const ORB_RESPONSE_CURVE& curve) {
  if (curve.kind == ORB_CURVE_GAMMA) return;
  const uint64_t table_bytes = entry_bytes(curve) * static_cast<uint64_t>(curve.resolution);
  for (int32_t i = 0; i < curve.channel_count; ++i) out.put(curve.tables[i], table_bytes);
}

void put_lut(Encoder& out, const ORB_LUT* lut) {
  if (!lut) return out.put_word(kNoLut);
  out.put_word(static_cast<uint32_t>(lut->entry_count));
  out.put(&lut->last_index, sizeof lut->last_index);
  out.put(&lut->scale, sizeof lut->scale);
  out.put(lut->entries, static_cast<uint64_t>(lut->entry_count) * sizeof(ORB_LUT_ENTRY));
}

void put_header(Encoder& out, const ORB_INFO& info, const ORB_LUT* lut) {
  put_record(out, &info, kInfoFields);
  put_record(out, &info.images[0], kImageFields);
  put_tables(out, info.images[0].curve);
  put_lut(out, lut);
}

// ---- Reading ----

// Takes bytes one after the other, never more than there are.
class Decoder {
 public:
  explicit Decoder(std::span<const uint8_t> bytes) : left_(bytes) {}
  // Null when fewer are left.
  const uint8_t* take(uint64_t count) {
    if (count > left_.size()) return nullptr;
    const uint8_t* const taken = left_.data();
    left_ = left_.subspan(static_cast<size_t>(count));
    return taken;
  }
  bool take_to(void* out, uint64_t count) {
    const uint8_t* const taken = take(count);
    if (taken) std::memcpy(out, taken, static_cast<size_t>(count));
    return taken != nullptr;
  }
  [[nodiscard]] bool is_empty() const { return left_.empty(); }

 private:
  std::span<const uint8_t> left_;
};

constexpr const char* kCut = "its header is cut short";

const char* take_text(Decoder& in, char*& text_out) {
  uint32_t bytes = 0;
  if (!in.take_to(&bytes, sizeof bytes)) return kCut;
  if (bytes == kAbsentText) return nullptr;
  const uint8_t* const characters = in.take(bytes);
  if (!characters) return kCut;
  if (std::memchr(characters, 0, bytes)) return "a text in its header holds a zero byte";
  owned<char> text(static_cast<char*>(allocate(uint64_t{bytes} + 1)));
  if (!text) return kNoRoom;
  std::memcpy(text.get(), characters, bytes);
  text.get()[bytes] = 0;
  text_out = text.release();
  return nullptr;
}

const char* take_record(Decoder& in, void* record, std::span<const Field> fields) {
  for (const Field& field : fields) {
    uint8_t* const values = static_cast<uint8_t*>(record) + field.offset;
    if (field.kind != kText) {
      if (!in.take_to(values, field.count * value_bytes(field.kind))) return kCut;
      continue;
    }
    for (size_t i = 0; i < field.count; ++i) {
      if (const char* wrong = take_text(in, reinterpret_cast<char**>(values)[i])) return wrong;
    }
  }
  return nullptr;
}

// The numbers are the stream's: until the curve has tables of its own it is one without any.
const char* take_tables(Decoder& in, ORB_RESPONSE_CURVE& curve) {
  const ORB_RESPONSE_CURVE said = curve;
  curve.kind = ORB_CURVE_GAMMA;
  curve.tables = nullptr;
  if (said.kind == ORB_CURVE_GAMMA) {
    settle_gamma_curve(curve);
    return nullptr;
  }
  if (said.kind != ORB_CURVE_TABLE || !table_curve_is_sound(said)) return "its response curve is damaged";
  const uint64_t table_bytes = entry_bytes(said) * static_cast<uint64_t>(said.resolution);
  const uint64_t tables = static_cast<uint64_t>(said.channel_count);
  const uint8_t* const block = in.take(table_bytes * tables);
  if (!block) return kCut;
  // Through aligned tables of its own: the header's lie at any address.
  owned<uint8_t> aligned(static_cast<uint8_t*>(allocate(table_bytes * tables)));
  owned<void*> pointers = make_zeroed<void*>(tables);
  if (!aligned || !pointers) return kNoRoom;
  std::memcpy(aligned.get(), block, static_cast<size_t>(table_bytes * tables));
  for (uint64_t i = 0; i < tables; ++i) pointers.get()[i] = aligned.get() + i * table_bytes;
  ORB_RESPONSE_CURVE lent = said;
  lent.tables = pointers.get();
  ORB_RESPONSE_CURVE copy = {};
  if (ORB_response_curve_copy(&copy, &lent) != 0) return kNoRoom;
  copy.reserved = said.reserved;
  curve = copy;
  return nullptr;
}

const char* take_lut(Decoder& in, ORB_LUT** lut_out) {
  uint32_t entries = 0;
  if (!in.take_to(&entries, sizeof entries)) return kCut;
  if (entries == kNoLut) return nullptr;
  int32_t last_index = 0;
  float scale = 0;
  if (!in.take_to(&last_index, sizeof last_index) || !in.take_to(&scale, sizeof scale)) return kCut;
  const uint8_t* const block = in.take(uint64_t{entries} * sizeof(ORB_LUT_ENTRY));
  if (!block) return kCut;
  if (entries > INT32_MAX || last_index < -1 || last_index >= static_cast<int32_t>(entries)) {
    return "its lookup table is damaged";
  }
  ORB_LUT* const lut = ORB_lut_alloc(static_cast<int32_t>(entries));
  if (!lut) return kNoRoom;
  std::memcpy(lut->entries, block, size_t{entries} * sizeof(ORB_LUT_ENTRY));
  lut->last_index = last_index;
  lut->scale = scale;
  *lut_out = lut;
  return nullptr;
}

}  // namespace

PipePrologue read_prologue(std::span<const uint8_t, kPipePrologueBytes> bytes) {
  PipePrologue prologue = {};
  prologue.is_pipe = std::memcmp(bytes.data(), kPipeMagic, sizeof kPipeMagic) == 0;
  std::memcpy(&prologue.version, bytes.data() + sizeof kPipeMagic, 4);
  std::memcpy(&prologue.header_bytes, bytes.data() + sizeof kPipeMagic + 4, 4);
  return prologue;
}

uint64_t encoded_header_bytes(const ORB_INFO& info, const ORB_LUT* lut) {
  Encoder counter(nullptr);
  put_header(counter, info, lut);
  return kPipePrologueBytes + counter.bytes();
}

uint8_t* encode_header(const ORB_INFO& info, const ORB_LUT* lut, uint32_t* block_bytes_out) {
  const uint64_t block_bytes = encoded_header_bytes(info, lut);
  uint8_t* const block = static_cast<uint8_t*>(allocate(block_bytes));
  if (!block) return nullptr;
  Encoder out(block);
  out.put(kPipeMagic, sizeof kPipeMagic);
  out.put_word(kPipeVersion);
  out.put_word(static_cast<uint32_t>(block_bytes - kPipePrologueBytes));
  put_header(out, info, lut);
  *block_bytes_out = static_cast<uint32_t>(block_bytes);
  return block;
}

bool table_curve_is_sound(const ORB_RESPONSE_CURVE& curve) {
  constexpr int32_t kMostTables = 65536;
  constexpr int32_t kMostEntries = 1 << 24;
  const bool type_is_sound = curve.curve_type == ORB_C_FLOAT ||
                             (curve.curve_type == ORB_C_INTEGER && curve.depth >= 8 && curve.depth <= 16);
  return type_is_sound && curve.channel_count >= 1 && curve.channel_count <= kMostTables &&
         curve.resolution >= 2 && curve.resolution <= kMostEntries;
}

const char* decode_header(std::span<const uint8_t> header, ORB_INFO& info, ORB_LUT** lut_out) {
  *lut_out = nullptr;
  Decoder in(header);
  ORB_IFD& image = info.images[0];
  const char* wrong = take_record(in, &info, kInfoFields);
  if (!wrong) wrong = take_record(in, &image, kImageFields);
  if (wrong) {
    image.curve.kind = ORB_CURVE_GAMMA;  // whatever is stored of the curve so far, it has no tables
    return wrong;
  }
  wrong = take_tables(in, image.curve);
  if (!wrong) wrong = take_lut(in, lut_out);
  if (!wrong && !in.is_empty()) wrong = "its header is longer than its description";
  if (wrong && *lut_out) *lut_out = ORB_lut_free(*lut_out);
  return wrong;
}

}  // namespace orb
