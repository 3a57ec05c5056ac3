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

Host &Host::get() {
  static Host host;
  return host;
}

size_t Host::live_strings() const {
  const auto hold = lock();
  return strings_.size();
}
size_t Host::live_objects() const {
  const auto hold = lock();
  return objects_.size();
}
bool Host::is_live(REALstring s) const {
  const auto hold = lock();
  return strings_.count(s) != 0;
}
bool Host::is_live(REALobject o) const {
  const auto hold = lock();
  return objects_.count(o) != 0;
}

void Host::reset(Settings s) {
  const auto hold = lock();
  settings = std::move(s);
  failures.clear();
  ledger = Ledger{};
  reportedVersion = -1;
  registered.clear();
  clear_pending();
}

bool Host::fail(const char *service) {
  const auto hold = lock();
  auto it = failures.find(service);
  if (it == failures.end()) return false;
  if (it->second.always) return true;
  if (it->second.onCall > 0 && --it->second.onCall == 0) return true;
  return false;
}

bool Host::check(REALstring s, const char *service) {
  if (s == nullptr) return true;
  const auto hold = lock();
  if (strings_.count(s) != 0) return true;
  ledger.errors.push_back(std::string(service) + ": string handle that is not live");
  return false;
}

bool Host::check(REALobject o, const char *service) {
  if (o == nullptr) return true;
  const auto hold = lock();
  if (objects_.count(o) != 0) return true;
  ledger.errors.push_back(std::string(service) + ": object handle that is not live");
  return false;
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
  const auto hold = lock();
  strings_.insert(s);
  return s;
}

// The last reference leaves the tables under the lock; the memory is freed
// outside it, where no other thread can reach the string any more.
void Host::unref(REALstring s) {
  {
    const auto hold = lock();
    if (s == nullptr || !check(s, "REALUnlockString") || --s->refCount != 0) return;
    strings_.erase(s);
  }
  free_block(s->storage);
  delete s;
}

void Host::unref(REALobject o) {
  {
    const auto hold = lock();
    if (o == nullptr || !check(o, "REALUnlockObject") || --o->refCount != 0) return;
    objects_.erase(o);
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
  const auto hold = get().lock();
  return s == nullptr ? 0 : s->refCount;
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
  const auto hold = get().lock();
  return o == nullptr ? 0 : o->refCount;
}
void Host::release(REALobject o) { unref(o); }

void Host::clear_pending() {
  REALobject p = pending;
  pending = nullptr;
  unref(p);
}

namespace {

Host &H() { return Host::get(); }

// Adds the time a service takes to the ledger, so that a benchmark can tell
// the plugin's own time from the host's.
class ServiceClock {
 public:
  ServiceClock() : on_(H().settings.timeServices) {
    if (on_) start_ = timing::now_ticks();
  }
  ~ServiceClock() {
    if (on_) {
      const auto hold = H().lock();
      ++H().ledger.timedServices;
      H().ledger.serviceNanos += timing::nanos(timing::now_ticks() - start_);
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
void PluginRegisterMethod(REALmethodDefinition *record) { H().registered.push_back(record); }

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
  const auto hold = H().lock();
  H().ledger.stringData.insert(copy);
  ++H().ledger.outstandingStringData;
  return 1;
}

void PluginDisposeStringData(REALstringData *record) {
  const ServiceClock clock;
  if (record == nullptr || record->data == nullptr) return;
  // A record the plugin filled itself (its fallback copy) is freed all the same.
  {
    const auto hold = H().lock();
    if (H().ledger.stringData.erase(record->data) != 0) --H().ledger.outstandingStringData;
  }
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
  const auto hold = H().lock();
  if (s != nullptr && H().check(s, "REALLockString")) ++s->refCount;
}
void REALUnlockString(REALstring s) {
  const ServiceClock clock;
  H().unref(s);
}
void REALLockObject(REALobject o) {
  const ServiceClock clock;
  const auto hold = H().lock();
  if (o != nullptr && H().check(o, "REALLockObject")) ++o->refCount;
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
  {
    const auto hold = H().lock();
    ++H().ledger.conversions;
  }
  const std::string bytes = convert(Host::view(s), s->encoding, encoding);
  return H().new_string(bytes.data(), bytes.size(), encoding);
}

REALstring REALBuildString(const char *bytes, int length) {
  const ServiceClock clock;
  if (H().fail("REALBuildString") || length < 0 || (bytes == nullptr && length > 0)) return nullptr;
  {
    const auto hold = H().lock();
    ++H().ledger.stringsBuilt;
  }
  return H().new_string(bytes, static_cast<size_t>(length), enc::kNone);
}

void REALSetStringEncoding(REALstring s, uint32_t encoding) {
  const ServiceClock clock;
  const auto hold = H().lock();
  if (s != nullptr && H().check(s, "REALSetStringEncoding")) s->encoding = encoding;
}

REALobject PluginNewInstance(const char *className) {
  if (H().fail("PluginNewInstance") || className == nullptr) return nullptr;
  if (std::strcmp(className, "OutOfMemoryException") != 0 && std::strcmp(className, "RuntimeException") != 0) {
    return nullptr;
  }
  return H().new_object(REALobjectStruct::Kind::Exception, className);
}

RBBoolean REALSetPropValueString(REALobject o, const char *property, REALstring value) {
  const auto hold = H().lock();
  if (o == nullptr || !H().check(o, "REALSetPropValueString") || !H().check(value, "REALSetPropValueString") ||
      o->kind != REALobjectStruct::Kind::Exception || std::strcmp(property, "Message") != 0) {
    return 0;
  }
  if (value != nullptr) ++value->refCount;  // the property keeps its own reference
  H().unref(o->message);
  o->message = value;
  return 1;
}

RBBoolean REALSetPropValueInt(REALobject o, const char *property, int32_t value) {
  const auto hold = H().lock();
  if (o == nullptr || !H().check(o, "REALSetPropValueInt") || o->kind != REALobjectStruct::Kind::Exception ||
      std::strcmp(property, "ErrorNumber") != 0) {
    return 0;
  }
  o->errorNumber = value;
  return 1;
}

void RuntimeRaiseException(REALobject o) {
  if (o == nullptr || !H().check(o, "RuntimeRaiseException")) return;
  {
    const auto hold = H().lock();
    ++o->refCount;  // the pending exception keeps its own reference
  }
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
  const auto hold = lock();
  objects_.insert(o);
  return o;
}

void *Host::resolve(const char *name) {
  Host &host = get();
  {
    const auto hold = host.lock();
    ++host.ledger.lookups[name];
  }
  if (host.settings.withheld.count(name) != 0) return nullptr;
  if (std::strcmp(name, "REALGetRBVersion") == 0 && !host.settings.version) return nullptr;
  auto it = services().find(name);
  return it != services().end() ? it->second : nullptr;
}

Value Host::call(std::string_view declaration, const std::vector<Value> &args) {
  for (const REALmethodDefinition *record : registered) {
    if (declaration != record->declaration) continue;
    const MethodInfo *info = find_method(declaration);
    if (info == nullptr) throw std::invalid_argument("no invoker for " + std::string(declaration));
    if (args.size() != info->params.size()) throw std::invalid_argument("wrong argument count");
    clear_pending();
    if (!settings.timeServices) return info->invoke(record->function, args);
    const int64_t start = timing::now_ticks();
    Value result = info->invoke(record->function, args);
    const int64_t nanos = timing::nanos(timing::now_ticks() - start);
    {
      const auto hold = lock();
      ledger.callNanos += nanos;
    }
    return result;
  }
  throw std::invalid_argument("not registered: " + std::string(declaration));
}

}  // namespace subhost
