// Forks workers, hands them tasks, and runs a lane for each.
#include "host/workers/Workers.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <exception>
#include <future>
#include <thread>
#include <utility>

#include "host/names/ResultText.h"
#include "host/terminal/Output.h"

namespace kelo::host {
namespace {

// Bytes of a record as a text of a message, and back.
std::string BytesOf(const Session& session) {
  return {reinterpret_cast<const char*>(&session), sizeof session};
}

Message MessageOf(const Kept& kept) {
  return {{"url", kept.url},
          {"session", BytesOf(kept.session->session)},
          {"secret", kept.session->secret}};
}

Message MessageOf(const Persistence& persistence) {
  Message message = {{"giveUpAfter", persistence.Patience().count()},
                     {"isLong", persistence.isLong},
                     {"verbose", persistence.verbose}};
  if (persistence.retries) message["retries"] = *persistence.retries;
  return message;
}

Persistence PersistenceOf(const Message& message) {
  Persistence persistence{
      .giveUpAfter = std::chrono::milliseconds(message.at("giveUpAfter").get<std::int64_t>()),
      .isLong = message.at("isLong"),
      .verbose = message.at("verbose")};
  if (message.contains("retries")) persistence.retries = message.at("retries").get<unsigned>();
  return persistence;
}

// ---- In a worker ----

class Child {
 public:
  Child(Peer peer, const Work& work, const Moments& moments)
      : peer_(std::move(peer)), work_(work), moments_(moments) {}

  void Serve() {
    std::thread([this] {
      peer_.AwaitEnd();
      ::_exit(0);  // whatever the library is doing
    }).detach();
    const std::optional<Message> terms = peer_.Receive();
    if (!terms) return;
    Output out(
        [this](std::string_view line) {
          Send({{"say", line}});
        },
        [this](Output::Since since, std::string_view words) { TellOutage(since, words); });
    if (terms->at("quiet")) out.BeQuiet();
    if (const auto log = terms->find("log"); log != terms->end()) out.LogTo(*log);
    Library library(out, PersistenceOf(*terms), &moments_);
    Kept kept;
    kept.url = terms->at("kept").at("url");
    UseKeptServer(kept);
    Restore(library, terms->at("kept"));
    if (terms->at("reopens")) library.OnEndedSession([&] { Reopen(library); });
    OwnedFile file;
    while (const std::optional<Message> task = peer_.Receive(&file)) {
      toldAt_ = {};  // the first event of each task is told
      Send({{"done", work_(library, *task, file.Number(), std::ref(*this))},
            {"why", library.Explanation()}});
      file.Close();
    }
  }

  // What the library tells of a transfer, which may be far more than anybody wants to know.
  void operator()(const kelo::Progress& progress) {
    constexpr auto kPause = std::chrono::milliseconds(50);
    const auto now = std::chrono::steady_clock::now();
    const bool isLast = progress.filesDone == progress.files || progress.done == progress.total;
    if (!isLast && now - toldAt_ < kPause) return;
    toldAt_ = now;
    Send(
        {{"moved",
          {progress.isUpload, progress.done, progress.total, progress.files, progress.filesDone}}});
  }

 private:
  void TellOutage(Output::Since since, std::string_view words) {
    if (!since) return Send({{"waits", nullptr}});
    const auto lasts = std::chrono::round<std::chrono::milliseconds>(Output::Clock::now() - *since);
    Send({{"waits", lasts.count()}, {"words", words}});
  }

  void Send(const Message& message) {
    const std::lock_guard lock(sending_);
    if (!peer_.Send(message)) ::_exit(0);
  }

  static void Restore(Library& library, const Message& kept) {
    const auto& bytes = kept.at("session").get_ref<const std::string&>();
    Session session{};
    bytes.copy(reinterpret_cast<char*>(&session), sizeof session);
    library.Restore(session, kept.at("secret").get_ref<const std::string&>());
  }

  void Reopen(Library& library) {
    Send({{"ended", true}});
    // Without another session the command fails by the one that has ended.
    const std::optional<Message> kept = peer_.Receive();
    if (kept && kept->contains("session")) Restore(library, *kept);
  }

  Peer peer_;
  const Work& work_;
  const Moments& moments_;
  std::mutex sending_;
  std::chrono::steady_clock::time_point toldAt_{};
};

}  // namespace

// ---- The nursery ----

Nursery::Nursery(const Work& work) {
  auto [here, there] = Peer::Pair();
  const pid_t process = ::fork();
  if (process < 0) return;  // then there are no workers
  if (process > 0) {
    peer_ = std::move(here);
    return;
  }
  here = Peer();
  ::signal(SIGCHLD, SIG_IGN);  // nobody waits for them
  OwnedFile socket;
  while (there.Receive(&socket)) {
    const pid_t worker = ::fork();
    if (worker != 0) {
      socket.Close();  // or nobody would see the end of its worker
      there.Send({{"forked", worker > 0}});
      continue;
    }
    there = Peer();
    Child child(Peer(std::move(socket)), work, moments_);
    try {
      child.Serve();
    } catch (const std::exception&) {
      // Its lane sees that it has died.
    }
    ::_exit(0);  // the child's thread looks at it to the end
  }
  ::_exit(0);
}

std::optional<Peer> Nursery::Fork() {
  auto [here, there] = Peer::Pair();
  const std::lock_guard lock(asking_);
  if (!peer_.Send(Message(), there.Number())) return std::nullopt;
  const std::optional<Message> answer = peer_.Receive();
  if (!answer || !answer->at("forked")) return std::nullopt;
  return std::move(here);
}

// ---- In the first process ----

// The end of a worker's connection that its lane has, or the work itself where there is no worker.
class Workers::Connection {
 public:
  explicit Connection(Workers& workers) : workers_(workers) {}
  Connection(Workers& workers, Peer peer) : workers_(workers), peer_(std::move(peer)) {
    const Terms& terms = workers_.terms_;
    given_ = terms.session();
    Message told = MessageOf(terms.persistence);
    told["quiet"] = Out().IsQuiet();
    if (!Out().LogPath().empty()) told["log"] = Out().LogPath();
    told["reopens"] = given_.credentials.has_value();
    told["kept"] = MessageOf(given_);
    peer_->Send(told);
  }
  ~Connection() { Out().ForgetOutage(this); }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  std::optional<Message> Do(Lane& lane, const Message& task, int file, const OnProgress& progress) {
    if (!peer_) return workers_.work_(workers_.library_, task, file, progress);
    const auto receive = [&] { return lane.Aside([&] { return peer_->Receive(); }); };
    if (!lane.Aside([&] { return peer_->Send(task, file); })) return std::nullopt;
    while (std::optional<Message> message = receive()) {
      if (message->contains("done")) return Done(*message);
      if (message->contains("say"))
        Out().Trace(message->at("say").get_ref<const std::string&>());
      else if (message->contains("waits"))
        TellOutage(*message);
      else if (message->contains("moved"))
        Tell(message->at("moved"), progress);
      else
        peer_->Send(Reopened());
    }
    return std::nullopt;
  }

  void Close() const {
    if (peer_) peer_->Close();
  }

 private:
  Output& Out() const { return workers_.library_.Out(); }

  Message Done(Message& message) const {
    if (std::string why = message.at("why"); !why.empty())
      workers_.library_.Explain(std::move(why));
    return std::move(message.at("done"));
  }

  void TellOutage(const Message& message) const {
    const Message& lasts = message.at("waits");
    if (lasts.is_null()) return Out().SetOutage(this, std::nullopt);
    const auto since = Output::Clock::now() - std::chrono::milliseconds(lasts.get<std::int64_t>());
    Out().SetOutage(this, since, message.at("words").get_ref<const std::string&>());
  }

  static void Tell(const Message& moved, const OnProgress& progress) {
    if (!progress) return;
    progress({.isUpload = moved.at(0),
              .done = moved.at(1),
              .total = moved.at(2),
              .files = moved.at(3),
              .filesDone = moved.at(4)});
  }

  Message Reopened() try {
    given_ = workers_.terms_.reopened(given_);
    return MessageOf(given_);
  } catch (const std::exception&) {
    return Message::object();  // there is none
  }

  Workers& workers_;
  std::optional<Peer> peer_;
  Kept given_;
};

Workers::Workers(Library& library, Work work, Terms terms)
    : library_(library), work_(std::move(work)), terms_(std::move(terms)) {
  library_.AlsoStop([this] { Stop(); });
}

Workers::~Workers() {
  library_.AlsoStop(nullptr);
}

std::shared_ptr<Workers::Connection> Workers::Hire(bool forks) {
  std::optional<Peer> peer;
  if (forks) peer = terms_.nursery->Fork();
  auto connection = peer ? std::make_shared<Connection>(*this, std::move(*peer))
                         : std::make_shared<Connection>(*this);
  const std::lock_guard lock(hiring_);
  hired_.push_back(connection);
  if (stopped_) connection->Close();
  return connection;
}

void Workers::Stop() {
  const std::lock_guard lock(hiring_);
  stopped_ = true;
  for (const auto& hired : hired_)
    if (const auto connection = hired.lock()) connection->Close();
}

std::optional<Message> Workers::Lane::Do(const Message& task, int file,
                                         const OnProgress& progress) {
  if (!worker_) worker_ = workers_.Hire(forks_);
  std::optional<Message> done = worker_->Do(*this, task, file, progress);
  if (!done) worker_ = nullptr;
  return done;
}

void Workers::Run(size_t pieces, const std::function<void(Lane&)>& run) {
  const size_t count = std::min<size_t>(Most(), pieces);
  const auto work = [&] {
    Lane lane(*this, count > 1);
    run(lane);
  };
  if (count <= 1) return work();
  std::vector<std::future<void>> lanes;
  for (size_t at = 0; at < count; ++at) lanes.push_back(std::async(std::launch::async, work));
  std::exception_ptr thrown;
  for (std::future<void>& lane : lanes) {
    try {
      lane.get();
    } catch (...) {
      if (!thrown) thrown = std::current_exception();
    }
  }
  if (thrown) std::rethrow_exception(thrown);
}

}  // namespace kelo::host
