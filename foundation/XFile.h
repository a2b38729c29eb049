// XFile: one open file or descriptor with its name, 64-bit positions and boolean results.
#pragma once
#include <cstdint>

#include "foundation/XString.h"

class XBuffer;
class XStringList;

// A descriptor; negative means closed. Standard input is descriptor 0 and can be attached.
using XHandle = int;
inline constexpr XHandle XInvalidHandle = -1;

// Access bits and dispositions of an open, in the numbering callers pass around.
namespace XFileMode {
inline constexpr uint32_t Read = 0x80000000u;
inline constexpr uint32_t Write = 0x40000000u;
inline constexpr uint32_t CreateNew = 1;
inline constexpr uint32_t CreateAlways = 2;
inline constexpr uint32_t OpenExisting = 3;
inline constexpr uint32_t OpenAlways = 4;
inline constexpr uint32_t TruncateExisting = 5;
}  // namespace XFileMode
inline constexpr uint32_t XFileNormalFlags = 128;

// Seek origins.
inline constexpr uint32_t XSeekStart = 0;
inline constexpr uint32_t XSeekEnd = 1;
inline constexpr uint32_t XSeekCurrent = 2;

class XFile {
 public:
  XFile() = default;
  XFile(const XString& path, uint32_t access, uint32_t disposition, bool showErrors = false,
        bool shareable = true, uint32_t flags = XFileNormalFlags);
  XFile(const XFile&) = delete;
  XFile& operator=(const XFile&) = delete;
  virtual ~XFile();

  // Closes the present handle, then opens. Without shareable, no other opener of ours may hold
  // the file at the same time (sharing violation, 32).
  bool Open(const XString& path, uint32_t access, uint32_t disposition, bool showErrors = false,
            bool shareable = true, uint32_t flags = XFileNormalFlags);
  bool OpenRead(const XString& path);
  bool OpenReadWrite(const XString& path);
  bool OpenCreate(const XString& path);
  bool OpenAlways(const XString& path);
  void Close();
  bool IsOpen() const { return handle >= 0; }
  // Holds key machine-wide while this stays open, and never longer than the process lives;
  // false with the sharing violation (32) while another holder has it.
  bool OpenClaim(const XString& key);

  void AttachHandle(XHandle h);
  // Owns a duplicate of h (not inherited by children).
  bool AttachCopy(XHandle h);
  XHandle Handle() const { return handle; }

  // Returns the bytes read; running into the end is no failure.
  uint32_t Read(void* buffer, uint32_t count, uint32_t origin = XSeekCurrent,
                bool* outFailed = nullptr);
  // Without outWritten a short write is a failure.
  bool Write(const void* buffer, uint32_t count, uint32_t origin = XSeekCurrent,
             uint32_t* outWritten = nullptr);
  // One line from the present position: UTF-16LE units with wide, else bytes as UTF-8.
  bool ReadLine(XString& outLine, bool wide, bool utf8);
  bool WriteLine(const char* text, bool withBreak);
  bool WriteLine(const char16_t* text, bool withBreak);
  bool WriteLine(const XString& text, bool withBreak);
  bool WriteBom();

  bool Seek(int64_t offset, uint32_t origin);
  int64_t Position();
  int64_t Size(bool* outFailed = nullptr);
  bool Truncate(int64_t size);
  bool SetSize(int64_t size);
  bool HasUtf8Bom();
  bool HasUtf16Bom();

  // File times in 100 ns units since 1601, as the rest of the system counts them.
  uint64_t CreationTime(bool* outFailed = nullptr);
  uint64_t LastAccessTime(bool* outFailed = nullptr);
  uint64_t LastWriteTime(bool* outFailed = nullptr);
  static uint64_t CreationTime(const XString& path, bool* outFailed);
  static uint64_t LastAccessTime(const XString& path, bool* outFailed);
  static uint64_t LastWriteTime(const XString& path, bool* outFailed);

  static XString ErrorText(uint32_t code);
  static XString LastErrorText();
  static XString OpenErrorText(const XString& path);

  XString path;
  XHandle handle = XInvalidHandle;
  bool ownsHandle = false;
  uint32_t shareMode = 3;

 private:
  uint64_t TimeOf(int which, bool* outFailed);
  bool ReadWideLine(XString& outLine);
  bool ReadNarrowLine(XString& outLine, bool utf8);
  bool SkipLineFeed(uint32_t unitSize);
  bool HasMark(const uint8_t* mark, uint32_t length);
};

// Whole-file helpers; blocks of 262,144 bytes move between file and memory.
namespace XFileWhole {
bool ReadAllBytes(const XString& path, XBuffer& buffer);
// ReadAllBytes with up to 10 attempts, 50 ms apart, for files another process may hold.
bool ReadAllBytesWithRetry(const XString& path, XBuffer& buffer);
// Lines as UTF-16LE or UTF-8 by the byte order mark (UTF-8 when there is none).
bool ReadAllLines(const XString& path, XStringList& list);
bool WriteAllBytes(const XString& path, const void* data, uint32_t size);
// Writes beside the file and replaces it only once the new version is complete.
bool WriteAllBytesSafely(const XString& path, const void* data, uint32_t size);
// Moves everything from offset onwards by delta bytes (negative: towards the start), zeroing
// the gap a growth leaves when asked, and sets the new end.
bool ShiftContents(XFile& file, int64_t offset, int64_t delta, bool zeroGap);
}  // namespace XFileWhole
