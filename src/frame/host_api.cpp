#include "frame/host_api.h"

#include <cstdlib>

#include "frame/plugin_alloc.h"

using namespace ztk::host;

REALresolver gResolver = nullptr;
double rbversion = 0.0;

bool REALinRuntime() {
  static InRuntimeFn pInRuntime = nullptr;
  if (resolve(pInRuntime, "REALinRuntime") == nullptr) return false;
  return (pInRuntime() & 0xFF) != 0;
}

bool REALRegisterMethod(REALmethodDefinition *record) {
  static RegisterMethodFn pRuntimeRegisterMethod = nullptr;
  if (resolve(pRuntimeRegisterMethod, "PluginRegisterMethod") == nullptr) return false;
  pRuntimeRegisterMethod(record);
  return true;
}

void *REALLoadFrameworkMethod(const char *declaration) {
  static LoadGlobalMethodFn pLoadGlobalMethod = nullptr;
  if (resolve(pLoadGlobalMethod, "REALLoadGlobalMethod") == nullptr) return nullptr;
  return pLoadGlobalMethod(nullptr, declaration);
}

void REALDisposeStringData(REALstringData *record) {
  static DisposeStringDataFn pDisposeStringData = nullptr;
  if (resolve(pDisposeStringData, "PluginDisposeStringData") != nullptr) {
    pDisposeStringData(record);
  } else {
    // Only the plugin's own fallback copies can reach here without the host
    // service, and those come from the plugin allocator.
    ztk::mem::release(const_cast<void *>(record->data));
  }
}

bool REALLockString(REALstring s) {
  static StringRefFn pLockString = nullptr;
  if (resolve(pLockString, "REALLockString") == nullptr || !ztk::host::can_release_strings()) return false;
  pLockString(s);
  return true;
}

namespace {
StringRefFn unlock_string_service() {
  static StringRefFn pUnlockString = nullptr;
  return resolve(pUnlockString, "REALUnlockString");
}
ObjectRefFn unlock_object_service() {
  static ObjectRefFn pUnlockObject = nullptr;
  return resolve(pUnlockObject, "REALUnlockObject");
}
MemoryBlockGetPtrFn memory_block_ptr_service() {
  static MemoryBlockGetPtrFn pMemoryBlockGetPtr = nullptr;
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
  static ObjectRefFn pLockObject = nullptr;
  if (resolve(pLockObject, "REALLockObject") == nullptr || !ztk::host::can_release_objects()) return false;
  pLockObject(o);
  return true;
}

void REALUnlockObject(REALobject o) {
  if (ObjectRefFn unlock = unlock_object_service()) unlock(o);
}

std::optional<uint32_t> REALGetStringEncoding(REALstring s) {
  static GetStringEncodingFn pGetStringEncoding = nullptr;
  if (resolve(pGetStringEncoding, "REALGetStringEncoding") == nullptr) return std::nullopt;
  return pGetStringEncoding(s);
}

REALstring REALConvertString(REALstring s, uint32_t encoding) {
  static ConvertStringFn pConvertString = nullptr;
  if (resolve(pConvertString, "REALConvertString") == nullptr) return nullptr;
  return pConvertString(s, encoding);
}

REALstring originalREALBuildString(const void *bytes, int length) {
  static BuildStringFn pBuildString = nullptr;
  if (resolve(pBuildString, "REALBuildString") == nullptr) return nullptr;
  return pBuildString(static_cast<const char *>(bytes), length);
}

void REALSetStringEncoding(REALstring s, uint32_t encoding) {
  static SetStringEncodingFn pSetStringEncoding = nullptr;
  if (resolve(pSetStringEncoding, "REALSetStringEncoding") != nullptr) pSetStringEncoding(s, encoding);
}

REALobject REALnewInstance(const char *className) {
  static NewInstanceFn pNewInstance = nullptr;
  if (resolve(pNewInstance, "PluginNewInstance") == nullptr) return nullptr;
  return pNewInstance(className);
}

void REALSetPropValueString(REALobject o, const char *property, REALstring value) {
  static SetPropValueStringFn pSetPropValue = nullptr;
  if (resolve(pSetPropValue, "REALSetPropValueString") != nullptr) pSetPropValue(o, property, value);
}

void REALSetPropValueInt32(REALobject o, const char *property, int32_t value) {
  static SetPropValueIntFn pSetPropValue = nullptr;
  if (resolve(pSetPropValue, "REALSetPropValueInt") != nullptr) pSetPropValue(o, property, value);
}

void REALRaiseException(REALobject exception) {
  static RaiseExceptionFn pRaiseException = nullptr;
  if (resolve(pRaiseException, "RuntimeRaiseException") != nullptr) pRaiseException(exception);
}

REALmemoryBlock REALNewMemoryBlockOriginal(int size) {
  static NewMemoryBlockFn pNewMemoryBlock = nullptr;
  if (resolve(pNewMemoryBlock, "newMemoryBlock") == nullptr) return nullptr;
  return pNewMemoryBlock(size);
}

void *REALMemoryBlockGetPtr(REALmemoryBlock m) {
  const MemoryBlockGetPtrFn get = memory_block_ptr_service();
  return get != nullptr ? get(m) : nullptr;
}

RBInteger REALMemoryBlockGetSize(REALmemoryBlock m) {
  static MemoryBlockGetSizeFn pMemoryBlockGetSize = nullptr;
  if (resolve(pMemoryBlockGetSize, "memoryBlockGetSize") == nullptr) return 0;
  return pMemoryBlockGetSize(m);
}
