// A process that has used nothing of the libraries underneath. They can't repeat all that they make
// once, so what they can't must fail before there is a command.
#include <openssl/crypto.h>

#include "support/Child.h"
#include "support/FaultPoint.h"
#include "support/HostRecords.h"

namespace kelo::testing {
namespace {

uint32_t AskNobody() {
  tagKELO_SessionInfo session = SessionAt("http://127.0.0.1:1");
  tagCommandControlInfo record{};
  record.data = &session;
  const uint32_t result = KELOAccessCommand(kKELOCommand_SetSessionInfo, &record);
  tagKELO_StorageCapacityInfo capacity{};
  record.data = &capacity;
  return result != 0 ? result : KELOAccessCommand(kKELOCommand_GetStorageCapacity, &record);
}

// Whether there was an n-th allocation.
bool TryPoint(unsigned n) {
  alarm(30);
  SetFault({CallKind::Allocation, n, 0});
  const uint32_t begun = KELOAccessInitialize(0);
  const uint32_t first = begun == 0 ? AskNobody() : 0;
  const FaultReport report = TakeFault();
  EXPECT_TRUE(begun == 0 || begun == kKELOResult_GeneralFailure) << begun;
  if (begun == 0) EXPECT_EQ(AskNobody(), uint32_t{kKELOResult_TransportFailure}) << first;
  return report.Failed();
}

// Whether libcrypto, all alone, never comes back from this failure.
bool HangsWithoutUs(unsigned n) {
  return InChild([=] {
           alarm(5);
           FailsAt(
               {CallKind::Allocation, n},
               [] { OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr); });
           return 0;
         }) < 0;
}

// KELO_TORTURE=all tries the thousands of later ones too.
TEST(NewProcess, EndsAtItsBeginningOrNotAtAll) {
  const char* const wanted = getenv("KELO_TORTURE");
  const unsigned last = wanted != nullptr && std::string_view(wanted) == "all" ? ~0u : 60;
  for (unsigned n = 1; n <= last; ++n) {
    if (n > 1 && HangsWithoutUs(n - 1)) continue;  // the first allocation is the library's own
    const int code = InChild([=] {
      const bool failed = TryPoint(n);
      return ::testing::Test::HasFailure() ? 1 : failed ? 0 : 2;
    });
    if (code == 2) break;  // there are no more
    ASSERT_EQ(code, 0) << "allocation " << n;
  }
}

}  // namespace
}  // namespace kelo::testing
