// What kelo remembers of files and items: never "already there" for other bytes, and nothing sent
// twice for a date.
#include <fcntl.h>
#include <sys/inotify.h>

#include <list>

#include "HostTest.h"
#include "database/Database.h"

namespace kelo::host::testing {
namespace {

class MemoryTest : public PutTest {
 protected:
  Outcome PutElsewhere() { return Kelo({"put", In()}, Elsewhere()); }
  // The only one in the home.
  fs::path DatabasePath() const {
    const std::string folder = "home/.local/state/kelo/memory";
    return folder_ / folder / Names(folder).front();
  }
  size_t Requests() const { return Arrived("CheckUploadItems") + Arrived("UploadItems"); }
};

constexpr const char* kTaken = " taken for the same by name, size and date";

TEST_F(MemoryTest, OtherBytesAreNeverThere) {
  Set("a.jpg", "first");
  EXPECT_THAT(Put().out, EndsWith("1 stored, 0 already there, 0 not stored\n"));
  // What a get notes of the edited file, from which its item comes, does not make it that item.
  Set("a.jpg", "again");
  EXPECT_EQ(Kelo({"get", "root", "--to", In()}).exitCode, 1);
  for (const char* edited : {"again", "third"}) {
    Set("a.jpg", edited);
    EXPECT_THAT(Put("--dry-run").out, HasSubstr("a.jpg: would be stored, 5 bytes, as a new item"));
    const Outcome put = Put("--json");
    EXPECT_THAT(put.out, AllOf(HasSubstr("\"stored\""), HasSubstr("\"changed\":true")));
    EXPECT_EQ(put.err, "1 stored, 0 already there, 0 not stored\n");
    EXPECT_THAT(Put().out, EndsWith("0 stored, 1 already there, 0 not stored\n"));
  }
  // Each of the three is known, whichever lies there now.
  for (const char* former : {"first", "third", "again"}) {
    Set("a.jpg", former);
    EXPECT_THAT(Put().out, EndsWith("0 stored, 1 already there, 0 not stored\n"));
  }
  EXPECT_EQ(Account().size(), 4u);  // with the root album
  // Of the name, size and date of another one; the third is a copy of the second.
  Set("1/c.jpg", "first"), Set("2/c.jpg", "other"), Set("3/c.jpg", "other");
  EXPECT_THAT(Put().out, EndsWith("2 stored, 2 already there, 0 not stored\n"));
  fs::remove_all(In() / "1"), fs::remove_all(In() / "2"), fs::remove_all(In() / "3");
  // A voice memo goes with its picture.
  Set("b.jpg", "first");
  Set("b.wav", "sound");
  EXPECT_EQ(Put().exitCode, 0);
  Set("b.jpg", "other");
  EXPECT_THAT(Put().out, EndsWith("2 stored, 1 already there, 0 not stored\n"));
}

TEST_F(MemoryTest, WhatIsKnownByItsBytesIsNotSentAgain) {
  Set("a.jpg", "picture");
  Set("b.jpg", "other");
  EXPECT_EQ(Put("--album One").exitCode, 0);
  Set("a.jpg", "picture", 1'600'000'000);          // its date has moved
  fs::rename(In() / "b.jpg", In() / "b (2).jpg");  // as get would name it
  service_.ClearArrived();
  const Outcome put = Put("--album Two");
  EXPECT_THAT(put.out, HasSubstr("0 stored, 2 were there and are now in Two"));
  EXPECT_THAT(Put("--album Two").out, HasSubstr("0 stored, 2 already there"));
  EXPECT_EQ(Requests(), 0u);
  EXPECT_THAT(put.err, Not(HasSubstr(kTaken)));
}

TEST_F(MemoryTest, AnotherMachineIsBelievedUntilTheFileChanges) {
  Set("a.jpg", "first");
  Set("b.jpg", "stays");
  EXPECT_EQ(Put().exitCode, 0);
  for (int time = 0; time < 2; ++time) {
    const Outcome put = PutElsewhere();
    EXPECT_THAT(put.out, EndsWith("0 stored, 2 already there, 0 not stored\n"));
    EXPECT_THAT(put.err, HasSubstr("2 files" + std::string(kTaken)));
  }
  Set("a.jpg", "other");
  const Outcome put = PutElsewhere();
  EXPECT_THAT(put.out, HasSubstr("a.jpg: stored, 5 bytes, as a new item"));
  EXPECT_THAT(put.err, HasSubstr("1 file" + std::string(kTaken)));
}

// The service is never asked about memos. One that is new or edited beside a picture that is there
// goes up alone; no other does, here or elsewhere.
TEST_F(MemoryTest, AMemoIsNotThereForItsPictureAlone) {
  struct Step {
    const char* name;
    const char* content;
    bool elsewhere;
    const char* sums;
  };
  const Step steps[] = {
      {"a.wav", "sound", false, "2 stored, 0"},     {"a.wav", "edited", false, "1 stored, 1"},
      {"a.wav", "edited", true, "0 stored, 2"},     {"b.jpg", "other", false, "1 stored, 2"},
      {"b.wav", "later", false, "1 stored, 3"},     {"b.wav", "later", true, "0 stored, 4"},
      {"c.jpg", "third", false, "1 stored, 4"},     {"c.wav", "elsewhere", true, "1 stored, 5"},
      {"c.wav", "elsewhere", false, "0 stored, 6"},
  };
  Set("a.jpg", "first");
  for (const Step& step : steps) {
    Set(step.name, step.content);
    const Words environment = step.elsewhere ? Elsewhere() : Environment();
    // What a check notes of an edited file does not make it the item that it was.
    Kelo({"check", In(), "Party"}, environment);
    const Words put = {"put", In(), "--album", "Party"};
    const std::string sums = step.sums + std::string(" already there, 0 not stored\n");
    EXPECT_THAT(Kelo(put, environment).out, EndsWith(sums)) << step.name;
    for (const Words& more : {Words("--dry-run"), Words()}) {
      const Outcome again = Kelo(put + more, environment);
      EXPECT_EQ(again.exitCode, 0) << again.err;
      EXPECT_THAT(again.out, HasSubstr(" already there, 0 not stored\n"));
      EXPECT_THAT(again.out, AnyOf(HasSubstr("\n0 stored, "), HasSubstr("\n0 would be stored, ")));
    }
  }
  // That of a copy goes up too, though this run has stored its picture.
  for (const char* name : {"1/d.jpg", "2/d.jpg"}) Set(name, "copied");
  Set("2/d.wav", "its own");
  EXPECT_THAT(Put().out, EndsWith("2 stored, 7 already there, 0 not stored\n"));
}

TEST_F(MemoryTest, NothingIsGuessedWhereItCouldBeKnown) {
  Set("a.jpg", "first");
  ASSERT_EQ(Put().exitCode, 0);
  // Known by its bytes, but whether the account still has it cannot be asked.
  Set("a.jpg", "first", 5);
  AnswerWith({.status = 500}, "GetHierarchy");
  const Outcome put = Put();
  EXPECT_EQ(put.exitCode, 1);
  EXPECT_THAT(put.err, HasSubstr("1 file not sent: "));
  // Edited while it is sent, its size and date kept.
  Set("b.jpg", "second");
  service_.SetScript([&](const ClientRequest& request) {
    if (request.method == "UploadItems") Set("b.jpg", "SECOND");
    return std::optional<Reply>();
  });
  const Outcome edited = Kelo({"put", In() / "b.jpg"});
  EXPECT_EQ(edited.exitCode, 1);
  EXPECT_THAT(edited.err, HasSubstr("b.jpg: it changed while it was sent"));
  EXPECT_THAT(Put().out, EndsWith("1 stored, 1 already there, 0 not stored\n"));
}

TEST_F(MemoryTest, UnchangedFilesAreNotOpened) {
  for (int at = 0; at < 150; ++at) Set(std::to_string(at) + ".jpg", std::to_string(at));
  Set("large.jpg", std::string(1'000'000, 'x'));
  // A file that was written a moment before may change once more within that moment.
  for (int time = 0; time < 2; ++time) EXPECT_EQ(Put().exitCode, 0);
  const fs::path out = In().parent_path() / "out";
  const Words get{"get", "--all", "--include", "large.jpg", "--to", out};
  EXPECT_EQ(Kelo(get).exitCode, 0);
  service_.ClearArrived();
  const int watch = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
  ASSERT_GE(::inotify_add_watch(watch, In().c_str(), IN_OPEN), 0);
  ASSERT_GE(::inotify_add_watch(watch, out.c_str(), IN_OPEN), 0);
  EXPECT_THAT(Kelo(get).out, HasSubstr("0 downloaded, 1 already here"));
  EXPECT_THAT(Kelo({"put", In() / "../in"}).out,
              EndsWith("0 stored, 151 already there, 0 not stored\n"));
  EXPECT_EQ(Kelo({"check", In(), "root"}).exitCode, 0);
  alignas(inotify_event) char events[4096];
  for (ssize_t size; (size = ::read(watch, events, sizeof events)) > 0;)
    for (ssize_t at = 0; at < size;) {
      const auto* const event = reinterpret_cast<const inotify_event*>(events + at);
      EXPECT_TRUE(event->mask & IN_ISDIR) << event->name;
      at += static_cast<ssize_t>(sizeof *event) + event->len;
    }
  ::close(watch);
  EXPECT_EQ(Requests(), 0u);
}

TEST_F(MemoryTest, ABrokenOneIsSetAside) {
  Set("a.jpg", "picture");
  EXPECT_EQ(Put().exitCode, 0);
  const fs::path database = DatabasePath();
  EXPECT_EQ(fs::status(database).permissions(), fs::perms(0600));
  Database(database).Run("PRAGMA user_version = 5");
  EXPECT_THAT(Put().err, HasSubstr("a later version of kelo has made it"));
  std::ofstream(database) << std::string(5000, 'x');
  const Outcome put = Put();
  EXPECT_THAT(put.out, EndsWith("0 stored, 1 already there, 0 not stored\n"));
  EXPECT_THAT(put.err, AllOf(HasSubstr("file is not a database"), HasSubstr(".broken")));
  EXPECT_EQ(ReadFile(database.string() + ".broken"), std::string(5000, 'x'));
  EXPECT_THAT(Put().err, Not(HasSubstr("memory")));
  const fs::path folder = database.parent_path();
  fs::rename(folder, folder.string() + "2");
  std::ofstream(folder) << "in the way";
  EXPECT_EQ(CountOf("cannot use the memory", Put().err), 1u);
  fs::remove(folder);
  fs::rename(folder.string() + "2", folder);
  // By several at once: none sets aside what another one has made anew.
  for (int round = 0; round < 5; ++round) {
    std::ofstream(database) << std::string(5000, 'y');
    std::list<KeloProcess> several;
    for (int at = 0; at < 6; ++at)
      several.emplace_back(Words{"check", In(), "root"}, Environment());
    for (KeloProcess& one : several) EXPECT_EQ(one.Wait().exitCode, 0);
    EXPECT_EQ(ReadFile(database.string() + ".broken"), std::string(5000, 'y'));
    EXPECT_EQ(Database(database).Count("SELECT count(*) FROM files"), 1);
  }
}

// One run after the other over one folder.
TEST_F(MemoryTest, WhatCanNeverBeSentIsNamedOnce) {
  const fs::path file = In() / "file.jpg";
  const auto write = [&](const char* content) {
    return [&, content] { fs::remove(file), Write("in/file.jpg", content); };
  };
  const auto writeIntoPipe = [&] {
    Set("a.jpg", "aaa");
    const int pipe = ::open(file.c_str(), O_RDWR | O_NONBLOCK);
    EXPECT_EQ(::write(pipe, "x", 1), 1);
    ::close(pipe);
  };
  const auto makeOlder = [&] {
    Database(DatabasePath()).Run("DROP TABLE unfit; PRAGMA user_version = 1;");
  };
  const std::string is = "kelo: " + file.string() + ": ";
  const std::string isPipe = is + "it is not a regular file\n";
  const std::string isGone = is + "No such file or directory\n";
  const std::string before = "1 file cannot be sent, as told before; --dry-run names it\n";
  const char* const unfit = R"({"unfit": 1, "exitCode": 3})";
  const char* const alsoThere = R"({"alreadyThere": 1, "unfit": 1, "exitCode": 3})";
  const char* const gone = R"({"alreadyThere": 1, "failed": 1, "exitCode": 1})";
  struct Case {
    std::function<void()> change;
    Words options;
    std::string told;
    std::string summary;  // what is not 0
  };
  const auto nothing = [] {};
  const Case cases[] = {
      {[&] { fs::create_directory(In()); }, {}, "nothing to send: PATH holds no files\n", "{}"},
      {[&] { Write("in/.x.jpg", "x"); },
       {},
       "nothing to send; left out: 1 hidden (--all-files sends such files)\n",
       R"({"leftOut": 1, "leftOutBy": {"hidden": 1}})"},
      {[&] { fs::remove(In() / ".x.jpg"), ::mkfifo(file.c_str(), 0600); }, "--dry-run", isPipe,
       unfit},
      {nothing, {}, isPipe, unfit},
      {writeIntoPipe, {}, before, R"({"stored": 1, "unfit": 1, "bytes": 3, "exitCode": 3})"},
      {makeOlder, {}, isPipe, alsoThere},
      {write(""), {}, is + "it is empty; empty files are not sent\n", alsoThere},
      {nothing, {}, before, alsoThere},
      {write("picture"), {}, "", R"({"stored": 1, "alreadyThere": 1, "bytes": 7})"},
      {[&] { fs::remove(file), fs::create_symlink("nowhere", file); }, {}, isGone, gone},
      {nothing, {}, isGone, gone},
      {[&] { AnswerWith(Refusal(301), "UploadItems"), write("other")(); },
       {},
       is + "a value of the request was refused (4112)\n",
       gone},
  };
  for (const Case& one : cases) {
    one.change();
    const Outcome put = Put(one.options + "--json");
    nlohmann::json summary = Summary(put.out);
    ASSERT_TRUE(summary.is_object()) << put.err;
    EXPECT_THAT(put.err, StartsWith(one.told));
    EXPECT_LE(std::count(put.err.begin(), put.err.end(), '\n'), 2) << put.err;  // with the sums
    EXPECT_EQ(summary["exitCode"], put.exitCode);
    for (auto at = summary.begin(); at != summary.end();)
      at = at->empty() || *at == 0 ? summary.erase(at) : std::next(at);
    EXPECT_EQ(summary, nlohmann::json::parse(one.summary)) << one.told;
  }
}

TEST_F(GetTest, WhatIsHereIsKnownByItsBytes) {
  ScriptAccount({{"a.jpg"}, {"b.jpg"}}, [](const std::string& id) { return Reply{.body = id}; });
  EXPECT_EQ(Get("root").exitCode, 0);
  const std::time_t date = ModifyTime(Out() / "a.jpg");
  Write("out/a.jpg", "ITEM0");
  SetModifyTime(Out() / "a.jpg", date);
  SetModifyTime(Out() / "b.jpg", 5);
  for (int time = 0; time < 2; ++time) {
    const Outcome get = Get("root");
    EXPECT_THAT(get.out, EndsWith("0 downloaded, 1 already here, 1 failed\n"));
    EXPECT_THAT(get.err, HasSubstr("a.jpg: the file here has other content; --replace"));
  }
  EXPECT_THAT(Get("root --replace").out, EndsWith("2 downloaded, 0 already here\n"));
  EXPECT_THAT(Contents(),
              UnorderedElementsAre(std::pair("a.jpg", "item0"), std::pair("b.jpg", "item1")));
}

}  // namespace
}  // namespace kelo::host::testing
