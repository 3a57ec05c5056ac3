// Wrappers of the host services. Each resolves its entry point by name on first
// use and caches it; a missing service is asked for again on the next use and,
// meanwhile, falls back as documented beside each wrapper. Nothing else in the
// plugin calls the host.
#pragma once

#include <atomic>
#include <optional>

#include "frame/rb_types.h"

extern REALresolver gResolver;
extern double rbversion;

namespace ztk::host {
using RegisterPluginVersionFn = void (*)(int);
using GetRBVersionFn = double (*)(void);
using InRuntimeFn = RBBoolean (*)(void);
using RegisterMethodFn = void (*)(REALmethodDefinition *);
using GetStringDataFn = RBBoolean (*)(REALstring, uint32_t, REALstringData *);
using DisposeStringDataFn = void (*)(REALstringData *);
using StringGetCStringFn = void *(*)(REALstring);
using LoadGlobalMethodFn = void *(*)(const char *, const char *);
using LenBFn = RBInteger (*)(REALstring);
using StringRefFn = void (*)(REALstring);
using ObjectRefFn = void (*)(REALobject);
using GetStringEncodingFn = uint32_t (*)(REALstring);
using ConvertStringFn = REALstring (*)(REALstring, uint32_t);
using BuildStringFn = REALstring (*)(const char *, int);
using SetStringEncodingFn = void (*)(REALstring, uint32_t);
using NewInstanceFn = REALobject (*)(const char *);
using SetPropValueStringFn = RBBoolean (*)(REALobject, const char *, REALstring);
using SetPropValueIntFn = RBBoolean (*)(REALobject, const char *, int32_t);
using RaiseExceptionFn = void (*)(REALobject);
using NewMemoryBlockFn = REALmemoryBlock (*)(int);
using MemoryBlockGetPtrFn = void *(*)(REALmemoryBlock);
using MemoryBlockGetSizeFn = RBInteger (*)(REALmemoryBlock);

// The one look-up rule: ask the resolver while the cache is empty; a null
// answer is stored as null, so the next use asks again. Host threads call
// methods at once, so the cache is atomic: two threads that find it empty both
// ask and store the same answer, and every caller uses the value it loaded,
// never a second read of the cache.
template <class Fn>
Fn resolve(std::atomic<Fn> &cache, const char *name) {
  Fn fn = cache.load(std::memory_order_acquire);
  if (fn == nullptr && gResolver != nullptr) {
    fn = reinterpret_cast<Fn>(gResolver(name));
    cache.store(fn, std::memory_order_release);
  }
  return fn;
}

// Whether references obtained from the host can be given back. The plugin
// takes no reference (lock, intermediate string, exception object) that it
// could not release.
bool can_release_strings();
bool can_release_objects();
// Whether a new memoryblock's bytes can be reached to fill it.
bool can_fill_memory_blocks();

// One-shot look-up without a cache (REALPluginMain's version services).
template <class Fn>
Fn lookup(const char *name) {
  return gResolver != nullptr ? reinterpret_cast<Fn>(gResolver(name)) : nullptr;
}
}  // namespace ztk::host

bool REALinRuntime();                                  // missing: false
bool REALRegisterMethod(REALmethodDefinition *record);  // missing: false, record skipped
void *REALLoadFrameworkMethod(const char *declaration);  // missing: null
void REALDisposeStringData(REALstringData *record);      // missing: free() of the data
// The lock wrappers answer whether a lock was taken, so that only what was
// locked is ever unlocked (a host without the lock service must not see its
// caller's reference released).
bool REALLockString(REALstring s);
void REALUnlockString(REALstring s);
bool REALLockObject(REALobject o);
void REALUnlockObject(REALobject o);
std::optional<uint32_t> REALGetStringEncoding(REALstring s);  // missing: nullopt
REALstring REALConvertString(REALstring s, uint32_t encoding);  // missing: null
REALstring originalREALBuildString(const void *bytes, int length);  // missing: null
void REALSetStringEncoding(REALstring s, uint32_t encoding);
REALobject REALnewInstance(const char *className);  // missing: null
void REALSetPropValueString(REALobject o, const char *property, REALstring value);
void REALSetPropValueInt32(REALobject o, const char *property, int32_t value);
void REALRaiseException(REALobject exception);
REALmemoryBlock REALNewMemoryBlockOriginal(int size);  // missing: null
void *REALMemoryBlockGetPtr(REALmemoryBlock m);         // missing: null
RBInteger REALMemoryBlockGetSize(REALmemoryBlock m);    // missing: 0
