// The scanlines of a writer: from the application's channel rows to the file's rows.
#include <cerrno>
#include <cstring>

#include "orbbase/driver.h"
#include "plain.h"
#include "plugins/common/memory.h"
#include "plugins/common/reports.h"
#include "samples.h"
#include "write.h"

namespace orb::pnm {

int32_t write_scan(void* data, int32_t line, void* rows) {
  Writer& writer = *static_cast<Writer*>(data);
  const Header& header = writer.header;
  if (writer.failure != 0) return plugin::fail(writer.failure);
  const int64_t index = header.is_bottom_up() ? line : header.height - 1 - int64_t{line};
  if (index != writer.next_index || index >= header.height) {
    return plugin::refuse_line(line);
  }
  const uint32_t seen = pack_row(header, static_cast<void* const*>(rows), writer.packed);
  if (header.bits <= 16 && seen >> header.bits != 0) {
    orb__report(ORB_MSG_CANNOT_WRITE_LINE, line, "a sample does not fit the channel width");
    return plugin::fail(ORB_E_HANDLE);  // the row may be given again; the file stays as it is
  }
  errno = 0;
  const bool is_written = header.is_plain ? write_plain_row(writer.stream.file, header, writer.packed)
                                          : std::fwrite(writer.packed, 1, header.row_bytes(),
                                                        writer.stream.file) == header.row_bytes();
  if (!is_written) {
    orb__report(ORB_MSG_CANNOT_WRITE_LINE, line, std::strerror(errno ? errno : EIO));
    return writer.failure = plugin::fail(ORB_E_WRITE);
  }
  ++writer.next_index;
  return 0;
}

}  // namespace orb::pnm
