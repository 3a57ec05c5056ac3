// The arguments the threads benchmark and the instruction counts give every
// method for an input of n bytes: the mixed prose as the first text (hex
// digits for the hex decoder, yEnc text for the yEnc decoders), short second
// texts, and ordinary numbers. Host strings are made here and belong to the
// caller.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "bench_inputs.h"
#include "invoke.h"
#include "subhost.h"

namespace ztk_bench {

struct Text {
  std::string bytes;
  uint32_t encoding = enc::kUTF8;
};

struct MethodArgs {
  std::vector<subhost::Value> args;
  bool readsText = false;  // false: the method reads no text (numbers, markers)
};

// `first`, when given, stands for the first text (and for the memoryblock).
inline MethodArgs method_args(const subhost::MethodInfo &m, size_t n, const std::optional<Text> &first = std::nullopt) {
  subhost::Host &host = subhost::Host::get();
  const std::string name = m.name();
  const std::string text = mixed_text(n);
  MethodArgs out;
  out.readsText = name == "RandomBytesStringZTK";
  int strings = 0, integers = 0;
  for (char kind : m.params) {
    switch (kind) {
      case 'S': {
        Text t{strings == 0 ? text : "ab", enc::kUTF8};
        if (strings == 0 && name == "DecodingFromHexZTK") t = {hex_of(text.substr(0, n / 2)), enc::kASCII};
        if (strings == 0 && name == "_yDecodeStringZTK") t = {yenc_encoded(n), enc::kNone};
        if (strings == 0 && first) t = *first;
        // Whole-text comparisons compare two equal texts to their end.
        if (strings == 1 && name.rfind("StrComp", 0) == 0) t = first ? *first : Text{text, enc::kUTF8};
        if (strings == 1 && name == "CountOccurancesZTK") t.bytes = "the";
        if (strings == 1 && name.rfind("String", 0) == 0) t.bytes = "secret key";
        out.args.push_back(host.make_string(t.bytes, t.encoding));
        out.readsText = true;
        ++strings;
        break;
      }
      case 'M':
        out.args.push_back(host.make_memoryblock(first ? first->bytes : yenc_encoded(n)));
        out.readsText = true;
        break;
      case 'I': {
        RBInteger v = 0;
        if (name == "RandomBytesStringZTK") v = static_cast<RBInteger>(n);
        if (name == "ScientificStrZTK") v = 12;
        if (name == "GetUnicodeMarkersZTK") v = 1;
        if (name == "EncodingToQuotedPrintableZTK") v = 76;
        if (name == "EncodingToURLZTK" || name == "DecodingFromURLZTK" || name == "IsASCIIStringZTK") v = 1;
        if (name == "StringXORZTK" || name == "StringXOR2ZTK") v = 3;
        if (name == "ReplaceNonPrintableCharactersZTK") v = 46;
        if (name == "HexstringZTK") v = integers == 0 ? 2 : 16;
        out.args.push_back(v);
        ++integers;
        break;
      }
      case 'D': out.args.push_back(123456.789012); break;
      case 'B': out.args.push_back(static_cast<RBBoolean>(0)); break;
    }
  }
  return out;
}

}  // namespace ztk_bench
