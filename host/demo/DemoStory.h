// The demonstration: sends every command of the library once, on real pictures, to a service inside
// this process, and proves what can be proved. A proof that fails throws Failure.
#pragma once

#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "host/library/Interrupt.h"
#include "host/library/Library.h"
#include "host/terminal/Output.h"
#include "host/upload/Plan.h"

namespace kelo::devservice {
class Service;
}

namespace kelo::host {

// A folder of its own under the system's temporary one, removed at the end.
class DemoFolder {
 public:
  DemoFolder();
  ~DemoFolder();
  DemoFolder(const DemoFolder&) = delete;
  DemoFolder& operator=(const DemoFolder&) = delete;
  const std::filesystem::path& Path() const { return path_; }

 private:
  const MustTidy tidy_;
  std::filesystem::path path_;
};

// Remembers the codes of the commands that were sent.
class RecordedLibrary : public Library {
 public:
  using Library::Library;

  std::uint32_t Command(std::uint32_t code, tagCommandControlInfo* record,
                        const OnProgress& progress = {}) override {
    sent_.insert(code);
    if (progress)
      sent_.insert({kKELOCommand_RegisterEventCallBack, kKELOCommand_UnregisterEventCallBack});
    return Library::Command(code, record, progress);
  }
  // Abort comes from another thread, and not by Command.
  void RememberAbort() { sent_.insert(kKELOCommand_Abort); }
  size_t CountSent() const { return sent_.size(); }

 private:
  std::set<std::uint32_t> sent_;
};

class DemoStory {
 public:
  // Reads the pictures in `pictures`, changes nothing there. `friendAlbum` becomes a friend's
  // album; empty: one is made of copies of the first pictures.
  DemoStory(RecordedLibrary& library, std::filesystem::path pictures,
            std::filesystem::path friendAlbum);
  ~DemoStory();

  void Tell();

 private:
  // Each step narrates itself. DemoStory.cpp: session to upload.
  void StartService();
  void MakeFriendAlbum(const UploadPlan& plan);
  void OpenSession();
  void CreateAlbum();
  void UploadPictures();
  void UploadAgain();
  void Browse();
  // DemoSharing.cpp: the rest.
  void Edit();
  void LinkIntoAlbum();
  void DownloadEverything();
  void ThereAndBackAgain();
  void ShowStorage();
  void Recipients();
  void SendMail();
  void AbortDownload();
  void ExtendAndClose();
  void AllCommandsSeen() const;

  std::string AddContainer(const std::string& parent, Kind kind, const std::string& name);
  std::vector<File> Upload(const std::vector<std::string>& paths);
  // Proves that nothing is sent of what is put once more.
  void UploadOnceMore(const std::vector<std::string>& paths);
  size_t Arrived(const std::string& method) const;
  size_t DownloadAndCompare(const std::vector<Item>& items, const std::string& folder,
                            const std::vector<std::filesystem::path>& originals);

  // Throws Failure unless `proven`.
  void Prove(bool proven, const std::string& what) const;
  // Begins a step.
  void Title(const std::string& title) const;

  RecordedLibrary& library_;
  Output& out_;
  const std::filesystem::path pictures_;
  std::filesystem::path friendAlbum_;
  const DemoFolder folder_;
  std::unique_ptr<devservice::Service> service_;
  std::string albumId_;
  std::vector<File> uploaded_;  // in the album, each item once
};

}  // namespace kelo::host
