// Path text functions with "/" as the separator, and the file and folder operations on them.
#pragma once
#include "foundation/XString.h"

#include <cstdint>

class XEvent;
class XStringList;

inline constexpr char16_t XPathSeparator = u'/';

// Attribute bits as the finder reports them (the system's numbering).
enum : uint32_t {
  XAttrReadOnly = 0x1,
  XAttrHidden = 0x2,  // a name that starts with a dot
  XAttrFolder = 0x10,
  XAttrNormal = 0x80,
  XAttrLink = 0x400,  // a symbolic link; a linked folder is never entered when deleting
};

namespace XPath {

// Name splitting: text alone, only the last separator and the last dot count.

// Appends "/" unless the path ends in one; an empty path becomes "/".
XString EnsureSeparator(const XString& path);
// Removes all trailing "/".
XString TrimSeparators(const XString& path);
// Up to and including the last "/"; the whole text if there is none.
XString FolderOf(const XString& path);
// Behind the last "/"; the whole text if there is none.
XString FileNameOf(const XString& path);
// From the last dot on, dot included, if it stands behind the last "/"; otherwise ".".
XString ExtensionOf(const XString& path);
// Before the last dot, wherever it stands.
XString WithoutExtension(const XString& path);
XString BaseNameOf(const XString& path);
// EnsureSeparator(path), then name without its leading "/".
XString AppendPath(const XString& path, const XString& name);
XString QuotePath(const XString& path);
// Position behind the root: 2 for a path from the file system root ("/a/b"), 1 for a
// relative path, which has no root of its own.
int RootEnd(const XString& path);

// Existence and attributes.
bool Exists(const XString& path, bool* outIsFolder = nullptr);
uint32_t GetAttributes(const XString& path, bool* outFailed = nullptr);
// Only XAttrReadOnly has an effect: it takes away or gives back the write permission.
bool SetAttributes(const XString& path, uint32_t setMask, uint32_t clearMask);
uint64_t SizeOf(const XString& path, bool* outFailed = nullptr);
// The absolute path with every link and dot folder of its folder's existing part resolved, the
// folders still missing and the name kept as written: one text however a name is reached.
XString ResolvedPath(const XString& path);
// Whether two names reach one file: the same device and inode when both exist, otherwise the
// same resolved path.
bool SameFile(const XString& first, const XString& second);
bool IsRecycleFolder(const XString& path);
// Linux has no short names: the path comes back unchanged.
XString ShortName(const XString& path);

// Deleting, moving, copying. Each returns false and leaves the reason in the last error.
bool DeleteFile(const XString& path);
bool Move(const XString& source, const XString& target, bool replace);
// Retries a move that meets a busy or denied target until timeoutMs has passed;
// ends with 1460 on time-out and 1223 when cancelEvent is set.
bool MoveWithRetry(const XString& source, const XString& target, bool replace, uint32_t timeoutMs,
                   const XEvent* cancelEvent);
bool Copy(const XString& source, const XString& target, bool failIfExists);
bool CreateFolders(const XString& path);
bool DeleteFolderContents(const XString& path, bool removeSelf, const XString& pattern = u"*.*",
                          bool recurse = true);
bool CopyFolder(const XString& source, const XString& target);
bool MoveFolder(const XString& source, const XString& target);

// "(Win:%u)" with the last error, or empty when it is 0.
XString LastErrorTextOrEmpty();
// 32 upper-case hexadecimal digits of a new random (version 4) identifier.
XString NewGuidText();

}  // namespace XPath

// Special folders: ids of the shell folder numbering, mapped to the XDG folders.
inline constexpr int XFolderDocuments = 5;
inline constexpr int XFolderMusic = 13;
inline constexpr int XFolderVideo = 14;
inline constexpr int XFolderDesktop = 16;
inline constexpr int XFolderAppData = 26;
inline constexpr int XFolderPictures = 39;
inline constexpr int XFolderCommonFiles = 43;
inline constexpr int XFolderPublicDocuments = 46;
inline constexpr int XFolderPublicMusic = 53;
inline constexpr int XFolderPublicPictures = 54;
inline constexpr int XFolderPublicVideo = 55;
inline constexpr int XFolderProgramFiles = 20480;
inline constexpr int XFolderWindows = 20481;
inline constexpr int XFolderSystem = 20482;
inline constexpr int XFolderTemp = 20483;
inline constexpr int XFolderProgramFiles64 = 20484;

namespace XPath {

// The folder with a trailing "/", or fallback (null: "C:\Error") when it is unknown;
// a result of a lone "/" becomes empty.
XString SpecialFolder(int id, const char16_t* fallback = nullptr);
// Ten folders and their display names ("Music", ..., "[Temporary Folder]").
void SpecialFolderNames(XStringList& outPaths, XStringList& outNames);
// A leading special folder replaced by its display name, and back.
XString FriendlyPath(const XString& path, bool isFile);
XString RealPath(const XString& friendly);

// Temporary names: $TMPDIR or "/tmp", with a trailing "/".
XString TempFolder();
// "prefix-GUID-counter", unique among processes and threads.
XString TempName(const XString& prefix);

// Makes a path legal on the file systems music libraries live on. invalidMap is a run of
// pairs (forbidden character, replacement; "*" deletes) ended by a zero; null takes the default.
XString CleanPath(const XString& path, bool shorten = false, const char16_t* invalidMap = nullptr,
                  bool keepSeparators = true, bool skipRoot = true);

// Whether line breaks in the value of this tag key are content (title, comment, lyrics...)
// rather than separators of several values.
bool IsMultiLineTagKey(const XString& key);
// Escapes (encode) or restores line breaks of a tag value for single-line use.
XString EscapeTagValue(const XString& key, const XString& value, bool encode, bool keepBreaks);

}  // namespace XPath
