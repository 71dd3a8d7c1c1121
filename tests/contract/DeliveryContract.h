#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/Applications.h"
#include "platform/KeyEvents.h"
#include "platform/Pasteboard.h"
#include "tests/contract/Contract.h"
#include "tests/support/WaitFor.h"

namespace quillet::test {

// Contracts of what delivers records to other programs: keys, the pasteboard and applications. Each
// program that includes them runs those for which it has backends.

class KeyEventsHarness {
 public:
  virtual ~KeyEventsHarness() = default;
  virtual platform::KeyEvents& Keys() = 0;
  /// Waits for the next `count` events to reach the application with the focus. Modifiers that are
  /// keys show as flags of the key-down.
  virtual std::vector<platform::KeyEvent> Receive(std::size_t count) = 0;
};

class KeyEventsContract : public Contract<KeyEventsHarness> {
 protected:
  using KeyEvent = platform::KeyEvent;
  using KeyFlag = platform::KeyFlag;

  /// Posts the events and expects that they arrive.
  void ExpectPosted(const std::vector<KeyEvent>& events) {
    harness_->Keys().Post(events);
    const std::vector<KeyEvent> received = harness_->Receive(events.size());
    ASSERT_EQ(received.size(), events.size());
    for (std::size_t i = 0; i < events.size(); ++i) EXPECT_TRUE(received[i] == events[i]) << i;
  }
};

TEST_P(KeyEventsContract, PostsEveryKeyWithItsFlag) {
  for (std::uint16_t key = 0; key <= 50; key += 9) {
    for (const KeyFlag flag : {KeyFlag::kNone, KeyFlag::kShift, KeyFlag::kCommand}) {
      ExpectPosted({{key, true, flag}, {key, false, KeyFlag::kNone}});
    }
  }
}

TEST_P(KeyEventsContract, PostsTheEventsOfACallInOrder) {
  std::vector<KeyEvent> events;
  for (std::uint16_t key = 0; key < 50; ++key) {
    events.push_back({key, true, key % 3 == 0 ? KeyFlag::kShift : KeyFlag::kNone});
    events.push_back({key, false, KeyFlag::kNone});
  }
  ExpectPosted(events);
}

TEST_P(KeyEventsContract, PostsNothingForAnEmptyCall) {
  ExpectPosted({});
  ExpectPosted({{36, true, KeyFlag::kNone}, {36, false, KeyFlag::kNone}});
}

class PasteboardHarness {
 public:
  virtual ~PasteboardHarness() = default;
  virtual platform::Pasteboard& Board() = 0;
  /// The text that another program would paste.
  virtual std::optional<std::string> Paste() = 0;
};

class PasteboardContract : public Contract<PasteboardHarness> {};

TEST_P(PasteboardContract, HoldsTheTextWhenTheCallReturns) {
  for (const std::string text : {"4006381333931\r\n",
                                 "Gr\xC3\xB6\xC3\x9F"
                                 "e 5 \xE2\x82\xAC\t"}) {
    EXPECT_TRUE(harness_->Board().SetString(text));
    EXPECT_EQ(harness_->Paste(), text);
  }
}

TEST_P(PasteboardContract, ReplacesTheTextBefore) {
  harness_->Board().SetString("a long text that was there before");
  harness_->Board().SetString("");
  EXPECT_EQ(harness_->Paste().value_or(""), "");
  harness_->Board().SetString("x");
  EXPECT_EQ(harness_->Paste(), "x");
}

class ApplicationsHarness {
 public:
  virtual ~ApplicationsHarness() = default;
  virtual platform::Applications& Apps() = 0;
  /// Installs an application that runs until the test ends. @return its path
  virtual std::string Install(const std::string& name) = 0;
};

class ApplicationsContract : public Contract<ApplicationsHarness> {
 protected:
  std::size_t TimesListed(const std::string& path) {
    std::size_t times = 0;
    for (const std::string& listed : applications_.LaunchedApplications()) times += listed == path;
    return times;
  }

  platform::Applications& applications_ = harness_->Apps();
};

TEST_P(ApplicationsContract, HasWhatAnAbsolutePathNames) {
  EXPECT_TRUE(applications_.HasApplication(harness_->Install("Editor")));
  EXPECT_FALSE(applications_.HasApplication("/nowhere/Editor"));
  EXPECT_FALSE(applications_.HasApplication("Editor"));
  EXPECT_FALSE(applications_.HasApplication(""));
}

TEST_P(ApplicationsContract, DoesNotOpenAPathThatNamesNothing) {
  EXPECT_FALSE(applications_.OpenApplication("/nowhere/Editor"));
  EXPECT_EQ(TimesListed("/nowhere/Editor"), 0U);
}

TEST_P(ApplicationsContract, ListsWhatItHasOpened) {
  const std::string editor = harness_->Install("Editor");
  const std::string other = harness_->Install("Other");
  EXPECT_EQ(TimesListed(editor), 0U);
  ASSERT_TRUE(applications_.OpenApplication(editor));
  EXPECT_TRUE(WaitFor([&] { return TimesListed(editor) == 1; }));
  EXPECT_EQ(TimesListed(other), 0U);
}

TEST_P(ApplicationsContract, ListsAnApplicationOpenedTwiceOnce) {
  const std::string editor = harness_->Install("Editor");
  EXPECT_TRUE(applications_.OpenApplication(editor));
  EXPECT_TRUE(applications_.OpenApplication(editor));
  EXPECT_TRUE(WaitFor([&] { return TimesListed(editor) == 1; }));
}

GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(KeyEventsContract);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(PasteboardContract);
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(ApplicationsContract);

}  // namespace quillet::test
