// Descriptors: new files, refusal of what is no file, whole reads and writes; the limit of reading
// a file whole, the clock, and the mutex; digests against published values, and the hash of what a
// peer chooses.
#include "platform/FileStream.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <random>
#include <set>
#include <thread>

#include "platform/KELOAccessEncoder.h"
#include "platform/KELOCriticalSection.h"
#include "platform/KELOUtility.h"
#include "platform/KeyedHash.h"
#include "support/TemporaryFolder.h"

// The system's random source, in its place.
static bool sourceFails = false;
static unsigned char drawn = 0;

extern "C" int getentropy(void* buffer, size_t length) {
  if (sourceFails) return -1;
  for (size_t i = 0; i < length; ++i) static_cast<unsigned char*>(buffer)[i] = ++drawn;
  return 0;
}

namespace kelo {
namespace {

using namespace std::string_view_literals;

TEST(FileDescriptor, IsOfANewFileAndClosedByAnAssignment) {
  const TemporaryFolder folder;
  int error = -1;
  FileDescriptor file = OpenNewFile(folder.Path("a"), 0600, error);
  ASSERT_TRUE(file);
  EXPECT_EQ(error, 0);
  const int fd = file.Get();
  EXPECT_NE(::fcntl(fd, F_GETFD) & FD_CLOEXEC, 0);
  EXPECT_FALSE(OpenNewFile(folder.Path("a"), 0600, error)) << "it exists";
  EXPECT_EQ(error, EEXIST);
  file = OpenNewFile(folder.Path("b"), 0600, error);
  EXPECT_EQ(::fcntl(fd, F_GETFD), -1);
}

TEST(OpenRegularFileForReading, TellsTheSizeAndRefusesTheRest) {
  const TemporaryFolder folder;
  std::uint64_t size = 99;
  int error = -1;
  const FileDescriptor file = OpenRegularFileForReading(folder.Write("f", "12345"), size, error);
  ASSERT_TRUE(file);
  EXPECT_EQ(size, 5u);
  EXPECT_EQ(error, 0);
  EXPECT_NE(::fcntl(file.Get(), F_GETFD) & FD_CLOEXEC, 0);

  ASSERT_EQ(::mkfifo(folder.Path("fifo").c_str(), 0600), 0);
  const std::pair<std::string, int> refused[] = {{folder.Path(""), EISDIR},
                                                 {folder.Path("fifo"), EINVAL},
                                                 {"/dev/zero", EINVAL},
                                                 {folder.Path("missing"), ENOENT},
                                                 {"", ENOENT}};
  for (const auto& [path, reason] : refused) {
    size = 99;
    EXPECT_FALSE(OpenRegularFileForReading(path, size, error)) << path;
    EXPECT_EQ(error, reason) << path;
    EXPECT_EQ(size, 0u) << path;
    // Nor do those who read files whole take it for one.
    std::uint32_t length = 99;
    EXPECT_EQ(KELOUtility().ReadLocalTextFile(path, length), nullptr) << path;
    EXPECT_EQ(length, 0u) << path;
    std::string digest = "old";
    EXPECT_EQ(KELOAccessEncoder().AccessEncodeFileMD5(path, digest), 0u) << path;
    EXPECT_EQ(digest, "") << path;
  }
}

// Signals cut the writes of the other thread short, at any place.
TEST(ReadAndWrite, WholeInSpiteOfInterruptions) {
  struct sigaction interrupt {};
  struct sigaction previous {};
  interrupt.sa_handler = [](int) {};  // without SA_RESTART
  ASSERT_EQ(::sigaction(SIGUSR1, &interrupt, &previous), 0);
  int ends[2];
  ASSERT_EQ(::pipe(ends), 0);
  const FileDescriptor reading(ends[0]);
  FileDescriptor writing(ends[1]);
  std::string sent(1000003, '\0');
  std::mt19937 random(1);  // no period, or a repeated or missing block could go unseen
  std::generate(sent.begin(), sent.end(), [&] { return static_cast<char>(random()); });
  std::thread writer([&] {
    int error = -1;
    EXPECT_TRUE(WriteAll(writing.Get(), sent.data(), sent.size(), error));
    EXPECT_EQ(error, 0);
    writing.Close();
  });
  std::string got;
  std::string slice(5000, '\0');
  int error = -1;
  std::size_t size = 0;
  do {
    size = ReadFull(reading.Get(), slice.data(), slice.size(), error);
    got.append(slice, 0, size);
    ::pthread_kill(writer.native_handle(), SIGUSR1);
  } while (size == slice.size());
  writer.join();
  ::sigaction(SIGUSR1, &previous, nullptr);
  EXPECT_EQ(error, 0) << "the end of the file is no error";
  EXPECT_TRUE(got == sent) << got.size() << " of " << sent.size() << " bytes";
  EXPECT_EQ(ReadFull(-1, slice.data(), 1, error), 0u);
  EXPECT_EQ(error, EBADF);
}

TEST(KELOUtility, AFileTooLargeForItsLengthIsNotRead) {
  const TemporaryFolder folder;
  const std::string path = folder.Write("huge", "");
  std::filesystem::resize_file(path, std::uint64_t{1} << 32);
  std::uint32_t size = 99;
  EXPECT_EQ(KELOUtility().ReadLocalTextFile(path, size), nullptr);
  EXPECT_EQ(size, 0u);
}

TEST(KELOUtility, TheClockCountsSecondsSince2001) {
  constexpr double kReferenceDate = 978307200;  // 2001-01-01T00:00:00Z in Unix time
  const auto before = static_cast<double>(std::time(nullptr));
  const double now = GetTimeIntervalSinceReferenceDate() + kReferenceDate;
  const auto after = static_cast<double>(std::time(nullptr));
  EXPECT_GE(now, before);
  EXPECT_LT(now, after + 2);  // whole seconds, by a clock that may lag a tick behind
}

TEST(KELOCriticalSection, KeepsThreadsApart) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 1000;
  KELOCriticalSection section;
  int count = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < kThreads; ++i) {
    threads.emplace_back([&] {
      for (int round = 0; round < kRounds; ++round) {
        const KELOAutoLock lock(section);
        const int before = count;
        std::this_thread::yield();
        count = before + 1;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(count, kThreads * kRounds);
  EXPECT_EQ(section.Enter(), 0) << "every scope let go";
  EXPECT_EQ(section.Leave(), 0);
}

TEST(KELOAccessEncoder, Sha1IsOfATextToItsFirstZero) {
  const std::string million(1000000, 'a');
  const std::pair<std::string_view, const char*> cases[] = {
      {"abc", "a9993e364706816aba3e25717850c26c9cd0d89d"},
      {million, "34aa973cd4c4daa4f61eeb2bdbad27316534016f"},
      {"abc\0def"sv, "a9993e364706816aba3e25717850c26c9cd0d89d"},  // ends at the zero byte
      {"\0abc"sv, "da39a3ee5e6b4b0d3255bfef95601890afd80709"}};
  for (const auto& [text, expected] : cases) {
    std::string digest = "old";
    EXPECT_EQ(KELOAccessEncoder().AccessEncodeSHA1(text, digest), 1u);
    EXPECT_EQ(digest, expected) << text.substr(0, 60);
  }
}

TEST(KELOAccessEncoder, Md5IsOfAWholeFile) {
  // Sizes around the chunk and around the read buffer; the content is 'a' throughout.
  const TemporaryFolder folder;
  const std::pair<std::size_t, const char*> cases[] = {{255, "46bc249a5a8fc5d622cf12c42c463ae0"},
                                                       {256, "81109eec5aa1a284fb5327b10e9c16b9"},
                                                       {257, "b7958df91b9413477491e9b6e27f1bac"},
                                                       {65537, "b3c6fc238e908636e53aabd5ad830cf7"}};
  for (const auto& [size, expected] : cases) {
    std::string digest = "old";
    const std::string path = folder.Write("f", std::string(size, 'a'));
    EXPECT_EQ(KELOAccessEncoder().AccessEncodeFileMD5(path, digest), 1u) << size;
    EXPECT_EQ(digest, expected) << size;
  }
}

// Texts that differ in a single byte of any place, or by their length alone.
TEST(KeyedHash, TellsTextsApartByAKeyOfItsOwn) {
  std::set<std::string> texts;
  for (size_t length = 0; length < 40; ++length) {
    texts.insert(std::string(length, '\0'));
    for (size_t at = 0; at < length; ++at)
      texts.insert(std::string(length, 'a').replace(at, 1, "b"));
  }
  for (sourceFails = false;; sourceFails = true) {
    std::set<size_t> values;
    const KeyedHash first;
    const KeyedHash second;
    const KeyedHash copy(first);
    for (const std::string& text : texts) {
      values.insert({first(text), second(text)});
      EXPECT_EQ(copy(text), first(text));
    }
    EXPECT_EQ(values.size(), 2 * texts.size()) << sourceFails;
    if (sourceFails) break;
  }
}

}  // namespace
}  // namespace kelo
