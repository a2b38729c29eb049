/* The plug-in boundary: records, format image, exports of decoders, encoders and DSP effects, and
 * the key catalogue. */
#ifndef TV_PLUGIN_H
#define TV_PLUGIN_H

#include <stddef.h>
#include <stdint.h>
#ifndef __cplusplus
#include <uchar.h>
#endif

/* Every record keeps its field order and widths and is packed to 4 bytes. With 4-byte
   pointers (a 32-bit build) the offsets are those existing plug-ins were built against; with
   8-byte pointers every field behind a pointer or handle moves, and the sizes grow.
   The party that makes a record fills it with zeros before it sets any field, so an unset
   field reads as zero. Text is zero-terminated UTF-16. Every export returns a 32-bit result,
   non-zero for yes or success; an unknown key gives 0 and is no error. */

/* Calling rules. The engine's main thread makes every call into a plug-in, one at a time; a
   plug-in may start threads of its own and write to the error and information pipes from them.
   What a party allocates stays its own: a buffer or text a plug-in hands out (a decoded block,
   an open record's tags, a value of Get) is valid until that plug-in's next call; the engine's
   records and tag block live to the end of the step that made them, so a plug-in copies what it
   wants to keep. */

#ifdef __cplusplus
#define TV_PLUGIN_STATIC_ASSERT(condition, text) static_assert(condition, text)
extern "C" {
#else
#define TV_PLUGIN_STATIC_ASSERT(condition, text) _Static_assert(condition, text)
#endif

/* What a plug-in library puts in front of each export: the tree builds with hidden symbols. */
#define TV_PLUGIN_EXPORT __attribute__((visibility("default")))

#pragma pack(push, 4)

/* ---- Audio format image ---- */

#define TV_FORMAT_PCM 1u /* integer samples */
#define TV_FORMAT_ADPCM 2u
#define TV_FORMAT_IEEE_FLOAT 3u /* float samples */
#define TV_FORMAT_ALAW 6u
#define TV_FORMAT_MULAW 7u
#define TV_FORMAT_MPEG 0x50u
#define TV_FORMAT_EXTENSIBLE 0xFFFEu /* the real tag is the sub-format GUID's */

#define TV_FORMAT_PLAIN_SIZE 18u            /* a plain image: up to and including cbSize */
#define TV_FORMAT_IMAGE_SIZE 40u            /* room the records reserve; an extensible image */
#define TV_FORMAT_EXTENSIBLE_EXTRA 22u      /* the least cbSize of an extensible image */
#define TV_FORMAT_OLD_SIZE 14u              /* an old-style format: no bits, no cbSize */
#define TV_CHANNEL_MASK_UNKNOWN 0x80000000u /* no speaker positions given */

/* A GUID in its usual mixed-endian layout: data1 to data3 little-endian, data4 as bytes. */
typedef struct TvGuid {
  uint32_t data1;
  uint16_t data2;
  uint16_t data3;
  uint8_t data4[8];
} TvGuid;

/* Initialiser of the sub-format GUID <tag>-0000-0010-8000-00AA00389B71. Known tags: PCM,
   ADPCM, IEEE float, A-law, mu-law and MPEG. */
#define TV_SUBFORMAT_GUID(tag)                                                                    \
  {                                                                                               \
    (uint32_t)(tag), 0x0000u, 0x0010u, { 0x80u, 0x00u, 0x00u, 0xAAu, 0x00u, 0x38u, 0x9Bu, 0x71u } \
  }

/* A plain format: the first 18 bytes of every image. Packed to 2 so that it is 18 bytes long. */
#pragma pack(push, 2)
typedef struct TvWaveFormatEx {
  uint16_t wFormatTag;      /* 1 PCM, 3 IEEE float, 0xFFFE extensible, others as the source gives */
  uint16_t nChannels;       /* channels */
  uint32_t nSamplesPerSec;  /* sample frames per second */
  uint32_t nAvgBytesPerSec; /* bytes per second */
  uint16_t nBlockAlign;     /* bytes per sample frame */
  uint16_t wBitsPerSample;  /* container bits per sample */
  uint16_t cbSize;          /* bytes that follow this field: 22 for extensible, 0 for plain */
} TvWaveFormatEx;
#pragma pack(pop)

/* The 40-byte image the records embed. The last three fields count only when wFormatTag is
   0xFFFE and cbSize is at least 22. */
typedef struct TvWaveFormatExtensible {
  TvWaveFormatEx Format;
  uint16_t wValidBitsPerSample; /* bits that carry the signal, within wBitsPerSample */
  uint32_t dwChannelMask;       /* speaker positions, one bit per channel */
  TvGuid SubFormat;             /* the format's real tag, see TV_SUBFORMAT_GUID */
} TvWaveFormatExtensible;

/* ---- Records ---- */

/* Handles are file descriptors held in pointer-sized integers; 0 and -1 mean "closed".
   Given to every plug-in's create call and kept by it. */
typedef struct TvHostContext {
  intptr_t errorHandle; /* write end of the error pipe: what is written there fails the run */
  intptr_t infoHandle;  /* write end of the information pipe */
  intptr_t logHandle;   /* the debug log file, or 0 when no log is open */
} TvHostContext;

#define TV_INTERFACE_LEVEL 29u      /* TvOpenInfo.interfaceLevel on the normal path */
#define TV_INTERFACE_LEVEL_RAW 28u  /* on the raw hand-over path (SendRawUnCompressed) */
#define TV_STANDARD_INPUT_NAME u"-" /* the source name of audio on standard input */

/* Given to a decoder's Open, which fills everything but the first two fields. It lives for
   the whole conversion; non-live rendering rewrites format, msLength and byteLength. */
typedef struct TvOpenInfo {
  const char16_t* fileName;      /* source file, or "-" for standard input (engine) */
  uint32_t interfaceLevel;       /* 29, or 28 on the raw hand-over path (engine) */
  TvWaveFormatExtensible format; /* format of the decoded stream */
  uint32_t bitRate;              /* bit rate of the source, bits per second */
  uint64_t msLength;             /* total length in milliseconds: the progress denominator */
  uint64_t byteLength;           /* total length of the decoded audio in bytes */
  uint8_t reserved1[8];          /* stays zero */
  void* idTags;                  /* the source's ID tags as a tag block, the decoder's */
  uint32_t idTagsSize;           /* bytes at idTags */
  void* properties;        /* audio properties as a tag block ("Audio Quality"), the decoder's */
  uint32_t propertiesSize; /* bytes at properties */
  uint8_t reserved2[16];   /* stays zero */
} TvOpenInfo;

/* One block of audio. Zero-filled before each decode call; the same record then passes
   through every live DSP and into the encoder, each seeing what the previous one left. */
typedef struct TvAudioBlock {
  void* data;         /* audio data, owned by whoever filled it; valid until the next decode */
  uint32_t byteCount; /* bytes at data: whole frames of nBlockAlign */
  TvWaveFormatExtensible format; /* the format the data is in */
  uint32_t bitRate;              /* bits per second; 0 in blocks of non-live rendering */
  uint64_t msDuration;        /* this block's length in ms (the stream's, for a live DSP in non-live
                                 rendering) */
  uint8_t reserved1[16];      /* passed on unread */
  uint64_t msPosition;        /* time already passed through, in ms */
  uint32_t endOfStream;       /* non-zero on the last block */
  uint8_t reserved2[8];       /* passed on unread */
  const char16_t* statusText; /* optional status text; cleared before the DSP and encoder passes */
  uint8_t reserved3[4];       /* passed on unread */
} TvAudioBlock;

/* The run's conversion record, given at begin and end of conversion. */
typedef struct TvConversionInfo {
  const char16_t* sourceFile;      /* source file, as in TvOpenInfo */
  const char16_t* outputFile;      /* file the encoder writes (temporary or final name) */
  const char16_t* encoderSettings; /* command line without the engine's own options */
  TvWaveFormatExtensible*
      format;          /* TvOpenInfo.format of the live record; msLength and byteLength follow it */
  void* idTags;        /* prepared ID tags as a tag block, the engine's */
  uint32_t idTagsSize; /* bytes at idTags */
  void* extraInfo; /* audio properties plus "_encoder"; an encoder may leave "FileName1"... here */
  uint32_t extraInfoSize; /* bytes at extraInfo */
} TvConversionInfo;

/* Where msLength and byteLength lie behind the address in TvConversionInfo.format. */
#define TV_FORMAT_TO_MS_LENGTH 44u
#define TV_FORMAT_TO_BYTE_LENGTH 52u

/* What DSP_AfterConversion really receives: a copy of the conversion record with the run's
   failed flag behind it. outputFile is the output file that the call is about. */
typedef struct TvAfterConversionInfo {
  TvConversionInfo info;
  uint32_t failed; /* non-zero when the conversion failed */
} TvAfterConversionInfo;

/* The value of every Get and Set, zero-filled by the caller. Which fields count depends
   on the key; see the catalogue below. */
typedef struct TvPluginValue {
  int32_t index;         /* index of an enumeration, or round number */
  int32_t value;         /* integer value, size in bytes, or status */
  int32_t value2;        /* second integer */
  uint8_t reserved[12];  /* not used */
  const char16_t* text1; /* first text */
  const char16_t* text2; /* second text */
  const char16_t* text3; /* third text */
  void* data;            /* data block or further record */
} TvPluginValue;

#pragma pack(pop)

/* Sizes and offsets of the records, for both pointer widths, are pinned by
   tests/sdk/support/tv_plugin_layout.def. A callee given only TvConversionInfo.format finds
   the totals at these distances behind it. */
TV_PLUGIN_STATIC_ASSERT(offsetof(TvOpenInfo, msLength) - offsetof(TvOpenInfo, format) ==
                            TV_FORMAT_TO_MS_LENGTH,
                        "total milliseconds 44 bytes behind the format");
TV_PLUGIN_STATIC_ASSERT(offsetof(TvOpenInfo, byteLength) - offsetof(TvOpenInfo, format) ==
                            TV_FORMAT_TO_BYTE_LENGTH,
                        "total bytes 52 bytes behind the format");

/* ---- Exports ---- */

/* An instance, opaque to the engine; 0 from a create call means failure to load. */
typedef void* TvInstance;

/* Decoder. Names as looked up in the library, in binding order. */
#define TV_DECODER_CREATE "Create"
#define TV_DECODER_DESTROY "Destroy"
#define TV_DECODER_GET "Get"
#define TV_DECODER_SET "Set"
#define TV_DECODER_OPEN "Open"
#define TV_DECODER_CLOSE "Close"
#define TV_DECODER_DECODE_BLOCK "DecodeBlock"
#define TV_DECODER_SET_POSITION "SetPosition"
#define TV_DECODER_DELETE_A_TAG "DeleteATag"

typedef TvInstance (*TvDecoderCreateFn)(TvHostContext* context);
typedef int32_t (*TvDecoderDestroyFn)(TvInstance instance); /* result ignored */
typedef int32_t (*TvDecoderGetFn)(TvInstance instance, const char16_t* key, TvPluginValue* value);
typedef int32_t (*TvDecoderSetFn)(TvInstance instance, const char16_t* key, TvPluginValue* value);
/* Opens the file named in the record and fills the record. */
typedef int32_t (*TvDecoderOpenFn)(TvInstance instance, TvOpenInfo* info);
typedef int32_t (*TvDecoderCloseFn)(TvInstance instance, TvConversionInfo* info);
/* Fills the block; non-zero also at end of stream. Non-zero with no data and no end flag
   means "nothing yet": the engine waits and calls again. */
typedef int32_t (*TvDecoderDecodeBlockFn)(TvInstance instance, TvAudioBlock* block);
/* Bound but never called in a conversion; the meaning of the arguments is the plug-in's. */
typedef int32_t (*TvDecoderSetPositionFn)(TvInstance instance, uint32_t first, uint32_t second);
typedef int32_t (*TvDecoderDeleteATagFn)(TvInstance instance, uint32_t first, uint32_t second);

/* Encoder. */
#define TV_ENCODER_CREATE "ENC_Create"
#define TV_ENCODER_DESTROY "ENC_Destroy"
#define TV_ENCODER_GET "ENC_Get"
#define TV_ENCODER_SET "ENC_Set"
#define TV_ENCODER_SHOW_CONFIG_BIT "ENC_ShowConfigBit"
#define TV_ENCODER_REMOVE_CONFIG_BIT "ENC_RemoveConfigBit"
#define TV_ENCODER_BEGIN_CONVERSION "ENC_BeginConversion"
#define TV_ENCODER_END_CONVERSION "ENC_EndConversion"
#define TV_ENCODER_ENCODE_BLOCK "ENC_EncodeBlock"

typedef TvInstance (*TvEncoderCreateFn)(TvHostContext* context);
typedef int32_t (*TvEncoderDestroyFn)(TvInstance instance); /* result ignored */
typedef int32_t (*TvEncoderGetFn)(TvInstance instance, const char16_t* key, TvPluginValue* value);
typedef int32_t (*TvEncoderSetFn)(TvInstance instance, const char16_t* key, TvPluginValue* value);
/* Bound but never called in a conversion. */
typedef int32_t (*TvEncoderShowConfigBitFn)(TvInstance instance, uint32_t a, uint32_t b, uint32_t c,
                                            uint32_t d);
typedef int32_t (*TvEncoderRemoveConfigBitFn)(TvInstance instance, uint32_t a);
/* Creates the output named at outputFile and prepares. */
typedef int32_t (*TvEncoderBeginConversionFn)(TvInstance instance, TvConversionInfo* info);
/* Finishes the output. *writeTags is 0 on entry; non-zero asks the engine to write the ID
   tags into the output through a decoder. info is the run's record itself, with the run's
   failed flag in the word behind it, as in TvAfterConversionInfo: when it is up, the
   conversion did not reach its end. */
typedef int32_t (*TvEncoderEndConversionFn)(TvInstance instance, TvConversionInfo* info,
                                            int32_t* writeTags);
typedef int32_t (*TvEncoderEncodeBlockFn)(TvInstance instance, TvAudioBlock* block);

/* DSP effect. */
#define TV_DSP_CREATE "DSP_Create"
#define TV_DSP_DESTROY "DSP_Destroy"
#define TV_DSP_GET "DSP_Get"
#define TV_DSP_SET "DSP_Set"
#define TV_DSP_SHOW_CONFIG_BIT "DSP_ShowConfigBit"
#define TV_DSP_REMOVE_CONFIG_BIT "DSP_RemoveConfigBit"
#define TV_DSP_BEGIN_CONVERSION "DSP_BeginConversion"
#define TV_DSP_END_CONVERSION "DSP_EndConversion"
#define TV_DSP_PASS_AUDIO_BLOCK "DSP_PassAudioBlock"
#define TV_DSP_PASS_NON_LIVE "DSP_PassNonLive"
#define TV_DSP_AFTER_CONVERSION "DSP_AfterConversion"

typedef TvInstance (*TvDSPCreateFn)(TvHostContext* context);
typedef int32_t (*TvDSPDestroyFn)(TvInstance instance); /* result ignored */
typedef int32_t (*TvDSPGetFn)(TvInstance instance, const char16_t* key, TvPluginValue* value);
typedef int32_t (*TvDSPSetFn)(TvInstance instance, const char16_t* key, TvPluginValue* value);
/* Bound but never called in a conversion. */
typedef int32_t (*TvDSPShowConfigBitFn)(TvInstance instance, uint32_t a, uint32_t b, uint32_t c,
                                        uint32_t d);
typedef int32_t (*TvDSPRemoveConfigBitFn)(TvInstance instance, uint32_t a);
/* Live DSP: prepare, with the effect's parameter text. */
typedef int32_t (*TvDSPBeginConversionFn)(TvInstance instance, TvConversionInfo* info,
                                          const char16_t* parameters);
typedef int32_t (*TvDSPEndConversionFn)(TvInstance instance, TvConversionInfo* info);
/* Live DSP: process one block in place, or point the record at a buffer of its own. */
typedef int32_t (*TvDSPPassAudioBlockFn)(TvInstance instance, TvAudioBlock* block);
/* Non-live DSP: process the whole raw audio file in place; may rewrite the format. The quit
   event is named for tv_event_create. */
typedef int32_t (*TvDSPPassNonLiveFn)(TvInstance instance, const char16_t* rawFile,
                                      TvWaveFormatExtensible* format, const char16_t* parameters,
                                      const char16_t* quitEventName);
/* Once for each output file; info points at a TvAfterConversionInfo. */
typedef int32_t (*TvDSPAfterConversionFn)(TvInstance instance, TvConversionInfo* info);

/* Prototypes for a plug-in's own source: define TV_DECODER_PLUGIN, TV_ENCODER_PLUGIN or
   TV_DSP_PLUGIN before including, so the compiler checks the definitions. Not declared by
   default: the decoder's plain names would clash in a host. */
#ifdef TV_DECODER_PLUGIN
TV_PLUGIN_EXPORT TvInstance Create(TvHostContext* context);
TV_PLUGIN_EXPORT int32_t Destroy(TvInstance instance);
TV_PLUGIN_EXPORT int32_t Get(TvInstance instance, const char16_t* key, TvPluginValue* value);
TV_PLUGIN_EXPORT int32_t Set(TvInstance instance, const char16_t* key, TvPluginValue* value);
TV_PLUGIN_EXPORT int32_t Open(TvInstance instance, TvOpenInfo* info);
TV_PLUGIN_EXPORT int32_t Close(TvInstance instance, TvConversionInfo* info);
TV_PLUGIN_EXPORT int32_t DecodeBlock(TvInstance instance, TvAudioBlock* block);
TV_PLUGIN_EXPORT int32_t SetPosition(TvInstance instance, uint32_t first, uint32_t second);
TV_PLUGIN_EXPORT int32_t DeleteATag(TvInstance instance, uint32_t first, uint32_t second);
#endif
#ifdef TV_ENCODER_PLUGIN
TV_PLUGIN_EXPORT TvInstance ENC_Create(TvHostContext* context);
TV_PLUGIN_EXPORT int32_t ENC_Destroy(TvInstance instance);
TV_PLUGIN_EXPORT int32_t ENC_Get(TvInstance instance, const char16_t* key, TvPluginValue* value);
TV_PLUGIN_EXPORT int32_t ENC_Set(TvInstance instance, const char16_t* key, TvPluginValue* value);
TV_PLUGIN_EXPORT int32_t ENC_ShowConfigBit(TvInstance instance, uint32_t a, uint32_t b, uint32_t c,
                                           uint32_t d);
TV_PLUGIN_EXPORT int32_t ENC_RemoveConfigBit(TvInstance instance, uint32_t a);
TV_PLUGIN_EXPORT int32_t ENC_BeginConversion(TvInstance instance, TvConversionInfo* info);
TV_PLUGIN_EXPORT int32_t ENC_EndConversion(TvInstance instance, TvConversionInfo* info,
                                           int32_t* writeTags);
TV_PLUGIN_EXPORT int32_t ENC_EncodeBlock(TvInstance instance, TvAudioBlock* block);
#endif
#ifdef TV_DSP_PLUGIN
TV_PLUGIN_EXPORT TvInstance DSP_Create(TvHostContext* context);
TV_PLUGIN_EXPORT int32_t DSP_Destroy(TvInstance instance);
TV_PLUGIN_EXPORT int32_t DSP_Get(TvInstance instance, const char16_t* key, TvPluginValue* value);
TV_PLUGIN_EXPORT int32_t DSP_Set(TvInstance instance, const char16_t* key, TvPluginValue* value);
TV_PLUGIN_EXPORT int32_t DSP_ShowConfigBit(TvInstance instance, uint32_t a, uint32_t b, uint32_t c,
                                           uint32_t d);
TV_PLUGIN_EXPORT int32_t DSP_RemoveConfigBit(TvInstance instance, uint32_t a);
TV_PLUGIN_EXPORT int32_t DSP_BeginConversion(TvInstance instance, TvConversionInfo* info,
                                             const char16_t* parameters);
TV_PLUGIN_EXPORT int32_t DSP_EndConversion(TvInstance instance, TvConversionInfo* info);
TV_PLUGIN_EXPORT int32_t DSP_PassAudioBlock(TvInstance instance, TvAudioBlock* block);
TV_PLUGIN_EXPORT int32_t DSP_PassNonLive(TvInstance instance, const char16_t* rawFile,
                                         TvWaveFormatExtensible* format, const char16_t* parameters,
                                         const char16_t* quitEventName);
TV_PLUGIN_EXPORT int32_t DSP_AfterConversion(TvInstance instance, TvConversionInfo* info);
#endif

/* ---- Key catalogue ----
   Keys of Get and Set, UTF-16 literals (char16_t in C11 and C++). Fields of TvPluginValue
   not named are 0. "in" is what the engine provides, "out" what it reads back. */

/* Decoder Get. in: index. out: text1 extension with its dot, text2 format name. Non-zero
   while an entry exists; the list ends at 0 or a null text. */
#define TV_KEY_DECODES u"Decodes"
/* Decoder Get for a stream; as TV_KEY_DECODES. */
#define TV_KEY_STREAMING_DECODES u"StreamingDecodes"
/* Decoder Get: non-zero hides the decoder from all extension lists. */
#define TV_KEY_UNLISTED u"Unlisted"
/* Set on all kinds before open. in: text1 name of the event that means stop. */
#define TV_KEY_EVENT_QUIT u"EventQuit"
/* Set on all kinds after load. in: value the batch id. */
#define TV_KEY_BATCH_ID u"BatchID"
/* Encoder Set after open. in: text1 the priority text. */
#define TV_KEY_PRIORITY u"Priority"
/* Decoder Set before open, when the encoder answered NeedHQAudio. in: text1 TV_DECODE_AS_HIGHEST.
 */
#define TV_KEY_DECODE_AS u"Decode As"
#define TV_DECODE_AS_HIGHEST u"Highest Quality"
/* Set on the decoder that belongs to the output, to write tags. in: value size of the tag
   block, text1 output file, data the tag block. 0 is retried. */
#define TV_KEY_ID_TAGS u"IDTags"
/* Encoder Get before any decoding. in: text1 source, text2 encoder settings, text3 output.
   Non-zero: the encoder takes the source file as it is (raw hand-over). */
#define TV_KEY_SEND_RAW_UNCOMPRESSED u"SendRawUnCompressed"
/* Encoder Get before open. in: text1 encoder settings. Non-zero: ask for "Decode As". */
#define TV_KEY_NEED_HQ_AUDIO u"NeedHQAudio"
/* Encoder or DSP Get before tag preparation (a DSP gets its parameters in text1). Non-zero
   keeps the replay-gain tags. */
#define TV_KEY_SEND_OVER_REPLAY_GAIN_TAGS u"SendOverReplayGainTags"
/* Encoder Get in batch preparation. in: text1 encoder settings. */
#define TV_KEY_IS_LOSSLESS u"IsLossless"
/* Encoder Get in batch preparation. in: text1 encoder settings. out: text2 "name=parameters"
   of one more DSP effect. */
#define TV_KEY_REQUIRES_DSP u"RequiresDSP"
/* Encoder Get for listing. out: text1 extension with its dot. */
#define TV_KEY_EXTENSION u"Extension"
/* DSP Get when loading the chain. in: text1 its parameters. Non-zero: live (PassAudioBlock);
   0: non-live (PassNonLive). */
#define TV_KEY_IS_LIVE u"IsLive"
/* DSP Set at the end of a batch. in: value size of the list, value2 batch id, text1 its
   parameters, text2 encoder settings, text3 encoder name, data the batch's files as a tag block. */
#define TV_KEY_BATCH_END_CONVERSION u"BatchEndConversion"
/* Decoder or encoder Get at each phase. in: index round from 0, value 1 while nothing has
   failed, text1 phase name. Non-zero: a request, left in the record as text1 target,
   text2 verb, text3 key and data a TvPluginValue* for that key. */
#define TV_KEY_COMMUNICATE u"Communicate"
/* Decoder or encoder Set after each request: the same record, value now the request's result. */
#define TV_KEY_COMMUNICATE_RESULT u"CommunicateResult"

/* Phases of Communicate. */
#define TV_PHASE_BEFORE_OPEN u"BeforeOpen"
#define TV_PHASE_BEFORE_ENCODING u"BeforeEncoding"
#define TV_PHASE_END_ENCODING u"EndEncoding"
#define TV_PHASE_AFTER_CONVERSION u"AfterConversion"
/* Targets and verbs of a Communicate request; targets compare ignoring case. */
#define TV_TARGET_TRANSMILL u"Transmill"
#define TV_TARGET_DECODER u"Decoder"
#define TV_TARGET_ENCODER u"Encoder"
#define TV_VERB_GET u"get"
#define TV_VERB_SET u"set"

/* Keys inside the tag blocks of the records. */
#define TV_TAG_AUDIO_QUALITY u"Audio Quality" /* in TvOpenInfo.properties */
#define TV_TAG_ENCODER u"_encoder"            /* added to extraInfo: the encoder's name */
#define TV_TAG_FILE_NAME u"FileName" /* FileName1, FileName2...: an encoder's several outputs */

#ifdef __cplusplus
}
#endif

#endif
