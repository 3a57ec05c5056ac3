// Text conversion between the host's encodings, with the substitute host's
// rules: unmappable characters become "?" in single-byte targets, invalid
// input becomes U+FFFD (one per maximal invalid subpart), lone surrogates
// become U+FFFD, and byte-order marks are neither added nor removed. The
// single-byte code pages come from the system's iconv.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace subhost {

bool known_encoding(uint32_t code);
std::u32string decode(std::string_view bytes, uint32_t encoding);
std::string encode(std::u32string_view text, uint32_t encoding);
// decode + encode; 0xFFFF on either side copies the bytes unchanged.
std::string convert(std::string_view bytes, uint32_t from, uint32_t to);

}  // namespace subhost
