#include <gtest/gtest.h>
#include <sys/stat.h>

#include "platform/linux/DesktopApplications.h"
#include "tests/support/TemporaryFolder.h"

namespace quillet::platform::linux_desktop {
namespace {

using Texts = std::vector<std::string>;

class ApplicationFileTest : public ::testing::Test {
 protected:
  std::string Entry(const std::string& name, const std::string& lines) {
    const std::string path = folder_ / name;
    test::PutFile(path, "[Desktop Entry]\nType=Application\nName=Test\n" + lines);
    return path;
  }

  std::string File(const std::string& name, mode_t mode) {
    const std::string path = folder_ / name;
    test::PutFile(path, "#!/bin/sh\n");
    chmod(path.c_str(), mode);
    return path;
  }

  test::TemporaryFolder folder_;
};

TEST_F(ApplicationFileTest, AnExecutableFileIsAnApplication) {
  const std::string path = File("Stock Program", 0700);
  const auto file = ApplicationFile::At(path);
  ASSERT_TRUE(file);
  EXPECT_EQ(file->command(), Texts{path});
  EXPECT_EQ(file->windowClasses(), Texts{"stock program"});
}

TEST_F(ApplicationFileTest, OtherPathsAreNone) {
  EXPECT_FALSE(ApplicationFile::At(""));
  EXPECT_FALSE(ApplicationFile::At("/Applications/TextEdit"));
  EXPECT_FALSE(ApplicationFile::At("true"));
  EXPECT_FALSE(ApplicationFile::At("/usr/bin"));
  EXPECT_FALSE(ApplicationFile::At(File("notes.txt", 0600)));
  EXPECT_FALSE(ApplicationFile::At(folder_ / "absent.desktop"));
  EXPECT_FALSE(ApplicationFile::At(Entry("other.desktop", "")));
  EXPECT_FALSE(ApplicationFile::At(Entry("gone.desktop", "Exec=/nowhere/program\n")));
}

TEST_F(ApplicationFileTest, AnEntrysCommandIsReadWithoutItsCodes) {
  const auto file =
      ApplicationFile::At(Entry("stock.desktop", "Exec=/bin/sh -c \"echo 100%%\" %U --icon %i\n"));
  ASSERT_TRUE(file);
  EXPECT_EQ(file->command(), (Texts{"/bin/sh", "-c", "echo 100%", "--icon"}));
}

TEST_F(ApplicationFileTest, APercentSignAtACommandsEndIsACodeThatIsCutShort) {
  const auto file = ApplicationFile::At(Entry("cut.desktop", "Exec=/bin/sh stock%\n"));
  ASSERT_TRUE(file);
  EXPECT_EQ(file->command(), (Texts{"/bin/sh", "stock"}));
}

TEST_F(ApplicationFileTest, AnEntrysWindowsHaveItsClassOrItsName) {
  EXPECT_EQ(ApplicationFile::At(Entry("org.A.desktop", "Exec=/bin/sh\nStartupWMClass=Stock\n"))
                ->windowClasses(),
            (Texts{"stock", "org.a"}));
  EXPECT_EQ(ApplicationFile::At(Entry("org.B.desktop", "Exec=/bin/sh %F\n"))->windowClasses(),
            (Texts{"org.b", "sh"}));
  // A terminal for one program is not that program.
  EXPECT_EQ(ApplicationFile::At(Entry("org.C.desktop", "Exec=/bin/sh reader\n"))->windowClasses(),
            Texts{"org.c"});
}

}  // namespace
}  // namespace quillet::platform::linux_desktop
