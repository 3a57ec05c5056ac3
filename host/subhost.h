// The substitute host: plays Xojo's part of the plugin interface, so that the
// plugin library can be loaded and called exactly as Xojo would, and keeps a
// ledger of everything the plugin took and gave back. Like a host with
// preemptive threads, it may be called from several threads at once: its
// tables, reference counts and ledger are kept under one lock, and the
// pending exception belongs to the thread whose call raised it. Settings,
// failures and registrations are made before threads start calling.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "frame/rb_types.h"

struct REALobjectStruct {
  enum class Kind { MemoryBlock, Exception } kind;
  int32_t refCount = 1;
  std::string className;
  uint8_t *data = nullptr;  // memoryblock bytes (exactly `size` bytes)
  int64_t size = 0;
  REALstring message = nullptr;  // exception "Message"
  int32_t errorNumber = 0;       // exception "ErrorNumber"
};

namespace subhost {

// A value passed to or returned by a method, in the C type its declaration
// gives it.
using Value = std::variant<REALstring, REALobject, RBInteger, double, RBBoolean>;

struct Settings {
  std::optional<double> version = 2024.0;  // nullopt: "REALGetRBVersion" withheld
  bool inRuntime = false;
  std::set<std::string> withheld;  // names the resolver does not answer
  // Guard mode: every string's storage, string data record, converted string
  // and memoryblock ends on the last byte of a page followed by an unreadable
  // page, with no zero bytes after the text.
  bool guard = false;
  // Outside guard mode: the value of the four bytes after every text.
  unsigned char padding = 0;
  // Time spent inside the host's services goes to the ledger (benchmarks).
  bool timeServices = false;
  // Lengths the host reports instead of the real ones, by string or
  // memoryblock: "PluginGetStringData" (conversions included), LenB and the
  // memoryblock size service answer these, while the bytes stay the real ones.
  // A 64-bit host can hold texts beyond 31 bits; this stands in for them.
  std::map<const void *, uint64_t> reportedLength;
  // Strings whose data "PluginGetStringData" does not give (it answers false).
  std::set<const void *> unreadable;
};

// Failure injection for the host's allocating services.
struct Failure {
  bool always = false;
  int64_t onCall = 0;  // fail the n-th call from now (1 = the next one), once
};

struct Ledger {
  std::map<std::string, int> lookups;  // resolver requests by name
  int64_t outstandingStringData = 0;   // filled by PluginGetStringData, not yet disposed
  std::set<const void *> stringData;   // the copies behind that count
  int64_t stringsBuilt = 0, conversions = 0;
  std::vector<std::string> errors;     // misuse seen by the host (bad handle, double release)
  int64_t serviceNanos = 0;            // time inside the services, when Settings::timeServices
  int64_t callNanos = 0;               // time inside the handlers (services included), likewise
  int64_t timedServices = 0;           // services timed into serviceNanos (each costs two clock reads)
};

class Host {
 public:
  static Host &get();

  // Forgets settings, registrations, exceptions and the ledger. Live strings
  // and objects remain theirs to release.
  void reset(Settings settings = {});
  Settings settings;
  std::map<std::string, Failure> failures;  // "REALBuildString", "REALConvertString", "newMemoryBlock", "PluginNewInstance"
  Ledger ledger;

  static void *resolve(const char *name);
  REALresolver resolver() const { return &Host::resolve; }

  // What the plugin told the host at start.
  int reportedVersion = -1;
  std::vector<const REALmethodDefinition *> registered;

  // Strings owned by the caller (one reference each).
  REALstring make_string(std::string_view bytes, uint32_t encoding);
  REALstring make_empty_string();  // a non-null string of no bytes, tagged 0xFFFF
  static std::string bytes(REALstring s);
  // The same bytes in place, valid while the string lives.
  static std::string_view view(REALstring s);
  static uint32_t encoding(REALstring s);
  static int32_t refs(REALstring s);
  void release(REALstring s);

  REALobject make_memoryblock(std::string_view bytes);
  static std::string bytes(REALobject block);
  static int32_t refs(REALobject o);
  void release(REALobject o);

  // The exception raised during this thread's current call, with its own
  // reference.
  static thread_local REALobject pending;
  void clear_pending();

  size_t live_strings() const;
  size_t live_objects() const;
  bool is_live(REALstring s) const;
  bool is_live(REALobject o) const;
  // Held while the host's tables, reference counts or ledger are read or
  // changed; a caller may hold it to read several at once.
  std::unique_lock<std::recursive_mutex> lock() const { return std::unique_lock<std::recursive_mutex>(mutex_); }

  // Calls a registered method by its declaration text, through the function
  // pointer the plugin registered, with the C types of its declaration.
  Value call(std::string_view declaration, const std::vector<Value> &args);

  // Service implementations (public so the resolver table can name them).
  bool fail(const char *service);
  REALstring new_string(const void *bytes, size_t n, uint32_t encoding);
  REALobject new_object(REALobjectStruct::Kind kind, const char *className);
  void unref(REALstring s);
  void unref(REALobject o);
  bool check(REALstring s, const char *service);
  bool check(REALobject o, const char *service);
  // Memory for n bytes: then four padding bytes when `padded` (texts), or in
  // guard mode n bytes right before a guard page. Zero-filled; null when out
  // of memory.
  unsigned char *alloc_block(size_t n, bool padded = true);
  static void free_block(void *p);

 private:
  mutable std::recursive_mutex mutex_;
  std::set<REALstring> strings_;
  std::set<REALobject> objects_;
};

}  // namespace subhost
