// Text from strangers (file names, header texts, messages that quote them) made safe to show.
#pragma once

#include <string>
#include <string_view>

namespace orb::tool {

// The text with everything that could steer a terminal written out: control characters, characters that turn
// the direction of writing, and bytes that are no UTF-8 become \n, \t or \x1b-like escapes.
[[nodiscard]] std::string printable(std::string_view text);

// The shortest decimal that reads back as the same value; "nan" and "inf" as such.
[[nodiscard]] std::string number(float value);

// The double that is written as the float is, so that 0.67f goes into JSON as 0.67.
[[nodiscard]] double as_written(float value);

// 3 -> "3 channels", 1 -> "1 channel".
[[nodiscard]] std::string counted(long long count, std::string_view thing);

}  // namespace orb::tool
