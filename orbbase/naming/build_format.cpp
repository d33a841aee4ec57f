// Builds a path with a format's format string.
#include "orbbase/core/internal.h"
#include "orbbase/naming/frame_part.h"

namespace orb::naming {
namespace {

constexpr size_t kNameBytes = 260;  // of a name with its zero

bool has_extension_of(std::string_view name, const ORB_FORMAT& format) {
  const std::string_view extension = text_or_empty(format.extension);
  return !extension.empty() && name.ends_with(extension);
}

// The format that a name's extension tells. Null with orb__err set.
ORB_FORMAT* format_of_name(std::string_view name) {
  if (!start_on_demand("ORB_find")) return nullptr;
  ORB_FORMAT* format = ORB_find(ORB_def_key());
  if (format && has_extension_of(name, *format)) return format;
  for (ListNode* node = registry().formats.head(); node; node = node->next) {
    format = &static_cast<FormatNode*>(node)->format;
    if (has_extension_of(name, *format)) return format;
  }
  set_error(ORB_E_NO_FORMAT);
  return nullptr;
}

// A name taken apart.
struct NameParts {
  std::string_view name;  // with its directory, without what follows
  std::string_view extension;
  FramePart frame_part;
  FrameInName frame;
};

// Whether a name without a frame number stays without one.
bool stays_without_frame(const NameParts& parts, const ORB_FORMAT& format, const Wanted& wanted) {
  if (parts.frame.is_found) return false;
  if (!parts.extension.empty()) return true;
  return !wanted.keep_width && !format.add_extension && is_readable_file(wanted.name);
}

void append_frame(BoundedText& path, const FramePart& part, Mode mode, int32_t frame) {
  if (mode == Mode::frame && frame < 0) return;
  append_text(path, part.prefix, mode);
  if (mode == Mode::wildcard) {
    path.append("*");  // stands for the tail as well
    return;
  }
  if (mode == Mode::frame) append_number(path, part.conversion, frame);
  if (mode == Mode::printf) append_conversion(path, part.conversion);
  append_text(path, part.tail, mode);
}

// Cuts the frame off the name. False when the format string's frame part is not valid.
bool take_frame(std::string_view text, std::span<char> literals, NameParts& parts) {
  if (text.empty()) return true;
  if (!parse_frame_part(text, literals, parts.frame_part)) return false;
  const std::string_view base_name = base_of(parts.name);
  parts.frame = find_frame(base_name, !parts.extension.empty(), parts.frame_part);
  if (parts.frame.is_found) parts.name.remove_suffix(base_name.size() - parts.frame.kept);
  return true;
}

bool write_out(const NameParts& parts, bool has_frame_part, const Wanted& wanted, Output& out) {
  BoundedText base_name(out.base_name);
  base_name.append(base_of(parts.name));
  BoundedText path(out.path);
  append_text(path, parts.name, wanted.mode);
  out.frame = wanted.frame >= 0 ? wanted.frame : parts.frame.number;
  if (has_frame_part && !stays_without_frame(parts, *out.format, wanted)) {
    append_frame(path, parts.frame_part, wanted.mode, out.frame);
  }
  if (out.format->add_extension || !parts.extension.empty()) {
    append_text(path, text_or_empty(out.format->extension), wanted.mode);
  }
  const bool path_fits = path.finish() && parts.frame_part.conversion.width < out.path.size() &&
                         parts.frame_part.conversion.precision < out.path.size();
  return base_name.finish() && path_fits;
}

// 0, or the code of what is wrong with the arguments.
int32_t check(const Wanted& wanted) {
  const size_t length = text_or_empty(wanted.name).size();
  if (length == 0 || length >= kNameBytes) return ORB_E_NAME_LENGTH;
  return wanted.has_outputs ? 0 : ORB_E_NO_ARGUMENT;
}

// With the format found. 0, or the code of what is wrong.
int32_t build(const Wanted& wanted, Output& out) {
  NameParts parts{};
  parts.name = wanted.name;
  if (has_extension_of(parts.name, *out.format)) {
    parts.extension = out.format->extension;
    parts.name.remove_suffix(parts.extension.size());
  }
  const std::string_view frame_text = frame_part_of(text_or_empty(out.format->format_string));
  char literals[ORB_PATHNAME_BYTES];
  if (frame_text.size() > sizeof literals) return ORB_E_NAME_LENGTH;
  if (!take_frame(frame_text, literals, parts)) return ORB_E_NAME_SYNTAX;
  return write_out(parts, !frame_text.empty(), wanted, out) ? 0 : ORB_E_NAME_LENGTH;
}

}  // namespace

bool build_with_format_string(const Wanted& wanted, Output& out) {
  if (const int32_t code = check(wanted)) {
    set_error(code);
    return false;
  }
  const bool has_key = wanted.format_key && *wanted.format_key;
  out.format = has_key ? find_format(wanted.format_key) : format_of_name(wanted.name);
  if (!out.format) return false;
  const int32_t code = build(wanted, out);
  if (code != 0) set_error(code);
  return code == 0;
}

}  // namespace orb::naming

int32_t ORB_pathname_build_no_name_syntax(const char* name, const char* format_key, int32_t mode,
                                          int32_t keep_width, int32_t* frame_inout, char* path_out,
                                          char* base_name_out, const char** format_key_out,
                                          ORB_FORMAT** format_out) {
  using namespace orb::naming;
  const Caller caller{name, format_key, mode, keep_width, frame_inout, path_out, base_name_out, format_out};
  return build_for_caller(caller, [&](const Wanted& wanted, Output& out) {
    if (!build_with_format_string(wanted, out)) return false;
    if (format_key_out) *format_key_out = out.format->key;
    return true;
  });
}
