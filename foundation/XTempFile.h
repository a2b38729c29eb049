// Temporary files and folders that are deleted with the object that owns them.
#pragma once
#include "foundation/XString.h"

// A new, empty file in the temporary folder, named from TempName; deleted when dropped.
class XTempFile {
 public:
  XTempFile() = default;
  // Creates at once; Path() is empty if no file could be made.
  explicit XTempFile(const char* prefix, const char* suffix = nullptr);
  ~XTempFile();
  XTempFile(const XTempFile&) = delete;
  XTempFile& operator=(const XTempFile&) = delete;

  // Deletes any file held, then makes a new one: prefix (default "TMP"), "-", GUID, "-",
  // counter, suffix. False, with the last error, when none could be made.
  bool Create(const char* prefix = "TMP", const char* suffix = nullptr);
  // Deletes any file held and takes ownership of the one path names.
  void Assign(const XString& path);
  // Gives up ownership: the file stays, and its name is returned.
  XString Detach();
  // Deletes the file now.
  void Drop();

  const XString& Path() const { return path; }
  bool IsEmpty() const { return path.Length() == 0; }

 private:
  XString path;
};

// A new folder in the temporary folder, path with a trailing "/"; removed with its contents
// when dropped.
class XTempFolder {
 public:
  explicit XTempFolder(const char* prefix = "TMP");
  ~XTempFolder();
  XTempFolder(const XTempFolder&) = delete;
  XTempFolder& operator=(const XTempFolder&) = delete;

  const XString& Path() const { return path; }
  bool IsEmpty() const { return path.Length() == 0; }

 private:
  XString path;
};
