#include "analysis/unicode_markers.h"

#include <cstring>

#include "frame/host_api.h"
#include "frame/registry.h"
#include "frame/string_access.h"
#include "frame/string_build.h"

namespace ztk::markers {

int detect(ByteView b) {
  auto starts = [&](const char *mark, size_t n) { return b.size >= n && std::memcmp(b.data, mark, n) == 0; };
  if (starts("\xFF\xFE\x00\x00", 4)) return 7;
  if (starts("\x00\x00\xFE\xFF", 4)) return 6;
  if (starts("\xEF\xBB\xBF", 3)) return 1;
  if (starts("\xFF\xFE", 2)) return 4;
  if (starts("\xFE\xFF", 2)) return 3;
  return 0;
}

}  // namespace ztk::markers

RBInteger DetectUnicodeMarkers(REALstring s) {
  if (s == nullptr) return 0;
  rbData in;
  ztk::ReadString(in, s);
  return ztk::markers::detect(in.view());
}

REALstring GetUnicodeMarkers(RBInteger kind) {
  static const uint8_t kUTF8Mark[] = {0xEF, 0xBB, 0xBF};
  switch (kind) {
    case 1:
      return ztk::BuildString(kUTF8Mark, 3, enc::kUTF8);
    case 2:
    case 4: {
      const uint16_t unit = 0xFEFF;
      return REALBuildUnicodeString(&unit, 2, enc::kUTF16);
    }
    case 3:
    case 6: {
      // The big-endian marks as read in host order. A UTF-32 unit would keep
      // only its low 16 bits (0x0000) on the way to UTF-8, so the UTF-32
      // big-endian mark is given as the same swapped character as UTF-16's.
      const uint16_t unit = 0xFFFE;
      return REALBuildUnicodeString(&unit, 2, enc::kUTF16);
    }
    case 5:
    case 7: {
      const uint32_t unit = 0x0000FEFF;
      return REALBuildUnicodeString(&unit, 4, enc::kUTF32);
    }
    default:
      return nullptr;
  }
}

REALstring RBUnicodeString(REALstring s) { return REALConvertString(s, enc::kUTF16); }
REALstring RBNativeString(REALstring s) { return REALConvertString(s, enc::kUTF8); }
