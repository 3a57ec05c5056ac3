#include "subhost.h"

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <unordered_map>

#include "convert.h"
#include "guard_memory.h"
#include "invoke.h"
#include "timing.h"

namespace subhost {

thread_local REALobject Host::pending = nullptr;
thread_local Host::ThreadTimes Host::threadTimes;

// A thread claims the lowest free slot on its first count and frees it when
// it ends, so threads running at once never share one (up to 64 of them;
// more share the last).
size_t Count::thread_slot() {
  static_assert(kSlots == 64, "one bit of the mask a slot");
  static std::atomic<uint64_t> taken{0};
  struct Claim {
    size_t slot = kSlots - 1;
    Claim() {
      uint64_t now = taken.load(std::memory_order_relaxed);
      while (~now != 0) {
        const auto k = static_cast<size_t>(__builtin_ctzll(~now));
        if (taken.compare_exchange_weak(now, now | uint64_t{1} << k, std::memory_order_relaxed)) {
          slot = k;
          return;
        }
      }
    }
    ~Claim() {
      if (slot != kSlots - 1) taken.fetch_and(~(uint64_t{1} << slot), std::memory_order_relaxed);
    }
  };
  static thread_local const Claim claim;
  return claim.slot;
}

Host &Host::get() {
  static Host host;
  return host;
}

// Every bit of the address counts: threads allocate the same sequence of
// blocks in heaps of their own, so their blocks share the low bits.
Host::Stripe &Host::stripe_of(const void *p) const {
  const auto v = static_cast<uint64_t>(reinterpret_cast<uintptr_t>(p));
  static_assert(kStripes == 16384, "the top fourteen bits of the product pick the stripe");
  return stripes_[static_cast<size_t>((v * 0x9E3779B97F4A7C15u) >> 50)];
}

size_t Host::live_strings() const { return static_cast<size_t>(static_cast<int64_t>(liveStrings_)); }
size_t Host::live_objects() const { return static_cast<size_t>(static_cast<int64_t>(liveObjects_)); }
bool Host::is_live(REALstring s) const {
  Stripe &st = stripe_of(s);
  const std::lock_guard<SpinLock> hold(st.lock);
  return st.strings.count(s) != 0;
}
bool Host::is_live(REALobject o) const {
  Stripe &st = stripe_of(o);
  const std::lock_guard<SpinLock> hold(st.lock);
  return st.objects.count(o) != 0;
}

void Host::reset(Settings s) {
  settings = std::move(s);
  {
    const std::lock_guard<std::mutex> hold(ledgerLock_);
    failures.clear();
    ledger = Ledger{};
  }
  for (Stripe &st : stripes_) {
    const std::lock_guard<SpinLock> hold(st.lock);
    st.stringData.clear();
  }
  reportedVersion = -1;
  registered.clear();
  registeredWidened.clear();
  clear_pending();
}

// Failures are set up before threads call, so an empty table needs no lock.
bool Host::fail(const char *service) {
  if (failures.empty()) return false;
  const std::lock_guard<std::mutex> hold(ledgerLock_);
  auto it = failures.find(service);
  if (it == failures.end()) return false;
  if (it->second.always) return true;
  if (it->second.onCall > 0 && --it->second.onCall == 0) return true;
  return false;
}

void Host::note_error(std::string what) {
  const std::lock_guard<std::mutex> hold(ledgerLock_);
  ledger.errors.push_back(std::move(what));
}

void Host::note_lookup(const char *name) {
  const std::lock_guard<std::mutex> hold(ledgerLock_);
  ++ledger.lookups[name];
}

bool Host::check(REALstring s, const char *service) {
  if (s == nullptr || is_live(s)) return true;
  note_error(std::string(service) + ": string handle that is not live");
  return false;
}

bool Host::check(REALobject o, const char *service) {
  if (o == nullptr || is_live(o)) return true;
  note_error(std::string(service) + ": object handle that is not live");
  return false;
}

// Strings and objects are counted alike, each in its own live set.
template <class Handle>
bool Host::add_ref_to(Handle h, const char *service, const char *what) {
  if (h == nullptr) return false;
  {
    Stripe &st = stripe_of(h);
    const std::lock_guard<SpinLock> hold(st.lock);
    if (live_set(st, h).count(h) != 0) {
      ++h->refCount;
      return true;
    }
  }
  note_error(std::string(service) + ": " + what + " handle that is not live");
  return false;
}

bool Host::add_ref(REALstring s, const char *service) { return add_ref_to(s, service, "string"); }
bool Host::add_ref(REALobject o, const char *service) { return add_ref_to(o, service, "object"); }

void Host::set_encoding(REALstring s, uint32_t encoding) {
  if (s == nullptr) return;
  {
    Stripe &st = stripe_of(s);
    const std::lock_guard<SpinLock> hold(st.lock);
    if (st.strings.count(s) != 0) {
      s->encoding = encoding;
      return;
    }
  }
  note_error("REALSetStringEncoding: string handle that is not live");
}

void Host::note_string_data(const void *copy) {
  Stripe &st = stripe_of(copy);
  const std::lock_guard<SpinLock> hold(st.lock);
  st.stringData.insert(copy);
  ++ledger.outstandingStringData;
}

bool Host::forget_string_data(const void *copy) {
  Stripe &st = stripe_of(copy);
  const std::lock_guard<SpinLock> hold(st.lock);
  if (st.stringData.erase(copy) == 0) return false;
  --ledger.outstandingStringData;
  return true;
}

unsigned char *Host::alloc_block(size_t n, bool padded) {
  if (settings.guard) return static_cast<unsigned char *>(guard::alloc(n));
  const size_t pad = padded ? 4 : 0;
  auto *p = static_cast<unsigned char *>(std::malloc(n + pad > 0 ? n + pad : 1));
  if (p == nullptr) return nullptr;
  std::memset(p, 0, n);
  std::memset(p + n, settings.padding, pad);
  return p;
}

void Host::free_block(void *p) {
  if (guard::owns(p)) {
    guard::release(p);
  } else {
    std::free(p);
  }
}

// Storage: a leading byte that is not text, the bytes, then four padding bytes
// (none in guard mode), and nothing more, so that a read past the end is
// caught by the sanitizers or the guard page.
REALstring Host::new_string(const void *bytes, size_t n, uint32_t encoding) {
  unsigned char *storage = alloc_block(n + 1);
  if (storage == nullptr) return nullptr;  // the host is out of memory
  auto *s = new REALstringStruct{};
  s->refCount = 1;
  s->storage = storage;
  if (n > 0) std::memcpy(s->storage + 1, bytes, n);
  s->allocLength = static_cast<int32_t>(settings.guard ? n + 1 : n + 5);
  s->length = static_cast<int32_t>(n);
  s->encoding = encoding;
  Stripe &st = stripe_of(s);
  const std::lock_guard<SpinLock> hold(st.lock);
  st.strings.insert(s);
  ++liveStrings_;
  return s;
}

// The last reference leaves the live set under its stripe's lock; the memory
// is freed outside it, where no other thread can reach the string any more.
void Host::unref(REALstring s) {
  if (s == nullptr) return;
  {
    Stripe &st = stripe_of(s);
    std::unique_lock<SpinLock> hold(st.lock);
    if (st.strings.count(s) == 0) {
      hold.unlock();
      note_error("REALUnlockString: string handle that is not live");
      return;
    }
    if (--s->refCount != 0) return;
    st.strings.erase(s);
    --liveStrings_;
  }
  free_block(s->storage);
  delete s;
}

void Host::unref(REALobject o) {
  if (o == nullptr) return;
  {
    Stripe &st = stripe_of(o);
    std::unique_lock<SpinLock> hold(st.lock);
    if (st.objects.count(o) == 0) {
      hold.unlock();
      note_error("REALUnlockObject: object handle that is not live");
      return;
    }
    if (--o->refCount != 0) return;
    st.objects.erase(o);
    --liveObjects_;
  }
  unref(o->message);
  free_block(o->data);
  delete o;
}

REALstring Host::make_string(std::string_view bytes, uint32_t encoding) {
  return new_string(bytes.data(), bytes.size(), encoding);
}
REALstring Host::make_empty_string() { return new_string(nullptr, 0, enc::kNone); }
std::string Host::bytes(REALstring s) {
  return s == nullptr ? std::string() : std::string(reinterpret_cast<char *>(s->storage + 1), s->length);
}
std::string_view Host::view(REALstring s) {
  return s == nullptr ? std::string_view() : std::string_view(reinterpret_cast<char *>(s->storage + 1), s->length);
}
uint32_t Host::encoding(REALstring s) { return s == nullptr ? enc::kNone : s->encoding; }
int32_t Host::refs(REALstring s) {
  if (s == nullptr) return 0;
  Stripe &st = get().stripe_of(s);
  const std::lock_guard<SpinLock> hold(st.lock);
  return s->refCount;
}
void Host::release(REALstring s) { unref(s); }

REALobject Host::make_memoryblock(std::string_view bytes) {
  REALobject o = new_object(REALobjectStruct::Kind::MemoryBlock, "MemoryBlock");
  o->size = static_cast<int64_t>(bytes.size());
  o->data = alloc_block(bytes.size(), false);
  if (!bytes.empty()) std::memcpy(o->data, bytes.data(), bytes.size());
  return o;
}
std::string Host::bytes(REALobject o) {
  return o == nullptr ? std::string() : std::string(reinterpret_cast<char *>(o->data), static_cast<size_t>(o->size));
}
int32_t Host::refs(REALobject o) {
  if (o == nullptr) return 0;
  Stripe &st = get().stripe_of(o);
  const std::lock_guard<SpinLock> hold(st.lock);
  return o->refCount;
}
void Host::release(REALobject o) { unref(o); }

void Host::clear_pending() {
  REALobject p = pending;
  pending = nullptr;
  unref(p);
}

namespace {

Host &H() { return Host::get(); }

// Whether a C string holds exactly `text`, stopping at the first difference
// (most declarations differ in their first letters).
bool same_text(const char *c, std::string_view text) {
  return c != nullptr && std::strncmp(c, text.data(), text.size()) == 0 && c[text.size()] == '\0';
}

// Adds the time a service takes to the ledger, so that a benchmark can tell
// the plugin's own time from the host's.
class ServiceClock {
 public:
  ServiceClock() : on_(H().settings.timeServices) {
    if (on_) start_ = timing::now_ticks();
  }
  ~ServiceClock() {
    if (on_) {
      ++Host::threadTimes.timedServices;
      Host::threadTimes.serviceNanos += timing::nanos(timing::now_ticks() - start_);
    }
  }
  ServiceClock(const ServiceClock &) = delete;
  ServiceClock &operator=(const ServiceClock &) = delete;

 private:
  bool on_;
  int64_t start_ = 0;
};

void RegisterPluginVersion(int version) { H().reportedVersion = version; }
double REALGetRBVersion() { return H().settings.version.value_or(0.0); }
RBBoolean REALinRuntime() { return H().settings.inRuntime ? 1 : 0; }
void PluginRegisterMethod(REALmethodDefinition *record) {
  Host &host = H();
  host.registered.push_back(record);
  host.registeredWidened.push_back(host.startingLibraryWidensBooleans);
}

RBBoolean PluginGetStringData(REALstring s, uint32_t encoding, REALstringData *record) {
  const ServiceClock clock;
  if (s == nullptr || record == nullptr || !H().check(s, "PluginGetStringData")) return 0;
  if (H().settings.unreadable.count(s) != 0) return 0;
  std::string converted;
  std::string_view bytes = Host::view(s);
  if (encoding != enc::kNone && encoding != s->encoding) bytes = converted = convert(bytes, s->encoding, encoding);
  unsigned char *copy = H().alloc_block(bytes.size());
  if (copy == nullptr) return 0;
  if (!bytes.empty()) std::memcpy(copy, bytes.data(), bytes.size());
  *record = REALstringData{copy, bytes.size(), encoding, nullptr, 0};
  if (auto it = H().settings.reportedLength.find(s); it != H().settings.reportedLength.end()) {
    record->length = static_cast<decltype(record->length)>(it->second);
  }
  H().note_string_data(copy);
  return 1;
}

void PluginDisposeStringData(REALstringData *record) {
  const ServiceClock clock;
  if (record == nullptr || record->data == nullptr) return;
  // A record the plugin filled itself (its fallback copy) is freed all the same.
  H().forget_string_data(record->data);
  Host::free_block(const_cast<void *>(record->data));
  record->data = nullptr;
}

void *StringGetCString(REALstring s) {
  const ServiceClock clock;
  if (s == nullptr || !H().check(s, "StringGetCString")) return nullptr;
  return s->storage + 1;
}

RBInteger LenB(REALstring s) {
  const ServiceClock clock;
  if (s == nullptr || !H().check(s, "LenB")) return 0;
  if (auto it = H().settings.reportedLength.find(s); it != H().settings.reportedLength.end()) {
    return static_cast<RBInteger>(it->second);
  }
  return s->length;
}

void *REALLoadGlobalMethod(const char *module, const char *declaration) {
  if (module == nullptr && declaration != nullptr && std::strcmp(declaration, "LenB( s as string ) as integer") == 0) {
    return reinterpret_cast<void *>(&LenB);
  }
  return nullptr;
}

void REALLockString(REALstring s) {
  const ServiceClock clock;
  H().add_ref(s, "REALLockString");
}
void REALUnlockString(REALstring s) {
  const ServiceClock clock;
  H().unref(s);
}
void REALLockObject(REALobject o) {
  const ServiceClock clock;
  H().add_ref(o, "REALLockObject");
}
void REALUnlockObject(REALobject o) {
  const ServiceClock clock;
  H().unref(o);
}

uint32_t REALGetStringEncoding(REALstring s) {
  const ServiceClock clock;
  if (s == nullptr || !H().check(s, "REALGetStringEncoding")) return enc::kNone;
  return s->encoding;
}

REALstring REALConvertString(REALstring s, uint32_t encoding) {
  const ServiceClock clock;
  if (H().fail("REALConvertString") || s == nullptr || !H().check(s, "REALConvertString")) return nullptr;
  ++H().ledger.conversions;
  const std::string bytes = convert(Host::view(s), s->encoding, encoding);
  return H().new_string(bytes.data(), bytes.size(), encoding);
}

REALstring REALBuildString(const char *bytes, int length) {
  const ServiceClock clock;
  if (H().fail("REALBuildString") || length < 0 || (bytes == nullptr && length > 0)) return nullptr;
  ++H().ledger.stringsBuilt;
  return H().new_string(bytes, static_cast<size_t>(length), enc::kNone);
}

void REALSetStringEncoding(REALstring s, uint32_t encoding) {
  const ServiceClock clock;
  H().set_encoding(s, encoding);
}

REALobject PluginNewInstance(const char *className) {
  if (H().fail("PluginNewInstance") || className == nullptr) return nullptr;
  if (std::strcmp(className, "OutOfMemoryException") != 0 && std::strcmp(className, "RuntimeException") != 0) {
    return nullptr;
  }
  return H().new_object(REALobjectStruct::Kind::Exception, className);
}

// An exception object belongs to the thread that made it until it is raised,
// so its fields are set without a lock; only reference counts take one.
RBBoolean REALSetPropValueString(REALobject o, const char *property, REALstring value) {
  if (o == nullptr || !H().check(o, "REALSetPropValueString") || !H().check(value, "REALSetPropValueString") ||
      o->kind != REALobjectStruct::Kind::Exception || std::strcmp(property, "Message") != 0) {
    return 0;
  }
  if (value != nullptr) H().add_ref(value, "REALSetPropValueString");  // the property keeps its own reference
  H().unref(o->message);
  o->message = value;
  return 1;
}

RBBoolean REALSetPropValueInt(REALobject o, const char *property, int32_t value) {
  if (o == nullptr || !H().check(o, "REALSetPropValueInt") || o->kind != REALobjectStruct::Kind::Exception ||
      std::strcmp(property, "ErrorNumber") != 0) {
    return 0;
  }
  o->errorNumber = value;
  return 1;
}

void RuntimeRaiseException(REALobject o) {
  if (o == nullptr || !H().add_ref(o, "RuntimeRaiseException")) return;  // the pending exception's own reference
  H().clear_pending();
  H().pending = o;
}

REALmemoryBlock newMemoryBlock(int size) {
  const ServiceClock clock;
  if (H().fail("newMemoryBlock") || size < 0) return nullptr;
  uint8_t *data = H().alloc_block(static_cast<size_t>(size), false);
  if (data == nullptr) return nullptr;
  REALobject o = H().new_object(REALobjectStruct::Kind::MemoryBlock, "MemoryBlock");
  o->size = size;
  o->data = data;
  return o;
}

void *memoryBlockGetPtr(REALmemoryBlock m) {
  const ServiceClock clock;
  if (m == nullptr || !H().check(m, "memoryBlockGetPtr") || m->kind != REALobjectStruct::Kind::MemoryBlock) {
    return nullptr;
  }
  return m->data;
}

RBInteger memoryBlockGetSize(REALmemoryBlock m) {
  const ServiceClock clock;
  if (m == nullptr || !H().check(m, "memoryBlockGetSize") || m->kind != REALobjectStruct::Kind::MemoryBlock) return 0;
  if (auto it = H().settings.reportedLength.find(m); it != H().settings.reportedLength.end()) {
    return static_cast<RBInteger>(it->second);
  }
  return m->size;
}

#define ZTK_SERVICE(name) {#name, reinterpret_cast<void *>(&name)}
const std::unordered_map<std::string, void *> &services() {
  static const std::unordered_map<std::string, void *> table = {
      ZTK_SERVICE(RegisterPluginVersion), ZTK_SERVICE(REALGetRBVersion),     ZTK_SERVICE(REALinRuntime),
      ZTK_SERVICE(PluginRegisterMethod),  ZTK_SERVICE(PluginGetStringData),  ZTK_SERVICE(PluginDisposeStringData),
      ZTK_SERVICE(StringGetCString),      ZTK_SERVICE(REALLoadGlobalMethod), ZTK_SERVICE(REALLockString),
      ZTK_SERVICE(REALUnlockString),      ZTK_SERVICE(REALLockObject),       ZTK_SERVICE(REALUnlockObject),
      ZTK_SERVICE(REALGetStringEncoding), ZTK_SERVICE(REALConvertString),    ZTK_SERVICE(REALBuildString),
      ZTK_SERVICE(REALSetStringEncoding), ZTK_SERVICE(PluginNewInstance),    ZTK_SERVICE(REALSetPropValueString),
      ZTK_SERVICE(REALSetPropValueInt),   ZTK_SERVICE(RuntimeRaiseException), ZTK_SERVICE(newMemoryBlock),
      ZTK_SERVICE(memoryBlockGetPtr),     ZTK_SERVICE(memoryBlockGetSize),
  };
  return table;
}
#undef ZTK_SERVICE

}  // namespace

REALobject Host::new_object(REALobjectStruct::Kind kind, const char *className) {
  auto *o = new REALobjectStruct{};
  o->kind = kind;
  o->className = className;
  Stripe &st = stripe_of(o);
  const std::lock_guard<SpinLock> hold(st.lock);
  st.objects.insert(o);
  ++liveObjects_;
  return o;
}

void *Host::resolve(const char *name) {
  Host &host = get();
  host.note_lookup(name);
  if (host.settings.withheld.count(name) != 0) return nullptr;
  if (std::strcmp(name, "REALGetRBVersion") == 0 && !host.settings.version) return nullptr;
  auto it = services().find(name);
  return it != services().end() ? it->second : nullptr;
}

Value Host::call(std::string_view declaration, const std::vector<Value> &args) {
  for (size_t k = 0; k < registered.size(); ++k) {
    const REALmethodDefinition *record = registered[k];
    if (!same_text(record->declaration, declaration)) continue;
    const bool widened = registeredWidened[k];
    const MethodInfo *info = find_method(declaration);
    if (info == nullptr) throw std::invalid_argument("no invoker for " + std::string(declaration));
    if (args.size() != info->params.size()) throw std::invalid_argument("wrong argument count");
    clear_pending();
    if (!settings.timeServices) return info->invoke(record->function, args, widened);
    const int64_t start = timing::now_ticks();
    Value result = info->invoke(record->function, args, widened);
    threadTimes.callNanos += timing::nanos(timing::now_ticks() - start);
    return result;
  }
  throw std::invalid_argument("not registered: " + std::string(declaration));
}

}  // namespace subhost
