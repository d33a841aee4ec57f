// Which format a file is in or shall have, among those that the library knows.
#include "format_choice.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstring>

#include "at_work.h"
#include "exit_codes.h"
#include "orbbase/host.h"
#include "orbbase/registry.h"
#include "reports.h"

namespace orb::tool {
namespace {

bool ends_with(const std::string& name, const char* ending) {
  const size_t length = ending == nullptr ? 0 : std::strlen(ending);
  return name.size() >= length &&
         name.compare(name.size() - length, length, ending == nullptr ? "" : ending) == 0;
}

// As the library chooses: the first whose extension ends the name; an empty extension ends every name. Failing that
// a key is an ending, too: that of "picture.jpeg", though the format goes by ".jpg".
const ORB_FORMAT* by_ending(const std::string& file) {
  const std::vector<const ORB_FORMAT*> formats = all_formats();
  for (const ORB_FORMAT* format : formats) {
    if (ends_with(file, format->extension)) return format;
  }
  for (const ORB_FORMAT* format : formats) {
    if (ends_with(file, ("." + std::string(format->key)).c_str())) return format;
  }
  return nullptr;
}

bool is_regular_file(const std::string& file) {
  struct stat status = {};
  return stat(file.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

const ORB_FORMAT* by_content(const std::string& file) {
  if (!is_regular_file(file)) return nullptr;
  note_file(Doing::reading, file, "");
  const char* key = ORB_get_file_type(file.c_str(), nullptr, nullptr);
  return key == nullptr ? nullptr : ORB_find(key);  // none for the word that no format knows the file
}

// Warns of a file that another format knows by its content. One that no format knows is left to its opening,
// which says what it is not.
void compare_with_content(const std::string& file, const ORB_FORMAT& named) {
  if (!is_regular_file(file)) return;
  note_file(Doing::reading, file, named.key);
  int32_t was_asked = 0;
  const char* agreed = ORB_is_file_type(file.c_str(), nullptr, named.key, &was_asked);
  const ORB_FORMAT* actual = agreed == nullptr && was_asked != 0 ? by_content(file) : nullptr;
  if (actual == nullptr) return;
  say(ERR_WARNING, file + ": the name says " + named.key + ", but the content says " + actual->key +
                       "; the name decides, and --from " + actual->key + " reads it as what it holds");
}

// Why there is no format for the name or key: "" when no module was meant for it.
std::string explanation(const std::string& name_or_key) {
  const HOST_CANDIDATE* candidate = HOST_explain(name_or_key.c_str());
  if (candidate == nullptr) return "";
  return std::string("; plug-in present (") + candidate->path + "), but " + candidate->reason;
}

const ORB_FORMAT& by_key(const std::string& key) {
  const ORB_FORMAT* format = ORB_find(key.c_str());
  if (format == nullptr) {
    throw Failure(kIoError, "no format \"" + key + "\" is known" + explanation(key) + "; see orb formats -v");
  }
  return *format;
}

void require_access(const ORB_FORMAT& format, int32_t mode, const std::string& file) {
  if ((format.access & mode) != 0) return;
  throw Failure(kIoError, file + ": the format \"" + format.key + "\" cannot be " +
                              (mode == ORB_MODE_READ ? "read" : "written"));
}

}  // namespace

std::vector<const ORB_FORMAT*> all_formats() {
  std::vector<const ORB_FORMAT*> formats;
  ORB_init(nullptr, nullptr);  // rewinds
  while (const ORB_FORMAT* format = ORB_info()) formats.push_back(format);
  for (const char* built_in : {"pipe", "mem"}) {
    const ORB_FORMAT* format = ORB_find(built_in);
    if (format != nullptr && std::find(formats.begin(), formats.end(), format) == formats.end()) {
      formats.push_back(format);
    }
  }
  return formats;
}

std::string module_of(const ORB_FORMAT& format) {
  for (int32_t i = 0; const HOST_CANDIDATE* candidate = HOST_candidate(i); ++i) {
    const bool is_in_use = candidate->state == HOST_TAKEN || candidate->state == HOST_FAILED_CHECK;
    if (is_in_use && std::strcmp(candidate->key, format.key) == 0) return candidate->path;
  }
  return "";
}

std::string origin_of(const ORB_FORMAT& format) {
  const std::string module = module_of(format);
  return std::string(format.key) + " (" + (module.empty() ? "built-in" : module) + ")";
}

std::string input_name(const std::string& file) { return file == "-" ? "/dev/stdin" : file; }
std::string output_name(const std::string& file) { return file == "-" ? "/dev/stdout" : file; }

const ORB_FORMAT& format_for_reading(const std::string& file, const std::string& key) {
  const std::string name = input_name(file);
  const ORB_FORMAT* format = nullptr;
  if (!key.empty()) {
    format = &by_key(key);
  } else if (name == "/dev/stdin") {
    format = &by_key("pipe");
  } else {
    format = by_ending(name);
    if (format != nullptr) compare_with_content(name, *format);
    if (format == nullptr) format = by_content(name);
  }
  if (format == nullptr) {
    throw Failure(kIoError,
                  file + ": no known format has this ending, nor does one know the file by its content" +
                      explanation(name) + "; see orb formats, or name one with --from");
  }
  require_access(*format, ORB_MODE_READ, file);
  return *format;
}

const ORB_FORMAT& format_for_writing(const std::string& file, const std::string& key) {
  const std::string name = output_name(file);
  const ORB_FORMAT* format = nullptr;
  if (!key.empty()) {
    format = &by_key(key);
  } else if (name == "/dev/stdout") {
    format = &by_key("pipe");
  } else {
    format = by_ending(name);
  }
  if (format == nullptr) {
    throw Failure(kIoError, file + ": no known format has this ending" + explanation(name) +
                                "; see orb formats, or name one with --to");
  }
  require_access(*format, ORB_MODE_WRITE, file);
  return *format;
}

}  // namespace orb::tool
