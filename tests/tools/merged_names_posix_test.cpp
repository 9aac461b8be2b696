// Names of any letters, which on Windows only a program with a manifest for them has: corvane.exe,
// which the end-to-end tests run.
#include "corvane/command/command_line.h"
#include "tools/rewriting_fixture.h"

namespace corvane::tools {
namespace {

using ::testing::ElementsAre;

TEST_F(RewritingCommandsTest, NamesBeyondAsciiStandWholeInTheTexts) {
  const std::string one = Make("größe.isf", {Reply(kNoon + 1, 1)});
  const std::string two = Make("漢.isf", {Reply(kNoon + 2, 2)});
  EXPECT_EQ(Merge({one, two}), kExitGood) << errors.str();
  EXPECT_THAT(ItemsOf(output),
              ElementsAre("+1 Merged from größe.isf", "+1 1", "+2 Merged from 漢.isf", "+2 2"));
}

}  // namespace
}  // namespace corvane::tools
