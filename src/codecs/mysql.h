// MySQL unescaping: undoes the backslash escapes of MySQL string literals
// (\0 \' \" \b \n \r \t \Z \\ \% \_). Any other byte after a backslash is
// not an escape: both bytes are copied. A final lone backslash is kept.
#pragma once

#include "text/byte_view.h"

namespace ztk::mysql {

// out needs in.size bytes; returns the number written.
size_t unescape(ByteView in, uint8_t *out);

}  // namespace ztk::mysql
