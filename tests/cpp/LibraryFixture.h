// A kelo::Library beside a local service.
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
    service().ClearLog();
  }
  // What the error says that `call` throws.
  template <typename Call>
  static std::string Failure(const Call& call) try {
    call();
    return "no failure";
  } catch (const Error& error) {
    return error.what();
  }

  std::unique_ptr<Library> library_ = std::make_unique<Library>();
};

}  // namespace kelo::testing
