// The byte codecs written the straightforward way, one byte at a time, as
// they were before their runs went through the vector kernels. The codecs
// must give exactly these bytes at every vector level.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "frame/ascii.h"

namespace ztk_test::reference {

inline std::string url_encode(std::string_view in, int64_t options) {
  const int mode = static_cast<int>(options & 3);
  const bool spaceAsPlus = mode == 1, plusEscaped = mode == 1 || mode == 2;
  auto kept = [](uint8_t b) {
    return (b >= '0' && b <= '9') || (b >= 'A' && b <= 'Z') || (b >= 'a' && b <= 'z') ||
           std::string_view("!*-._@").find(static_cast<char>(b)) != std::string_view::npos;
  };
  std::string out;
  for (char ch : in) {
    const auto b = static_cast<uint8_t>(ch);
    if ((b == ' ' && spaceAsPlus) || (b == '+' && !plusEscaped)) {
      out += '+';
    } else if (kept(b)) {
      out += ch;
    } else {
      char escape[3] = {'%'};
      ztk::ascii::put_hex(escape + 1, b);
      out.append(escape, 3);
    }
  }
  return out;
}

inline std::string url_decode(std::string_view in, int64_t options) {
  std::string out;
  for (size_t i = 0; i < in.size();) {
    const auto b = static_cast<uint8_t>(in[i]);
    if (b == '%') {
      const uint8_t hi = i + 1 < in.size() ? ztk::ascii::hex_value(static_cast<uint8_t>(in[i + 1])) : 0;
      const uint8_t lo = i + 2 < in.size() ? ztk::ascii::hex_value(static_cast<uint8_t>(in[i + 2])) : 0;
      out += static_cast<char>(hi << 4 | lo);
      i += 3;
    } else {
      out += (b == '+' && (options & 1) != 0) ? ' ' : static_cast<char>(b);
      ++i;
    }
  }
  return out;
}

inline std::string mysql_unescape(std::string_view in) {
  const std::string_view from("0'\"bnrtZ\\%_"), to("\0'\"\b\n\r\t\x1A\\%_", 11);
  std::string out;
  for (size_t p = 0; p < in.size();) {
    if (in[p] != '\\' || p + 1 == in.size()) {
      out += in[p++];
      continue;
    }
    const size_t k = from.find(in[p + 1]);
    if (k != std::string_view::npos) {
      out += to[k];
    } else {
      out += '\\';
      out += in[p + 1];
    }
    p += 2;
  }
  return out;
}

inline std::string ydecode(std::string_view in) {
  std::string out;
  for (size_t r = 0; r < in.size(); ++r) {
    auto c = static_cast<uint8_t>(in[r]);
    if (c == '=') {
      if (++r == in.size()) break;
      c = static_cast<uint8_t>(static_cast<uint8_t>(in[r]) - 64);
    }
    out += static_cast<char>(c - 42);
  }
  return out;
}

// Quoted-printable: each byte by its class, white space held back until the
// next byte shows whether it ends a line.
inline std::string qp_encode(std::string_view in, int32_t L) {
  std::string out;
  int32_t col = 0;
  uint8_t pending = 0;
  auto line_end = [](uint8_t b) { return b == '\r' || b == '\n'; };
  auto soft_break = [&] {
    out += "=\r\n";
    col = 0;
  };
  auto room = [&](int k) {
    if (int64_t{col} + k >= int64_t{L} - 1) soft_break();
  };
  auto literal = [&](uint8_t b) {
    room(1);
    col += 1;
    out += static_cast<char>(b);
  };
  auto encoded = [&](uint8_t b) {
    room(3);
    col += 3;
    char escape[3] = {'='};
    ztk::ascii::put_hex(escape + 1, b);
    out.append(escape, 3);
  };
  auto flush = [&](bool asEscape) {
    if (pending != 0) asEscape ? encoded(pending) : literal(pending);
    pending = 0;
  };
  for (size_t i = 0; i < in.size(); ++i) {
    const auto b = static_cast<uint8_t>(in[i]);
    if (b == '\t' || b == ' ') {
      flush(false);
      pending = b;
    } else if (line_end(b)) {
      if (i + 1 < in.size() && line_end(static_cast<uint8_t>(in[i + 1])) && in[i + 1] != in[i]) ++i;
      flush(true);
      out += "\r\n";
      col = 0;
    } else if (b >= 33 && b <= 126 && b != '=') {
      flush(false);
      literal(b);
    } else {
      flush(false);
      encoded(b);
    }
  }
  flush(false);
  if (col > 0) soft_break();
  return out;
}

inline std::string qp_decode(std::string_view in) {
  std::string out;
  auto line_end = [](char b) { return b == '\r' || b == '\n'; };
  size_t i = 0;
  auto skip_line_end = [&] { i += i + 1 < in.size() && line_end(in[i + 1]) && in[i + 1] != in[i] ? 2 : 1; };
  while (i < in.size()) {
    const char c = in[i];
    if (line_end(c)) {
      skip_line_end();
      out += '\n';
    } else if (c != '=') {
      out += c;
      ++i;
    } else if (++i == in.size()) {
      break;
    } else if (line_end(in[i])) {
      skip_line_end();
    } else if (in[i] == ' ' || in[i] == '\t') {
      while (i < in.size() && !line_end(in[i])) ++i;
      if (i < in.size()) skip_line_end();
    } else {
      const bool hasC3 = i + 1 < in.size();
      const auto c2 = static_cast<uint8_t>(in[i]);
      if (hasC3 && ztk::ascii::is_hex_digit(c2) && ztk::ascii::is_hex_digit(static_cast<uint8_t>(in[i + 1]))) {
        out += static_cast<char>(ztk::ascii::hex_value(c2) << 4 | ztk::ascii::hex_value(static_cast<uint8_t>(in[i + 1])));
      }
      i += hasC3 ? 2 : 1;
    }
  }
  return out;
}

}  // namespace ztk_test::reference
