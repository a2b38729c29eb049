/* Test decoders for the codec handler. TEST_DECODER picks what a build announces; every
   Create appends "<library file> Create" to the file named by TV_TEST_CALL_RECORD. */
#define TV_DECODER_PLUGIN
#include "sdk/tv_plugin.h"

#include "tests/plugins/handler/HandlerTestRecord.h"

typedef struct Entry {
  const char16_t* extension;
  const char16_t* name;
} Entry;

#if TEST_DECODER == 1 /* two extensions of one format */
static const Entry decodes[] = {{u".flac", u"FLAC"}, {u".fla", u"FLAC"}, {0, 0}};
static const Entry streams[] = {{u".flac", u"FLAC"}, {0, 0}};
#define UNLISTED 0
#elif TEST_DECODER == 2 /* ends with a null text that is answered: what follows is never read */
static const Entry decodes[] = {{u".MP3", u"MPEG Layer-3"}, {u".mp2", u"MPEG Layer-2"},
                                {u".mpa", u"MPEG Layer-3"}, {0, u"none"},
                                {u".ogg", u"Vorbis"},       {0, 0}};
static const Entry streams[] = {{u".mp3", u"MPEG Layer-3"}, {0, 0}};
#define UNLISTED 0
#define ANSWER_NULL_TEXT 1
#elif TEST_DECODER == 3 /* hidden from the lists, found for conversions */
static const Entry decodes[] = {{u".wav", u"Wave"}, {0, 0}};
static const Entry streams[] = {{0, 0}};
#define UNLISTED 1
#elif TEST_DECODER == \
    4 /* an extension marked to be left out of the lists, and one without a dot name */
static const Entry decodes[] = {{u".cue.IGNORE", u"Cue Sheet"},
                                {u".ignore", u"aiff"},
                                {u".aif", u"Aiff"},
                                {u"", u"Raw"},
                                {0, 0}};
static const Entry streams[] = {{0, 0}};
#define UNLISTED 0
#elif TEST_DECODER == 5 /* announces .flac but lacks an export, so it never loads */
static const Entry decodes[] = {{u".flac", u"FLAC"}, {0, 0}};
static const Entry streams[] = {{0, 0}};
#define UNLISTED 0
#define NO_DELETE_A_TAG 1
#endif

static int SameKey(const char16_t* a, const char16_t* b) {
  while (*a && *a == *b) ++a, ++b;
  return *a == *b;
}

static int32_t Entries(const Entry* list, TvPluginValue* value) {
  int32_t i = 0;
  for (; i < value->index; ++i)
    if (!list[i].extension && !list[i].name) return 0;
  if (!list[i].extension && !list[i].name) return 0;
  value->text1 = list[i].extension;
  value->text2 = list[i].name;
  return 1;
}

TvInstance Create(TvHostContext* context) {
  (void)context;
  TestRecordCall((void*)&Create, "Create");
  static int instance;
  return &instance;
}

int32_t Destroy(TvInstance instance) {
  (void)instance;
  return 1;
}

int32_t Get(TvInstance instance, const char16_t* key, TvPluginValue* value) {
  (void)instance;
  if (!key || !value) return 0;
  if (SameKey(key, TV_KEY_DECODES)) return Entries(decodes, value);
  if (SameKey(key, TV_KEY_STREAMING_DECODES)) return Entries(streams, value);
  if (SameKey(key, TV_KEY_UNLISTED)) return UNLISTED;
  return 0;
}

int32_t Set(TvInstance instance, const char16_t* key, TvPluginValue* value) {
  (void)instance, (void)key, (void)value;
  return 0;
}

int32_t Open(TvInstance instance, TvOpenInfo* info) {
  (void)instance, (void)info;
  return 0;
}

int32_t Close(TvInstance instance, TvConversionInfo* info) {
  (void)instance, (void)info;
  return 1;
}

int32_t DecodeBlock(TvInstance instance, TvAudioBlock* block) {
  (void)instance;
  block->endOfStream = 1;
  return 1;
}

int32_t SetPosition(TvInstance instance, uint32_t first, uint32_t second) {
  (void)instance, (void)first, (void)second;
  return 0;
}

#ifndef NO_DELETE_A_TAG
int32_t DeleteATag(TvInstance instance, uint32_t first, uint32_t second) {
  (void)instance, (void)first, (void)second;
  return 0;
}
#endif
