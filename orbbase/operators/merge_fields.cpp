// Field merging: two files that hold one field each of an interlaced picture, as one handle of twice the height.
#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "orbbase/core/ifd_copy.h"
#include "orbbase/driver.h"
#include "orbbase/operators/operator.h"

namespace orb::op {
namespace {

constexpr MessageText kGammas = {902, 62, ERR_ERROR, "Field frames have different gammas"};
constexpr MessageText kColor = {902, 63, ERR_ERROR, "Field frames have different image channel properties"};
constexpr MessageText kMatte = {902, 64, ERR_ERROR, "Field frames have different matte channel properties"};
constexpr MessageText kPrimaries = {902, 65, ERR_ERROR, "Field frames have different color primaries"};
constexpr MessageText kAspects = {902, 66, ERR_ERROR, "Field frames have different aspect types"};
constexpr MessageText kWindows = {902, 67, ERR_ERROR, "Field frames have different image window sizes"};

// All that readers of a row go by: its columns, and the number, type and width of the channels of each group.
using RowForm = std::array<int64_t, 14>;

RowForm row_form(const ORB_IFD& ifd) {
  RowForm form = {ifd.window.left, ifd.window.right};
  size_t i = 2;
  for (const ORB_CHANNELS* group : {&ifd.color, &ifd.matte, &ifd.aux, &ifd.index}) {
    const bool is_there = group->count > 0 && (group != &ifd.index || ifd.color.count == 0);
    if (is_there) form[i] = group->count, form[i + 1] = group->type, form[i + 2] = group->width;
    i += 3;
  }
  return form;
}

// One image of a merged handle. The records lie in one array, the first of which is the driver block's data.
struct Merge {
  int32_t kind;
  ORB_IMAGE* first;  // of the odd-numbered file
  ORB_IMAGE* second;
  void* first_data;  // the fields' private data for this image
  void* second_data;
  int32_t frame;  // of the file that the caller opened
  int32_t reserved;

  Merge* all;  // the records of the handle
  int32_t count;
  RowForm form;  // of both fields' rows
};

bool is_even(int32_t number) { return number % 2 == 0; }

// ---- Finding the partner -----------------------------------------------------------------------------

// The name of a field file, taken apart. The base is a part of the name.
struct FieldName {
  std::string_view base;
  int32_t frame;
};

std::string_view without_extension(std::string_view name) {
  for (ListNode* node = registry().formats.head(); node; node = node->next) {
    const char* extension = static_cast<FormatNode*>(node)->format.extension;
    if (!extension || !*extension || !name.ends_with(extension)) continue;
    name.remove_suffix(std::strlen(extension));
    break;
  }
  return name;
}

// False when the name has no frame number behind its last dot, or one without a partner.
bool take_apart(const char* name, FieldName& out) {
  const std::string_view stem = without_extension(name);
  const size_t dot = stem.rfind('.');
  if (dot == std::string_view::npos) return false;
  const std::string_view digits = stem.substr(dot + 1);
  const auto [end, error] = std::from_chars(digits.begin(), digits.end(), out.frame);
  if (digits.starts_with('-') || error != std::errc() || end != digits.end()) return false;
  out.base = stem.substr(0, dot);
  return out.frame < INT32_MAX;
}

// Opens the other field of the pair. Null when it cannot be, which ORB_open has reported.
ORB_IMAGE* open_partner(const ORB_IMAGE& image, const FieldName& field) {
  const int32_t number = is_even(field.frame) ? field.frame - 1 : field.frame + 1;
  const size_t room = field.base.size() + 16;
  const owned<char> name(static_cast<char*>(allocate(room)));
  if (!name) return set_error(ORB_E_MEMORY), nullptr;
  std::snprintf(name.get(), room, "%.*s.%04d", static_cast<int>(field.base.size()), field.base.data(),
                number);
  ORB_INFO wanted = image.info;
  wanted.handle = name.get();
  wanted.settings = ORB_cap_setting_copy(image.info.settings);
  if (!is_whole_copy(image.info.settings, wanted.settings)) {
    free_settings(wanted.settings);
    return nullptr;
  }
  ORB_IMAGE* const partner = ORB_open(&wanted, "r");
  if (!partner) free_settings(wanted.settings);
  return partner;
}

// ---- Whether two fields belong together --------------------------------------------------------------

bool same_text(const char* a, const char* b) { return a == b || (a && b && std::strcmp(a, b) == 0); }

bool same_primaries(const ORB_INFO& a, const ORB_INFO& b) {
  for (size_t i = 0; i < std::size(a.chromaticity); ++i) {
    const bool is_z = i % 3 == 2;
    if (!is_z && !(a.chromaticity[i] == b.chromaticity[i])) return false;
  }
  return true;
}

// In the order of their reports.
constexpr struct {
  bool (*holds)(const ORB_IFD& a, const ORB_IFD& b);
  const MessageText& otherwise;
} kImageRules[] = {
    {[](const ORB_IFD& a, const ORB_IFD& b) { return a.curve.kind == b.curve.kind; }, kGammas},
    {[](const ORB_IFD& a, const ORB_IFD& b) { return a.curve.gamma == b.curve.gamma; }, kGammas},
    {[](const ORB_IFD& a, const ORB_IFD& b) {
       return same_text(a.color.name, b.color.name) && a.color.count == b.color.count &&
              a.color.width == b.color.width;
     },
     kColor},
    {[](const ORB_IFD& a, const ORB_IFD& b) {
       return a.matte.count == b.matte.count && a.matte.width == b.matte.width;
     },
     kMatte},
    {[](const ORB_IFD& a, const ORB_IFD& b) { return a.pixel_aspect == b.pixel_aspect; }, kAspects},
    {[](const ORB_IFD& a, const ORB_IFD& b) {
       return a.window.left == b.window.left && a.window.right == b.window.right &&
              a.window.bottom == b.window.bottom && a.window.top == b.window.top;
     },
     kWindows},
};

bool belong_together(const ORB_INFO& a, const ORB_INFO& b, int32_t images) {
  if (!same_primaries(a, b)) return report(kPrimaries), false;
  for (int32_t i = 0; i < images; ++i) {
    for (const auto& rule : kImageRules) {
      if (!rule.holds(a.images[i], b.images[i])) return report(rule.otherwise), false;
    }
    // What the rules leave open must not send anybody past the end of a row, or of the rows.
    if (row_form(a.images[i]) != row_form(b.images[i])) return report(kColor), false;
  }
  return true;
}

// ---- The merged handle -------------------------------------------------------------------------------

constexpr const char* kName = "field merge";

// A field's private data for an image; null where an operator on it knows the first image alone.
void* slot_of(const ORB_IMAGE& field, int32_t index) {
  const bool is_known = index == 0 || !field.layers || field.layers->has_slots != 0;
  return is_known ? field.driver[index].data : nullptr;
}

int32_t scan_merged(void* data, int32_t line, void* rows_out) {
  auto* merge = static_cast<Merge*>(data);
  if (!merge) return locked_sub_image();
  // Toward zero on purpose: the line below the first is line 0 of the second field.
  const int32_t field_line = line / 2;
  ORB_IMAGE* const field = is_even(line) ? merge->first : merge->second;
  void* const field_data = is_even(line) ? merge->first_data : merge->second_data;
  if (!field || !field->scan) return fail(ORB_E_HANDLE);
  if (!field_data) return locked_sub_image();
  const int32_t result = field->scan(field_data, field_line, rows_out);
  if (result == ORB_OK) set_current_line(field, field_line);  // by which it is sought
  return result;
}

// Moves a field to the first of its lines that is read from a merged line on, in the file's order; -1 is the first
// line of all.
int32_t seek_field(ORB_IMAGE** field, bool is_first, int32_t line) {
  const ORB_WINDOW& window = (*field)->info.images[0].window;
  const bool is_upward = ((*field)->info.images[0].orientation & ORB_BOTTOM_UP) != 0;
  const int64_t step = is_upward ? 1 : -1;
  const int64_t next = is_even(line) == is_first ? line : line + step;
  int64_t own = std::min<int64_t>(std::max<int64_t>(next / 2, window.bottom), window.top);
  if (line == -1) own = is_upward ? window.bottom : window.top;
  const auto target = static_cast<int32_t>(own);
  // A line that was read is behind a sequential reader, which ORB_seek takes to stand before it.
  if (target != -1 && (*field)->current_line == target) {
    set_current_line(*field,
                     static_cast<int32_t>(static_cast<uint32_t>(target) + static_cast<uint32_t>(step)));
  }
  return ORB_seek(field, target);
}

// The private data of a field that may have been opened anew; null when its rows have another form by now.
void* data_after_seek(const ORB_IMAGE* field, const Merge& record, int32_t index) {
  if (!field || !field->driver || !field->info.images || index >= field->info.image_count) return nullptr;
  return row_form(field->info.images[index]) == record.form ? slot_of(*field, index) : nullptr;
}

// Both fields go to their lines; one that is opened again takes the place of the old one in every record.
int32_t seek_merged(void* data, int32_t line) {
  auto* merge = static_cast<Merge*>(data);
  if (!merge) return locked_sub_image();
  ORB_IMAGE* first = merge->all->first;
  ORB_IMAGE* second = merge->all->second;
  if (!merge->all->first_data || !merge->all->second_data) return fail(ORB_E_HANDLE);
  const int32_t first_result = seek_field(&first, true, line);
  const int32_t second_result = seek_field(&second, false, line);
  for (int32_t i = 0; i < merge->all->count; ++i) {
    Merge& record = merge->all[i];
    record.first = first;
    record.second = second;
    record.first_data = data_after_seek(first, record, i);
    record.second_data = data_after_seek(second, record, i);
  }
  const int32_t result = first_result != ORB_OK ? first_result : second_result;
  if (result != ORB_OK || (merge->all->first_data && merge->all->second_data)) return fail(result);
  orb__report(ORB_MSG_CANNOT_HANDLE, kName);
  return fail(ORB_E_HANDLE);
}

int32_t close_merged(ORB_IMAGE* image) {
  set_error(ORB_OK);
  const Merge merge = *static_cast<Merge*>(image->driver->data);
  orb__free_obj(image);
  ORB_IMAGE* const fields[] = {merge.first, merge.second};
  const size_t earlier = is_even(merge.frame) ? 0 : 1;
  if (fields[earlier]) ORB_close(fields[earlier]);
  if (fields[1 - earlier]) ORB_close(fields[1 - earlier]);
  return last_error();
}

// Twice the height: rows 2k and 2k + 1 come of row k. False when the numbers have no room for that.
bool double_rows(ORB_WINDOW& window) {
  const int64_t bottom = int64_t{window.bottom} * 2;
  const int64_t top = int64_t{window.top} * 2 + 1;
  if (bottom < INT32_MIN || top > INT32_MAX || bottom > INT32_MAX || top < INT32_MIN) return false;
  window.bottom = static_cast<int32_t>(bottom);
  window.top = static_cast<int32_t>(top);
  return true;
}

bool merge_description(const ORB_IFD& first, const ORB_IFD& second, ORB_IFD& out) {
  const ORB_WINDOW& a = first.active_window;
  const ORB_WINDOW& b = second.active_window;
  if (!copy_ifd(first, out, UnknownNames::keep)) return set_error(ORB_E_MEMORY), false;
  out.active_window = {std::min(a.left, b.left), std::max(a.right, b.right), std::min(a.bottom, b.bottom),
                       std::max(a.top, b.top)};
  if (double_rows(out.active_window) && double_rows(out.window)) return true;
  orb__report(ORB_MSG_CANNOT_HANDLE, kName);
  return fail(ORB_E_HANDLE), false;
}

// The fields stay the caller's when this fails; null, with orb__err.
ORB_IMAGE* make_merged(ORB_IMAGE* first, ORB_IMAGE* second, int32_t count, int32_t frame) {
  ORB_IMAGE* copy = nullptr;
  if (!duplicate_handle(first, &copy)) return nullptr;
  ImageOwner merged(copy);
  merged->lut_read = nullptr;
  merged->set_frame = nullptr;
  merged->scan = scan_merged;
  merged->seek = seek_merged;
  merged->close = close_merged;
  merged->format = first->format;
  merged->info.images = make_zeroed<ORB_IFD>(static_cast<uint64_t>(count)).release();
  owned<ORB_DRIVER_BLOCK> slots = make_zeroed<ORB_DRIVER_BLOCK>(static_cast<uint64_t>(count));
  owned<Merge> records = make_zeroed<Merge>(static_cast<uint64_t>(count));
  if (!merged->info.images || !slots || !records) return set_error(ORB_E_MEMORY), nullptr;
  merged->info.image_count = count;
  for (int32_t i = 0; i < count; ++i) {
    if (!merge_description(first->info.images[i], second->info.images[i], merged->info.images[i]))
      return nullptr;
    Merge* const record = records.get() + i;
    *record = {kFieldMerge,
               first,
               second,
               slot_of(*first, i),
               slot_of(*second, i),
               frame,
               0,
               records.get(),
               count,
               row_form(first->info.images[i])};
    slots.get()[i].data = record;
  }
  (void)records.release();  // slot 0's
  merged->driver = slots.release();
  set_current_line(merged.get(), line_before_first(merged->info.images[0]));
  return merged.release();
}

bool is_field(const ORB_IMAGE* image) {
  return image && image->mode == ORB_MODE_READ && image->scan && driver_data(image) &&
         image->info.field_value != 0 && image->info.handle && image->info.images &&
         image->info.image_count > 0;
}

ORB_IMAGE* merge_with(ORB_IMAGE* image, ORB_IMAGE* partner, int32_t frame) {
  const int32_t count = std::min(image->info.image_count, partner->info.image_count);
  ORB_IMAGE* const first = is_even(frame) ? partner : image;
  ORB_IMAGE* const second = is_even(frame) ? image : partner;
  if (count < 1 || !partner->info.images || !driver_data(partner) ||
      !belong_together(first->info, second->info, count)) {
    ORB_close(partner);
    set_error(-1);
    return image;
  }
  ORB_IMAGE* const merged = make_merged(first, second, count, frame);
  if (merged) return merged;
  const int32_t code = last_error();
  ORB_close(partner);
  set_error(code);
  return image;
}

// The record of a merged handle, or null.
Merge* merge_of(const ORB_IMAGE* image) {
  return image->scan == scan_merged ? static_cast<Merge*>(driver_data(image)) : nullptr;
}

}  // namespace
}  // namespace orb::op

ORB_IMAGE* ORB__merge_fields(ORB_IMAGE* image) {
  using namespace orb;
  using namespace orb::op;
  FieldName field;
  if (!is_field(image) || !take_apart(image->info.handle, field)) return image;
  ORB_IMAGE* const partner = open_partner(*image, field);
  return partner ? merge_with(image, partner, field.frame) : image;
}

int32_t ORB__merge_fields_remove(ORB_IMAGE* image, ORB_IMAGE** field_out) {
  using namespace orb;
  using namespace orb::op;
  if (!image || !driver_data(image)) return 1;
  const Merge* record = merge_of(image);
  if (!record) return 0;
  const Merge merge = *record;
  orb__free_obj(image);
  ORB_IMAGE* const partner = is_even(merge.frame) ? merge.first : merge.second;
  if (partner) ORB_close(partner);
  *field_out = is_even(merge.frame) ? merge.second : merge.first;
  return 1;
}
