// Finds plug-in libraries on disk: decoders by extension (with the per-user decoder cache),
// encoders and DSP effects by name, and the listings a front end shows.
#pragma once
#include "foundation/XString.h"
#include "sdk/tv_plugin.h"

class XStringList;
class clTvDecoder;
class clTvEncoder;
class clTvDSP;

// The store key of the decoder cache: one string value per extension, the library's path.
inline constexpr const char16_t* TvDecoderCacheKey = u"Software\\Morlane\\Tonvera\\DecoderCache";
// The file name ending of a plug-in library.
inline constexpr const char16_t* TvPluginSuffix = u".so";

// Holds no data: every call stands alone. `module` is an address inside the program or
// library whose folder holds the plug-in folders; null means the running program.
class clTvCodecHandler {
 public:
  // Loads and instantiates the decoder for the extension of `source` (with `streaming`,
  // `source` is the extension itself), through the cache at `cacheKey` (null: the default)
  // and, when that misses, a scan of the decoder folder. The cache is mended on success.
  static bool FindDecoder(const XString& source, clTvDecoder& decoder, TvHostContext* context,
                          const void* module = nullptr, bool streaming = false,
                          const char16_t* cacheKey = nullptr);
  // Loads one library into `decoder` and keeps it when it announces `ext` (ignoring case);
  // otherwise leaves the binding empty.
  static bool TryDecoderLibrary(const XString& path, const XString& ext, clTvDecoder& decoder,
                                TvHostContext* context, bool streaming = false);
  // Every library file of the decoder folder, in the order the file system gives; folders
  // and other non-files are skipped. The list is cleared first.
  static void ListDecoderFiles(XStringList& list, const void* module = nullptr);
  // Extensions and format names of all listed decoders in scan order, and the file-dialog
  // filters ("label\rpattern"), the first one "All Audio Files" when `allAudioFiles`.
  static void ListDecoderTypes(bool allAudioFiles, XStringList* extensions,
                               XStringList* formatNames, XStringList* filters,
                               const void* module = nullptr);

  static bool LoadEncoder(const XString& name, clTvEncoder& encoder, TvHostContext* context,
                          const void* module = nullptr);
  // The encoder's library; a file whose name differs only in case counts as the same.
  static XString EncoderPath(const XString& name, const void* module = nullptr);
  // The output extension the encoder announces; empty if it won't load.
  static XString EncoderExtension(const XString& name, const void* module = nullptr);
  // Stems of the encoder libraries, without those in the ":"-separated exclusions; names in
  // square brackets sort last, except "[multi encoder]", which sorts first.
  static void ListEncoders(XStringList& list, const XString& exclusions,
                           const void* module = nullptr);

  static bool LoadDSP(const XString& name, clTvDSP& dsp, TvHostContext* context,
                      const void* module = nullptr);
  static XString DSPPath(const XString& name, const void* module = nullptr);

  static bool IsLosslessFormatName(const XString& name);
  // Whether line breaks in this tag's value are content rather than value separators.
  static bool IsMultiLineTag(const XString& key);

  // A regular file, links followed: what may be handed to the loader. Folders, pipes and
  // devices named like a library are passed over (opening a pipe would block).
  static bool IsLibraryFile(const XString& path);

  // The folder that holds decoder/, encoder/ and DSPs/, with a trailing "/".
  static XString BaseFolder(const void* module = nullptr);
  // Replaces the program folder for every call (tests, tools); empty restores it.
  static void SetBaseFolder(const XString& folder);
  static XString DecoderFolder(const void* module = nullptr);
  static XString EncoderFolder(const void* module = nullptr);
  static XString DSPFolder(const void* module = nullptr);
};
