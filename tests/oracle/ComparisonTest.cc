// Compares the lines that the program composes from random records with the lines of the
// independent implementation in Oracle.h.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <sstream>

#include "device/Lumet.h"
#include "tests/oracle/Oracle.h"
#include "tests/oracle/RandomCases.h"
#include "tests/support/Immortal.h"
#include "tests/support/ScriptedSession.h"

namespace quillet::oracle {
namespace {

constexpr std::int64_t kUsualCases = 100000;

// One byte of the line buffer holds the terminating NUL.
constexpr std::size_t kTextRoom = RecordComposer::kBarcodeBufferSize - 1;

std::int64_t FromEnvironment(const char* name, std::int64_t otherwise) {
  const char* const value = std::getenv(name);
  return value != nullptr ? std::atoll(value) : otherwise;
}

std::uint64_t RandomState() {
  return static_cast<std::uint64_t>(FromEnvironment("QUILLET_ORACLE_RANDOM_STATE", 1));
}

std::string TypeLogged(int code) {
  std::ostringstream line;
  line << "-[Lumet GetBarcodeTypeEx:::]:" << std::hex << code;
  return line.str();
}

/// A log that stores only the lines about symbologies and bursts.
class Log final : public SystemLog {
 public:
  void Write(std::string_view line) override {
    if (line.starts_with("-[Lumet GetBarcodeType") ||
        line.starts_with("-[Lumet SynchronizeBurstData")) {
      (lines += line) += '\n';
    }
  }
  std::string lines;
};

/// A line that the program composed.
struct Made {
  std::string bytes;
  std::string shown;
};

class Owner final : public LumetDelegate {
 public:
  void TavoInitializationDone(bool) override {}
  void DisplayBarcode(const std::string& record) override {
    made.push_back({std::string(session->download.BarcodeBuffer()), record});
  }
  void SynchronizeFinished() override {}

  const test::ScriptedSession* session = nullptr;
  std::vector<Made> made;
};

void Choose(Settings& settings, ScannerIdentity& identity, Layout layout, const Choices& choices) {
  identity.bTavo300 = layout == Layout::k300Series ? 1 : 0;
  settings.bAttachType = static_cast<std::uint8_t>(choices.typeWanted);
  settings.bAttachSerial = static_cast<std::uint8_t>(choices.serialWanted);
  settings.bAttachTimestamp = static_cast<std::uint8_t>(choices.timeWanted);
  settings.datadelimiter = choices.dataDelimiter;
  settings.recorddelimiter = choices.recordDelimiter;
  settings.sn_position = choices.serialPosition;
  settings.dataorder = choices.order;
  for (std::size_t i = 0; i < choices.serialField.size(); ++i) {
    identity.SerialNo.Put(i, static_cast<std::uint8_t>(choices.serialField[i]));
  }
}

/// Passes records to the program as a scanner does: as an answer to a command, unsolicited or in a
/// burst. Also composes the lines of single records directly, without a session.
class ComparisonTest : public ::testing::TestWithParam<Layout> {
 protected:
  ComparisonTest() { owner_.session = &session_; }

  template <class Compare>
  void Run(Compare compare) {
    const std::int64_t cases = FromEnvironment("QUILLET_ORACLE_CASES", kUsualCases);
    ASSERT_GT(cases, 0);
    while (lines_ < cases && !HasFailure()) compare();
    if (cases < kUsualCases) return;  // the checks below need more cases
    EXPECT_EQ(std::count(codes_.begin(), codes_.end(), 0), 0);
    EXPECT_EQ(std::count(orders_.begin(), orders_.end(), 0), 0);
    EXPECT_GT(nothing_, 0);
    EXPECT_GT(foreign_, 0);
    EXPECT_EQ(cut_ > 0, GetParam() == Layout::k300Series);
  }

  void Begin(Bytes bytes, Choices choices) {
    bytes_ = std::move(bytes);
    choices_ = std::move(choices);
    log_.lines.clear();
    owner_.made.clear();
    Choose(session_.lumet, session_.lumet, GetParam(), choices_);
    Choose(settings_, identity_, GetParam(), choices_);
  }

  /// Copies an answer to the start of `memory_`, which mirrors the session's receive buffer.
  void Remember(std::string_view answer) {
    for (std::size_t i = 0; i < answer.size(); ++i) {
      memory_.Put(i, static_cast<std::uint8_t>(answer[i]));
    }
  }
  /// Passes bytes to the session at once or in random pieces.
  void Feed(const Bytes& bytes) {
    for (const std::uint8_t byte : bytes) memory_.Put(received_++, byte);
    for (std::size_t at = 0; at < bytes.size();) {
      const auto left = static_cast<int>(bytes.size() - at);
      const int count = random_.OneIn(2) ? left : random_.Between(1, left);
      session_.lumet.DataFromDevice(bytes.data() + at, count);
      at += static_cast<std::size_t>(count);
    }
  }

  /// Passes the length bytes and the current record or burst to the session.
  void FeedUnit() {
    received_ = 0;
    const std::size_t length = bytes_.size() + kLengthBytes;
    Feed({static_cast<std::uint8_t>(length >> 16), static_cast<std::uint8_t>(length >> 8),
          static_cast<std::uint8_t>(length)});
    Feed(bytes_);
  }

  void CompareRecord() {
    Bytes record = RandomRecord(random_, GetParam());
    Begin(std::move(record), RandomChoices(random_));
    const int way = random_.Below(3);
    way == 0 ? CompareComposed() : CompareFrame(way == 1);
  }

  void CompareComposed() {
    const int lead = random_.Below(6);
    Bytes buffer(static_cast<std::size_t>(lead));
    for (std::uint8_t& byte : buffer) byte = random_.Byte();
    buffer.insert(buffer.end(), bytes_.begin(), bytes_.end());
    const std::string made(composer_.Compose(buffer, lead));
    CompareOnly(Memory(buffer), lead, {{made, Shown(made)}});
  }

  /// @param requested  true: the frame answers a command; false: it is unsolicited
  void CompareFrame(bool requested) {
    if (requested) {
      session_.SendRecord();
      Remember(test::ScriptedSession::kCountAnswer);
    }
    session_.Receive("\x03");
    FeedUnit();
    if (!requested) {
      Bytes rest;
      while (random_.OneIn(4)) {
        rest.push_back(static_cast<std::uint8_t>(random_.Of({'!', 0, 3, 'a'})));
      }
      Feed(rest);
      Compare("the number of lines before the terminator", "0", std::to_string(owner_.made.size()));
      Feed({'@'});
    }
    CompareOnly(memory_, kLengthBytes, owner_.made);
    if (requested) {
      session_.lumet.DispatchCommand();  // sends the closing command
      session_.Receive("@");
      Remember("@");
    }
  }

  /// Checks the composed line and the log line of a single record.
  void CompareOnly(const Memory& memory, std::int64_t start, const std::vector<Made>& made) {
    const Line expected = LineOfRecord(memory, start, GetParam(), choices_);
    Count(memory, start);
    Compare("the number of lines", "1", std::to_string(made.size()));
    if (!made.empty()) CompareLine(expected, made.front());
    Compare("the log", expected.loggedCode ? TypeLogged(*expected.loggedCode) + "\n" : "",
            log_.lines);
  }

  void CompareBurst() {
    const int count = random_.OneIn(500) ? random_.Between(100, 3000) : random_.Between(0, 12);
    CompareBurstOf(RandomRecords(random_, GetParam(), count));
  }

  void CompareBurstOf(Bytes burst) {
    Begin(std::move(burst), RandomChoices(random_));
    auto received = static_cast<std::int64_t>(bytes_.size()) + kLengthBytes;
    if (bytes_.empty()) {
      // The session never completes an empty burst, so the test calls SynchronizeBurstData()
      // directly.
      received = random_.Between(0, kLengthBytes - 1);
      session_.lumet.ExpectBurst();
      const std::string lengthBytes(static_cast<std::size_t>(received), '\0');
      session_.Receive(lengthBytes);
      Remember(lengthBytes);
      session_.download.SynchronizeBurstData();
    } else {
      session_.SendBurst();
      Remember(test::ScriptedSession::kCountAnswer);
      FeedUnit();
    }

    std::string logged;
    std::size_t lines = 0;
    for (const Visit& visit : WalkBurst(memory_, received, GetParam())) {
      logged += "-[Lumet SynchronizeBurstData][" + std::to_string(received) + ":" +
                std::to_string(visit.offset) + ":" + std::to_string(visit.step) + "]\n";
      if (visit.last) {
        ++ended_;
        logged += "-[Lumet SynchronizeBurstData]: invalid length, remaining records skipped\n";
      } else if (!visit.erased) {
        Count(memory_, visit.offset);
        const Line expected = LineOfRecord(memory_, visit.offset, GetParam(), choices_);
        if (expected.loggedCode) logged += TypeLogged(*expected.loggedCode) + "\n";
        if (lines < owner_.made.size()) CompareLine(expected, owner_.made[lines]);
        ++lines;
      }
    }
    Compare("the number of lines", std::to_string(lines), std::to_string(owner_.made.size()));
    Compare("the log", logged, log_.lines);

    std::string queued;
    const CommandQueue& queue = session_.lumet.cmdArray();
    for (std::int32_t i = queue.cmdRead(); i < queue.cmdWrite(); ++i) {
      queued += static_cast<char>(queue.at(static_cast<std::size_t>(i)));
    }
    Compare("the commands queued after the burst", "\001W\0031S0", queued);
    session_.DropQueue();
  }

  /// Compares a burst that fills the receive buffer to its last byte.
  /// @param runsOut  true: the length field of the last record is too large by one
  void CompareFullBuffer(bool runsOut) {
    const std::size_t room = ReceiveMachine::kBufferSize - kLengthBytes;
    const std::size_t most = GetParam() == Layout::kOlder ? 256 : 65535;
    Bytes burst;
    while (burst.size() < room) {
      // The last two records share the remaining space about equally.
      const std::size_t left = room - burst.size();
      const std::size_t size = left <= most ? left : std::min(most, left / 2);
      const Bytes record = RecordOfSize(random_, GetParam(), static_cast<int>(size),
                                        runsOut && size == left ? 1 : 0);
      burst.insert(burst.end(), record.begin(), record.end());
    }
    CompareBurstOf(std::move(burst));
  }

  void CompareLine(const Line& expected, const Made& made) {
    const std::string fitting = expected.text.substr(0, kTextRoom);
    cut_ += fitting.size() < expected.text.size();
    const std::string shown = Shown(fitting);
    foreign_ += std::any_of(shown.begin(), shown.end(), [](char c) { return (c & 0x80) != 0; });
    Compare("the composed line", fitting, made.bytes);
    Compare("the displayed line", shown, made.shown);
  }

  void Count(const Memory& memory, std::int64_t start) {
    const bool older = GetParam() == Layout::kOlder;
    ++lines_;
    ++codes_[static_cast<std::size_t>(memory.At(start + (older ? 1 : 2)) % 64)];
    const bool ordered = choices_.order >= 0 && choices_.order <= 5;
    ++orders_[ordered ? static_cast<std::size_t>(choices_.order) : 6];
    nothing_ += older ? memory.At(start) < 5 : memory.PairAt(start) < 7;
  }

  void Compare(const char* what, std::string_view expected, std::string_view got) {
    if (expected == got) return;
    const auto same = std::ranges::mismatch(expected, got).in1 - expected.begin();
    const auto text = [](const auto& bytes, std::ptrdiff_t from) {
      const auto count = std::min<std::ptrdiff_t>(std::ssize(bytes) - from, 200);
      return testing::PrintToString(
          std::string(bytes.begin() + from, bytes.begin() + from + count));
    };
    ADD_FAILURE() << what << ", after " << same << " bytes\n  expected " << text(expected, same)
                  << "\n  got " << text(got, same) << "\n  random state " << RandomState()
                  << "\n  bytes " << text(bytes_, 0) << "\n  type " << choices_.typeWanted
                  << ", serial " << choices_.serialWanted << ", time " << choices_.timeWanted
                  << ", data delimiter " << choices_.dataDelimiter << ", record delimiter "
                  << choices_.recordDelimiter << ", serial position " << choices_.serialPosition
                  << ", order " << choices_.order << ", serial number "
                  << text(choices_.serialField, 0);
  }

  Random random_{RandomState()};
  Bytes bytes_;  // bytes of the current record or burst
  Choices choices_;

  Log& log_ = test::Immortal<Log>();
  Owner& owner_ = test::Immortal<Owner>();
  Settings settings_;
  ScannerIdentity identity_;
  RecordComposer& composer_ = test::Immortal<RecordComposer>(log_, settings_, identity_);
  test::ScriptedSession& session_ = test::Immortal<test::ScriptedSession>(log_, &owner_);
  Memory memory_{Bytes(ReceiveMachine::kBufferSize)};  // the session's receive buffer
  std::size_t received_ = 0;  // number of bytes of the current record or burst fed so far

  // Counts that show whether the random cases include all special cases.
  std::int64_t lines_ = 0, ended_ = 0, cut_ = 0, nothing_ = 0, foreign_ = 0;
  std::array<std::int64_t, 64> codes_{};
  std::array<std::int64_t, 7> orders_{};  // counts by field order; last: invalid orders
};

TEST_P(ComparisonTest, BothImplementationsAgreeOnRecords) {
  Run([this] { CompareRecord(); });
}

TEST_P(ComparisonTest, BothImplementationsAgreeOnBursts) {
  Run([this] { CompareBurst(); });
}

TEST_P(ComparisonTest, BothImplementationsEndABurstAtTheBufferEnd) {
  CompareFullBuffer(false);
  EXPECT_EQ(ended_, 0);
  const std::int64_t whole = lines_;
  CompareFullBuffer(true);
  EXPECT_EQ(ended_, 1);
  EXPECT_EQ(lines_, 2 * whole - 1);
}

INSTANTIATE_TEST_SUITE_P(Layouts, ComparisonTest,
                         ::testing::Values(Layout::kOlder, Layout::k300Series),
                         [](const auto& layout) {
                           return layout.param == Layout::kOlder ? "Older" : "Of300Series";
                         });

}  // namespace
}  // namespace quillet::oracle
