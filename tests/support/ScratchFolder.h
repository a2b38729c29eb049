// A unique folder for one test, made with mkdtemp and removed with all its contents.
#pragma once
#include "foundation/XString.h"

#include <sys/stat.h>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

class ScratchFolder {
 public:
  ScratchFolder() {
    std::error_code error;
    std::filesystem::path base = std::filesystem::temp_directory_path(error);
    std::string pattern = ((error ? "/tmp" : base) / "tvtest-XXXXXX").string();
    if (!mkdtemp(pattern.data())) {
      pattern = "/tmp/tvtest-XXXXXX";  // TMPDIR names no usable folder
      if (!mkdtemp(pattern.data())) std::abort();
    }
    path = pattern + "/";
  }
  ~ScratchFolder() {
    if (path.empty()) return;
    std::error_code ignored;
    // Read-only files and folders left by a test must not stop the clean-up.
    for (auto& entry : std::filesystem::recursive_directory_iterator(path, ignored))
      chmod(entry.path().c_str(), 0755);
    std::filesystem::remove_all(path, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  // The folder with a trailing "/", as UTF-8 and as XString; Folder() is without it.
  const std::string& Utf8() const { return path; }
  std::string Folder() const { return path.substr(0, path.size() - 1); }
  XString Path() const { return XString::FromUtf8(path.c_str()); }
  std::string operator/(const std::string& name) const { return path + name; }

  void WriteFile(const std::string& name, const std::string& content = "x") const {
    std::filesystem::create_directories(std::filesystem::path(path + name).parent_path());
    std::ofstream(path + name, std::ios::binary) << content;
  }
  bool Has(const std::string& name) const {
    struct stat st {};
    return lstat((path + name).c_str(), &st) == 0;
  }

 private:
  std::string path;
};

// Sets an environment variable for the life of the object, then puts back what was there.
class ScopedEnv {
 public:
  ScopedEnv(const char* name_, const char* value) : name(name_) {
    const char* old = getenv(name_);
    hadOld = old != nullptr;
    if (old) oldValue = old;
    if (value)
      setenv(name_, value, 1);
    else
      unsetenv(name_);
  }
  ~ScopedEnv() {
    if (hadOld)
      setenv(name.c_str(), oldValue.c_str(), 1);
    else
      unsetenv(name.c_str());
  }
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  std::string name;
  std::string oldValue;
  bool hadOld = false;
};
