// Non-owning views of bytes and UTF-16 code units (C++17 has no std::span).
#pragma once

#include <cstddef>
#include <cstdint>

namespace ztk {

struct ByteView {
  const uint8_t *data = nullptr;
  size_t size = 0;

  constexpr uint8_t operator[](size_t i) const { return data[i]; }
  constexpr bool empty() const { return size == 0; }
};

struct U16View {
  const uint16_t *data = nullptr;
  size_t size = 0;

  constexpr uint16_t operator[](size_t i) const { return data[i]; }
  constexpr bool empty() const { return size == 0; }
};

struct U32View {
  const uint32_t *data = nullptr;
  size_t size = 0;

  constexpr uint32_t operator[](size_t i) const { return data[i]; }
};

}  // namespace ztk
