#include "tests/oracle/Comparison.h"

#include <algorithm>
#include <cstdio>
#include <sstream>

#include "device/ReceiveState.h"
#include "tests/support/Immortal.h"
#include "tests/support/SystemLine.h"

namespace quillet::oracle {
namespace {

constexpr std::size_t kExamples = 10;

// Where the program cuts the data of a line that would be too long for its buffer. It keeps the
// same room for the fields behind the data whether or not there are any, so that a few lines are
// cut that would just have fitted; those are counted apart.
constexpr std::size_t kDataEnd = RecordComposer::kBarcodeBufferSize - 128;

std::string Readable(std::string_view bytes, std::size_t most = 300) {
  std::string text = "\"";
  for (const char character : bytes.substr(0, most)) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte >= ' ' && byte < 0x7F && byte != '\\' && byte != '"') {
      text += character;
    } else {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\x%02X", static_cast<unsigned>(byte));
      text += escape;
    }
  }
  text += '"';
  if (bytes.size() > most) text += "... (" + std::to_string(bytes.size()) + " bytes)";
  return text;
}

std::string Hexadecimal(const Bytes& bytes) {
  constexpr std::size_t kMost = 200;
  std::string text;
  for (std::size_t i = 0; i < std::min(bytes.size(), kMost); ++i) {
    char digits[8];
    std::snprintf(digits, sizeof digits, "%02X ", static_cast<unsigned>(bytes[i]));
    text += digits;
  }
  if (bytes.size() > kMost) text += "... (" + std::to_string(bytes.size()) + " bytes)";
  return text;
}

std::string Told(const Choices& choices) {
  std::ostringstream text;
  text << "type " << choices.typeWanted << ", serial " << choices.serialWanted << ", time "
       << choices.timeWanted << ", data delimiter " << choices.dataDelimiter
       << ", record delimiter " << choices.recordDelimiter << ", serial position "
       << choices.serialPosition << ", order " << choices.order << ", serial number "
       << Readable(choices.serialField);
  return text.str();
}

std::string TypeLogged(int code) {
  char line[64];
  std::snprintf(line, sizeof line, "-[Lumet GetBarcodeTypeEx:::]:%x", static_cast<unsigned>(code));
  return line;
}

std::string WalkLogged(std::int64_t received, const Visit& visit) {
  return "-[Lumet SynchronizeBurstData][" + std::to_string(received) + ":" +
         std::to_string(visit.offset) + ":" + std::to_string(visit.step) + "]";
}

std::string Joined(const std::vector<std::string>& lines) {
  std::string all;
  for (const std::string& line : lines) all += line + "\n";
  return all;
}

}  // namespace

/// Keeps what is said of symbologies and of the steps through a burst.
class Comparison::Log final : public SystemLog {
 public:
  void Write(std::string_view line) override {
    if (line.starts_with("-[Lumet GetBarcodeType") ||
        line.starts_with("-[Lumet SynchronizeBurstData")) {
      lines.emplace_back(line);
    }
  }
  std::vector<std::string> lines;
};

class Comparison::Clock final : public platform::Clock {
 public:
  platform::CalendarTime LocalTime() override { return {}; }
  std::chrono::nanoseconds Now() override { return {}; }
  void Sleep(std::chrono::microseconds) override {}
};

/// Keeps the lines, as bytes and as they are shown.
class Comparison::Owner final : public LumetDelegate {
 public:
  void TavoInitializationDone(bool) override {}
  void DisplayBarcode(const std::string& record) override {
    made.push_back({std::string(session->ComposedLine()), record});
  }
  void SynchronizeFinished() override {}

  const Lumet* session = nullptr;
  std::vector<Made> made;
};

class Comparison::Composer final : public RecordComposer {
 public:
  using RecordComposer::RecordComposer;
};

Comparison::Comparison(Layout layout, std::uint64_t randomState)
    : layout_(layout),
      random_(randomState),
      log_(test::Immortal<Log>()),
      clock_(test::Immortal<Clock>()),
      owner_(test::Immortal<Owner>()),
      composer_(test::Immortal<Composer>(log_)),
      lumet_(test::Immortal<Lumet>(log_, clock_, test::SystemLine())) {
  owner_.session = &lumet_;
  lumet_.setDelegate(&owner_);
}

void Comparison::CompareRecords(std::int64_t records) {
  for (std::int64_t i = 0; i < records; ++i) {
    const Bytes record = RandomRecord(random_, layout_);
    const Choices choices = RandomChoices(random_);
    bytes_ = &record;
    choices_ = &choices;
    log_.lines.clear();
    owner_.made.clear();
    switch (random_.Below(7)) {
      case 0:
        CompareSingleFields(record, choices);
        break;
      case 1:
      case 2:
        CompareComposed(record, choices);
        break;
      case 3:
      case 4:
        CompareAsked(record, choices);
        break;
      default:
        CompareUnasked(record, choices);
    }
  }
}

void Comparison::CompareBursts(std::int64_t records) {
  const std::int64_t end = figures_.lines + records;
  while (figures_.lines < end) {
    const int count = random_.OneIn(500) ? random_.Between(100, 3000) : random_.Between(0, 12);
    CompareBurst(RandomRecords(random_, layout_, count), RandomChoices(random_));
  }
}

void Comparison::Choose(RecordComposer& composer, Layout layout, const Choices& choices) {
  composer.bTavo300 = layout == Layout::k300Series ? 1 : 0;
  composer.bAttachType = static_cast<std::uint8_t>(choices.typeWanted);
  composer.bAttachSerial = static_cast<std::uint8_t>(choices.serialWanted);
  composer.bAttachTimestamp = static_cast<std::uint8_t>(choices.timeWanted);
  composer.datadelimiter = choices.dataDelimiter;
  composer.recorddelimiter = choices.recordDelimiter;
  composer.sn_position = choices.serialPosition;
  composer.dataorder = choices.order;
  for (std::size_t i = 0; i < choices.serialField.size(); ++i) {
    composer.SerialNo.Put(i, static_cast<std::uint8_t>(choices.serialField[i]));
  }
}

void Comparison::Feed(const Bytes& bytes) {
  for (const std::uint8_t byte : bytes) memory_.Put(received_++, byte);
  // As a line hands them over: all at once, or cut anywhere.
  for (std::size_t at = 0; at < bytes.size();) {
    const auto left = static_cast<int>(bytes.size() - at);
    const int count = random_.OneIn(2) ? left : random_.Between(1, left);
    lumet_.DataFromDevice(bytes.data() + at, count);
    at += static_cast<std::size_t>(count);
  }
}

/// A frame or a burst: the length of the whole, and its bytes.
void Comparison::FeedFrame(bool lead, const Bytes& body) {
  if (lead) lumet_.HandleInputData(0x03);
  received_ = 0;
  const std::size_t length = body.size() + 3;
  Feed({static_cast<std::uint8_t>(length >> 16), static_cast<std::uint8_t>(length >> 8),
        static_cast<std::uint8_t>(length)});
  Feed(body);
}

void Comparison::CompareComposed(const Bytes& record, const Choices& choices) {
  const int lead = random_.Below(6);
  Bytes buffer(static_cast<std::size_t>(lead));
  for (std::uint8_t& byte : buffer) byte = random_.Byte();
  buffer.insert(buffer.end(), record.begin(), record.end());
  Memory memory(buffer.size());
  for (std::size_t i = 0; i < buffer.size(); ++i) memory.Put(i, buffer[i]);

  Choose(composer_, layout_, choices);
  composer_.BufferOffset = lead;
  composer_.ComposeRecord(buffer);
  Made made;
  made.bytes = composer_.ComposedLine();
  made.shown = Shown(made.bytes);  // only the session shows its lines

  Count(memory, lead, choices);
  const Line expected = LineOfRecord(memory, lead, layout_, choices);
  CompareLine(expected, &made);
  CompareTypeLog(expected);
}

void Comparison::CompareSingleFields(const Bytes& record, const Choices& choices) {
  Memory memory(record.size());
  for (std::size_t i = 0; i < record.size(); ++i) memory.Put(i, record[i]);
  Choose(composer_, layout_, choices);
  composer_.BufferOffset = random_.Below(static_cast<int>(record.size()));
  composer_.BarcodeBufferOffset = 0;

  Count(memory, 0, choices);
  const SingleFields expected = FieldsAt(memory, composer_.BufferOffset, layout_, choices);
  composer_.GetBarcodeType(record);
  composer_.AttachSerialNumber(record);
  composer_.AttachTimestamp(record);
  if (composer_.ComposedLine() != expected.text) {
    Differ("the fields by themselves", expected.text, composer_.ComposedLine());
  }
  if (composer_.BufferOffset != expected.end) {
    Differ("where the fields end", std::to_string(expected.end),
           std::to_string(composer_.BufferOffset));
  }
  std::vector<std::string> logged;
  if (expected.loggedCode) {
    char line[64];
    std::snprintf(line, sizeof line, "-[Lumet GetBarcodeType:]%lld:%x",
                  static_cast<long long>(expected.end - 4),
                  static_cast<unsigned>(*expected.loggedCode));
    logged.push_back(line);
  }
  if (log_.lines != logged) Differ("the log", Joined(logged), Joined(log_.lines));
}

void Comparison::CompareAsked(const Bytes& record, const Choices& choices) {
  Choose(lumet_, layout_, choices);
  lumet_.commandType = 'p';
  lumet_.bCommandDone = 0;
  FeedFrame(true, record);

  Count(memory_, kLengthBytes, choices);
  const Line expected = LineOfRecord(memory_, kLengthBytes, layout_, choices);
  CompareLine(expected, owner_.made.size() == 1 ? &owner_.made.front() : nullptr);
  CompareTypeLog(expected);
}

void Comparison::CompareUnasked(const Bytes& record, const Choices& choices) {
  Choose(lumet_, layout_, choices);
  lumet_.commandType = random_.Byte();
  lumet_.bCommandDone = 1;
  FeedFrame(true, record);
  Bytes behind;
  while (random_.OneIn(4)) {
    behind.push_back(static_cast<std::uint8_t>(random_.Of({'!', 0, 3, 'a'})));
  }
  Feed(behind);
  if (!owner_.made.empty()) Differ("a line before the end mark", "", owner_.made.front().bytes);
  Feed({'@'});

  Count(memory_, kLengthBytes, choices);
  const Line expected = LineOfRecord(memory_, kLengthBytes, layout_, choices);
  CompareLine(expected, owner_.made.size() == 1 ? &owner_.made.front() : nullptr);
  CompareTypeLog(expected);
}

void Comparison::CompareFullBuffer(bool runsOut) {
  const std::size_t room = Lumet::kRxBufferSize - kLengthBytes;
  const std::size_t most = layout_ == Layout::kOlder ? 256 : 65535;
  Bytes burst;
  while (burst.size() < room) {
    // The last two share what is left.
    const std::size_t left = room - burst.size();
    std::size_t size = most;
    if (left <= most) {
      size = left;
    } else if (left < 2 * most) {
      size = left / 2;
    }
    const bool tellsMore = runsOut && size == left;
    const Bytes record = RecordOfSize(random_, layout_, static_cast<int>(size), tellsMore);
    burst.insert(burst.end(), record.begin(), record.end());
  }
  CompareBurst(burst, RandomChoices(random_));
}

void Comparison::CompareBurst(const Bytes& burst, const Choices& choices) {
  bytes_ = &burst;
  choices_ = &choices;
  log_.lines.clear();
  owner_.made.clear();
  ++figures_.bursts;

  Choose(lumet_, layout_, choices);
  lumet_.cmdArray.Reset();
  auto received = static_cast<std::int64_t>(burst.size()) + kLengthBytes;
  if (burst.empty()) {
    // Such a burst never completes on the line; the walk has to know what to do with it all the
    // same, and with what is even shorter.
    received = random_.Between(0, kLengthBytes);
    lumet_.writePtr = static_cast<std::int32_t>(received);
    lumet_.SynchronizeBurstData();
    lumet_.writePtr = 0;
  } else {
    lumet_.commandType = 'P';
    lumet_.bCommandDone = random_.OneIn(4) ? 1 : 0;
    lumet_.state = kBurstLength;
    FeedFrame(false, burst);
  }

  const std::vector<Visit> visits = WalkBurst(memory_, received, layout_);
  std::vector<std::string> logged;
  std::size_t lines = 0;
  for (const Visit& visit : visits) {
    logged.push_back(WalkLogged(received, visit));
    if (visit.last) {
      ++figures_.ended;
      logged.push_back("-[Lumet SynchronizeBurstData]: the rest is left out");
      break;
    }
    if (visit.erased) {
      ++figures_.erased;
      continue;
    }
    Count(memory_, visit.offset, choices);
    const Line expected = LineOfRecord(memory_, visit.offset, layout_, choices);
    if (expected.loggedCode) logged.push_back(TypeLogged(*expected.loggedCode));
    CompareLine(expected, lines < owner_.made.size() ? &owner_.made[lines] : nullptr);
    ++lines;
  }
  if (owner_.made.size() != lines) {
    Differ("the number of lines", std::to_string(lines), std::to_string(owner_.made.size()));
  }
  if (log_.lines != logged) Differ("the log", Joined(logged), Joined(log_.lines));

  std::string queued;
  for (std::int32_t i = lumet_.cmdArray.cmdRead(); i < lumet_.cmdArray.cmdWrite(); ++i) {
    queued += static_cast<char>(lumet_.cmdArray.at(static_cast<std::size_t>(i)));
  }
  const std::string closing = "\001W\0031S0";
  if (queued != closing) Differ("what is queued behind the burst", closing, queued);
}

void Comparison::CompareLine(const Line& expected, const Made* made) {
  const std::string whole = expected.Whole();
  if (made == nullptr) {
    Differ("no line, or more than one", whole, "");
    return;
  }
  std::string fitting = whole;
  const auto room =
      static_cast<std::int64_t>(kDataEnd) - static_cast<std::int64_t>(expected.front.size());
  if (static_cast<std::int64_t>(expected.data.size()) > room) {
    ++figures_.cut;
    if (whole.size() < RecordComposer::kBarcodeBufferSize) ++figures_.cutEarly;
    fitting =
        expected.front + expected.data.substr(0, static_cast<std::size_t>(room)) + expected.back;
  }
  const std::string shown = Shown(fitting);
  if (std::any_of(shown.begin(), shown.end(), [](char c) { return (c & 0x80) != 0; })) {
    ++figures_.foreign;
  }
  if (made->bytes != fitting) {
    Differ("the composed line", fitting, made->bytes);
  } else if (made->shown != shown) {
    Differ("the line as it is shown", shown, made->shown);
  }
}

void Comparison::CompareTypeLog(const Line& expected) {
  std::vector<std::string> logged;
  if (expected.loggedCode) logged.push_back(TypeLogged(*expected.loggedCode));
  if (log_.lines != logged) Differ("the log", Joined(logged), Joined(log_.lines));
}

void Comparison::Count(const Memory& memory, std::int64_t start, const Choices& choices) {
  const bool older = layout_ == Layout::kOlder;
  ++figures_.lines;
  ++figures_.codes[static_cast<std::size_t>(memory.At(start + (older ? 1 : 2)) % 64)];
  const bool ordered = choices.order >= 0 && choices.order <= 5;
  ++figures_.orders[ordered ? static_cast<std::size_t>(choices.order) : 6];
  if (older ? memory.At(start) < 5 : memory.PairAt(start) < 7) ++figures_.nothing;
}

void Comparison::Differ(std::string_view what, std::string_view expected, std::string_view got) {
  ++figures_.differences;
  if (figures_.examples.size() >= kExamples) return;
  std::ostringstream text;
  text << what << "\n  layout   " << (layout_ == Layout::kOlder ? "older" : "300 series")
       << "\n  bytes    " << Hexadecimal(*bytes_) << "\n  settings " << Told(*choices_);
  // Long texts are shown from a little before where they part.
  const auto parting = static_cast<std::size_t>(
      std::mismatch(expected.begin(), expected.end(), got.begin(), got.end()).first -
      expected.begin());
  const std::size_t from = parting > 100 ? parting - 100 : 0;
  text << "\n  from     " << from << "\n  expected " << Readable(expected.substr(from))
       << "\n  got      " << Readable(got.size() > from ? got.substr(from) : "") << "\n  lengths  "
       << expected.size() << ", " << got.size();
  figures_.examples.push_back(text.str());
}

std::string Summary(const Figures& figures) {
  std::ostringstream text;
  text << figures.lines << " lines, " << figures.bursts << " bursts, " << figures.erased
       << " erased, " << figures.ended << " walks ended early, " << figures.cut << " lines cut ("
       << figures.cutEarly << " that would have fitted), " << figures.nothing
       << " with less than no data, " << figures.foreign << " not ASCII, " << figures.differences
       << " differences";
  return text.str();
}

}  // namespace quillet::oracle
