// A client's request: kept, perhaps made to fail, else answered by the protocol.
#pragma once

#include <optional>
#include <string>

#include "devservice/DevService.h"
#include "devservice/faults/Faults.h"
#include "devservice/http/Exchange.h"
#include "devservice/methods/Api.h"
#include "devservice/methods/UploadReceiver.h"

namespace kelo::devservice {

class Arrivals;
class RequestLog;

class ClientExchange final : public Exchange {
 public:
  // What a request meets; all outlive it.
  struct Parts {
    const Service::Options& options;
    Api& api;
    Store& store;  // touched under the mutex of `api`
    Faults& faults;
    RequestLog& log;
    Arrivals& arrivals;
  };
  ClientExchange(const Parts& parts, ClientRequest head)
      : Exchange(std::move(head)), parts_(parts) {}

  std::optional<Reply> OnHead() override;
  std::uint64_t MaxBody() override;
  void Take(std::string_view bytes) override;
  void OnArrived() override;
  Reply OnRequest() override;
  void OnDone() override;

 private:
  std::uint64_t MaxDocument() const;
  void Fire(const std::string& method);
  Reply AnswerBySomebody();
  Reply AnswerByItself();
  Reply AnswerGet();
  Reply Document(CallReport report);

  const Parts& parts_;
  std::optional<Fault> fault_;            // that fired
  std::optional<UploadReceiver> upload_;  // where the body goes, if it is one
};

}  // namespace kelo::devservice
