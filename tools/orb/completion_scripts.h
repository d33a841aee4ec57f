// The scripts that let shells complete the command line, from the option table.
#pragma once

#include <string>
#include <vector>

#include "option_table.h"

namespace orb::tool {

[[nodiscard]] std::string bash_completion(const VerbEntry& tool);
[[nodiscard]] std::string zsh_completion(const VerbEntry& tool);
[[nodiscard]] std::string fish_completion(const VerbEntry& tool);

// A text as one word of a shell; fish reads a quote within differently.
enum class Shell { posix, fish };
[[nodiscard]] std::string quoted(const std::string& text, Shell shell);

// A help text without the choices and defaults that follow its first words.
[[nodiscard]] std::string brief(const std::string& help);

[[nodiscard]] std::string joined(const std::vector<std::string>& words, const char* between);

}  // namespace orb::tool
