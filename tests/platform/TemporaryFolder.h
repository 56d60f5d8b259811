// A folder of its own for a test; gone with everything in it at the end.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

namespace kelo {

class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = testing::TempDir() + "kelo-XXXXXX";
    path_ = ::mkdtemp(name.data()) != nullptr ? name : "";
    EXPECT_FALSE(path_.empty()) << "no temporary folder";
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  std::string Path(const std::string& name) const { return path_ + "/" + name; }

  std::string Write(const std::string& name, std::string_view content) const {
    std::ofstream(Path(name), std::ios::binary) << content;
    return Path(name);
  }

 private:
  std::string path_;
};

}  // namespace kelo
