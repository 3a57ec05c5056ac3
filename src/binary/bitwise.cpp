#include "binary/bitwise.h"

#include "frame/plugin_alloc.h"
#include "frame/registry.h"
#include "frame/string_access.h"
#include "frame/string_build.h"

namespace {

// Reads data and mask, runs `rule(data, mask, out)` into n scratch bytes and returns them tagged as raw bytes.
template <class Rule>
REALstring combine_strings(REALstring data, REALstring mask, Rule rule) {
  if (data == nullptr || mask == nullptr) return nullptr;
  rbData d, m;
  ztk::ReadString(d, data);
  ztk::ReadString(m, mask);
  const ztk::ByteView bytes = d.view(), maskBytes = m.view();
  // An empty or unreadable mask has nothing to repeat: no result.
  if (bytes.empty() || maskBytes.empty()) return nullptr;
  const ztk::mem::Scratch out(bytes.size);
  if (out.data() == nullptr) return nullptr;
  rule(bytes, maskBytes, out.data());
  return ztk::BuildRawBytes({out.data(), bytes.size});
}

REALstring xor_strings(REALstring data, REALstring mask, RBInteger offset, bool withPosition) {
  return combine_strings(data, mask, [&](ztk::ByteView d, ztk::ByteView m, uint8_t *out) {
    ztk::bitwise::exclusive_or(d, m, ztk::bitwise::start_position(offset, m.size), withPosition, out);
  });
}

}  // namespace

REALstring StringAND(REALstring a, REALstring b) {
  return combine_strings(a, b, [](ztk::ByteView d, ztk::ByteView m, uint8_t *out) {
    ztk::bitwise::combine(d, m, ztk::bitwise::Op::And, out);
  });
}

REALstring StringOR(REALstring a, REALstring b) {
  return combine_strings(a, b, [](ztk::ByteView d, ztk::ByteView m, uint8_t *out) {
    ztk::bitwise::combine(d, m, ztk::bitwise::Op::Or, out);
  });
}

REALstring StringXOR(REALstring data, REALstring mask, RBInteger offset) {
  return xor_strings(data, mask, offset, false);
}

REALstring StringXOR2(REALstring data, REALstring mask, RBInteger offset) {
  return xor_strings(data, mask, offset, true);
}
