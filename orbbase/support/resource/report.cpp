// Error reports whose text is kept in a resource file.
#include <cstdarg>
#include <cstring>
#include <string_view>

#include "orbbase/support/resource/internal.h"
#include "orbbase/support/resource/messages.h"

namespace orb::resource {
namespace {

constexpr uint32_t kErrorCode = 0x4552524F;  // "ERRO"

// Whether a template asks for no other arguments than these. The file is a stranger's; the arguments are the
// caller's, and "%s" for a number would read anywhere.
bool fits(std::string_view text, std::string_view kinds) {
  for (size_t at = text.find('%'); at < text.size() && at + 1 < text.size(); at = text.find('%', at + 2)) {
    const char directive = text[at + 1];
    if (directive != 'd' && directive != 'f' && directive != 's') continue;
    if (kinds.empty() || kinds.front() != directive) return false;
    kinds.remove_prefix(1);
  }
  return true;
}

// The item's data as a text of its own; it ends at a zero byte, should it have one.
owned<char> template_of(const Found& found) {
  const uint8_t* data = load(*found.file, *found.resource);
  if (!data) return nullptr;
  const uint64_t bytes = found.resource->data_bytes();
  owned<char> text(static_cast<char*>(allocate(bytes + 1)));
  if (!text) {
    fail_for_memory();
    return nullptr;
  }
  std::memcpy(text.get(), data, bytes);
  text.get()[bytes] = '\0';
  return text;
}

}  // namespace
}  // namespace orb::resource

int32_t orb__rsrc_report(const char* name, const char* kinds, ...) {
  using namespace orb::resource;
  const Found found = find_in_open_files(kErrorCode, name);
  if (!found.resource) return 0;
  const orb::owned<char> text = template_of(found);
  if (!text) return 0;
  if (!fits(text.get(), kinds)) {
    return fail_with(kNotWhole, ORB_E_FORMAT, found.file->path,
                     "a message asks for arguments that it does not get");
  }
  va_list args;
  va_start(args, kinds);
  orb::report_template(name, ERR_ERROR, text.get(), args);
  va_end(args);
  return 1;
}
