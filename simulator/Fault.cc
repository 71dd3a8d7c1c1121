#include "simulator/Fault.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <stdexcept>

#include "simulator/CommandParser.h"
#include "simulator/DecimalNumber.h"
#include "simulator/InputError.h"

namespace quillet::simulator {
namespace {

// A rule that cannot be understood is reported as std::invalid_argument until the number of its
// line is known.
using Complaint = std::invalid_argument;

struct Word {
  std::string text;
  bool quoted = false;
};

/// The words of a rule still to be read.
class Words {
 public:
  explicit Words(std::string_view rule) {
    std::size_t at = 0;
    while (true) {
      at = rule.find_first_not_of(" \t\r", at);
      if (at == std::string_view::npos || rule[at] == '#') return;
      at = rule[at] == '"' ? ReadQuoted(rule, at) : ReadPlain(rule, at);
    }
  }

  bool AtEnd() const { return next_ == words_.size(); }
  const Word& Peek() const { return words_[next_]; }

  Word Take(const char* expected) {
    if (AtEnd()) throw Complaint(std::string("expected ") + expected + " at the end of the rule");
    return words_[next_++];
  }

 private:
  std::size_t ReadPlain(std::string_view rule, std::size_t at) {
    const std::size_t end = std::min(rule.find_first_of(" \t\r", at), rule.size());
    words_.push_back({std::string(rule.substr(at, end - at)), false});
    return end;
  }

  std::size_t ReadQuoted(std::string_view rule, std::size_t at) {
    std::size_t end = at + 1;
    while (end < rule.size() && rule[end] != '"') end += rule[end] == '\\' ? 2 : 1;
    if (end >= rule.size()) throw Complaint("a text in quotation marks does not end");
    words_.push_back({std::string(rule.substr(at + 1, end - at - 1)), true});
    return end + 1;
  }

  std::vector<Word> words_;
  std::size_t next_ = 0;
};

std::optional<std::uint64_t> AsNumber(std::string_view text) {
  int base = 10;
  if (text.starts_with("0x")) {
    base = 16;
    text.remove_prefix(2);
  }
  std::uint64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
  if (error != std::errc{} || end != text.data() + text.size()) return std::nullopt;
  return value;
}

std::uint64_t TakeNumber(Words& words, const char* what) {
  const Word word = words.Take(what);
  const auto number = AsNumber(word.text);
  if (!number || word.quoted) {
    throw Complaint(std::string("expected ") + what + ", not \"" + word.text + "\"");
  }
  return *number;
}

/// A number of milliseconds, whole or with decimals.
std::chrono::nanoseconds TakeMilliseconds(Words& words) {
  const Word word = words.Take("a number of milliseconds");
  const auto value = ReadDecimalNumber(word.text);
  if (!value || *value > 1e9) {
    throw Complaint("expected a number of milliseconds, not \"" + word.text + "\"");
  }
  return std::chrono::nanoseconds{std::llround(*value * 1e6)};
}

/// "2.5s" or "700ms".
std::chrono::nanoseconds TakeMoment(Words& words) {
  std::string text = words.Take("a time such as 2.5s or 700ms").text;
  const std::string written = text;
  double nanoseconds = 1e9;
  if (text.ends_with("ms")) {
    nanoseconds = 1e6;
    text.pop_back();
  }
  const bool has_unit = text.size() > 1 && (text.back() == 's' || nanoseconds < 1e9);
  if (has_unit) text.pop_back();
  const auto value = ReadDecimalNumber(text);
  if (!has_unit || !value || *value > 1e6) {
    throw Complaint("expected a time such as 2.5s or 700ms, not \"" + written + "\"");
  }
  return std::chrono::nanoseconds{std::llround(*value * nanoseconds)};
}

/// All remaining words: pairs of hexadecimal digits, with or without blanks, and quoted texts.
Bytes TakeBytes(Words& words) {
  Bytes bytes;
  const Word first = words.Take("bytes, such as 03 1f or \"text\"");
  for (Word word = first;; word = words.Take("bytes")) {
    if (word.quoted) {
      Append(bytes, Unescape(word.text));
    } else {
      for (std::size_t at = 0; at < word.text.size(); at += 2) {
        const int high = HexDigitValue(word.text[at]);
        const int low = at + 1 < word.text.size() ? HexDigitValue(word.text[at + 1]) : -1;
        if (high < 0 || low < 0) {
          throw Complaint("expected bytes, such as 03 1f or \"text\", not \"" + word.text + "\"");
        }
        bytes.push_back(static_cast<std::uint8_t>(high * 16 + low));
      }
    }
    if (words.AtEnd()) return bytes;
  }
}

void ReadNothing(Words&, Fault&) {}

void ReadDuration(Words& words, Fault& fault) {
  fault.duration = TakeMilliseconds(words);
}

void ReadChunks(Words& words, Fault& fault) {
  fault.number = TakeNumber(words, "the size of the pieces in bytes");
  if (fault.number == 0) throw Complaint("the pieces must have at least one byte");
  if (!words.AtEnd()) fault.duration = TakeMilliseconds(words);
}

void ReadBytes(Words& words, Fault& fault) {
  fault.bytes = TakeBytes(words);
}

void ReadPositionAndBytes(Words& words, Fault& fault) {
  fault.number = TakeNumber(words, "the number of bytes to come before");
  fault.bytes = TakeBytes(words);
}

void ReadCount(Words& words, Fault& fault) {
  fault.number = TakeNumber(words, "a number of bytes");
}

void ReadLength(Words& words, Fault& fault) {
  const std::string& command = fault.command;
  if (command.front() != 'p' && command != "P") {
    throw Complaint("only the answers to p and P have a length");
  }
  fault.number = TakeNumber(words, "a length");
  if (fault.number > 0xFFFFFF) throw Complaint("a length has 24 bits: at most 16777215");
}

void ReadLoss(Words& words, Fault& fault) {
  fault.number = TakeNumber(words, "a number of bytes");
  if (fault.trigger == FaultTrigger::kCommand && !words.AtEnd()) {
    fault.count = TakeNumber(words, "a number of bytes");
  }
}

void ReadReplug(Words& words, Fault& fault) {
  if (words.AtEnd()) return;
  const Word word = words.Take("replug");
  if (word.text != "replug")
    throw Complaint("expected \"replug\" or nothing, not \"" + word.text + "\"");
  fault.replug = TakeMilliseconds(words);
}

void ReadScan(Words& words, Fault& fault) {
  fault.number = TakeNumber(words, "the symbology byte");
  if (fault.number > 0xFF) throw Complaint("a symbology byte is 0 to 255");
  const Word word = words.Take("the barcode's data");
  fault.bytes = Unescape(word.text);
}

struct ActionShape {
  std::string_view name;
  FaultAction action;
  bool on_command;  ///< allowed behind "on"
  bool at_any;      ///< allowed behind the other triggers
  void (*read)(Words&, Fault&);
};

constexpr std::array kActions = std::to_array<ActionShape>({
    {"ignore", FaultAction::kIgnore, true, false, ReadNothing},
    {"silence", FaultAction::kSilence, true, false, ReadNothing},
    {"delay", FaultAction::kDelay, true, false, ReadDuration},
    {"chunks", FaultAction::kChunks, true, false, ReadChunks},
    {"before", FaultAction::kBefore, true, false, ReadBytes},
    {"within", FaultAction::kWithin, true, false, ReadPositionAndBytes},
    {"after", FaultAction::kAfter, true, false, ReadBytes},
    {"answer", FaultAction::kAnswer, true, false, ReadBytes},
    {"length", FaultAction::kLength, true, false, ReadLength},
    {"truncate", FaultAction::kTruncate, true, false, ReadCount},
    {"lose", FaultAction::kLose, true, true, ReadLoss},
    {"unplug", FaultAction::kUnplug, true, true, ReadReplug},
    {"plug", FaultAction::kPlug, false, true, ReadNothing},
    {"send", FaultAction::kSend, false, true, ReadBytes},
    {"pause", FaultAction::kPause, false, true, ReadDuration},
    {"scan", FaultAction::kScan, false, true, ReadScan},
});

constexpr std::array<std::string_view, 15> kCommandNames = {
    "W", "M", "V", "GZSG", "w", "w0#", "w1#", "C", "E", "N", "GS1", "GS0", "P", "p", "any"};

/// "p1a#" and the like: exactly one request for a record.
bool IsRecordRequest(const std::string& text) {
  CommandParser parser;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const auto result = parser.Feed(static_cast<std::uint8_t>(text[at]));
    if (!result.complaint.empty()) return false;
    if (result.command) {
      return at + 1 == text.size() && result.command->kind == CommandKind::kSendOneRecord;
    }
  }
  return false;
}

/// "3", "3+", "every", or nothing, which means every.
void ReadOccurrence(Words& words, Fault& fault) {
  fault.occurrence = 1;
  fault.and_later = true;
  if (words.AtEnd()) return;
  std::string text = words.Peek().text;
  if (text == "every") {
    words.Take("every");
    return;
  }
  if (text.empty() || text.front() < '0' || text.front() > '9') return;
  words.Take("an occurrence");
  fault.and_later = text.ends_with('+');
  if (fault.and_later) text.pop_back();
  const auto number = AsNumber(text);
  if (!number || *number == 0) {
    throw Complaint("an occurrence is written as 1, 2, ... or 2+ or every, not \"" + text + "\"");
  }
  fault.occurrence = *number;
}

void ReadTrigger(Words& words, Fault& fault) {
  const std::string name = words.Take("on, after-sent, after-received, after-bytes or at").text;
  if (name == "on") {
    fault.trigger = FaultTrigger::kCommand;
    fault.command = words.Take("a command").text;
    const bool known =
        std::find(kCommandNames.begin(), kCommandNames.end(), fault.command) != kCommandNames.end();
    if (!known && !IsRecordRequest(fault.command)) {
      throw Complaint("\"" + fault.command + "\" is not a command of the scanner");
    }
    ReadOccurrence(words, fault);
  } else if (name == "at") {
    fault.trigger = FaultTrigger::kTime;
    fault.after = TakeMoment(words);
  } else if (name == "after-sent" || name == "after-received" || name == "after-bytes") {
    fault.trigger = name == "after-sent"       ? FaultTrigger::kBytesSent
                    : name == "after-received" ? FaultTrigger::kBytesReceived
                                               : FaultTrigger::kBytesBothWays;
    fault.after_bytes = TakeNumber(words, "a number of bytes");
    if (fault.after_bytes == 0) throw Complaint("bytes are counted from 1");
  } else {
    throw Complaint("a rule begins with on, after-sent, after-received, after-bytes or at, not \"" +
                    name + "\"");
  }
}

Fault ReadRule(Words& words) {
  Fault fault;
  ReadTrigger(words, fault);
  const std::string name = words.Take("what shall happen").text;
  const auto* shape = std::find_if(kActions.begin(), kActions.end(),
                                   [&](const ActionShape& each) { return each.name == name; });
  if (shape == kActions.end()) throw Complaint("nothing called \"" + name + "\" can happen");
  const bool on_command = fault.trigger == FaultTrigger::kCommand;
  if (on_command ? !shape->on_command : !shape->at_any) {
    throw Complaint("\"" + name + "\" can " + (on_command ? "not" : "only") +
                    " happen on a command");
  }
  fault.action = shape->action;
  shape->read(words, fault);
  if (!words.AtEnd()) {
    throw Complaint("\"" + words.Peek().text + "\" is more than the rule takes");
  }
  return fault;
}

/// The rule of one line, or nothing for a line without one.
std::optional<Fault> ReadLine(std::string_view line) {
  Words words(line);
  if (words.AtEnd()) return std::nullopt;
  return ReadRule(words);
}

}  // namespace

Fault ParseFault(std::string_view rule) {
  auto fault = ReadLine(rule);
  if (!fault) throw Complaint("there is no rule");
  return *std::move(fault);
}

std::vector<Fault> ParseFaults(std::string_view script) {
  std::vector<Fault> faults;
  int number = 0;
  while (!script.empty()) {
    number += 1;
    const std::size_t end = std::min(script.find('\n'), script.size());
    try {
      if (auto fault = ReadLine(script.substr(0, end))) faults.push_back(*std::move(fault));
    } catch (const Complaint& complaint) {
      throw InputError(number, complaint.what());
    }
    script.remove_prefix(std::min(end + 1, script.size()));
  }
  return faults;
}

}  // namespace quillet::simulator
