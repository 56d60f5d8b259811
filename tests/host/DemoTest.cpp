// The demonstration proves its steps by itself; here it gets pictures that are not made for it.
#include "KeloProcess.h"

namespace kelo::host::testing {
namespace {

class DemoTest : public HostTest {
 protected:
  // Its temporary files go to "tmp".
  std::vector<std::string> TemporaryEnvironment() const {
    std::vector<std::string> environment = Environment();
    environment.push_back("TMPDIR=" + (folder_ / "tmp").string());
    return environment;
  }
  Outcome Demo(const std::string& pictures) const {
    return KeloProcess({"demo", (folder_ / pictures).string()}, TemporaryEnvironment()).Wait();
  }
};

TEST_F(DemoTest, ProvesEveryStepAndCleansUp) {
  std::string longName;  // the catalogue cuts it
  for (int i = 0; i < 50; ++i) longName += "桜";
  for (const std::string& name :
       {std::string("one.jpg"), std::string("below/one.jpg"), std::string("below/one.wav"),
        longName + ".jpg", std::string("caf\xE9.jpg"), std::string("Thumbs.db")})
    Write("pictures/" + name, "content of " + name);
  Write("pictures/empty.jpg", "");
  fs::create_directory(folder_ / "tmp");
  fs::create_directory(folder_ / "empty");
  const Outcome demo = Demo("pictures");
  EXPECT_EQ(demo.exitCode, 0) << demo.err;
  EXPECT_THAT(demo.out, AllOf(HasSubstr("caf?.jpg: "), HasSubstr("empty.jpg: "),
                              HasSubstr("OK: 4 files here already"),
                              EndsWith("OK: all 22 commands of the library were used\n")));
  EXPECT_EQ(Demo("empty").exitCode, 1);
  KeloProcess aborted({"demo", (folder_ / "pictures").string()}, TemporaryEnvironment(), 80);
  ASSERT_TRUE(aborted.ReadErrorUntil("A local service runs")) << aborted.ErrorSoFar();
  EXPECT_FALSE(Names("tmp").empty());
  aborted.Type("\x03");
  EXPECT_EQ(aborted.Wait().exitCode, 130);
  EXPECT_THAT(Names("tmp"), ElementsAre());
}

}  // namespace
}  // namespace kelo::host::testing
