// Big-endian numbers in a file. Every call is checked: true when all bytes were transferred.
#pragma once

#include <cstdint>
#include <cstdio>

namespace orb::resource {

[[nodiscard]] bool seek_to(std::FILE* stream, uint64_t offset);

// false: the file's end, or an error of the stream's.
[[nodiscard]] bool read_bytes(std::FILE* stream, void* out, uint64_t bytes);
[[nodiscard]] bool read_half(std::FILE* stream, uint16_t* value_out);
[[nodiscard]] bool read_word(std::FILE* stream, uint32_t* value_out);

// false: errno has the reason.
[[nodiscard]] bool write_bytes(std::FILE* stream, const void* data, uint64_t bytes);
[[nodiscard]] bool write_half(std::FILE* stream, uint16_t value);
[[nodiscard]] bool write_word(std::FILE* stream, uint32_t value);

}  // namespace orb::resource
