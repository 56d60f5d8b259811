// The file that a download writes. Where the file system can, it has no name until it is whole, so
// that not even a killed host leaves a part of it. Elsewhere it is created under its name by this
// object alone, and goes again unless the download keeps it.
#pragma once

#include <sys/types.h>

#include <string>
#include <string_view>

#include "http/TransportCode.h"
#include "platform/FileStream.h"

namespace kelo {

// One thread at a time. Results are transport codes.
class ArrivingFile {
 public:
  ArrivingFile() = default;
  ArrivingFile(const ArrivingFile&) = delete;
  ArrivingFile& operator=(const ArrivingFile&) = delete;
  ~ArrivingFile() { Discard(); }

  // Creates the file in the folder that the path names now, whatever becomes of the path. Anything
  // that stands there is left alone, a dangling link included.
  TransportCode Create(const std::string& path);
  TransportCode Write(std::string_view data);
  // Gives the file its name, unless something has taken it or data was lost, and closes it. After
  // a failure there is no file.
  TransportCode Keep();
  // Closes the file and removes it, if it still is the one that was created.
  void Discard();

 private:
  TransportCode CreateNamed();
  bool RememberFile();
  TransportCode TakeName();
  // Where a policy forbids the link that names a nameless file.
  TransportCode CopyToNamed();
  void RemoveIfStillOurs();

  FileDescriptor folder_;
  std::string name_;  // in the folder
  FileDescriptor file_;
  bool hasName_ = false;
  dev_t device_ = 0;  // what was created, to be told from what may stand there later
  ino_t inode_ = 0;
  pid_t process_ = 0;  // a process that is forked off leaves it to its parent
};

}  // namespace kelo
