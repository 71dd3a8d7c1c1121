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
    return folder_.Put(name, "[Desktop Entry]\nType=Application\nName=Test\n" + lines);
  }
  Texts CommandOf(const std::string& line) {
    const auto file = ApplicationFile::At(Entry("stock.desktop", "Exec=" + line + "\n"));
    return file ? file->command() : Texts{};
  }
  Texts ClassesOf(const std::string& name, const std::string& lines) {
    const auto file = ApplicationFile::At(Entry(name, lines));
    return file ? file->windowClasses() : Texts{};
  }

  test::TemporaryFolder folder_;
};

TEST_F(ApplicationFileTest, AcceptsAnExecutableFile) {
  const std::string path = folder_.Put("Stock Program", "#!/bin/sh\n");
  EXPECT_FALSE(ApplicationFile::At(path)) << "not executable yet";
  chmod(path.c_str(), 0700);
  const auto file = ApplicationFile::At(path);
  ASSERT_TRUE(file);
  EXPECT_EQ(file->command(), Texts{path});
  EXPECT_EQ(file->windowClasses(), Texts{"stock program"});
}

TEST_F(ApplicationFileTest, RefusesPathsThatAreNotApplications) {
  for (const std::string& path :
       {std::string(), std::string("/Applications/TextEdit"), std::string("true"),
        std::string("/usr/bin"), folder_ / "absent.desktop", Entry("no-command.desktop", ""),
        Entry("absent-program.desktop", "Exec=/nowhere/program\n")}) {
    EXPECT_FALSE(ApplicationFile::At(path)) << path;
  }
}

TEST_F(ApplicationFileTest, RemovesFieldCodesFromTheCommand) {
  EXPECT_EQ(CommandOf("/bin/sh -c \"echo 100%%\" %U --icon %i"),
            (Texts{"/bin/sh", "-c", "echo 100%", "--icon"}));
  EXPECT_EQ(CommandOf("/bin/sh stock%"), (Texts{"/bin/sh", "stock"})) << "a truncated field code";
}

TEST_F(ApplicationFileTest, DerivesWindowClassesFromTheDesktopEntry) {
  EXPECT_EQ(ClassesOf("org.A.desktop", "Exec=/bin/sh\nStartupWMClass=Stock\n"),
            (Texts{"stock", "org.a"}));
  EXPECT_EQ(ClassesOf("org.B.desktop", "Exec=/bin/sh %F\n"), (Texts{"org.b", "sh"}));
  EXPECT_EQ(ClassesOf("org.C.desktop", "Exec=/bin/sh reader\n"), Texts{"org.c"})
      << "a command with arguments may be a terminal that many applications share";
}

}  // namespace
}  // namespace quillet::platform::linux_desktop
