// Descriptors: exclusive creation, refusal of what is no file, whole reads and writes; the limit of
// reading a file whole, and the clock.
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
#include <thread>

#include "platform/KELOAccessEncoder.h"
#include "platform/KELOUtility.h"
#include "support/TemporaryFolder.h"

namespace kelo {
namespace {

bool IsOpen(int fd) {
  return ::fcntl(fd, F_GETFD) >= 0;
}

TEST(FileDescriptor, HasOneOwner) {
  const TemporaryFolder folder;
  int error = -1;
  FileDescriptor first = OpenNewFile(folder.Path("a"), 0600, error);
  ASSERT_TRUE(first);
  EXPECT_EQ(error, 0);
  const int fd = first.Get();
  {
    FileDescriptor second(std::move(first));
    EXPECT_FALSE(first);  // NOLINT: a moved-from descriptor is empty
    EXPECT_EQ(second.Get(), fd);
    first = std::move(second);
    EXPECT_FALSE(second);  // NOLINT
  }
  EXPECT_TRUE(IsOpen(fd));
  FileDescriptor other = OpenNewFile(folder.Path("b"), 0600, error);
  first = std::move(other);
  EXPECT_FALSE(IsOpen(fd)) << "an assignment closes what was held";
  const int released = first.Release();
  EXPECT_FALSE(first);
  EXPECT_TRUE(IsOpen(released));
  EXPECT_EQ(FileDescriptor(released).Close(), 0);
  EXPECT_FALSE(IsOpen(released));
  EXPECT_EQ(FileDescriptor().Close(), 0);
}

TEST(OpenNewFile, CreatesItForItsOwnerAndThisProcessAlone) {
  const TemporaryFolder folder;
  int error = 0;
  const FileDescriptor created = OpenNewFile(folder.Path("new"), 0600, error);
  ASSERT_TRUE(created) << std::strerror(error);
  struct stat status {};
  ASSERT_EQ(::fstat(created.Get(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);
  EXPECT_NE(::fcntl(created.Get(), F_GETFD) & FD_CLOEXEC, 0);
  EXPECT_FALSE(OpenNewFile(folder.Path("new"), 0600, error));
  EXPECT_EQ(error, EEXIST);
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
  EXPECT_EQ(ReadSome(reading.Get(), slice.data(), 1, error), 0);
  EXPECT_EQ(ReadSome(-1, slice.data(), 1, error), -1);
  EXPECT_EQ(error, EBADF);
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

}  // namespace
}  // namespace kelo
