// The substitute host: plays Xojo's part of the plugin interface, so that the
// plugin library can be loaded and called exactly as Xojo would, and keeps a
// ledger of everything the plugin took and gave back. Like a host with
// preemptive threads, it may be called from several threads at once: live
// handles and their reference counts are kept in stripes by address, each
// under its own lock, the ledger's counts are atomic, and the pending
// exception belongs to the thread whose call raised it. Settings, failures
// and registrations are made before threads start calling.
#pragma once

#include <cstdint>
#include <array>
#include <atomic>
#include <map>
#include <mutex>
#include <ostream>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <thread>
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

// A count that threads change at once and tests read as a plain number. Each
// running thread adds to a slot of its own (claimed while the thread lives),
// on a cache line of its own, so that two threads counting do not take the
// line from each other on every call; a read adds the slots up.
class Count {
 public:
  Count() = default;
  Count(const Count &other) { *this = other; }
  Count &operator=(int64_t v) {
    for (Slot &slot : slots_) slot.value.store(0, std::memory_order_relaxed);
    slots_[0].value.store(v, std::memory_order_relaxed);
    return *this;
  }
  Count &operator=(const Count &other) { return *this = static_cast<int64_t>(other); }
  operator int64_t() const {
    int64_t sum = 0;
    for (const Slot &slot : slots_) sum += slot.value.load(std::memory_order_relaxed);
    return sum;
  }
  // A slot has one writer, its thread, which needs no locked add; only the
  // last slot, shared by threads beyond 64, does.
  Count &operator+=(int64_t n) {
    const size_t k = thread_slot();
    std::atomic<int64_t> &v = slots_[k].value;
    if (k == kSlots - 1) {
      v.fetch_add(n, std::memory_order_relaxed);
    } else {
      v.store(v.load(std::memory_order_relaxed) + n, std::memory_order_relaxed);
    }
    return *this;
  }
  Count &operator++() { return *this += 1; }
  Count &operator--() { return *this += -1; }
  friend std::ostream &operator<<(std::ostream &out, const Count &c) { return out << static_cast<int64_t>(c); }

 private:
  static constexpr size_t kSlots = 64;
  struct alignas(64) Slot {
    std::atomic<int64_t> value{0};
  };
  static size_t thread_slot();
  std::array<Slot, kSlots> slots_;
};

struct Ledger {
  std::map<std::string, int> lookups;  // resolver requests by name
  Count outstandingStringData;         // filled by PluginGetStringData, not yet disposed
  Count stringsBuilt, conversions;
  std::vector<std::string> errors;     // misuse seen by the host (bad handle, double release)
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
  // Per registered method: whether its library takes booleans widened to 32
  // bits, as the library that was starting when it registered said.
  std::vector<bool> registeredWidened;
  bool startingLibraryWidensBooleans = false;

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
  // Time spent by this thread's calls, when Settings::timeServices: inside
  // the services, inside the handlers (services included), and how many
  // services were timed (each costs two clock reads). Kept per thread, so
  // that a benchmark of several threads tells each one's own time from the
  // host's, and so that keeping them costs no shared write.
  struct ThreadTimes {
    int64_t serviceNanos = 0, callNanos = 0, timedServices = 0;
  };
  static thread_local ThreadTimes threadTimes;
  void clear_pending();

  size_t live_strings() const;
  size_t live_objects() const;
  bool is_live(REALstring s) const;
  bool is_live(REALobject o) const;

  // Calls a registered method by its declaration text, through the function
  // pointer the plugin registered, with the C types of its declaration.
  Value call(std::string_view declaration, const std::vector<Value> &args);

  // Service implementations (public so the resolver table can name them).
  bool fail(const char *service);
  REALstring new_string(const void *bytes, size_t n, uint32_t encoding);
  REALobject new_object(REALobjectStruct::Kind kind, const char *className);
  void unref(REALstring s);
  void unref(REALobject o);
  // Whether a handle is live (null counts as live); a handle that is not is
  // recorded as misuse of `service`.
  bool check(REALstring s, const char *service);
  bool check(REALobject o, const char *service);
  // Adds a reference to a live handle (false, and misuse recorded, otherwise).
  bool add_ref(REALstring s, const char *service);
  bool add_ref(REALobject o, const char *service);
  void set_encoding(REALstring s, uint32_t encoding);
  // String data handed out by PluginGetStringData, and given back.
  void note_string_data(const void *copy);
  bool forget_string_data(const void *copy);
  void note_error(std::string what);
  void note_lookup(const char *name);
  // Memory for n bytes: then four padding bytes when `padded` (texts), or in
  // guard mode n bytes right before a guard page. Zero-filled; null when out
  // of memory.
  unsigned char *alloc_block(size_t n, bool padded = true);
  static void free_block(void *p);

 private:
  // Live handles by address, in stripes with a lock each, so that threads
  // working on different strings seldom wait for each other. A handle's
  // reference count is changed under its stripe's lock.
  // The sections it guards are a few set operations long: a thread that
  // finds it taken spins rather than sleeping in the kernel, and yields
  // when the holder seems not to be running.
  class SpinLock {
   public:
    void lock() {
      for (int k = 0; taken_.exchange(true, std::memory_order_acquire); ++k) {
        if (k >= 64) std::this_thread::yield();
      }
    }
    void unlock() { taken_.store(false, std::memory_order_release); }

   private:
    std::atomic<bool> taken_{false};
  };
  struct alignas(64) Stripe {
    SpinLock lock;
    std::set<REALstring> strings;
    std::set<REALobject> objects;
    std::set<const void *> stringData;  // copies behind ledger.outstandingStringData
  };
  // Many stripes, so that the few blocks two threads each use on every call
  // seldom meet in one.
  static constexpr size_t kStripes = 16384;
  Stripe &stripe_of(const void *p) const;
  static std::set<REALstring> &live_set(Stripe &st, REALstring) { return st.strings; }
  static std::set<REALobject> &live_set(Stripe &st, REALobject) { return st.objects; }
  template <class Handle>
  bool add_ref_to(Handle h, const char *service, const char *what);
  mutable std::array<Stripe, kStripes> stripes_;
  Count liveStrings_, liveObjects_;
  // The ledger's look-ups and errors, and the failure counters. Taken after a
  // stripe's lock, never before one.
  mutable std::mutex ledgerLock_;
};

}  // namespace subhost
