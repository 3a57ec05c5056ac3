// A 64-bit host can hold texts and memoryblocks beyond 31 bits, which no
// method can take. Every method, given one argument whose reported length is
// beyond 31 bits (the bytes behind it are a short real text, ending before an
// unreadable page), answers exactly as when the host cannot give that
// string's data, or as for an empty memoryblock: it neither reads past the
// real bytes nor takes the length for real.
#include <cstdint>

#include "host_test.h"
#include "invoke.h"

using namespace ztk_test;

namespace {

std::vector<uint64_t> reported_lengths() {
  std::vector<uint64_t> lengths = {uint64_t{1} << 31, 0xFFFFFFFFu};
  if (sizeof(size_t) == 8) {
    for (uint64_t n : {(uint64_t{1} << 32) + 5, uint64_t{1} << 63, ~uint64_t{0}}) lengths.push_back(n);
  }
  return lengths;
}

// What a length is made of for the failure message.
std::string hex(uint64_t n) {
  char text[24];
  std::snprintf(text, sizeof text, "0x%llX", static_cast<unsigned long long>(n));
  return text;
}

std::string shown(const Result &r) {
  return (r.null ? std::string("null") : testing::PrintToString(r.bytes) + " tag " + hex(r.encoding)) + " int " +
         std::to_string(r.integer) + " real " + std::to_string(r.real) + " bool " + std::to_string(r.boolean) +
         (r.exceptionClass.empty() ? "" : " raised " + r.exceptionClass + ": " + r.exceptionMessage);
}

bool same(const Result &a, const Result &b) {
  return a.null == b.null && a.bytes == b.bytes && (a.null || a.encoding == b.encoding) && a.integer == b.integer &&
         (a.real == b.real || (a.real != a.real && b.real != b.real)) && a.boolean == b.boolean &&
         a.exceptionClass == b.exceptionClass && a.exceptionMessage == b.exceptionMessage &&
         a.errorNumber == b.errorNumber;
}

class ReportedLength : public GenerationTest {
 protected:
  void SetUp() override {
    subhost::Settings s = default_settings();
    s.guard = true;
    start(s);
  }

  // Calls `m` with parameter `which` holding `text`, reported as `length`
  // bytes when given, else a string whose data the host does not give or an
  // empty memoryblock; the other strings short and plain, numbers small.
  Result call_with(const subhost::MethodInfo &m, size_t which, const std::string &text, uint32_t encoding,
                   std::optional<uint64_t> length) {
    std::vector<Value> args;
    for (size_t k = 0; k < m.params.size(); ++k) {
      switch (m.params[k]) {
        case 'S': {
          REALstring s = k == which ? S(text, encoding) : S("ab", enc::kUTF8);
          if (k == which && length) host.settings.reportedLength[s] = *length;
          if (k == which && !length) host.settings.unreadable.insert(s);
          args.push_back(s);
          break;
        }
        case 'M': {
          REALobject o = MB(k != which ? "ab" : length ? text : "");
          if (k == which && length) host.settings.reportedLength[o] = *length;
          args.push_back(o);
          break;
        }
        case 'I': args.push_back(I(2)); break;
        case 'D': args.push_back(D(1.5)); break;
        case 'B': args.push_back(Bool(true)); break;
      }
    }
    Result r = call_decl(m.declaration, args);
    host.settings.reportedLength.clear();
    host.settings.unreadable.clear();
    return r;
  }
};

}  // namespace

TEST_P(ReportedLength, EveryMethodTakesALengthBeyond31BitsAsNoData) {
  // Short texts with what the codecs react to, in the encodings that take
  // the different read paths (as stored, converted to UTF-16, raw bytes).
  const std::pair<std::string, uint32_t> texts[] = {
      {"a&amp;b %41=\r\n<p>true", enc::kUTF8},
      {std::string("\xFF\xFE" "a\0&\0", 6), enc::kUTF16},
      {"\xC3\xA9\x80=", enc::kNone},
  };
  int checked = 0;
  for (const subhost::MethodInfo &m : subhost::methods()) {
    for (size_t which = 0; which < m.params.size(); ++which) {
      if (m.params[which] != 'S' && m.params[which] != 'M') continue;
      for (const auto &[text, encoding] : texts) {
        const Result empty = call_with(m, which, text, encoding, std::nullopt);
        for (uint64_t length : reported_lengths()) {
          const Result r = call_with(m, which, text, encoding, length);
          EXPECT_TRUE(same(r, empty)) << m.declaration << ", parameter " << which << ", reported length "
                                      << hex(length) << ", encoding " << hex(encoding) << ": " << shown(r)
                                      << " where no data gives " << shown(empty);
          ++checked;
        }
      }
    }
  }
  EXPECT_GT(checked, 47 * 3);
}

ZTK_ALL_GENERATIONS(ReportedLength);
