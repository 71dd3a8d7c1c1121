// Compares the conversations in docs/protocol.md with those between the program and a simulated
// scanner.

#include "tests/session/SessionFixture.h"
#include "tests/support/ProtocolDocument.h"

namespace quillet::test {
namespace {

using simulator::Direction;
using simulator::Erased;
using simulator::MakeRecord;
using simulator::Options;

class ProtocolConversationsTest : public SessionFixture {
 protected:
  ProtocolConversationsTest() { clock.Set({2026, 11, 16, 1, 4, 9}); }

  // Attaches the scanner that docs/protocol.md describes.
  void AttachExample(Model model) {
    Options options = Options::Instant(model);
    const bool newer = model == Model::kSeries300;
    options.device.records = {MakeRecord(newer ? 21 : 0, "4006381333931", {2026, 11, 16, 9, 15, 0}),
                              Erased(MakeRecord(newer ? 19 : 4, "A1", {2026, 11, 16, 9, 15, 4})),
                              MakeRecord(newer ? 34 : 6, "Shelf 7", {2026, 11, 16, 14, 7, 9})};
    Attach(options);
  }

  // Returns the conversation with the scanner: one string for each turn, such as "computer 57". If
  // the scanner answers late on a busy machine, the program sends several wake-ups. Omits the
  // additional wake-ups and their answers.
  std::vector<std::string> Conversation() const {
    std::vector<std::string> turns;
    Direction last = Direction::kEvent;
    for (const simulator::TranscriptEntry& entry : scanner->GetTranscript().Entries()) {
      if (entry.direction == Direction::kEvent) continue;
      const std::string bytes = simulator::ToHex(entry.bytes);
      if (entry.direction == last) {
        const bool repeated = turns.back() == "computer 57" || turns.back() == "scanner 40";
        if (repeated && turns.back().ends_with(" " + bytes)) continue;
        turns.back() += " " + bytes;
      } else {
        turns.push_back((entry.direction == Direction::kReceived ? "computer " : "scanner ") +
                        bytes);
      }
      last = entry.direction;
    }
    for (std::size_t i = 0; i + 3 < turns.size();) {
      if (turns[i] == "computer 57" && turns[i + 2] == turns[i]) {
        turns.erase(turns.begin() + static_cast<std::ptrdiff_t>(i),
                    turns.begin() + static_cast<std::ptrdiff_t>(i) + 2);
      } else {
        ++i;
      }
    }
    return turns;
  }

  // Returns a conversation from docs/protocol.md, where a turn may span several lines.
  static std::vector<std::string> Written(std::string_view name) {
    std::vector<std::string> turns;
    for (const ExampleLine& line : ProtocolExample(name)) {
      const std::size_t blank = line.example.find(' ');
      const std::string who = line.example.substr(0, blank);
      if (!turns.empty() && turns.back().starts_with(who)) {
        turns.back() += line.example.substr(blank);
      } else {
        turns.push_back(line.example);
      }
    }
    return turns;
  }

  void ExpectRun(Model model, bool burst, std::string_view name) {
    StartWith({.burstsync = burst});
    AttachExample(model);
    ASSERT_TRUE(Connect());
    const auto before = static_cast<std::ptrdiff_t>(Conversation().size());
    ASSERT_TRUE(SynchronizeAndWait());
    std::vector<std::string> turns = Conversation();
    turns.erase(turns.begin(), turns.begin() + before);
    EXPECT_EQ(turns, Written(name));
  }
};

TEST_F(ProtocolConversationsTest, StartUpMatchesTheDocumentedExample) {
  AttachExample(Model::kOlder);
  ASSERT_TRUE(Connect());
  EXPECT_EQ(Conversation(), Written("start-up"));
}

TEST_F(ProtocolConversationsTest, BurstRunMatchesTheDocumentedExample) {
  ExpectRun(Model::kOlder, true, "one transfer");
}

TEST_F(ProtocolConversationsTest, Series300BurstRunMatchesTheDocumentedExample) {
  ExpectRun(Model::kSeries300, true, "one transfer 300");
}

TEST_F(ProtocolConversationsTest, RecordByRecordRunMatchesTheDocumentedExample) {
  ExpectRun(Model::kOlder, false, "one by one");
}

}  // namespace
}  // namespace quillet::test
