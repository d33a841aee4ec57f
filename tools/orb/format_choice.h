// Which format a file is in or shall have, among those that the library knows.
#pragma once

#include <string>
#include <vector>

#include "orbbase/core.h"

namespace orb::tool {

// All registered formats: plug-ins in their order, then the library's own.
[[nodiscard]] std::vector<const ORB_FORMAT*> all_formats();

// The module that a format came from; "" for one of the library's own.
[[nodiscard]] std::string module_of(const ORB_FORMAT& format);

// The format's key and where it comes from, for messages.
[[nodiscard]] std::string origin_of(const ORB_FORMAT& format);

// The format of an input: the key that was given; else by the name's ending, with a warning when another
// format knows the file's content and this one does not; else the one that knows the content. Standard input
// is a pipe stream unless a key says otherwise. Throws Failure.
[[nodiscard]] const ORB_FORMAT& format_for_reading(const std::string& file, const std::string& key);

// The format of an output: the key that was given, else by the name's ending; standard output is a pipe
// stream unless a key says otherwise. Throws Failure.
[[nodiscard]] const ORB_FORMAT& format_for_writing(const std::string& file, const std::string& key);

// "-" as the library's drivers know it; any other name as it is.
[[nodiscard]] std::string input_name(const std::string& file);
[[nodiscard]] std::string output_name(const std::string& file);

}  // namespace orb::tool
