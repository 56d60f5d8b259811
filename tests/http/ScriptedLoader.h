// A loader whose events are written by the test: each slice runs the next step.
#pragma once

#include <gtest/gtest.h>

#include <deque>
#include <functional>

#include "platform/URLLoading.h"

namespace kelo {

// What a ScriptedLoader is told and what it saw; shared with the test, which outlives the loader.
struct LoaderScript {
  using Step = std::function<void(URLConnectionDelegate&)>;
  std::deque<Step> steps;
  std::vector<URLRequest> requests;

  void Response(int status, std::optional<std::uint64_t> length = std::nullopt) {
    steps.push_back([=](URLConnectionDelegate& d) { d.DidReceiveResponse(status, length); });
  }
  void Data(std::string data) {
    steps.push_back([data](URLConnectionDelegate& d) { d.DidReceiveData(data); });
  }
  void Finish() {
    steps.push_back([](URLConnectionDelegate& d) { d.DidFinishLoading(); });
  }
  // A whole answer.
  void Answer(int status, const std::string& body) {
    Response(status, body.size());
    Data(body);
    Finish();
  }
};

class ScriptedLoader final : public URLLoader {
 public:
  explicit ScriptedLoader(LoaderScript& script) : script_(script) {}

  std::unique_ptr<URLConnection> Start(const URLRequest& request,
                                       URLConnectionDelegate& delegate) override {
    script_.requests.push_back(request);
    delegate_ = &delegate;
    return std::make_unique<Connection>();
  }
  void RunSlice(std::chrono::milliseconds) override {
    if (script_.steps.empty()) throw std::logic_error("the wait went on after the last event");
    const auto step = script_.steps.front();
    script_.steps.pop_front();
    step(*delegate_);
  }

 private:
  struct Connection final : URLConnection {
    void Cancel() override {}
  };

  LoaderScript& script_;
  URLConnectionDelegate* delegate_ = nullptr;
};

}  // namespace kelo
