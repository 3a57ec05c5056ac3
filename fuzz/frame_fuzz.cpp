// Any registered method with arbitrary arguments, through the substitute host:
// no crash, and afterwards the host holds nothing but what the caller made.
#include <string>
#include <vector>

#include "fuzz_check.h"
#include "invoke.h"
#include "plugin_library.h"
#include "subhost.h"

namespace {
const uint32_t kEncodings[] = {enc::kUTF8, enc::kUTF16, enc::kUTF32, enc::kASCII,
                               enc::kMacRoman, enc::kWindows1252, enc::kISOLatin1, enc::kNone};
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 1) return 0;
  subhost::PluginLibrary::started_once(ZTK_PLUGIN_PATH);
  subhost::Host &host = subhost::Host::get();
  const auto &methods = subhost::methods();
  const subhost::MethodInfo &m = methods[data[0] % methods.size()];
  // The rest is split into one piece per parameter at 0xFF bytes.
  std::vector<std::string> pieces(1);
  for (size_t i = 1; i < size; ++i) {
    if (data[i] == 0xFF && pieces.size() < m.params.size()) {
      pieces.emplace_back();
    } else {
      pieces.back() += static_cast<char>(data[i]);
    }
  }
  pieces.resize(m.params.size());
  std::vector<subhost::Value> args;
  std::vector<REALstring> strings;
  std::vector<REALobject> blocks;
  for (size_t k = 0; k < m.params.size(); ++k) {
    const std::string &p = pieces[k];
    switch (m.params[k]) {
      case 'S':
        strings.push_back(p.empty() ? nullptr : host.make_string(p.substr(1), kEncodings[p[0] & 7]));
        args.push_back(strings.back());
        break;
      case 'M':
        blocks.push_back(host.make_memoryblock(p));
        args.push_back(blocks.back());
        break;
      case 'I': {
        // Small values mostly, and now and then one from the edges of the range.
        uint64_t v = 0;
        for (unsigned char c : p.substr(0, 8)) v = v * 256 + c;
        const int64_t edges[] = {INT64_MIN, INT64_MAX, int64_t{1} << 31, -(int64_t{1} << 31) - 1, -1};
        const int64_t value = p.size() > 8 ? edges[v % 5] : static_cast<int64_t>(v % 5000) - 2500;
        args.push_back(static_cast<RBInteger>(value));
        break;
      }
      case 'D': {
        double d = 0;
        for (unsigned char c : p) d = d * 7.5 + c - 100;
        args.push_back(d);
        break;
      }
      default:
        args.push_back(static_cast<RBBoolean>(p.size() % 2));
    }
  }
  const size_t strings0 = host.live_strings(), objects0 = host.live_objects();
  const subhost::Value r = host.call(m.declaration, args);
  if (auto s = std::get_if<REALstring>(&r)) host.release(*s);
  if (auto o = std::get_if<REALobject>(&r)) host.release(*o);
  host.clear_pending();
  FUZZ_CHECK(host.live_strings() == strings0 && host.live_objects() == objects0);
  FUZZ_CHECK(host.ledger.outstandingStringData == 0 && host.ledger.errors.empty());
  for (REALstring s : strings) host.release(s);
  for (REALobject b : blocks) host.release(b);
  return 0;
}
