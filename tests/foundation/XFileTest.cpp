// Tests of XFile: dispositions, sharing, reads at the end, lines, sizes, whole-file helpers.
#include "foundation/XFile.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <ctime>

#include "tests/foundation/Fixtures.h"

class XFileTest : public XFileTestFolder {
 protected:
  // Every line ReadLine gives until it says false, in UTF-8.
  std::vector<std::string> Lines(const char* name, bool wide, bool utf8) {
    XFile file;
    EXPECT_TRUE(file.OpenRead(Path(name)));
    std::vector<std::string> lines;
    XString line;
    while (file.ReadLine(line, wide, utf8)) lines.push_back(line.ToUtf8String());
    EXPECT_TRUE(line.IsEmpty());
    return lines;
  }
  using Texts = std::vector<std::string>;
};

TEST_F(XFileTest, DispositionsDecideWhatAnOpenDoes) {
  // The file "old" holds "contents" before each open; "missing" is never there.
  const struct {
    const char* name;
    uint32_t access, disposition, error;
    int64_t size;  // after the open; -1 when it fails
  } cases[] = {
      {"missing", XFileMode::Read, XFileMode::OpenExisting, XErrFileNotFound, -1},
      {"missing", XFileMode::Write, XFileMode::TruncateExisting, XErrFileNotFound, -1},
      {"old", XFileMode::Write, XFileMode::TruncateExisting, XErrNone, 0},
      {"old", XFileMode::Write, XFileMode::CreateNew, XErrFileExists, -1},
      {"new", XFileMode::Write, XFileMode::CreateNew, XErrNone, 0},
      {"old", XFileMode::Read | XFileMode::Write, XFileMode::CreateAlways, XErrAlreadyExists, 0},
      {"old", XFileMode::Read | XFileMode::Write, XFileMode::OpenAlways, XErrAlreadyExists, 8},
      {"new", XFileMode::Read | XFileMode::Write, XFileMode::OpenAlways, XErrNone, 0},
  };
  for (const auto& c : cases) {
    std::filesystem::remove(Native("new"));
    Put("old", "contents");
    XSetLastError(12345);
    XFile file(Path(c.name), c.access, c.disposition);
    SCOPED_TRACE(std::string(c.name) + " " + std::to_string(c.disposition));
    EXPECT_EQ(XGetLastError(), c.error);
    EXPECT_EQ(file.IsOpen() ? file.Size() : -1, c.size);
    EXPECT_EQ(file.ownsHandle, file.IsOpen());  // a failed open leaves nothing to close
  }
  EXPECT_TRUE(XFile().OpenCreate(Path("made")) && Exists("made"));
}

TEST_F(XFileTest, FailedOpensLeaveTheFileClosedWithAnErrorText) {
  XFile file;
  EXPECT_FALSE(file.OpenRead(Path("missing")));
  EXPECT_EQ(XFile::LastErrorText(), XString(u"(win:2)"));
  EXPECT_EQ(XFile::OpenErrorText(Path("missing")),
            u"Error opening file '" + Path("missing") +
                u"', check no other program has it open. (win:2)");
  EXPECT_FALSE(file.OpenRead(XString()));
  EXPECT_EQ(XFile::OpenErrorText(XString()), XString(u"No file specified!"));
  EXPECT_EQ(FailedWith(file.OpenRead(XString::FromUtf8(folder))), XErrAccessDenied);
}

TEST_F(XFileTest, UnshareableOpenExcludesOtherOpens) {
  Put("f", "data");
  XFile shared, alone;
  ASSERT_TRUE(shared.OpenRead(Path("f")));
  EXPECT_FALSE(alone.Open(Path("f"), XFileMode::Read | XFileMode::Write, XFileMode::OpenExisting,
                          false, false));
  EXPECT_EQ(XGetLastError(), XErrSharingViolation);
  shared.Close();
  ASSERT_TRUE(alone.Open(Path("f"), XFileMode::Read | XFileMode::Write, XFileMode::OpenExisting,
                         false, false));
  EXPECT_FALSE(shared.OpenCreate(Path("f")));
  EXPECT_EQ(Get("f"), "data");  // a refused create does not truncate
}

TEST_F(XFileTest, ReadThatReachesTheEndIsShortButNoFailure) {
  Put("f", "12345");
  XFile file;
  ASSERT_TRUE(file.OpenRead(Path("f")));
  char buffer[16] = {};
  bool failed = true;
  // What a read gave, or -1 when it reported a failure.
  auto read = [&](uint32_t count, uint32_t origin) {
    int64_t got = file.Read(buffer, count, origin, &failed);
    return failed ? -1 : got;
  };
  EXPECT_EQ((Ints{read(4, XSeekCurrent), read(4, XSeekCurrent), buffer[0], read(4, XSeekCurrent),
                  read(5, XSeekStart), read(5, XSeekEnd)}),
            (Ints{4, 1, '5', 0, 5, 0}));
  file.Close();
  EXPECT_EQ(
      (Ints{read(1, XSeekCurrent), file.Write("x", 1), file.Seek(0, XSeekStart), file.Position()}),
      (Ints{-1, 0, 0, -1}));
  file.Size(&failed);
  EXPECT_TRUE(failed);
}

TEST_F(XFileTest, WritesNeedBytesAndWriteAccess) {
  XFile file;
  ASSERT_TRUE(file.OpenCreate(Path("f")));
  EXPECT_FALSE(file.Write(nullptr, 5));
  uint32_t written = 99;
  EXPECT_TRUE(file.Write("abc", 3, XSeekCurrent, &written));
  EXPECT_EQ(written, 3u);
  EXPECT_TRUE(file.Write("Z", 1, XSeekStart));
  EXPECT_TRUE(file.Write("!", 1, XSeekEnd));
  ASSERT_TRUE(file.OpenRead(Path("f")));
  EXPECT_NE(FailedWith(file.Write("x", 1)), 0u);
  EXPECT_EQ(Get("f"), "Zbc!");
}

TEST_F(XFileTest, ReadLineHandlesBreaksMarksAndEncodings) {
  const std::string longLine = std::string(99999, 'q') + "w";
  const std::u16string units = u"\uFEFFab\r\ncd\re\n\n\U0001F600z";
  const std::string utf16(reinterpret_cast<const char*>(units.data()), units.size() * 2);
  const struct {
    std::string bytes;
    bool wide, utf8;
    Texts lines;
  } cases[] = {
      {"one\r\ntwo\rthree\nfour", false, false, {"one", "two", "three", "four"}},
      {"\n\r\nx\n", false, false, {"", "", "x"}},
      {"\r", false, false, {}},
      {longLine + "\r\nend", false, false, {longLine, "end"}},
      {"\xEF\xBB\xBFh\xC3\xA9\r\n\xE2\x82\xAC", false, true, {"h\xC3\xA9", "\xE2\x82\xAC"}},
      // Without the rest of the mark the lone EF stays and what follows is read again.
      {"\xEF\x41\x42", false, true, {"\xEF\xBF\xBD\x41\x42"}},
      {utf16, true, false, {"ab", "cd", "e", "", "\xF0\x9F\x98\x80z"}},
      {std::string("a\0b\0c", 5), true, false, {"ab"}},  // an odd byte at the end is no unit
  };
  for (const auto& c : cases) {
    Put("f", c.bytes);
    EXPECT_EQ(Lines("f", c.wide, c.utf8), c.lines) << c.bytes.substr(0, 20);
  }
}

TEST_F(XFileTest, WriteLineAndBomRoundTrip) {
  XFile file;
  ASSERT_TRUE(file.OpenCreate(Path("w")));
  EXPECT_TRUE(file.WriteBom());
  EXPECT_TRUE(file.WriteLine(u"x\u00E9", true));
  EXPECT_TRUE(file.WriteLine(XString(u"y"), false));
  file.Close();
  EXPECT_EQ(Get("w"), std::string("\xFF\xFEx\0\xE9\0\r\0\n\0y\0", 12));
  ASSERT_TRUE(file.OpenCreate(Path("n")));
  EXPECT_TRUE(file.WriteLine("ab", true));
  EXPECT_TRUE(file.WriteLine("c", false));
  file.Close();
  EXPECT_EQ(Get("n"), "ab\r\nc");
}

TEST_F(XFileTest, SeekSizeTruncateAndSetSize) {
  Put("f", "0123456789");
  XFile file;
  ASSERT_TRUE(file.OpenReadWrite(Path("f")));
  EXPECT_TRUE(file.Seek(-3, XSeekEnd));
  EXPECT_EQ(file.Position(), 7);
  EXPECT_FALSE(file.Seek(-20, XSeekCurrent));
  EXPECT_EQ(file.Position(), 7);
  EXPECT_TRUE(file.Truncate(4));
  EXPECT_EQ((Ints{file.Size(), file.Position()}), (Ints{4, 7}));  // the position is kept
  EXPECT_TRUE(file.SetSize(70000));
  EXPECT_EQ(file.Size(), 70000);
  EXPECT_TRUE(file.SetSize(2));
  file.Close();
  EXPECT_EQ(Get("f"), "01");
}

TEST_F(XFileTest, AttachedHandleStaysOpenForItsOwner) {
  int fd = open(Native("f").c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600);
  ASSERT_GE(fd, 0);
  {
    XFile file;
    file.AttachHandle(fd);
    EXPECT_TRUE(file.Write("ab", 2));
  }
  EXPECT_NE(fcntl(fd, F_GETFD), -1);
  XFile copy;
  ASSERT_TRUE(copy.AttachCopy(fd));
  EXPECT_NE(copy.handle, fd);
  EXPECT_TRUE(fcntl(copy.handle, F_GETFD) & FD_CLOEXEC);
  int copied = copy.handle;
  copy.Close();
  EXPECT_EQ(fcntl(copied, F_GETFD), -1);
  close(fd);
  EXPECT_FALSE(copy.AttachCopy(-1));
}

TEST_F(XFileTest, TimesAreFileTimesOfNow) {
  Put("f", "x");
  uint64_t now = (uint64_t(time(nullptr)) + 11644473600u) * 10000000u;
  uint64_t minute = 60u * 10000000u;
  XFile file;
  ASSERT_TRUE(file.OpenRead(Path("f")));
  bool failed = true;
  uint64_t written = file.LastWriteTime(&failed);
  EXPECT_FALSE(failed);
  EXPECT_LT(written > now ? written - now : now - written, minute);
  EXPECT_EQ(XFile::LastWriteTime(Path("f"), &failed), written);
  EXPECT_EQ(XFile::CreationTime(Path("missing"), &failed), 0u);
  EXPECT_TRUE(failed);
}

TEST_F(XFileTest, AFoundMarkIsSteppedOverAtTheStartOnly) {
  Put("u", "\xEF\xBB\xBFxyz");
  XFile u;
  ASSERT_TRUE(u.OpenRead(Path("u")));
  EXPECT_EQ((Ints{u.HasUtf8Bom(), u.Position(), u.Seek(5, XSeekStart), u.HasUtf8Bom(), u.Position(),
                  u.HasUtf16Bom(), u.Position()}),
            (Ints{1, 3, 1, 1, 5, 0, 5}));
}
