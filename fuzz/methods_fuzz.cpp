// All registered methods the way the host calls them. The input chooses the
// host (its generation, including one without a version, and which services
// it withholds), which services fail and when, which of the plugin's own
// allocations fails, the vector level, and then up to four calls in a row:
// the row and every argument (bytes in every encoding tag, lengths reported
// beyond 31 bits, strings whose data the host does not give, integers over
// the whole range, any double bit pattern, odd booleans). State kept between
// calls, such as the quoted-printable line length, carries over.
//
// After every call: the host's ledger holds nothing the call left behind, no
// misuse was seen, a string result is live, held once and tagged with a known
// encoding, and an exception is raised only by the methods that document one.
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "frame/cpu.h"
#include "fuzz_check.h"
#include "invoke.h"
#include "plugin_library.h"
#include "subhost.h"

namespace {

class Reader {
 public:
  Reader(const uint8_t *data, size_t size) : p_(data), n_(size) {}
  bool empty() const { return n_ == 0; }
  uint8_t byte() {
    if (n_ == 0) return 0;
    --n_;
    return *p_++;
  }
  uint64_t word() {
    uint64_t v = 0;
    for (int k = 0; k < 8; ++k) v = v << 8 | byte();
    return v;
  }
  // A length byte, then that many bytes (fewer when the input runs out).
  std::string text() {
    size_t want = byte();
    if (want >= 0xF0) want = (want - 0xF0 + 1) * 64;  // now and then past a few vector blocks
    const size_t k = want < n_ ? want : n_;
    std::string s(reinterpret_cast<const char *>(p_), k);
    p_ += k;
    n_ -= k;
    return s;
  }

 private:
  const uint8_t *p_;
  size_t n_;
};

// The host versions at and around every threshold the plugin distinguishes.
const std::optional<double> kVersions[] = {std::nullopt, 2011.04, 2012.0, 2012.5, 2013.0, 2013.01, 2024.0};

// Services a host may lack; each set is one kind of host.
const std::vector<std::set<std::string>> kWithheld = {
    {},
    {"PluginGetStringData"},
    {"PluginGetStringData", "StringGetCString"},
    {"REALConvertString"},
    {"REALBuildString"},
    {"REALGetStringEncoding", "REALSetStringEncoding"},
    {"PluginNewInstance", "REALSetPropValueString", "REALSetPropValueInt"},
    {"REALLockObject", "REALUnlockObject", "REALLockString", "REALUnlockString"},
};

const char *const kFailing[] = {"REALBuildString", "REALConvertString", "newMemoryBlock", "PluginNewInstance"};

const uint32_t kEncodings[] = {enc::kUTF8,     enc::kUTF16,       enc::kUTF32,      enc::kASCII,
                               enc::kMacRoman, enc::kWindows1252, enc::kISOLatin1,  enc::kNone};

const uint64_t kHugeLengths[] = {uint64_t{1} << 31, 0xFFFFFFFFu, (uint64_t{1} << 32) + 5, uint64_t{1} << 63,
                                 ~uint64_t{0}};

// One copy of the plugin for each kind of host, started under it: the plugin
// reads the version and resolves services once, as in an application.
struct Copy {
  std::unique_ptr<subhost::PluginLibrary> library;
  subhost::Settings settings;
  std::vector<const REALmethodDefinition *> registered;
};

Copy &copy_for(size_t kind) {
  static std::map<size_t, Copy> copies;
  subhost::Host &host = subhost::Host::get();
  auto it = copies.find(kind);
  if (it == copies.end()) {
    Copy c;
    c.settings.version = kVersions[kind % std::size(kVersions)];
    c.settings.withheld = kWithheld[kind / std::size(kVersions) % kWithheld.size()];
    c.settings.guard = true;  // every text ends before an unreadable page
    host.reset(c.settings);
    c.library = std::make_unique<subhost::PluginLibrary>(ZTK_PROBE_PLUGIN_PATH);
    c.library->start();
    c.registered = host.registered;
    it = copies.emplace(kind, std::move(c)).first;
  }
  host.settings = it->second.settings;
  host.registered = it->second.registered;
  return it->second;
}

bool known_encoding(uint32_t e) {
  for (uint32_t k : kEncodings) {
    if (e == k) return true;
  }
  return false;
}

void call_one(Reader &in, const Copy &copy) {
  subhost::Host &host = subhost::Host::get();
  const auto &methods = subhost::methods();
  const subhost::MethodInfo &m = methods[in.byte() % methods.size()];
  // The row must be one this copy registered (all are, unless registration failed).
  bool registered = false;
  for (const REALmethodDefinition *d : copy.registered) registered |= std::strcmp(d->declaration, m.declaration) == 0;
  if (!registered) return;

  const size_t strings0 = host.live_strings(), objects0 = host.live_objects();
  std::vector<subhost::Value> args;
  std::vector<REALstring> strings;
  std::vector<REALobject> blocks;
  for (char kind : m.params) {
    switch (kind) {
      case 'S': {
        const uint8_t how = in.byte();
        REALstring s = nullptr;
        if (how % 8 == 1) {
          s = host.make_empty_string();
        } else if (how % 8 != 0) {
          s = host.make_string(in.text(), kEncodings[how / 8 % 8]);
        }
        if (s != nullptr && how >= 0xC0) {
          if (how & 0x20) {
            host.settings.unreadable.insert(s);
          } else {
            host.settings.reportedLength[s] = kHugeLengths[how % 5];
          }
        }
        strings.push_back(s);
        args.push_back(s);
        break;
      }
      case 'M': {
        const uint8_t how = in.byte();
        REALobject o = how % 4 == 0 ? nullptr : host.make_memoryblock(in.text());
        if (o != nullptr && how >= 0xF0) host.settings.reportedLength[o] = kHugeLengths[how % 5];
        blocks.push_back(o);
        args.push_back(o);
        break;
      }
      case 'I': {
        const uint8_t how = in.byte();
        // Small values mostly; otherwise any 64-bit pattern.
        int64_t v = how < 0xC0 ? static_cast<int64_t>(how) - 16 : static_cast<int64_t>(in.word());
        // Lengths that ask for gigabytes of real work (2^31 - 1 random bytes, a hex dump line of a
        // billion digits) are slow, not wrong: they are brought below 1 MiB. Values from 2^31 on
        // and negative ones, which the methods refuse at once, stay as they are.
        if (v >= (int64_t{1} << 20) && v < (int64_t{1} << 31)) v %= int64_t{1} << 20;
        args.push_back(static_cast<RBInteger>(v));
        break;
      }
      case 'D': {
        const uint64_t bits = in.word();
        double d;
        std::memcpy(&d, &bits, sizeof d);
        args.push_back(d);
        break;
      }
      default:
        args.push_back(static_cast<RBBoolean>(in.byte()));
    }
  }

  const subhost::Value r = host.call(m.declaration, args);
  if (auto s = std::get_if<REALstring>(&r); s != nullptr && *s != nullptr) {
    FUZZ_CHECK(host.is_live(*s) && subhost::Host::refs(*s) == 1);
    FUZZ_CHECK(known_encoding(subhost::Host::encoding(*s)));
    host.release(*s);
  }
  if (auto o = std::get_if<REALobject>(&r); o != nullptr && *o != nullptr) {
    FUZZ_CHECK(host.is_live(*o) && subhost::Host::refs(*o) == 1);
    host.release(*o);
  }
  if (host.pending != nullptr) {
    // Only memoryblock results and the two distances' scratch memory raise, and only for memory
    // (RuntimeException where the host could not make the memory exception.)
    FUZZ_CHECK(host.pending->className == "OutOfMemoryException" || host.pending->className == "RuntimeException");
    FUZZ_CHECK(m.result == 'M' || m.name() == "LevenshteinDistanceZTK" || m.name() == "JaroWinklerDistanceZTK");
  }
  host.clear_pending();
  for (REALstring s : strings) host.release(s);
  for (REALobject b : blocks) host.release(b);
  host.settings.reportedLength.clear();
  host.settings.unreadable.clear();
  FUZZ_CHECK(host.live_strings() == strings0 && host.live_objects() == objects0);
  FUZZ_CHECK(host.ledger.outstandingStringData == 0 && host.ledger.errors.empty());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  Reader in(data, size);
  const size_t kinds = std::size(kVersions) * kWithheld.size();
  Copy &copy = copy_for(in.byte() % kinds);
  subhost::Host &host = subhost::Host::get();

  // Failing services: each bit of a byte picks one, failing from a chosen call on or always.
  host.failures.clear();
  const uint8_t failing = in.byte();
  for (size_t k = 0; k < std::size(kFailing); ++k) {
    if (failing >> k & 1) {
      const uint8_t when = in.byte();
      host.failures[kFailing[k]] = subhost::Failure{when % 5 == 0, 1 + when % 4};
    }
  }
  // The plugin's own allocations: none failing, the n-th from now, or all.
  const uint8_t allocation = in.byte();
  copy.library->fail_allocation(allocation < 0xC0 ? 0 : allocation >= 0xFC ? -1 : 1 + allocation % 8);
  copy.library->limit_level(in.byte() % (ztk::cpu::kTop + 1));

  for (int call = 0; call < 4 && !in.empty(); ++call) call_one(in, copy);

  host.failures.clear();
  copy.library->fail_allocation(0);
  copy.library->limit_level(ztk::cpu::kTop);
  return 0;
}
