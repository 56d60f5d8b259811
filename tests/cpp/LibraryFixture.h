// A fixture for the tests of the C++ interface: a kelo::Library that talks to a local service.
#pragma once

#include "KELOAccess.hpp"
#include "support/CommandTest.h"

namespace kelo::testing {

class LibraryTest : public CommandTest {
 protected:
  Credentials Known() {
    return {.apiKey = service().ApiKey(),
            .authToken = service().AuthToken(),
            .signingSecret = service().Secret()};
  }
  void Open() {
    library_->Open(Known());
    service().ClearArrived();
  }
  // What the error says that `call` throws.
  template <typename Call>
  static std::string Failure(const Call& call) try {
    call();
    return "no failure";
  } catch (const Error& error) {
    return error.what();
  }
  // "id:code" of each file of an upload, and what was thrown for all of them.
  template <typename Upload>
  static std::string Told(const Upload& upload) {
    std::string told;
    const auto tell = [&told](const std::vector<UploadedFile>& files) {
      for (const UploadedFile& file : files)
        told += file.id + ":" + (file.error ? std::to_string(file.error->Code()) : "") + " ";
    };
    try {
      tell(upload());
    } catch (const UploadError& error) {
      tell(error.Files());
      told += std::to_string(error.Code()) + (error.MayBeStored() ? " may be stored" : "");
    }
    return told;
  }

  std::unique_ptr<Library> library_ = std::make_unique<Library>();
};

}  // namespace kelo::testing
