// rbText: a decoded view of one host string as ASCII, UTF-8, UTF-16 or UTF-32
// (one 32-bit value per UTF-16 unit). Each form is produced on first request,
// kept for the rest of the call, and released by the destructor. A form that
// cannot be produced reads as empty text, never as a null pointer.
#pragma once

#include "frame/rb_types.h"
#include "frame/byte_view.h"

class rbText {
 public:
  explicit rbText(REALstringStruct *s);
  ~rbText();
  rbText(const rbText &) = delete;
  rbText &operator=(const rbText &) = delete;

  void ConvertASCII();
  void ConvertUTF8();
  void ConvertUTF16();
  const uint32_t *GetWChar();
  int32_t LengthWChar();

  int32_t LengthASCII() { return produced(kASCII, &rbText::ConvertASCII); }
  const uint8_t *GetASCII() { return (produced(kASCII, &rbText::ConvertASCII), bytes(kASCII)); }
  int32_t LengthUTF8() { return produced(kUTF8, &rbText::ConvertUTF8); }
  const uint8_t *GetUTF8() { return (produced(kUTF8, &rbText::ConvertUTF8), bytes(kUTF8)); }
  int32_t LengthUTF16() { return produced(kUTF16, &rbText::ConvertUTF16); }
  const uint16_t *GetUTF16() {
    return (produced(kUTF16, &rbText::ConvertUTF16), static_cast<const uint16_t *>(texts_[kUTF16]));
  }

  ztk::ByteView ascii() { return {GetASCII(), static_cast<size_t>(LengthASCII())}; }
  ztk::ByteView utf8() { return {GetUTF8(), static_cast<size_t>(LengthUTF8())}; }
  ztk::U16View utf16() { return {GetUTF16(), static_cast<size_t>(LengthUTF16())}; }
  ztk::U32View wide() { return {GetWChar(), static_cast<size_t>(LengthWChar())}; }

  bool failed() const { return failed_; }

 private:
  enum Form { kASCII = 2, kUTF8 = 3, kUTF16 = 4, kUTF32 = 5 };

  int32_t produced(Form f, void (rbText::*convert)()) {
    if (lengths_[f] < 0) (this->*convert)();
    return lengths_[f];
  }
  const uint8_t *bytes(Form f) const { return static_cast<const uint8_t *>(texts_[f]); }
  void convert_8bit(Form f, uint32_t encoding);
  bool align_utf16();

  void adopt(REALstring s);  // takes the caller's `s` as the source

  REALstring source_ = nullptr;
  bool sourceOwned_ = false;  // the view holds a reference to release
  REALstring converted_[5] = {};
  int32_t lengths_[6];     // set by the constructor
  const void *texts_[6];   // set by the constructor
  void *buffers_[6] = {};
  REALstringData records_[5];  // read only where owned_
  bool owned_[5] = {};
  bool isASCII_ = false;
  bool failed_ = false;
};
