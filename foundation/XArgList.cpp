// Options cut from command-line text: the tokeniser, item lists and look-ups.
#include "foundation/XArgList.h"

namespace {

XString Units(const char16_t* from, int32_t n) {
  return XString::FromWideBytes(from, n * int(sizeof(char16_t)));
}

int32_t UnitCount(const char16_t* text) {
  int32_t n = 0;
  while (text[n] != 0) ++n;
  return n;
}

// Index of the first `c` at or after `from`, or `length` when there is none.
int32_t NextOf(const char16_t* text, int32_t length, int32_t from, char16_t c) {
  while (from < length && text[from] != c) ++from;
  return from;
}

}  // namespace

XArgList::XArgList(const char16_t* text, int32_t start) { Parse(text, start); }

XArgList& XArgList::operator=(const XArgList& other) {
  if (this != &other) {
    keys = other.keys;
    values = other.values;
  }
  return *this;
}

void XArgList::Parse(const char16_t* text, int32_t start) {
  Clear();
  if (!text) return;
  int32_t length = UnitCount(text);
  int32_t dash = NextOf(text, length, start > 1 ? start - 1 : 0, u'-');
  while (dash < length) {
    int32_t keyStart = dash + 1;
    if (keyStart < length && text[keyStart] == u'-') ++keyStart;
    int32_t keyEnd = keyStart;
    while (keyEnd < length && text[keyEnd] != u'"' && text[keyEnd] != u'=' && text[keyEnd] != u' ')
      ++keyEnd;
    if (keyEnd == keyStart) {
      dash = NextOf(text, length, keyEnd + 1, u'-');
      continue;
    }
    int32_t at = keyEnd;
    while (at < length && (text[at] == u' ' || text[at] == u'=')) ++at;
    int32_t valueStart = at;
    int32_t valueEnd = at;
    int32_t next = at;
    if (at < length && text[at] == u'"') {
      int32_t close = NextOf(text, length, at + 1, u'"');
      if (close < length) {
        valueStart = at + 1;
        valueEnd = close;
        next = close + 1;
      } else {
        next = at + 1;  // an unterminated quote gives an empty value
      }
    } else if (at < length && text[at] != u'-') {
      valueEnd = NextOf(text, length, at, u' ');
      next = valueEnd + 1;
    }
    Add(Units(text + keyStart, keyEnd - keyStart).CStr(),
        Units(text + valueStart, valueEnd - valueStart).CStr(), 0);
    dash = NextOf(text, length, next, u'-');
  }
}

void XArgList::ParseList(const XStringList& tokens) {
  Clear();
  for (int32_t i = 0; i < tokens.Count(); ++i) {
    const XString& item = tokens[i];
    int32_t dash = item.FindChar(u'-');
    if (dash == 0) break;
    int32_t keyStart = dash + 1;
    if (item.CharAt(keyStart) == u'-') ++keyStart;
    int32_t equals = item.FindChar(u'=', keyStart);
    if (equals != 0) {
      Add(item.Mid(keyStart, equals - 1), item.From(equals + 1));
    } else if (i + 1 < tokens.Count() && tokens[i + 1].CharAt(1) != u'-') {
      Add(item.From(keyStart), tokens[i + 1]);
      ++i;
    } else {
      Add(item.From(keyStart), XString());
    }
  }
}

void XArgList::ParseArgv(int argc, const char* const* argv, int first) {
  XStringList tokens;
  for (int i = first < 0 ? 0 : first; argv && i < argc && argv[i]; ++i)
    tokens.Add(XString::FromUtf8(argv[i]));
  ParseList(tokens);
}

void XArgList::Add(const char16_t* key, const char16_t* value, uint32_t tag) {
  keys.Add(key, tag);
  values.Add(value, tag);
}

void XArgList::RemoveAt(int32_t index) {
  keys.RemoveAt(index);
  values.RemoveAt(index);
}

void XArgList::Clear() {
  keys.Clear();
  values.Clear();
}

bool XArgList::Get(const char16_t* key, XString& outValue, bool ignoreCase) const {
  int32_t index = IndexOf(key, ignoreCase);
  if (index == -1 || index >= values.Count()) {
    outValue.Clear();
    return false;
  }
  outValue = values[index];
  return true;
}

bool XArgList::GetAt(int32_t index, XString& outKey, XString& outValue) const {
  if (index < 0 || index >= keys.Count() || index >= values.Count()) {
    outKey.Clear();
    outValue.Clear();
    return false;
  }
  outKey = keys[index];
  outValue = values[index];
  return true;
}

XString XArgList::ToText() const {
  XString text;
  for (int32_t i = 0; i < keys.Count(); ++i) {
    if (i > 0) text.AppendChar(u' ');
    text.AppendChar(u'-');
    text.Append(keys[i]);
    if (i < values.Count() && !values[i].IsEmpty()) {
      text.Append(u"=\"");
      text.Append(values[i]);
      text.AppendChar(u'"');
    }
  }
  return text;
}

XString XArgList::ToCommandText() const {
  XStringList options;
  for (int32_t i = 0; i < keys.Count(); ++i) {
    XString option = XString(u"-") + keys[i];
    if (i < values.Count() && !values[i].IsEmpty()) {
      option.AppendChar(u'=');
      option.Append(values[i]);
    }
    options.AddMove(option);
  }
  return options.ToCommandText();
}

XStringList SplitArgs(const char16_t* text) {
  XStringList list;
  list.SplitArgs(text);
  return list;
}
