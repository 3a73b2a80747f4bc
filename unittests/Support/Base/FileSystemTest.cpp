#include "orvy/Support/FileSystem.h"

#include "Testing/TempDir.h"
#include "orvy/Support/MemoryBuffer.h"
#include "orvy/Support/Terminal.h"

#include <cstring>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <pty.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace orvy;
using orvy::testing::TempDir;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::UnorderedElementsAre;

namespace {

std::string textOf(const MemoryBuffer &Buffer) {
  return {Buffer.begin(), Buffer.end()};
}
std::string contents(const std::string &Path) {
  return textOf(*MemoryBuffer::readFile(Path.c_str()));
}
unsigned modeOf(const std::string &Path) {
  struct stat Info = {};
  stat(Path.c_str(), &Info);
  return Info.st_mode & 0777;
}

TEST(FileSystem, TellsFilesFromDirectories) {
  TempDir Dir;
  const std::string File = Dir.file("file", "abc");
  EXPECT_TRUE(fs::exists(File) && fs::isFile(File) && !fs::isDir(File));
  EXPECT_TRUE(fs::exists(Dir.path()) && fs::isDir(Dir.path()) && !fs::isFile(Dir.path()));
  EXPECT_FALSE(fs::exists(Dir.path("none")) || fs::isFile(Dir.path("none")));
  EXPECT_FALSE(fs::exists("") || fs::isDir(""));
  EXPECT_EQ(fs::size(File.c_str()), 3u);
  EXPECT_EQ(fs::size(Dir.path("none").c_str()), 0u);
  chmod(Dir.dir("locked").c_str(), 0600);
  EXPECT_TRUE(fs::isDir(Dir.path("locked"))) << "no execute bit needed";
}

TEST(FileSystem, KnowsWhatIsEmpty) {
  TempDir Dir;
  EXPECT_TRUE(fs::isEmpty(Dir.dir("bare").c_str()));
  EXPECT_FALSE(fs::isEmpty(Dir.path().c_str()));
  EXPECT_TRUE(fs::isEmpty(Dir.file("nothing").c_str()));
  EXPECT_FALSE(fs::isEmpty(Dir.file("something", "x").c_str()));
  EXPECT_FALSE(fs::isEmpty(Dir.path("none").c_str()));
  EXPECT_FALSE(fs::isEmpty("/dev/null")) << "neither file nor directory";
}

TEST(FileSystem, MovesCopiesAndRemoves) {
  TempDir Dir;
  const std::string A = Dir.file("a", "text");
  const std::string B = Dir.path("b");
  const std::string C = Dir.file("c", "old");
  EXPECT_TRUE(fs::cp(A.c_str(), B.c_str()));
  EXPECT_EQ(contents(B), "text");
  EXPECT_EQ(modeOf(B), 0600u);
  EXPECT_FALSE(fs::cp(A.c_str(), C.c_str()));
  EXPECT_EQ(contents(C), "old");
  EXPECT_FALSE(fs::cp(Dir.path("none").c_str(), Dir.path("d").c_str()));
  EXPECT_FALSE(fs::cp(Dir.path().c_str(), Dir.path("d").c_str()));
  EXPECT_FALSE(fs::cp(Dir.file("nothing").c_str(), Dir.path("d").c_str()));
  EXPECT_FALSE(fs::exists(Dir.path("d"))) << "a copy that cannot be made leaves nothing";
  EXPECT_TRUE(fs::mv(A.c_str(), C.c_str()));
  EXPECT_EQ(contents(C), "text");
  EXPECT_FALSE(fs::mv(A.c_str(), C.c_str()));
  EXPECT_TRUE(fs::rm(C.c_str()));
  EXPECT_FALSE(fs::rm(C.c_str()));
}

TEST(FileSystem, LeavesNoDescriptorOpen) {
  TempDir Dir;
  const std::string File = Dir.file("file", "text");
  const int Before = dup(0);
  close(Before);
  for (int Count = 0; Count < 3; ++Count) {
    fs::cp(File.c_str(), Dir.path("copy").c_str());
    MemoryBuffer::mapFile(File.c_str());
    MemoryBuffer::mapFile(Dir.path().c_str());
    MemoryBuffer::readFile(File.c_str());
    fs::ls(Dir.path().c_str());
  }
  const int After = dup(0);
  close(After);
  EXPECT_EQ(After, Before);
}

TEST(FileSystem, MakesDirectories) {
  TempDir Dir;
  EXPECT_TRUE(fs::mkdir(Dir.path("one").c_str(), false));
  EXPECT_EQ(modeOf(Dir.path("one")), 0700u);
  EXPECT_FALSE(fs::mkdir(Dir.path("one").c_str(), false));
  EXPECT_FALSE(fs::mkdir(Dir.path("x/y").c_str(), false));
  EXPECT_TRUE(fs::mkdir(Dir.path("x//y/z/").c_str(), true));
  EXPECT_TRUE(fs::isDir(Dir.path("x/y/z")));
  EXPECT_TRUE(fs::mkdir(Dir.path("x/y").c_str(), true));
  const std::string File = Dir.file("file");
  EXPECT_TRUE(fs::mkdir(File.c_str(), true)) << "there already";
  EXPECT_FALSE(fs::mkdir((File + "/below").c_str(), true));
  ASSERT_EQ(chdir(Dir.path().c_str()), 0);
  EXPECT_TRUE(fs::mkdir("here/and/there", true));
  EXPECT_TRUE(fs::isDir(Dir.path("here/and/there")));
}

TEST(FileSystem, ListsNames) {
  TempDir Dir;
  Dir.file("a");
  Dir.file("sub/b");
  EXPECT_THAT(fs::ls(Dir.path().c_str()), UnorderedElementsAre(".", "..", "a", "sub"));
  EXPECT_THAT(fs::ls(Dir.path("none").c_str()), IsEmpty());
}

TEST(FileSystem, KnowsTheCurrentDirectory) {
  TempDir Dir;
  ASSERT_EQ(chdir(Dir.dir("gone").c_str()), 0);
  EXPECT_EQ(fs::cwd(), std::filesystem::canonical(Dir.path("gone")).string());
  rmdir(Dir.path("gone").c_str());
  EXPECT_EQ(fs::cwd(), "");
  EXPECT_EQ(fs::tempDir(), "/tmp");
}

struct PathCase {
  const char *Path;
  const char *FileName;
  const char *Directory;
  const char *Normal;
  bool IsAbsolute;
};

TEST(PathText, Parts) {
  const PathCase Cases[] = {
      {"a/b/c", "c", "a", "a/b/c", false},
      {"/a/b", "b", "", "/a/b", true},
      {"name", "name", "name", "name", false},
      {"dir/", "", "dir", "dir/", false},
      {"", "", "", "", false},
      {"/", "", "", "/", true},
      {"//a///b/", "", "", "/a/b/", true},
      {"./../x", "x", ".", "./../x", false},
  };
  for (const PathCase &Case : Cases) {
    EXPECT_EQ(fs::fileNameComponent(Case.Path), Case.FileName) << Case.Path;
    EXPECT_EQ(fs::directoryComponent(Case.Path), Case.Directory) << Case.Path;
    EXPECT_EQ(fs::normalisePath(Case.Path), Case.Normal) << Case.Path;
    EXPECT_EQ(fs::isAbsolutePath(Case.Path), Case.IsAbsolute) << Case.Path;
    EXPECT_EQ(fs::isRelativePath(Case.Path), !Case.IsAbsolute) << Case.Path;
  }
  EXPECT_THAT(fs::pathComponents("/a/b"), ElementsAre("", "a", "b"));
  EXPECT_THAT(fs::pathComponents("a//b/"), ElementsAre("a", "", "b"));
  EXPECT_THAT(fs::pathComponents(""), IsEmpty());
}

TEST(MemoryBuffers, HoldAFile) {
  TempDir Dir;
  const std::string Text("with\0zero\n", 10);
  const std::string File = Dir.file("file", Text);
  EXPECT_EQ(textOf(*MemoryBuffer::mapFile(File.c_str())), Text);
  EXPECT_EQ(textOf(*MemoryBuffer::readFile(File.c_str())), Text);
  auto Mapped = MemoryBuffer::mapFile(File.c_str());
  fs::rm(File.c_str());
  EXPECT_EQ(textOf(*Mapped), Text);

  const std::string Empty = Dir.file("empty");
  EXPECT_EQ(MemoryBuffer::mapFile(Empty.c_str()), nullptr);
  EXPECT_EQ(MemoryBuffer::readFile(Empty.c_str())->size(), 0u);
  for (const std::string &Path : {Dir.path("none"), Dir.path()}) {
    EXPECT_EQ(MemoryBuffer::mapFile(Path.c_str()), nullptr) << Path;
    EXPECT_EQ(MemoryBuffer::readFile(Path.c_str()), nullptr) << Path;
  }
}

TEST(MemoryBuffers, SayWhyAFileCannotBeHeld) {
  TempDir Dir;
  EXPECT_THROW(MappedMemoryBuffer(Dir.path("none").c_str()), std::length_error);
  EXPECT_THROW(MappedMemoryBuffer(Dir.path().c_str()), std::system_error);
  EXPECT_THROW(FileMemoryBuffer(Dir.path("none").c_str()), std::runtime_error);
}

TEST(MemoryBuffers, ViewAndCopyAnInclusiveRange) {
  char Text[] = "abc";
  auto View = MemoryBuffer::getBuffer(Text, Text + 1);
  auto Copy = MemoryBuffer::getBufferCopy(Text, Text + 1);
  Text[0] = 'x';
  EXPECT_EQ(textOf(*View), "xb");
  EXPECT_EQ(textOf(*Copy), "ab");
  EXPECT_EQ(MemoryBuffer::getBuffer(Text, Text)->size(), 1u);
  EXPECT_EQ(MemoryBuffer::getBuffer(Text + 1, Text), nullptr);
  EXPECT_EQ(MemoryBuffer::getBufferCopy(Text + 1, Text), nullptr);
}

TEST(Terminal, HasTheSizeOfTheStandardOutput) {
  const int Saved = dup(STDOUT_FILENO);
  const winsize Size = {50, 132, 0, 0};
  int Master, Slave;
  ASSERT_EQ(openpty(&Master, &Slave, nullptr, nullptr, &Size), 0);
  dup2(Slave, STDOUT_FILENO);
  const uint32_t Cols = term::getTermCols(), Rows = term::getTermRows();
  const int Null = open("/dev/null", O_WRONLY);
  dup2(Null, STDOUT_FILENO);
  const uint32_t ColsWithout = term::getTermCols(), RowsWithout = term::getTermRows();
  dup2(Saved, STDOUT_FILENO);
  for (int Descriptor : {Saved, Master, Slave, Null})
    close(Descriptor);
  EXPECT_EQ(Cols, 132u);
  EXPECT_EQ(Rows, 50u);
  EXPECT_EQ(ColsWithout, 80u);
  EXPECT_EQ(RowsWithout, 24u);
}

} // namespace
