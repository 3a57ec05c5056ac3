// MySQL unescaping: undoes the backslash escapes of MySQL string literals
// (\0 \' \" \b \n \r \t \Z \\ \% \_). Any other byte after a backslash is
// not an escape: both bytes are copied. A final lone backslash is kept. The
// kernel (mysql/) has no vector level of its own: the runs between
// backslashes are copied by the byte scans, which take the active level.
#pragma once

#include "frame/byte_view.h"

namespace ztk::mysql {

// out needs in.size bytes; returns the number written.
size_t unescape(ByteView in, uint8_t *out);

}  // namespace ztk::mysql
