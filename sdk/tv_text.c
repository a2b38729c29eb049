/* UTF-8 and UTF-16 conversion: one pass that counts every unit and writes those that fit. */
#include "sdk/tv_text.h"

#include <stdint.h>

#define TV_REPLACEMENT 0xFFFDu

typedef struct Sink16 {
  char16_t* dst;
  size_t room;
  size_t count;
} Sink16;

typedef struct Sink8 {
  char* dst;
  size_t room;
  size_t count;
} Sink8;

static void Put16(Sink16* out, uint32_t unit) {
  if (out->count < out->room) out->dst[out->count] = (char16_t)unit;
  ++out->count;
}

static void Put8(Sink8* out, uint32_t byte) {
  if (out->count < out->room) out->dst[out->count] = (char)byte;
  ++out->count;
}

static void PutCodePoint16(Sink16* out, uint32_t cp) {
  if (cp >= 0x10000) {
    cp -= 0x10000;
    Put16(out, 0xD800 + (cp >> 10));
    Put16(out, 0xDC00 + (cp & 0x3FF));
  } else {
    Put16(out, cp);
  }
}

static void PutCodePoint8(Sink8* out, uint32_t cp) {
  if (cp < 0x80) {
    Put8(out, cp);
  } else if (cp < 0x800) {
    Put8(out, 0xC0 | (cp >> 6));
    Put8(out, 0x80 | (cp & 0x3F));
  } else if (cp < 0x10000) {
    Put8(out, 0xE0 | (cp >> 12));
    Put8(out, 0x80 | ((cp >> 6) & 0x3F));
    Put8(out, 0x80 | (cp & 0x3F));
  } else {
    Put8(out, 0xF0 | (cp >> 18));
    Put8(out, 0x80 | ((cp >> 12) & 0x3F));
    Put8(out, 0x80 | ((cp >> 6) & 0x3F));
    Put8(out, 0x80 | (cp & 0x3F));
  }
}

/* One code point of checked UTF-8; a broken sequence gives U+FFFD and consumes its longest
   valid start. */
static uint32_t DecodeChecked(const unsigned char** at, const unsigned char* end) {
  const unsigned char* p = *at;
  unsigned lead = *p++;
  unsigned lo = 0x80, hi = 0xBF;
  int need;
  uint32_t cp;
  if (lead < 0x80) {
    *at = p;
    return lead;
  }
  if (lead >= 0xC2 && lead <= 0xDF) {
    need = 1;
    cp = lead & 0x1F;
  } else if (lead >= 0xE0 && lead <= 0xEF) {
    need = 2;
    cp = lead & 0x0F;
    if (lead == 0xE0) lo = 0xA0; /* overlong */
    if (lead == 0xED) hi = 0x9F; /* surrogates */
  } else if (lead >= 0xF0 && lead <= 0xF4) {
    need = 3;
    cp = lead & 0x07;
    if (lead == 0xF0) lo = 0x90; /* overlong */
    if (lead == 0xF4) hi = 0x8F; /* above U+10FFFF */
  } else {
    *at = p;
    return TV_REPLACEMENT;
  }
  for (; need > 0; --need) {
    if (p == end || *p < lo || *p > hi) {
      *at = p;
      return TV_REPLACEMENT;
    }
    cp = (cp << 6) | (*p++ & 0x3F);
    lo = 0x80;
    hi = 0xBF;
  }
  *at = p;
  return cp;
}

/* One code point of UTF-8 read as written: the lead byte says the length, a cut sequence takes
   what is there, and only values past U+10FFFF are replaced. */
static uint32_t DecodeLoose(const unsigned char** at, const unsigned char* end) {
  const unsigned char* p = *at;
  uint32_t cp = *p;
  size_t extra = cp >= 0xF0 ? 3 : cp >= 0xE0 ? 2 : cp >= 0xC0 ? 1 : 0;
  size_t k;
  if (extra) cp &= 0x3Fu >> extra;
  if (extra >= (size_t)(end - p)) extra = (size_t)(end - p) - 1;
  for (k = 1; k <= extra; ++k) cp = (cp << 6) | (p[k] & 0x3F);
  *at = p + extra + 1;
  return cp > 0x10FFFF ? TV_REPLACEMENT : cp;
}

size_t tv_utf8_to_utf16(const char* src, size_t bytes, char16_t* dst, size_t room, int mode) {
  const unsigned char* p = (const unsigned char*)src;
  const unsigned char* end = p + bytes;
  Sink16 out = {dst, dst ? room : 0, 0};
  while (p < end)
    PutCodePoint16(&out, mode == TV_TEXT_KEEP ? DecodeLoose(&p, end) : DecodeChecked(&p, end));
  return out.count;
}

size_t tv_utf16_to_utf8(const char16_t* src, size_t units, char* dst, size_t room, int mode) {
  const char16_t* p = src;
  const char16_t* end = src + units;
  Sink8 out = {dst, dst ? room : 0, 0};
  while (p < end) {
    uint32_t u = *p++;
    if (u >= 0xD800 && u <= 0xDBFF && p < end && *p >= 0xDC00 && *p <= 0xDFFF)
      u = 0x10000 + ((u - 0xD800) << 10) + (uint32_t)(*p++ - 0xDC00);
    else if (u >= 0xD800 && u <= 0xDFFF && mode != TV_TEXT_KEEP)
      u = TV_REPLACEMENT;
    PutCodePoint8(&out, u);
  }
  return out.count;
}
