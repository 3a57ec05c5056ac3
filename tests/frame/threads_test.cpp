// Methods called from several host threads at once, as Xojo's preemptive
// threads call them: every method gives each thread the result it gives one
// caller at a time, including the first calls of a freshly loaded library;
// a quoted-printable call encodes with its own line length; random bytes
// differ between threads. The ledger is checked once the threads are done.
#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <random>
#include <thread>

#include "host_test.h"

using namespace ztk_test;

namespace {

#ifdef ZTK_EMULATED_TARGET
constexpr int kRounds = 1;
constexpr int kQuotedPrintableCalls = 150;
#else
constexpr int kRounds = 20;
constexpr int kQuotedPrintableCalls = 2000;
#endif
constexpr int kThreads = 4;

// What one call gave back, copied out of the host on the calling thread.
struct Outcome {
  bool null = true;
  std::string bytes;
  uint32_t encoding = 0;
  int64_t integer = 0;
  uint64_t realBits = 0;
  int boolean = -1;
  std::string exception;
  bool operator==(const Outcome &o) const {
    return null == o.null && bytes == o.bytes && encoding == o.encoding && integer == o.integer &&
           realBits == o.realBits && boolean == o.boolean && exception == o.exception;
  }
};

// Calls through the registered pointer and releases what came back; safe on
// any thread, since it makes no test assertion.
Outcome call_once(subhost::Host &host, const char *declaration, const std::vector<Value> &args) {
  const Value value = host.call(declaration, args);
  Outcome out;
  if (auto s = std::get_if<REALstring>(&value)) {
    out.null = *s == nullptr;
    out.bytes = subhost::Host::bytes(*s);
    out.encoding = subhost::Host::encoding(*s);
    host.release(*s);
  } else if (auto o = std::get_if<REALobject>(&value)) {
    out.null = *o == nullptr;
    out.bytes = subhost::Host::bytes(*o);
    host.release(*o);
  } else if (auto i = std::get_if<RBInteger>(&value)) {
    out.integer = *i;
  } else if (auto d = std::get_if<double>(&value)) {
    std::memcpy(&out.realBits, &*d, sizeof *d);
  } else if (auto b = std::get_if<RBBoolean>(&value)) {
    out.boolean = *b;
  }
  if (REALobject e = subhost::Host::pending) out.exception = e->className;
  host.clear_pending();
  return out;
}

// Starts `n` threads that wait for each other, so that their first calls
// meet, runs body(k) on thread k and joins them.
template <class Body>
void run_together(int n, Body body) {
  std::atomic<int> waiting{n};
  std::vector<std::thread> threads;
  for (int k = 0; k < n; ++k) {
    threads.emplace_back([&, k] {
      waiting.fetch_sub(1);
      while (waiting.load() > 0) std::this_thread::yield();
      body(k);
    });
  }
  for (std::thread &t : threads) t.join();
}

// Text with something for every method: entities, tags, escapes of each
// codec, SQL literals, non-ASCII characters, line breaks.
std::string mixed_text() {
  static const char kLine[] =
      "Caf\xC3\xA9 & <b>cr\xC3\xA8me</b> \xE2\x82\xAC""5 &amp; &#233; =3D =C3=A9 %41%20+ \\n\\' "
      "WHERE a = true AND 'false' <> b; =ybegin line=128\r\n";
  std::string s;
  while (s.size() < 900) s += kLine;
  return s;
}

class ThreadedHost : public GenerationTest {
 protected:
  // The test command names a reason where threads cannot be started (an
  // emulator that hangs in thread creation); such runs skip these tests.
  void SetUp() override {
    if (const char *why = std::getenv("ZTK_SKIP_THREADS"); why != nullptr && *why != '\0') GTEST_SKIP() << why;
    GenerationTest::SetUp();
  }

  struct Call {
    const subhost::MethodInfo *method;
    std::vector<Value> args;
  };

  // Three argument sets per method: the text as UTF-8, as UTF-16 and a short
  // hex-like ASCII string, with integers of 2 and more (a line length below 2
  // would read the shared quoted-printable setting) and both booleans.
  std::vector<Call> calls() {
    const std::string text = mixed_text();
    const std::u16string units(text.begin(), text.end());  // Latin-1 widening is enough here
    const REALstring strings[] = {S(text), U16(units), S("48656C6C6F3D410A", enc::kASCII)};
    const REALobject blocks[] = {MB(text), MB("=ybegin\r\n\x93\x94\x95=}"), MB("0123")};
    const RBInteger integers[] = {2, 7, 40};
    const double doubles[] = {1234.5678, -0.000123, 6.02e23};
    std::vector<Call> all;
    for (const subhost::MethodInfo &m : subhost::methods()) {
      for (size_t v = 0; v < 3; ++v) {
        Call call{&m, {}};
        for (size_t k = 0; k < m.params.size(); ++k) {
          const size_t pick = (v + k) % 3;
          switch (m.params[k]) {
            case 'S': call.args.push_back(strings[pick]); break;
            case 'M': call.args.push_back(blocks[pick]); break;
            case 'I': call.args.push_back(I(integers[pick])); break;
            case 'D': call.args.push_back(D(doubles[pick])); break;
            case 'B': call.args.push_back(Bool(pick % 2 == 0)); break;
          }
        }
        all.push_back(std::move(call));
      }
    }
    return all;
  }

  static bool is_random(const Call &s) { return std::strcmp(s.method->handler, "RandomBytesStringZTK") == 0; }

  // Random bytes differ by design; their length and class are what must hold.
  static bool matches(const Call &s, const Outcome &expected, const Outcome &got) {
    if (!is_random(s)) return got == expected;
    // Raw random bytes are tagged by what they hold; "printable" ones are 32-127.
    if (got.bytes.size() != expected.bytes.size()) return false;
    if (std::get<RBBoolean>(s.args[1]) == 0) return true;
    if (got.encoding != expected.encoding) return false;
    return std::all_of(got.bytes.begin(), got.bytes.end(), [](char c) { return c >= 32 && static_cast<unsigned char>(c) <= 127; });
  }

  void expect_ledger_back_to(size_t strings, size_t objects) {
    EXPECT_EQ(host.live_strings(), strings) << "host strings leaked";
    EXPECT_EQ(host.live_objects(), objects) << "host objects leaked";
    EXPECT_EQ(host.ledger.outstandingStringData, 0);
    EXPECT_TRUE(host.ledger.errors.empty()) << host.ledger.errors.front();
  }
};

}  // namespace

TEST_P(ThreadedHost, EveryMethodGivesEachThreadItsOneAtATimeResult) {
  const std::vector<Call> all = calls();
  std::vector<Outcome> expected;
  for (const Call &s : all) expected.push_back(call_once(host, s.method->declaration, s.args));
  ASSERT_EQ(all.size(), 3 * subhost::methods().size());

  // A fresh copy of the library: its entry points, CPU level and settings are
  // first asked for by threads racing each other.
  start(default_settings());
  const size_t strings = host.live_strings(), objects = host.live_objects();

  std::vector<std::vector<std::string>> mismatches(kThreads);
  run_together(kThreads, [&](int t) {
    std::vector<size_t> order(all.size());
    for (size_t i = 0; i < order.size(); ++i) order[i] = i;
    std::mt19937 rng(static_cast<unsigned>(t));
    for (int round = 0; round < kRounds; ++round) {
      std::shuffle(order.begin(), order.end(), rng);
      for (size_t i : order) {
        const Outcome got = call_once(host, all[i].method->declaration, all[i].args);
        if (!matches(all[i], expected[i], got)) {
          mismatches[t].push_back(std::string(all[i].method->declaration) + " (argument set " +
                                  std::to_string(i % 3) + ")");
        }
      }
    }
  });
  for (int t = 0; t < kThreads; ++t) {
    EXPECT_TRUE(mismatches[t].empty()) << "thread " << t << ": " << mismatches[t].size()
                                       << " results differ, first: " << mismatches[t].front();
  }
  expect_ledger_back_to(strings, objects);
}

TEST_P(ThreadedHost, QuotedPrintableCallsKeepTheirOwnLineLength) {
  std::string text;
  for (int k = 0; k < 12; ++k) text += "Line with caf\xC3\xA9 and tabs\t and = signs, long enough to be cut. ";
  const REALstring s = S(text);
  const char *two = "EncodingToQuotedPrintableZTK(s as string, LineLen as integer) as string";
  const char *one = "EncodingToQuotedPrintableZTK(s as string) as string";
  const Outcome at10 = call_once(host, two, {s, I(10)});
  const Outcome at40 = call_once(host, two, {s, I(40)});
  const Outcome at72 = call_once(host, one, {s});
  ASSERT_NE(at10.bytes, at40.bytes);
  ASSERT_NE(at40.bytes, at72.bytes);

  // Threads 0-2 pass 10, 40 and nothing (72); thread 3 passes 0, which takes
  // whatever setting stands when its call starts, whole.
  std::vector<int> wrong(kThreads, 0);
  run_together(kThreads, [&](int t) {
    for (int k = 0; k < kQuotedPrintableCalls; ++k) {
      Outcome got;
      switch (t) {
        case 0: wrong[t] += !(call_once(host, two, {s, I(10)}) == at10); break;
        case 1: wrong[t] += !(call_once(host, two, {s, I(40)}) == at40); break;
        case 2: wrong[t] += !(call_once(host, one, {s}) == at72); break;
        default:
          got = call_once(host, two, {s, I(0)});
          wrong[t] += !(got == at10 || got == at40 || got == at72);
      }
    }
  });
  EXPECT_EQ(wrong, std::vector<int>(kThreads, 0)) << "calls that encoded with another call's line length";

  // The setting still carries from one call to the next on one thread.
  EXPECT_EQ(call_once(host, two, {s, I(10)}), at10);
  EXPECT_EQ(call_once(host, two, {s, I(0)}), at10);
  EXPECT_EQ(call_once(host, one, {s}), at72);
  EXPECT_EQ(call_once(host, two, {s, I(-5)}), at72);
}

// Every thread but the one that started the plugin is new to the C runtime's
// generator; in and outside a built application (seeded at start or not),
// no two threads may return the same bytes.
TEST_P(ThreadedHost, RandomBytesDifferBetweenThreads) {
  for (bool inRuntime : {false, true}) {
    SCOPED_TRACE(inRuntime ? "built application" : "debug run");
    subhost::Settings settings = default_settings();
    settings.inRuntime = inRuntime;
    start(settings);
    const char *random = "RandomBytesStringZTK(Length as integer, ASCII as boolean=false) as string";
    constexpr int kDraws = 3;
    std::vector<std::vector<std::string>> drawn(kThreads);
    run_together(kThreads, [&](int t) {
      for (int k = 0; k < kDraws; ++k) drawn[t].push_back(call_once(host, random, {I(32), Bool(k % 2 == 1)}).bytes);
    });
    std::vector<std::string> all;
    for (const auto &d : drawn) all.insert(all.end(), d.begin(), d.end());
    for (const std::string &bytes : all) EXPECT_EQ(bytes.size(), 32u);
    std::sort(all.begin(), all.end());
    EXPECT_EQ(std::adjacent_find(all.begin(), all.end()), all.end()) << "two draws gave the same bytes";
  }
}

ZTK_ALL_GENERATIONS(ThreadedHost);
