// The binary interface between the plugin and its host: the C types a real
// Xojo host passes, 32-bit and 64-bit. Shared by the plugin and by the
// substitute host, so that neither can drift from the other.
#pragma once

#include <cstddef>
#include <cstdint>

#if defined(__LP64__) || defined(_WIN64)
using RBInteger = int64_t;
#else
using RBInteger = int32_t;
#endif
using RBBoolean = int8_t;

// The string layout a host of version 2013.0 or older exposes. Newer hosts
// keep it opaque; the plugin reads these fields only on the older ones.
struct REALstringStruct {
  int32_t refCount;
  unsigned char *storage;  // storage[0] is not text; the text starts at storage + 1
  int32_t allocLength;
  int32_t length;
  uint32_t encoding;
};
struct REALobjectStruct;

using REALstring = REALstringStruct *;
using REALobject = REALobjectStruct *;
using REALmemoryBlock = REALobjectStruct *;
using REALproc = void (*)(void);
using REALresolver = void *(*)(const char *entryName);

struct REALmethodDefinition {
  REALproc function;
  REALproc setterFunction;
  const char *declaration;
  uint32_t mFlags;
  size_t attributeCount;
  void *attributes;
};

struct REALstringData {
  const void *data;
  size_t length;
  uint32_t encoding;
  const void *private1;
  uint32_t private2;
};

#if !defined(__LP64__) && !defined(_WIN64)
static_assert(sizeof(REALmethodDefinition) == 24, "32-bit method record");
static_assert(sizeof(REALstringData) == 20, "32-bit string data record");
static_assert(offsetof(REALstringStruct, storage) == 4, "legacy storage offset");
static_assert(offsetof(REALstringStruct, length) == 12, "legacy length offset");
#else
static_assert(sizeof(REALmethodDefinition) == 48, "64-bit method record");
static_assert(sizeof(REALstringData) == 40, "64-bit string data record");
#endif

// Text-encoding codes in the host's scheme.
namespace enc {
constexpr uint32_t kMacRoman = 0x00000000;
constexpr uint32_t kUTF16 = 0x00000100;
constexpr uint32_t kISOLatin1 = 0x00000201;
constexpr uint32_t kWindows1252 = 0x00000500;
constexpr uint32_t kASCII = 0x00000600;
constexpr uint32_t kNone = 0x0000FFFF;
constexpr uint32_t kUTF8 = 0x08000100;
constexpr uint32_t kUTF32 = 0x0C000100;
}  // namespace enc

constexpr uint32_t kConsoleSafe = 4;  // the host's flag for methods usable in every kind of app
