#include "text/rb_text.h"

#include <cstdint>
#include <cstring>

#include "frame/host_api.h"
#include "frame/plugin_alloc.h"
#include "frame/string_access.h"
#include "frame/string_build.h"

namespace {
// Static zeros that stand for empty texts; never freed.
const uint16_t EmptyBufferUInt16[8] = {};
const uint32_t EmptyBufferUInt32[4] = {};
const void *const kEmpty8 = reinterpret_cast<const uint8_t *>(EmptyBufferUInt16) + 8;

bool fits_31(uint64_t n) { return n < (uint64_t{1} << 31); }
// A text length that can be held, with room for four more bytes, in 31 bits;
// written so that no reported length (up to 2^64 - 1) can wrap the test.
bool holdable(uint64_t bytes) { return bytes < (uint64_t{1} << 31) - 4; }
}  // namespace

rbText::rbText(REALstringStruct *s) {
  for (const void *&text : texts_) text = kEmpty8;
  texts_[kUTF16] = EmptyBufferUInt16;
  texts_[kUTF32] = EmptyBufferUInt32;
  // No string: every form is the empty text at once. Otherwise each is made
  // on its first request.
  for (int32_t &length : lengths_) length = s == nullptr ? 0 : -1;
  if (s == nullptr) return;
  const auto encoding = REALGetStringEncoding(s);
  if (!encoding || *encoding != enc::kNone) {
    adopt(s);
  } else {
    // Raw bytes: 7-bit text is used as it is; anything else is read as Mac
    // Roman from a tagged copy, so that the host can convert it.
    rbData r;
    ztk::ReadString(r, s);
    if (r.length < 1 || ztk::RawBytesTag(r.view()) == enc::kASCII) {
      adopt(s);
      isASCII_ = true;
    } else if (!fits_31(uint64_t(r.length) + 3 + 1) || !ztk::host::can_release_strings()) {
      failed_ = true;
    } else {
      source_ = originalREALBuildString(r.data, r.length);
      sourceOwned_ = source_ != nullptr;
      if (source_ != nullptr) {
        REALSetStringEncoding(source_, enc::kMacRoman);
      } else {
        failed_ = true;
      }
    }
  }
}

// The caller's string is read, never kept: the host holds the caller's
// reference until the method returns, so the view takes none of its own (a
// lock and an unlock per text would change nothing but the call's cost).
void rbText::adopt(REALstring s) {
  source_ = s;
  sourceOwned_ = false;
}

rbText::~rbText() {
  if (sourceOwned_) REALUnlockString(source_);
  for (int f = kASCII; f <= kUTF16; ++f) {
    if (converted_[f] != nullptr) REALUnlockString(converted_[f]);
    if (owned_[f]) REALDisposeStringData(&records_[f]);
  }
  for (int f = kUTF16; f <= kUTF32; ++f) {
    if (buffers_[f] != nullptr) ztk::mem::release(buffers_[f]);
  }
}

// A UTF-16 text that starts on an odd address (a host string's text begins
// one byte into its storage) is copied to a buffer of its own so that it can
// be read as 16-bit units. Nothing past the text is ever read: every user of a
// form is bounded by its length, so no terminator is needed. False when the
// copy could not be made; the form is then empty.
bool rbText::align_utf16() {
  const auto *text = static_cast<const uint8_t *>(texts_[kUTF16]);
  if (reinterpret_cast<uintptr_t>(text) % alignof(uint16_t) == 0 || lengths_[kUTF16] == 0) return true;
  const size_t n = static_cast<size_t>(lengths_[kUTF16]) * 2;
  void *copy = ztk::mem::alloc(n);
  if (copy == nullptr) return false;
  std::memcpy(copy, text, n);
  buffers_[kUTF16] = copy;
  texts_[kUTF16] = copy;
  return true;
}

void rbText::convert_8bit(Form f, uint32_t encoding) {
  lengths_[f] = 0;
  texts_[f] = kEmpty8;
  if (source_ == nullptr) return;
  const uint32_t wanted = isASCII_ ? enc::kNone : encoding;
  if (rbversion >= 2012.0) {
    if (REALGetStringData(source_, wanted, &records_[f])) {
      owned_[f] = true;
      if (records_[f].data != nullptr && holdable(records_[f].length)) {
        texts_[f] = records_[f].data;
        lengths_[f] = static_cast<int32_t>(records_[f].length);
      } else {
        failed_ = true;
      }
    } else {
      failed_ = true;
    }
  } else if (isASCII_) {
    texts_[f] = source_->storage + 1;
    lengths_[f] = source_->length > 0 ? source_->length : 0;
  } else {
    REALstring c = ztk::host::can_release_strings() ? REALConvertString(source_, encoding) : nullptr;
    converted_[f] = c;
    if (c != nullptr && c->storage != nullptr) {
      texts_[f] = c->storage + 1;
      lengths_[f] = c->length > 0 ? c->length : 0;
    } else {
      failed_ = true;
    }
  }
}

void rbText::ConvertASCII() { convert_8bit(kASCII, enc::kASCII); }
void rbText::ConvertUTF8() { convert_8bit(kUTF8, enc::kUTF8); }

void rbText::ConvertUTF16() {
  lengths_[kUTF16] = 0;
  texts_[kUTF16] = EmptyBufferUInt16;
  if (source_ == nullptr) return;
  if (isASCII_) {
    // Untagged 7-bit bytes: give the host an ASCII-tagged copy to convert.
    REALstring tagged = nullptr;
    {
      rbData r;
      ztk::ReadString(r, source_);
      if (r.data != nullptr && r.length > 0 && ztk::host::can_release_strings()) {
        tagged = originalREALBuildString(r.data, r.length);
        if (tagged != nullptr) REALSetStringEncoding(tagged, enc::kASCII);
      }
    }
    if (sourceOwned_) REALUnlockString(source_);
    source_ = tagged;
    sourceOwned_ = tagged != nullptr;
    if (source_ == nullptr) {
      failed_ = true;
      return;
    }
  }
  if (rbversion >= 2013.0) {
    REALstringData &record = records_[kUTF16];
    if (!REALGetStringData(source_, enc::kUTF16, &record)) {
      failed_ = true;
      return;
    }
    owned_[kUTF16] = true;
    if (record.data == nullptr || !holdable(record.length)) {
      failed_ = true;
      return;
    }
    texts_[kUTF16] = record.data;
    lengths_[kUTF16] = static_cast<int32_t>(record.length / 2);
  } else {
    REALstring c = ztk::host::can_release_strings() ? REALConvertString(source_, enc::kUTF16) : nullptr;
    converted_[kUTF16] = c;
    if (c == nullptr || c->storage == nullptr) {
      failed_ = true;
      return;
    }
    texts_[kUTF16] = c->storage + 1;
    lengths_[kUTF16] = c->length > 0 ? c->length / 2 : 0;
  }
  if (!align_utf16()) {
    texts_[kUTF16] = EmptyBufferUInt16;
    lengths_[kUTF16] = 0;
    return;
  }
  auto drop_leading = [this](uint16_t mark) {
    const auto *units = static_cast<const uint16_t *>(texts_[kUTF16]);
    if (lengths_[kUTF16] >= 1 && units[0] == mark) {
      texts_[kUTF16] = units + 1;
      --lengths_[kUTF16];
    }
  };
  drop_leading(0xFEFF);
  drop_leading(0xFFFE);
}

int32_t rbText::LengthWChar() {
  GetWChar();
  return lengths_[kUTF32];
}

const uint32_t *rbText::GetWChar() {
  if (lengths_[kUTF32] >= 0) return static_cast<const uint32_t *>(texts_[kUTF32]);
  const int32_t n = LengthUTF16();
  const uint16_t *units = GetUTF16();
  texts_[kUTF32] = EmptyBufferUInt32;
  lengths_[kUTF32] = 0;
  if (n >= 1 && fits_31(uint64_t(n) * 4 + 16)) {
    // Zero-filled as a whole, but only the four units past the text need the
    // zeros written: the widening overwrites the rest. For a short text,
    // glibc's calloc costs more than the widening itself.
    auto *wide = static_cast<uint32_t *>(ztk::mem::alloc(uint64_t(n) * 4 + 16));
    if (wide != nullptr) {
      for (int32_t i = 0; i < n; ++i) wide[i] = units[i];
      std::memset(wide + n, 0, 16);
      buffers_[kUTF32] = wide;
      texts_[kUTF32] = wide;
      lengths_[kUTF32] = n;
    }
  }
  return static_cast<const uint32_t *>(texts_[kUTF32]);
}
