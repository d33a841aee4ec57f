// The names of the command-line parser's types, for headers; its own header is a large one.
#pragma once

namespace CLI {
class App;
class Option;
}  // namespace CLI
