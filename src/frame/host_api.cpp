#include "frame/host_api.h"

#include <atomic>
#include <cstdlib>

#include "frame/plugin_alloc.h"

using namespace ztk::host;

REALresolver gResolver = nullptr;
double rbversion = 0.0;

bool REALinRuntime() {
  static std::atomic<InRuntimeFn> pInRuntime{nullptr};
  const auto service = resolve(pInRuntime, "REALinRuntime");
  if (service == nullptr) return false;
  return (service() & 0xFF) != 0;
}

bool REALRegisterMethod(REALmethodDefinition *record) {
  static std::atomic<RegisterMethodFn> pRuntimeRegisterMethod{nullptr};
  const auto service = resolve(pRuntimeRegisterMethod, "PluginRegisterMethod");
  if (service == nullptr) return false;
  service(record);
  return true;
}

void *REALLoadFrameworkMethod(const char *declaration) {
  static std::atomic<LoadGlobalMethodFn> pLoadGlobalMethod{nullptr};
  const auto service = resolve(pLoadGlobalMethod, "REALLoadGlobalMethod");
  if (service == nullptr) return nullptr;
  return service(nullptr, declaration);
}

void REALDisposeStringData(REALstringData *record) {
  static std::atomic<DisposeStringDataFn> pDisposeStringData{nullptr};
  const auto service = resolve(pDisposeStringData, "PluginDisposeStringData");
  if (service != nullptr) {
    service(record);
  } else {
    // Only the plugin's own fallback copies can reach here without the host
    // service, and those come from the plugin allocator.
    ztk::mem::release(const_cast<void *>(record->data));
  }
}

bool REALLockString(REALstring s) {
  static std::atomic<StringRefFn> pLockString{nullptr};
  const auto service = resolve(pLockString, "REALLockString");
  if (service == nullptr || !ztk::host::can_release_strings()) return false;
  service(s);
  return true;
}

namespace {
StringRefFn unlock_string_service() {
  static std::atomic<StringRefFn> pUnlockString{nullptr};
  return resolve(pUnlockString, "REALUnlockString");
}
ObjectRefFn unlock_object_service() {
  static std::atomic<ObjectRefFn> pUnlockObject{nullptr};
  return resolve(pUnlockObject, "REALUnlockObject");
}
MemoryBlockGetPtrFn memory_block_ptr_service() {
  static std::atomic<MemoryBlockGetPtrFn> pMemoryBlockGetPtr{nullptr};
  return resolve(pMemoryBlockGetPtr, "memoryBlockGetPtr");
}
}  // namespace

bool ztk::host::can_release_strings() { return unlock_string_service() != nullptr; }
bool ztk::host::can_release_objects() { return unlock_object_service() != nullptr; }
bool ztk::host::can_fill_memory_blocks() { return memory_block_ptr_service() != nullptr; }

void REALUnlockString(REALstring s) {
  if (StringRefFn unlock = unlock_string_service()) unlock(s);
}

bool REALLockObject(REALobject o) {
  static std::atomic<ObjectRefFn> pLockObject{nullptr};
  const auto service = resolve(pLockObject, "REALLockObject");
  if (service == nullptr || !ztk::host::can_release_objects()) return false;
  service(o);
  return true;
}

void REALUnlockObject(REALobject o) {
  if (ObjectRefFn unlock = unlock_object_service()) unlock(o);
}

std::optional<uint32_t> REALGetStringEncoding(REALstring s) {
  static std::atomic<GetStringEncodingFn> pGetStringEncoding{nullptr};
  const auto service = resolve(pGetStringEncoding, "REALGetStringEncoding");
  if (service == nullptr) return std::nullopt;
  return service(s);
}

REALstring REALConvertString(REALstring s, uint32_t encoding) {
  static std::atomic<ConvertStringFn> pConvertString{nullptr};
  const auto service = resolve(pConvertString, "REALConvertString");
  if (service == nullptr) return nullptr;
  return service(s, encoding);
}

REALstring originalREALBuildString(const void *bytes, int length) {
  static std::atomic<BuildStringFn> pBuildString{nullptr};
  const auto service = resolve(pBuildString, "REALBuildString");
  if (service == nullptr) return nullptr;
  return service(static_cast<const char *>(bytes), length);
}

void REALSetStringEncoding(REALstring s, uint32_t encoding) {
  static std::atomic<SetStringEncodingFn> pSetStringEncoding{nullptr};
  const auto service = resolve(pSetStringEncoding, "REALSetStringEncoding");
  if (service != nullptr) service(s, encoding);
}

REALobject REALnewInstance(const char *className) {
  static std::atomic<NewInstanceFn> pNewInstance{nullptr};
  const auto service = resolve(pNewInstance, "PluginNewInstance");
  if (service == nullptr) return nullptr;
  return service(className);
}

void REALSetPropValueString(REALobject o, const char *property, REALstring value) {
  static std::atomic<SetPropValueStringFn> pSetPropValue{nullptr};
  const auto service = resolve(pSetPropValue, "REALSetPropValueString");
  if (service != nullptr) service(o, property, value);
}

void REALSetPropValueInt32(REALobject o, const char *property, int32_t value) {
  static std::atomic<SetPropValueIntFn> pSetPropValue{nullptr};
  const auto service = resolve(pSetPropValue, "REALSetPropValueInt");
  if (service != nullptr) service(o, property, value);
}

void REALRaiseException(REALobject exception) {
  static std::atomic<RaiseExceptionFn> pRaiseException{nullptr};
  const auto service = resolve(pRaiseException, "RuntimeRaiseException");
  if (service != nullptr) service(exception);
}

REALmemoryBlock REALNewMemoryBlockOriginal(int size) {
  static std::atomic<NewMemoryBlockFn> pNewMemoryBlock{nullptr};
  const auto service = resolve(pNewMemoryBlock, "newMemoryBlock");
  if (service == nullptr) return nullptr;
  return service(size);
}

void *REALMemoryBlockGetPtr(REALmemoryBlock m) {
  const MemoryBlockGetPtrFn get = memory_block_ptr_service();
  return get != nullptr ? get(m) : nullptr;
}

RBInteger REALMemoryBlockGetSize(REALmemoryBlock m) {
  static std::atomic<MemoryBlockGetSizeFn> pMemoryBlockGetSize{nullptr};
  const auto service = resolve(pMemoryBlockGetSize, "memoryBlockGetSize");
  if (service == nullptr) return 0;
  return service(m);
}
