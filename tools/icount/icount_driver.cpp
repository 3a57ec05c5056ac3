// Counts, under qemu user mode with the counting plugin (tcg_plugin.cpp), the
// instructions each method executes inside the plugin library's own code,
// per input byte at 1 MiB, at one vector level. The library is loaded into
// the substitute host as the tests load it; each method is called once
// unmeasured, so that its code is translated and its caches are filled as in
// a running application, and then once inside a measured region.
//
//   icount_driver [--library PATH] [--level N] [--size BYTES] [--only NAME] [--input NAME] [--no-dense]
//                [--uncounted]
//   icount_driver --self-test
//
// --uncounted makes the same calls without qemu, for a profiler that counts
// by itself (valgrind's callgrind, which cannot pass the marks), and prints
// no counts.
//
// One line per measurement, tab-separated: method, registry row, number of
// arguments, input, bytes, instructions, and instructions per byte (per call for methods that read no text).
#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <unistd.h>
#include <sys/syscall.h>

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "icount_protocol.h"
#include "bench_inputs.h"
#include "invoke.h"
#include "method_args.h"
#include "plugin_library.h"
#include "subhost.h"

using subhost::Value;
using namespace ztk_bench;
using namespace ztk_icount;

namespace {

[[noreturn]] void fail(const std::string &why) {
  std::fprintf(stderr, "icount_driver: %s\n", why.c_str());
  std::exit(2);
}

// The marks of the measured region, and the counts the plugin hands back
// through a pipe (it cannot write the guest's memory, but the guest's file
// descriptors are its own).
class Counter {
 public:
  Counter() {
    int ends[2];
    if (pipe(ends) != 0) fail(std::string("pipe: ") + std::strerror(errno));
    read_ = ends[0];
    write_ = ends[1];
    // Without the plugin nothing is written: a read must not wait for it.
    fcntl(read_, F_SETFL, fcntl(read_, F_GETFL) | O_NONBLOCK);
  }
  void range(uintptr_t start, uintptr_t end) {
    mark(kRange, static_cast<long>(start), static_cast<long>(end), static_cast<long>(sizeof(void *) * 8));
  }
  void start() { mark(kStart); }
  // The instructions since start(), or nothing when no plugin counts.
  std::optional<uint64_t> stop() {
    mark(kStop, write_);
    uint64_t count = 0;
    if (read(read_, &count, sizeof count) != static_cast<ssize_t>(sizeof count)) return std::nullopt;
    return count;
  }
  uint64_t stop_or_fail() {
    const std::optional<uint64_t> count = stop();
    if (!count) fail("no count came back: run under qemu user mode with -plugin <libztk_icount_tcg.so>");
    return *count;
  }

 private:
  static void mark(long op, long a = 0, long b = 0, long c = 0) { syscall(kMarkerSyscall, op, a, b, c); }
  int read_ = -1, write_ = -1;
};

// The library's code: the executable segments of the loaded object that holds
// `inside`, one of its functions.
struct Range {
  uintptr_t start = 0, end = 0;
};
Range code_of(const void *inside) {
  struct Search {
    uintptr_t address;
    Range found;
  } search{reinterpret_cast<uintptr_t>(inside), {}};
  dl_iterate_phdr(
      [](dl_phdr_info *info, size_t, void *data) -> int {
        auto *s = static_cast<Search *>(data);
        bool holds = false;
        Range code{UINTPTR_MAX, 0};
        for (int k = 0; k < info->dlpi_phnum; ++k) {
          const ElfW(Phdr) &p = info->dlpi_phdr[k];
          if (p.p_type != PT_LOAD) continue;
          const uintptr_t from = info->dlpi_addr + p.p_vaddr, to = from + p.p_memsz;
          holds |= s->address >= from && s->address < to;
          if ((p.p_flags & PF_X) != 0) {
            code.start = std::min(code.start, from);
            code.end = std::max(code.end, to);
          }
        }
        if (!holds) return 0;
        s->found = code;
        return 1;
      },
      &search);
  return search.found;
}

// One method's arguments, owned until the call has been measured.
struct Call {
  const subhost::MethodInfo *method = nullptr;
  std::string input;  // what the first text is
  size_t bytes = 0;   // input bytes per call; 0 for methods that read no text
  std::vector<Value> args;

  Call() = default;
  Call(const Call &) = delete;
  Call &operator=(const Call &) = delete;
  ~Call() {
    subhost::Host &host = subhost::Host::get();
    for (const Value &v : args) {
      if (auto s = std::get_if<REALstring>(&v)) host.release(*s);
      if (auto o = std::get_if<REALobject>(&v)) host.release(*o);
    }
  }
};

void make_args(Call &call, size_t n, const std::optional<Text> &first) {
  MethodArgs made = method_args(*call.method, n, first);
  call.args = std::move(made.args);
  call.bytes = made.readsText ? n : 0;
}

// Inputs that give a method work at (nearly) every byte, or that let a check
// that stops at its first finding run to the end.
struct Dense {
  const char *method;
  const char *input;
  std::function<Text(size_t)> make;
};
const std::vector<Dense> &dense_inputs() {
  static const std::vector<Dense> list = {
      {"_yDecodeMemoryZTK", "every byte escaped", [](size_t n) { return Text{yenc_all_escaped(n), enc::kNone}; }},
      {"_yDecodeStringZTK", "every byte escaped", [](size_t n) { return Text{yenc_all_escaped(n), enc::kNone}; }},
      {"StrCompCharactersZTK", "accented", [](size_t n) { return Text{latin_text(n)}; }},
      {"StringIsHTMLreadyZTK", "clean prose", [](size_t n) { return Text{clean_text(n)}; }},
      {"DecodingFromMySQLZTK", "escapes only", [](size_t n) { return Text{mysql_every_escape(n)}; }},
      {"EncodingToHTMLZTK", "dense specials", [](size_t n) { return Text{dense_html_text(n)}; }},
      {"DecodingFromHTMLZTK", "dense references", [](size_t n) { return Text{dense_references(n)}; }},
      {"EncodingToURLZTK", "random bytes", [](size_t n) { return Text{random_bytes(n), enc::kNone}; }},
      {"DecodingFromURLZTK", "%XX only", [](size_t n) { return Text{escaped_bytes(n, "%"), enc::kASCII}; }},
      {"EncodingToQuotedPrintableZTK", "random bytes", [](size_t n) { return Text{random_bytes(n), enc::kNone}; }},
      {"DecodingFromQuotedPrintableZTK", "=XX only", [](size_t n) { return Text{escaped_bytes(n, "="), enc::kASCII}; }},
      {"EncodingToISO8859ZTK", "accented", [](size_t n) { return Text{latin_text(n)}; }},
      {"DecodingFromISO8859ZTK", "random bytes", [](size_t n) { return Text{random_bytes(n), enc::kNone}; }},
      {"EncodingToCP1252ZTK", "accented", [](size_t n) { return Text{latin_text(n)}; }},
      {"DecodingFromCP1252ZTK", "random bytes", [](size_t n) { return Text{random_bytes(n), enc::kNone}; }},
      {"ReplaceNonPrintableCharactersZTK", "random bytes", [](size_t n) { return Text{random_bytes(n), enc::kNone}; }},
      {"IsASCIIStringZTK", "clean prose", [](size_t n) { return Text{clean_text(n)}; }},
      {"RemoveHTMLTagsZTK", "tagged", [](size_t n) { return Text{tagged_text(n)}; }},
      {"RemoveHTMLTagsWithZTK", "tagged", [](size_t n) { return Text{tagged_text(n)}; }},
      {"SQLReplaceBooleanZTK", "dense literals", [](size_t n) { return Text{sql_dense(n)}; }},
      // Shaped like the data each method meets in applications.
      {"DecodingFromQuotedPrintableZTK", "mail", [](size_t n) { return Text{qp_mail(n), enc::kASCII}; }},
      {"DecodingFromQuotedPrintableZTK", "paragraphs", [](size_t n) { return Text{qp_paragraphs(n), enc::kASCII}; }},
      {"EncodingToQuotedPrintableZTK", "CR LF prose", [](size_t n) { return Text{crlf_prose(n), enc::kNone}; }},
      {"_yDecodeStringZTK", "article", [](size_t n) { return Text{yenc_article(n), enc::kNone}; }},
      {"DecodingFromMySQLZTK", "dump", [](size_t n) { return Text{mysql_dump(n)}; }},
      {"EncodingToURLZTK", "query", [](size_t n) { return Text{query_values(n)}; }},
      {"EncodingToURLZTK", "non-Latin", [](size_t n) { return Text{url_dense_text(n)}; }},
      {"DecodingFromURLZTK", "query", [](size_t n) { return Text{url_query(n), enc::kASCII}; }},
      {"DecodingFromURLZTK", "non-Latin", [](size_t n) { return Text{url_dense(n), enc::kASCII}; }},
      {"EncodingToHTMLZTK", "HTML-like", [](size_t n) { return Text{html_like_text(n)}; }},
      {"DecodingFromHTMLZTK", "page", [](size_t n) { return Text{html_page(n)}; }},
      {"RemoveHTMLTagsZTK", "page", [](size_t n) { return Text{html_page(n)}; }},
      {"RemoveHTMLTagsWithZTK", "page", [](size_t n) { return Text{html_page(n)}; }},
      {"SQLReplaceBooleanZTK", "statements", [](size_t n) { return Text{sql_statements(n)}; }},
      {"EncodingToISO8859ZTK", "prose", [](size_t n) { return Text{accented_prose(n)}; }},
      {"EncodingToCP1252ZTK", "prose", [](size_t n) { return Text{accented_prose(n)}; }},
      {"DecodingFromISO8859ZTK", "prose", [](size_t n) { return Text{latin1_prose(n), enc::kNone}; }},
      {"DecodingFromCP1252ZTK", "prose", [](size_t n) { return Text{latin1_prose(n), enc::kNone}; }},
      {"CountOccurancesZTK", "prose, \"the\"", [](size_t n) { return Text{accented_prose(n), enc::kNone}; }},
  };
  return list;
}

void release(const Value &r) {
  subhost::Host &host = subhost::Host::get();
  if (auto s = std::get_if<REALstring>(&r)) host.release(*s);
  if (auto o = std::get_if<REALobject>(&r)) host.release(*o);
}

// Warm-up, then the measured call: its instructions in the library.
uint64_t measure(Counter &counter, const Call &call, bool counted = true) {
  subhost::Host &host = subhost::Host::get();
  release(host.call(call.method->declaration, call.args));
  host.clear_pending();
  if (!counted) {
    release(host.call(call.method->declaration, call.args));
    host.clear_pending();
    return 0;
  }
  counter.start();
  const Value r = host.call(call.method->declaration, call.args);
  const uint64_t count = counter.stop_or_fail();
  release(r);
  host.clear_pending();
  return count;
}

struct Loaded {
  explicit Loaded(const std::string &path) : library(path) {
    library.start();
    if (subhost::Host::get().registered.empty()) fail("the library registered no methods");
  }
  const void *some_function() const {
    return reinterpret_cast<const void *>(subhost::Host::get().registered.front()->function);
  }
  subhost::PluginLibrary library;
};

const subhost::MethodInfo &method_named(const char *name, size_t arity) {
  const subhost::MethodInfo *m = subhost::find_method(name, arity);
  if (m == nullptr) fail(std::string("no method ") + name);
  return *m;
}

uint64_t count_once(Counter &counter, const subhost::MethodInfo &m, size_t n) {
  Call call;
  call.method = &m;
  make_args(call, n, std::nullopt);
  return measure(counter, call);
}

// Proves the counting itself, cheaply (64 KiB inputs): checks that can fail
// if blocks are lost, if code outside the region or the library is counted,
// or if the level cap does not reach the kernels.
int self_test(const std::string &path) {
  constexpr size_t n = 64 << 10;
  int failures = 0;
  auto check = [&failures](bool ok, const std::string &what) {
    std::printf("%s %s\n", ok ? "ok  " : "FAIL", what.c_str());
    failures += ok ? 0 : 1;
  };
  subhost::Host::get().reset();
  Loaded loaded(path);
  Counter counter;
  const subhost::MethodInfo &hex = method_named("EncodingToHexZTK", 1);
  if (loaded.library.limit_level(0) != 0) fail("the library has no level hook (use ZTKStrings_probe)");

  // Before the range is known: calls run and their blocks are translated.
  Call early;
  early.method = &hex;
  make_args(early, n, std::nullopt);
  release(subhost::Host::get().call(hex.declaration, early.args));
  counter.start();
  const uint64_t beforeRange = counter.stop_or_fail();
  check(beforeRange == 0, "nothing counts before the range is named (" + std::to_string(beforeRange) + ")");

  const Range code = code_of(loaded.some_function());
  if (code.end <= code.start) fail("cannot find the library's code among the loaded objects");
  counter.range(code.start, code.end);

  // The blocks translated above are the ones this call runs again.
  counter.start();
  release(subhost::Host::get().call(hex.declaration, early.args));
  const uint64_t plain = counter.stop_or_fail();
  check(plain >= n, "plain hex encoding of " + std::to_string(n) + " bytes counts at least a byte's worth: " +
                        std::to_string(plain));

  counter.start();
  release(subhost::Host::get().call(hex.declaration, early.args));
  const uint64_t again = counter.stop_or_fail();
  check(again == plain, "the same call counts the same again: " + std::to_string(again));

  // Library calls between regions, and host work inside one, do not count.
  release(subhost::Host::get().call(hex.declaration, early.args));
  counter.start();
  const std::string outside = random_bytes(n);
  const uint64_t empty = counter.stop_or_fail();
  check(empty == 0, "a region without library calls counts nothing: " + std::to_string(empty));

  // The byte scans have a 16-byte kernel on every vector target (SSE2, NEON).
  const subhost::MethodInfo &count = method_named("CountOccurancesZTK", 2);
  const uint64_t countPlain = count_once(counter, count, n);
  if (loaded.library.limit_level(1) == 1) {
    const uint64_t vector = count_once(counter, count, n);
    check(vector * 2 < countPlain, "a byte scan counts under half at the 16-byte level: " + std::to_string(vector) +
                                       " vs " + std::to_string(countPlain));
  } else {
    std::printf("skip this target has no vector level\n");
  }

  // Twice the input, about twice the count.
  loaded.library.limit_level(0);
  const uint64_t doubled = count_once(counter, hex, 2 * n);
  check(doubled > plain * 19 / 10 && doubled < plain * 21 / 10,
        "twice the input counts about twice: " + std::to_string(doubled));
  return failures == 0 ? 0 : 1;
}

struct Options {
  std::string library = ZTK_ICOUNT_DEFAULT_PLUGIN;
  int level = -1;  // -1: the best the CPU has
  size_t size = 1 << 20;
  std::string only;
  std::string input;  // one input by its name ("mixed", "page", ...); empty: every one
  bool dense = true;
  bool selfTest = false;
  bool counted = true;
};

Options parse(int argc, char **argv) {
  Options o;
  for (int k = 1; k < argc; ++k) {
    const std::string a = argv[k];
    auto value = [&]() -> std::string {
      if (k + 1 >= argc) fail(a + " needs a value");
      return argv[++k];
    };
    if (a == "--library") o.library = value();
    else if (a == "--level") o.level = std::atoi(value().c_str());
    else if (a == "--size") o.size = std::strtoull(value().c_str(), nullptr, 0);
    else if (a == "--only") o.only = value();
    else if (a == "--input") o.input = value();
    else if (a == "--no-dense") o.dense = false;
    else if (a == "--self-test") o.selfTest = true;
    else if (a == "--uncounted") o.counted = false;
    else fail("unknown argument " + a);
  }
  return o;
}

void print(const Call &call, uint64_t count) {
  const double per = call.bytes > 0 ? static_cast<double>(count) / static_cast<double>(call.bytes) : static_cast<double>(count);
  std::printf("%s\t%d\t%zu\t%s\t%zu\t%" PRIu64 "\t%.4f\n", call.method->name().c_str(), call.method->row,
              call.method->params.size(), call.input.c_str(), call.bytes, count, per);
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char **argv) {
  const Options o = parse(argc, argv);
  if (o.selfTest) return self_test(o.library);

  subhost::Host::get().reset();
  Loaded loaded(o.library);
  Counter counter;
  const int inForce = loaded.library.limit_level(o.level < 0 ? 4 : o.level);
  if (inForce < 0) fail("the library has no level hook (use ZTKStrings_probe)");
  // A level the CPU (or qemu's model of it) lacks is capped lower: say so,
  // and let the caller decide whether the column stands.
  std::printf("# level\t%d\t%d\n", o.level, inForce);
  const Range code = code_of(loaded.some_function());
  if (code.end <= code.start) fail("cannot find the library's code among the loaded objects");
  counter.range(code.start, code.end);
  counter.start();
  if (o.counted && !counter.stop()) fail("no count came back: run under qemu user mode with -plugin <libztk_icount_tcg.so>");

  for (const subhost::MethodInfo &m : subhost::methods()) {
    const std::string name = m.name();
    if (!o.only.empty() && name != o.only) continue;
    if (o.input.empty() || o.input == "mixed") {
      Call call;
      call.method = &m;
      call.input = "mixed";
      make_args(call, o.size, std::nullopt);
      const uint64_t count = measure(counter, call, o.counted);
      if (o.counted) print(call, count);
    }
    if (!o.dense) continue;
    for (const Dense &d : dense_inputs()) {
      if (name != d.method || (!o.input.empty() && o.input != d.input)) continue;
      Call call;
      call.method = &m;
      call.input = d.input;
      make_args(call, o.size, d.make(o.size));
      const uint64_t count = measure(counter, call, o.counted);
      if (o.counted) print(call, count);
    }
  }
  return 0;
}
