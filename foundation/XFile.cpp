// XFile: opening rules, reads and writes with their failure rules, lines and byte order marks.
#include "foundation/XFile.h"

#include <cstring>
#include <string>

#include "foundation/XFilePlatform.h"
#include "foundation/XLastError.h"

namespace {

constexpr uint32_t kZeroBlock = 65536;

}  // namespace

XFile::XFile(const XString& name, uint32_t access, uint32_t disposition, bool show, bool shareable,
             uint32_t flags) {
  Open(name, access, disposition, show, shareable, flags);
}

XFile::~XFile() { Close(); }

bool XFile::Open(const XString& name, uint32_t access, uint32_t disposition, bool show,
                 bool shareable, uint32_t flags) {
  // There is no desktop to ask whether to retry, so show changes nothing.
  (void)show;
  (void)flags;
  Close();
  XString copy(name);  // name may be our own path
  path = std::move(copy);
  shareMode = shareable ? 3 : 0;
  if (path.IsEmpty()) {
    XSetLastError(XErrPathNotFound);
    return false;
  }
  xfileos::OpenResult r = xfileos::Open(path.ToUtf8(), access, disposition, shareable);
  if (r.handle < 0) return false;
  handle = r.handle;
  ownsHandle = true;
  return true;
}

bool XFile::OpenClaim(const XString& key) {
  Close();
  handle = xfileos::Claim(key.ToUtf8());
  ownsHandle = handle >= 0;
  return ownsHandle;
}

bool XFile::OpenRead(const XString& name) {
  return Open(name, XFileMode::Read, XFileMode::OpenExisting);
}

bool XFile::OpenReadWrite(const XString& name) {
  return Open(name, XFileMode::Read | XFileMode::Write, XFileMode::OpenExisting);
}

bool XFile::OpenCreate(const XString& name) {
  return Open(name, XFileMode::Read | XFileMode::Write, XFileMode::CreateAlways);
}

bool XFile::OpenAlways(const XString& name) {
  return Open(name, XFileMode::Read | XFileMode::Write, XFileMode::OpenAlways);
}

void XFile::Close() {
  if (ownsHandle && handle >= 0) xfileos::Close(handle);
  handle = XInvalidHandle;
  ownsHandle = false;
}

void XFile::AttachHandle(XHandle h) {
  Close();
  handle = h < 0 ? XInvalidHandle : h;
  ownsHandle = false;
}

bool XFile::AttachCopy(XHandle h) {
  Close();
  XHandle copy = xfileos::Duplicate(h, false);
  if (copy < 0) return false;
  handle = copy;
  ownsHandle = true;
  return true;
}

uint32_t XFile::Read(void* buffer, uint32_t count, uint32_t origin, bool* outFailed) {
  bool ignored = false;
  bool& failed = outFailed ? *outFailed : ignored;
  failed = true;
  if (handle < 0) {
    XSetLastError(XErrInvalidParameter);
    return 0;
  }
  if (origin != XSeekCurrent && !Seek(0, origin)) return 0;
  XSetLastError(XErrNone);
  uint32_t got = 0;
  bool ok = xfileos::Read(handle, buffer, count, &got);
  uint32_t error = XGetLastError();
  failed = !(ok || error == XErrNone || error == XErrHandleEof);
  return got;
}

bool XFile::Write(const void* buffer, uint32_t count, uint32_t origin, uint32_t* outWritten) {
  if (!buffer) {
    if (count == 0) return true;
    XSetLastError(XErrInvalidParameter);
    return false;
  }
  if (handle < 0) {
    XSetLastError(XErrInvalidParameter);
    return false;
  }
  if (origin != XSeekCurrent && !Seek(0, origin)) return false;
  uint32_t written = 0;
  if (!xfileos::Write(handle, buffer, count, &written)) {
    if (outWritten) *outWritten = written;
    return false;
  }
  if (outWritten) {
    *outWritten = written;
    return true;
  }
  return written == count;
}

bool XFile::WriteLine(const char* text, bool withBreak) {
  size_t n = text ? strlen(text) : 0;
  if (n && !Write(text, uint32_t(n))) return false;
  return !withBreak || Write("\r\n", 2);
}

bool XFile::WriteLine(const char16_t* text, bool withBreak) {
  size_t n = 0;
  while (text && text[n]) ++n;
  if (n && !Write(text, uint32_t(n * 2))) return false;
  return !withBreak || Write(u"\r\n", 4);
}

bool XFile::WriteLine(const XString& text, bool withBreak) {
  return WriteLine(text.CStr(), withBreak);
}

bool XFile::WriteBom() {
  const uint8_t mark[2] = {0xFF, 0xFE};
  return Write(mark, 2, XSeekStart);
}

bool XFile::ReadLine(XString& outLine, bool wide, bool utf8) {
  outLine.Clear();
  return wide ? ReadWideLine(outLine) : ReadNarrowLine(outLine, utf8);
}

// After a CR: a following LF belongs to the break, anything else is put back. False when
// nothing follows.
bool XFile::SkipLineFeed(uint32_t unitSize) {
  char16_t next = 0;
  if (Read(&next, unitSize) != unitSize) return false;
  if (next != u'\n') Seek(-int64_t(unitSize), XSeekCurrent);
  return true;
}

bool XFile::ReadWideLine(XString& outLine) {
  bool first = true;
  for (;;) {
    char16_t unit = 0;
    if (Read(&unit, 2) != 2) return !outLine.IsEmpty();
    if (first && unit == 0xFEFF) {
      first = false;
      continue;
    }
    first = false;
    if (unit == u'\r') return SkipLineFeed(2) || !outLine.IsEmpty();
    if (unit == u'\n') return true;
    outLine.AppendChar(unit);
  }
}

// Bytes are gathered and decoded as one run: the narrow code page is UTF-8 here, and a
// character of several bytes survives only as a whole.
bool XFile::ReadNarrowLine(XString& outLine, bool utf8) {
  std::string bytes;
  bool ended = false;
  for (;;) {
    uint8_t byte = 0;
    if (Read(&byte, 1) != 1) {
      ended = true;
      break;
    }
    if (utf8 && bytes.empty() && byte == 0xEF) {
      uint8_t rest[2] = {0, 0};
      uint32_t got = Read(rest, 2);
      if (got == 2 && rest[0] == 0xBB && rest[1] == 0xBF) continue;
      if (got) Seek(-int64_t(got), XSeekCurrent);
    }
    if (byte == '\r') {
      ended = !SkipLineFeed(1);
      break;
    }
    if (byte == '\n') break;
    bytes.push_back(char(byte));
  }
  outLine = XString::FromUtf8Bytes(bytes.data(), int(bytes.size()));
  return !ended || !bytes.empty();
}

bool XFile::Seek(int64_t offset, uint32_t origin) {
  if (handle < 0) {
    XSetLastError(XErrInvalidParameter);
    return false;
  }
  return xfileos::Seek(handle, offset, origin, nullptr);
}

int64_t XFile::Position() {
  int64_t at = -1;
  if (handle < 0 || !xfileos::Seek(handle, 0, XSeekCurrent, &at)) return -1;
  return at;
}

int64_t XFile::Size(bool* outFailed) {
  int64_t size = handle < 0 ? -1 : xfileos::Size(handle);
  if (handle < 0) XSetLastError(XErrInvalidParameter);
  if (outFailed) *outFailed = size < 0;
  return size < 0 ? 0 : size;
}

bool XFile::Truncate(int64_t size) {
  int64_t before = Position();
  bool ok = Seek(size, XSeekStart) && xfileos::EndFileAt(handle, size);
  uint32_t error = XGetLastError();
  if (before >= 0) Seek(before, XSeekStart);
  XSetLastError(ok ? XErrNone : error);
  return ok;
}

bool XFile::SetSize(int64_t size) {
  bool failed = false;
  int64_t now = Size(&failed);
  if (failed || size < 0) return false;
  if (size <= now) return Seek(size, XSeekStart) && xfileos::EndFileAt(handle, size);
  if (!Seek(0, XSeekEnd)) return false;
  static const uint8_t zeros[kZeroBlock] = {};
  for (int64_t left = size - now; left > 0;) {
    uint32_t n = left < kZeroBlock ? uint32_t(left) : kZeroBlock;
    if (!Write(zeros, n)) return false;
    left -= n;
  }
  return true;
}

bool XFile::HasMark(const uint8_t* mark, uint32_t length) {
  int64_t before = Position();
  if (before < 0) return false;
  uint8_t head[3] = {0, 0, 0};
  bool found = Read(head, length, XSeekStart) == length && memcmp(head, mark, length) == 0;
  if (!(found && before == 0)) Seek(before, XSeekStart);
  return found;
}

bool XFile::HasUtf8Bom() {
  static const uint8_t mark[3] = {0xEF, 0xBB, 0xBF};
  return HasMark(mark, 3);
}

bool XFile::HasUtf16Bom() {
  static const uint8_t mark[2] = {0xFF, 0xFE};
  return HasMark(mark, 2);
}

uint64_t XFile::TimeOf(int which, bool* outFailed) {
  uint64_t time = 0;
  bool ok = handle >= 0 && xfileos::FileTime(handle, nullptr, xfileos::TimeKind(which), &time);
  if (handle < 0) XSetLastError(XErrInvalidParameter);
  if (outFailed) *outFailed = !ok;
  return time;
}

uint64_t XFile::CreationTime(bool* outFailed) {
  return TimeOf(int(xfileos::TimeKind::Creation), outFailed);
}

uint64_t XFile::LastAccessTime(bool* outFailed) {
  return TimeOf(int(xfileos::TimeKind::LastAccess), outFailed);
}

uint64_t XFile::LastWriteTime(bool* outFailed) {
  return TimeOf(int(xfileos::TimeKind::LastWrite), outFailed);
}

static uint64_t TimeByPath(const XString& path, xfileos::TimeKind kind, bool* outFailed) {
  uint64_t time = 0;
  bool ok = !path.IsEmpty() && xfileos::FileTime(XInvalidHandle, path.ToUtf8(), kind, &time);
  if (path.IsEmpty()) XSetLastError(XErrPathNotFound);
  if (outFailed) *outFailed = !ok;
  return time;
}

uint64_t XFile::CreationTime(const XString& path, bool* outFailed) {
  return TimeByPath(path, xfileos::TimeKind::Creation, outFailed);
}

uint64_t XFile::LastAccessTime(const XString& path, bool* outFailed) {
  return TimeByPath(path, xfileos::TimeKind::LastAccess, outFailed);
}

uint64_t XFile::LastWriteTime(const XString& path, bool* outFailed) {
  return TimeByPath(path, xfileos::TimeKind::LastWrite, outFailed);
}

XString XFile::ErrorText(uint32_t code) { return XString::Formatted(u"(win:%i)", int(code)); }

XString XFile::LastErrorText() { return ErrorText(XGetLastError()); }

XString XFile::OpenErrorText(const XString& name) {
  if (name.IsEmpty()) return XString(u"No file specified!");
  XString text = u"Error opening file '" + name + u"', check no other program has it open.";
  if (XGetLastError() != XErrNone) text += u" " + LastErrorText();
  return text;
}
