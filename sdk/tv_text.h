/* UTF-8 and UTF-16 conversion for hosts, plug-ins and the engine. */
#ifndef TV_TEXT_H
#define TV_TEXT_H

#include <stddef.h>
#ifndef __cplusplus
#include <uchar.h>
#endif

#if defined(TV_SDK_BUILD)
#define TV_TEXT_API __attribute__((visibility("default")))
#else
#define TV_TEXT_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* How a conversion treats text that is not valid Unicode. */
enum {
  /* A lone surrogate becomes U+FFFD; so does each broken UTF-8 sequence, taking its longest
     valid start (at least one byte) with it. */
  TV_TEXT_REPLACE = 0,
  /* Lone surrogates are written as three-byte forms and UTF-8 is read without checks, so that
     every UTF-16 text comes back exactly. */
  TV_TEXT_KEEP = 1
};

/* Each converts a whole text, writes at most room units of it to dst (which may be null when
   room is 0) and returns how many units the whole text takes: a result above room means that
   dst was too small. No terminator is added. */
TV_TEXT_API size_t tv_utf8_to_utf16(const char* src, size_t bytes, char16_t* dst, size_t room,
                                    int mode);
TV_TEXT_API size_t tv_utf16_to_utf8(const char16_t* src, size_t units, char* dst, size_t room,
                                    int mode);

#ifdef __cplusplus
}
#endif

#endif /* TV_TEXT_H */
