// Every method with host memory that ends right before an unreadable page:
// string storage, string data records, converted strings and memoryblocks
// carry no byte after their text, so a method that reads one byte too far
// faults at once. Inputs end in the characters that invite a look-ahead. A
// fault names the method, host version, encoding and input before the test
// program dies; the fixture's ledger check runs after every call.
#include <csignal>
#include <cstdio>
#include <cstring>

#ifdef _WIN32
#include <windows.h>
#else
#include <unistd.h>
#endif

#include "frame/cpu.h"
#include "host_test.h"

using namespace ztk_test;

namespace {

// What is being called, for the fault report. Written before every call and
// read only by the fault handler, which formats it without allocating.
struct CallInFlight {
  const char *declaration = "";
  double version = 0;
  uint32_t encoding = 0;
  int parameter = 0;
  const std::string *input = nullptr;
  int level = 0;
} gInFlight;

void put(const char *text, size_t n) {
#ifdef _WIN32
  DWORD written = 0;
  WriteFile(GetStdHandle(STD_ERROR_HANDLE), text, static_cast<DWORD>(n), &written, nullptr);
#else
  ssize_t ignored = write(2, text, n);
  (void)ignored;
#endif
}
void put(const char *text) { put(text, std::strlen(text)); }
void put_hex(uint64_t v, int digits) {
  char out[16];
  for (int i = digits - 1; i >= 0; --i, v >>= 4) out[i] = "0123456789ABCDEF"[v & 15];
  put(out, static_cast<size_t>(digits));
}

void put_decimal(uint64_t v) {
  char out[24];
  int k = 24;
  do {
    out[--k] = static_cast<char>('0' + v % 10);
    v /= 10;
  } while (v != 0);
  put(out + k, static_cast<size_t>(24 - k));
}

void report_fault() {
  const CallInFlight &c = gInFlight;
  put("\nread fault in ");
  put(c.declaration);
  const auto hundredths = static_cast<uint64_t>(c.version * 100 + 0.5);
  put("\n  host version: ");
  put_decimal(hundredths / 100);
  put(".");
  put_decimal(hundredths / 10 % 10);
  put_decimal(hundredths % 10);
  put("\n  vector level: ");
  put_decimal(static_cast<uint64_t>(c.level));
  put("\n  encoding: ");
  put_hex(c.encoding, 8);
  put("\n  string parameter: ");
  put_hex(static_cast<uint64_t>(c.parameter), 1);
  put("\n  input bytes:");
  if (c.input != nullptr) {
    for (unsigned char b : *c.input) {
      put(" ");
      put_hex(b, 2);
    }
  }
  put("\n");
}

#ifdef _WIN32
LONG WINAPI on_fault(EXCEPTION_POINTERS *info) {
  if (info->ExceptionRecord->ExceptionCode == EXCEPTION_ACCESS_VIOLATION) report_fault();
  return EXCEPTION_CONTINUE_SEARCH;
}
void watch_faults() {
  static PVOID handler = AddVectoredExceptionHandler(1, on_fault);
  (void)handler;
}
#else
void on_fault(int signal) {
  report_fault();
#ifdef ZTK_EMULATED_TARGET
  _exit(128 + signal);  // an emulator may not deliver the repeated fault
#else
  std::signal(signal, SIG_DFL);  // the faulting read runs again and ends the program
#endif
}
void watch_faults() {
  std::signal(SIGSEGV, on_fault);
  std::signal(SIGBUS, on_fault);
}
#endif

// Text that ends in a character some method looks past: an escape's start,
// a cut multi-byte sequence, half a UTF-16 unit, a byte-order mark.
const char *const kTails[] = {
    "",    "&",   "&#",   "&#x",  "&am", "&amp", "%",    "%4",    "=",          "=\r",     "\\",
    "<",   "<a",  "t",    "tru",  "fal", "\xC3", "\xE2\x82", "\xF0\x9F\x98", "\xEF\xBB\xBF", "\xFF\xFE",
    "\xFE\xFF", "\xFF", "=y",  "\r\n", "\x80"};

const uint32_t kEncodings[] = {enc::kMacRoman, enc::kUTF16, enc::kISOLatin1, enc::kWindows1252,
                               enc::kASCII,    enc::kNone,  enc::kUTF8,      enc::kUTF32};

const double kVersions[] = {2024.0, 2013.0, 2012.5, 2011.5};

// Lengths of the whole input: every one from 0 to 70 (past a 64-byte
// vector). Emulated platforms take the ends of 16-, 32- and 64-byte blocks.
std::vector<size_t> lengths() {
#ifdef ZTK_EMULATED_TARGET
  return {0, 1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 31, 33, 63, 64, 65, 70};
#else
  std::vector<size_t> n;
  for (size_t k = 0; k <= 70; ++k) n.push_back(k);
  return n;
#endif
}

std::vector<std::string> inputs() {
  static const char kFiller[] = "Plain text, 7 words & 1 <tag> = \"ok\"; true. ";
  std::vector<std::string> all;
  for (const char *tail : kTails) {
    const size_t t = std::strlen(tail);
    for (size_t n : lengths()) {
      if (n < t) continue;
      std::string s;
      for (size_t k = 0; k < n - t; ++k) s += kFiller[k % (sizeof kFiller - 1)];
      all.push_back(s + tail);
    }
  }
  return all;
}

}  // namespace

class GuardedHost : public HostTest {
 protected:
  void start_guarded(double version) {
    subhost::Settings s;
    s.version = version;
    s.guard = true;
    start(s);
  }

  // Calls `m` with `input` as string parameter `which` (or memoryblock), the
  // other strings short and plain, numbers at small ordinary values.
  void call_with(const subhost::MethodInfo &m, size_t which, const std::string &input, uint32_t encoding) {
    std::vector<Value> args;
    std::vector<REALstring> strings;
    std::vector<REALobject> blocks;
    for (size_t k = 0; k < m.params.size(); ++k) {
      switch (m.params[k]) {
        case 'S':
          strings.push_back(k == which ? host.make_string(input, encoding) : host.make_string("ab", enc::kUTF8));
          args.push_back(strings.back());
          break;
        case 'M':
          blocks.push_back(host.make_memoryblock(k == which ? input : "ab"));
          args.push_back(blocks.back());
          break;
        case 'I': args.push_back(I(2)); break;
        case 'D': args.push_back(D(1.5)); break;
        case 'B': args.push_back(Bool(true)); break;
      }
    }
    gInFlight.parameter = static_cast<int>(which);
    gInFlight.input = &input;
    gInFlight.encoding = encoding;
    call_decl(m.declaration, args);
    ++calls;
    for (REALstring s : strings) host.release(s);
    for (REALobject o : blocks) host.release(o);
  }

  int64_t calls = 0;
};

// At the widest vector level every host version and encoding is swept; the
// lower levels, whose kernels see the same bytes, take the newest host and
// three encodings.
TEST_F(GuardedHost, NoMethodReadsPastTheBytesItIsGiven) {
  watch_faults();
  const std::vector<std::string> all = inputs();
  start_guarded(2024.0);
  const int best = plugin->limit_level(ztk::cpu::kTop);
  ASSERT_GE(best, 0) << "the test build of the plugin has the level hook";
  for (int level = best; level >= ztk::cpu::kPlain; --level) {
    const bool full = level == best;
    for (double version : kVersions) {
      if (!full && version != kVersions[0]) continue;
      start_guarded(version);
      ASSERT_EQ(plugin->limit_level(level), level);
      gInFlight.version = version;
      gInFlight.level = level;
      for (const subhost::MethodInfo &m : subhost::methods()) {
        gInFlight.declaration = m.declaration;
        bool hasText = false;
        for (size_t k = 0; k < m.params.size(); ++k) {
          if (m.params[k] != 'S' && m.params[k] != 'M') continue;
          hasText = true;
          for (uint32_t encoding : kEncodings) {
            if (m.params[k] == 'M' && encoding != kEncodings[0]) continue;  // blocks carry no tag
            if (!full && encoding != enc::kNone && encoding != enc::kUTF8 && encoding != enc::kUTF16) continue;
            for (const std::string &input : all) call_with(m, k, input, encoding);
          }
        }
        if (!hasText) call_with(m, m.params.size(), "", enc::kNone);
        if (HasFailure()) return;
      }
    }
  }
  std::printf("guard sweep: %lld calls at %d vector levels, 0 faults\n", static_cast<long long>(calls), best + 1);
}

// The guard itself: a host string's last byte is readable, the byte after it
// is not: a child process that reads it dies (by the signal, or through the
// sanitizer's report).
#if !defined(_WIN32) && !defined(ZTK_EMULATED_TARGET)
TEST_F(GuardedHost, TheByteAfterEveryTextIsUnreadable) {
  start_guarded(2024.0);
  REALstring s = host.make_string("abc", enc::kUTF8);
  ASSERT_EQ(s->storage[3], 'c');
  EXPECT_EXIT(
      {
        volatile unsigned char past = s->storage[4];
        (void)past;
        std::exit(0);
      },
      [](int status) { return status != 0; }, "");
  host.release(s);
}
#endif
