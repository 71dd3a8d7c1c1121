#include <gtest/gtest.h>

#include "platform/linux/ExpectedKeys.h"
#include "platform/linux/SentKeys.h"

namespace quillet::platform::linux_desktop {
namespace {

using namespace std::chrono_literals;

constexpr KeyStroke kDown{30, true};
constexpr KeyStroke kUp{30, false};

TEST(ExpectedKeysTest, MatchesEachStrokeOnce) {
  ExpectedKeys keys;
  keys.Add(kDown);
  keys.Add(kUp);
  EXPECT_FALSE(keys.Take({31, true}, 5));
  EXPECT_TRUE(keys.Take(kUp, 5));
  EXPECT_FALSE(keys.Take(kUp, 5));
  EXPECT_TRUE(keys.Take(kDown, 5));
}

TEST(ExpectedKeysTest, MatchesAStrokeOnlyWithinItsTimeLimits) {
  ExpectedKeys keys;
  keys.Add(kDown, 0xFFFFFFFE);  // the time wraps around to 0 after 2 ms
  keys.SetLatest(2);
  EXPECT_FALSE(keys.Take(kDown, 0xFFFFFFFD));
  EXPECT_FALSE(keys.Take(kDown, 3));
  EXPECT_TRUE(keys.Take(kDown, 2));
  keys.Add(kDown, 10);
  keys.SetLatest(20);
  keys.Add(kDown);
  keys.SetLatest(30);
  EXPECT_TRUE(keys.Take(kDown, 30));
  EXPECT_FALSE(keys.Take(kDown, 30));
  EXPECT_TRUE(keys.Take(kDown, 20));
}

TEST(ExpectedKeysTest, ForgetsTheOldestStrokesWhenFull) {
  ExpectedKeys keys;
  keys.Add(kDown);
  for (int i = 0; i < 4096; ++i) keys.Add(kUp);
  EXPECT_FALSE(keys.Take(kDown, 0));
  for (int i = 0; i < 4096; ++i) EXPECT_TRUE(keys.Take(kUp, 0));
}

TEST(ExpectedKeysTest, ForgetsStrokesAfterAMinute) {
  ExpectedKeys keys;
  for (int i = 0; i < 2; ++i) keys.Add(kDown);
  keys.SetLatest(20);
  EXPECT_FALSE(keys.Take(kUp, 60'020));
  EXPECT_TRUE(keys.Take(kDown, 20));
  EXPECT_FALSE(keys.Take(kUp, 60'021));
  EXPECT_FALSE(keys.Take(kDown, 20));
}

TEST(SentKeysTest, RecognizesKeysByCodeDirectionAndTime) {
  SentKeys keys(1ms);
  const KeyStroke strokes[] = {kDown, kUp};
  const auto isOwn = [&](KeyStroke stroke, auto time, bool repeats = false) {
    return keys.IsOwnKey(
        {.code = stroke.code, .down = stroke.down, .repeats = repeats, .time = time});
  };
  keys.BeginWrite(strokes, 100ms);
  EXPECT_FALSE(isOwn(kDown, 99ms));
  EXPECT_TRUE(isOwn(kDown, 101ms)) << "during the write";
  EXPECT_TRUE(isOwn(kDown, 400ms, true)) << "auto-repeat";
  keys.EndWrite(102ms);
  EXPECT_FALSE(isOwn(kDown, 103ms));
  EXPECT_FALSE(isOwn(kUp, 104ms)) << "a key of the user";
  EXPECT_TRUE(isOwn(kUp, 103ms));
  EXPECT_FALSE(isOwn(kDown, 104ms, true));
}

}  // namespace
}  // namespace quillet::platform::linux_desktop
