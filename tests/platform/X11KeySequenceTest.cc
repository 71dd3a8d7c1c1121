#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "platform/linux/X11KeySequence.h"
#include "tests/platform/XkbLayout.h"

namespace quillet::platform::linux_desktop {
namespace {

constexpr std::uint8_t kKeyA = 38;
constexpr std::uint8_t kLeftShift = 50;
constexpr std::uint8_t kControl = 1 << 2;  // modifier

// Returns the strokes as key codes, with "+" for a press and "-" for a release. Each change to the
// locks is returned as "locks".
std::string StepsOf(const X11KeySequence& sequence) {
  std::string text;
  for (const X11KeySequence::Step& step : sequence.Steps()) {
    const std::string code = std::to_string(step.stroke.code + kXCodeOffset);
    text += step.locks ? "locks" : (step.stroke.down ? "+" : "-") + code;
    text += ' ';
  }
  return text;
}

TEST(X11KeySequenceTest, LooksUpKeyCodesInTheKeymap) {
  XkbLayout american("us");
  X11KeySequence sequence(american.Search(), {});
  const std::vector<KeyEvent> events{{0, true, KeyFlag::kNone, 'A'}, {0, false}};
  EXPECT_EQ(sequence.Add(events), 2U);
  sequence.Finish();
  EXPECT_EQ(StepsOf(sequence), "+50 +38 -50 -38 ");
}

TEST(X11KeySequenceTest, StopsBeforeACharacterWithoutAKey) {
  XkbLayout russian("ru");
  X11KeySequence sequence(russian.Search(), {});
  const std::vector<KeyEvent> events{
      {18, true, KeyFlag::kNone, '1'}, {18, false}, {0, true, KeyFlag::kNone, 'A'}, {0, false}};
  EXPECT_EQ(sequence.Add(events), 2U);
  EXPECT_EQ(CharactersWithoutKey("1A2A", russian.Search(), {}), "A");
}

TEST(X11KeySequenceTest, ReleasesHeldKeysAndPressesOnlyModifiersAgain) {
  XkbLayout american("us");
  X11KeyboardState state;
  state.down = {kKeyA, kLeftShift};
  state.tested = {kKeyA};
  X11KeySequence sequence(american.Search(), state);
  sequence.Finish();
  EXPECT_EQ(StepsOf(sequence), "-38 -50 +50 ");
  EXPECT_EQ(sequence.PressedAgain(), (std::vector<std::uint8_t>{kLeftShift}));
}

TEST(X11KeySequenceTest, ClearsAndRestoresALockedControlModifier) {
  XkbLayout american("us");
  X11KeyboardState state;
  state.locks.lockedModifiers = kControl;
  X11KeySequence sequence(american.Search(), state);
  sequence.Finish();
  ASSERT_EQ(StepsOf(sequence), "locks locks ");
  EXPECT_EQ(sequence.Steps()[0].locks->lockedModifiers, 0);
  EXPECT_EQ(sequence.Steps()[1].locks->lockedModifiers, kControl);
  EXPECT_EQ(sequence.Marks(), (std::vector<std::uint32_t>{kControl, 0, 0, 0, kControl, 0}));
}

}  // namespace
}  // namespace quillet::platform::linux_desktop
