// Options cut from command-line text: keys and values in two lists kept in step.
#pragma once
#include "foundation/XStringList.h"

#include <cstdint>

// The value of the key at an index is the value at the same index; a key with no
// value has the empty string. Keys keep their case: each look-up chooses.
class XArgList {
 public:
  // The options of this process: its arguments from index 1, as ParseArgv reads them.
  XArgList();
  // Parse(text, start); a null text gives an empty list.
  explicit XArgList(const char16_t* text, int32_t start = 1);
  explicit XArgList(const XString& text, int32_t start = 1) : XArgList(text.CStr(), start) {}
  XArgList(const XArgList& other) = default;
  XArgList& operator=(const XArgList& other);
  virtual ~XArgList() = default;

  // Clears both lists and tokenises option text from the 1-based position `start`:
  // "-key", "--key", "-key=value", "-key value", "-key=\"a value\"".
  void Parse(const char16_t* text, int32_t start = 1);
  void Parse(const XString& text, int32_t start = 1) { Parse(text.CStr(), start); }
  // Clears both lists and reads already separated items ("-key=value", "-key" "value").
  void ParseList(const XStringList& tokens);
  // ParseList over UTF-8 arguments from index `first`.
  void ParseArgv(int argc, const char* const* argv, int first);

  int32_t Count() const { return keys.Count(); }
  void Add(const char16_t* key, const char16_t* value, uint32_t tag = 0);
  void Add(const XString& key, const XString& value, uint32_t tag = 0) {
    Add(key.CStr(), value.CStr(), tag);
  }
  void RemoveAt(int32_t index);
  void Clear();

  int32_t IndexOf(const char16_t* key, bool ignoreCase = true) const {
    return keys.IndexOf(key, ignoreCase);
  }
  bool Has(const char16_t* key, bool ignoreCase = true) const {
    return IndexOf(key, ignoreCase) != -1;
  }
  // True and the first matching value, or false and an empty value.
  bool Get(const char16_t* key, XString& outValue, bool ignoreCase = true) const;
  // An index not below the count gives false and two empty strings.
  bool GetAt(int32_t index, XString& outKey, XString& outValue) const;

  // "-key" or "-key=\"value\"" for each pair, separated by blanks.
  XString ToText() const;
  // "-key" or "-key=value" for each pair through QuoteIfNeeded, separated by blanks.
  XString ToCommandText() const;

  XStringList keys;
  XStringList values;
};

// Plain arguments of a text: blanks separate, double quotes group and are dropped.
XStringList SplitArgs(const char16_t* text);
