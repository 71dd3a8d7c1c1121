#include <algorithm>
#include <array>
#include <stdexcept>

#include "simulator/Fault.h"
#include "simulator/Input.h"

namespace quillet::simulator {
namespace {

using Complaint = std::invalid_argument;

struct Word {
  std::string text;
  bool quoted = false;
};

/// The words of a rule, without comments.
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
    if (end >= rule.size()) throw Complaint("a closing quotation mark is missing");
    words_.push_back({std::string(rule.substr(at + 1, end - at - 1)), true});
    return end + 1;
  }

  std::vector<Word> words_;
  std::size_t next_ = 0;
};

[[noreturn]] void Expected(const std::string& what, const std::string& found) {
  throw Complaint("expected " + what + ", not \"" + found + "\"");
}

std::uint64_t TakeNumber(Words& words, const char* what) {
  const Word word = words.Take(what);
  const auto number = ReadNumber(word.text);
  if (!number || word.quoted) Expected(what, word.text);
  return *number;
}

std::chrono::nanoseconds TakeMilliseconds(Words& words) {
  constexpr const char* kWhat = "a number of milliseconds";
  const Word word = words.Take(kWhat);
  const auto duration = ReadDuration(word.text, std::chrono::milliseconds(1));
  if (!duration) Expected(kWhat, word.text);
  return *duration;
}

std::chrono::nanoseconds TakeMoment(Words& words) {
  constexpr const char* kWhat = "a duration such as 2.5s or 700ms";
  const Word word = words.Take(kWhat);
  std::string_view number = word.text;
  if (!number.ends_with('s')) Expected(kWhat, word.text);
  const bool inMilliseconds = number.ends_with("ms");
  number.remove_suffix(inMilliseconds ? 2 : 1);
  const auto moment =
      ReadDuration(number, inMilliseconds ? std::chrono::milliseconds(1) : std::chrono::seconds(1));
  if (!moment) Expected(kWhat, word.text);
  return *moment;
}

/// Reads all remaining words as hexadecimal bytes and quoted strings.
Bytes TakeBytes(Words& words) {
  constexpr const char* kWhat = "bytes, such as 03 1f or \"text\"";
  Bytes bytes;
  do {
    const Word word = words.Take(kWhat);
    if (word.quoted) {
      Append(bytes, Unescape(word.text));
      continue;
    }
    for (std::size_t at = 0; at < word.text.size(); at += 2) {
      const auto byte = ReadHexByte(std::string_view(word.text).substr(at, 2));
      if (!byte) Expected(kWhat, word.text);
      bytes.push_back(*byte);
    }
  } while (!words.AtEnd());
  return bytes;
}

void ReadNothing(Words&, Fault&) {}

void ReadMilliseconds(Words& words, Fault& fault) {
  fault.duration = TakeMilliseconds(words);
}

void ReadChunks(Words& words, Fault& fault) {
  fault.number = TakeNumber(words, "a chunk size in bytes");
  if (fault.number == 0) throw Complaint("the chunk size must be at least 1");
  if (!words.AtEnd()) ReadMilliseconds(words, fault);
}

void ReadBytes(Words& words, Fault& fault) {
  fault.bytes = TakeBytes(words);
}

void ReadBytesAtEnd(Words& words, Fault& fault) {
  fault.number = Fault::kAll;
  ReadBytes(words, fault);
}

void ReadBytesWithin(Words& words, Fault& fault) {
  fault.number = TakeNumber(words, "a number of bytes");
  ReadBytes(words, fault);
}

void ReadTruncation(Words& words, Fault& fault) {
  fault.number = TakeNumber(words, "a number of bytes");
  fault.count = Fault::kAll;
}

void ReadLoss(Words& words, Fault& fault) {
  const std::uint64_t first = TakeNumber(words, "a number of bytes");
  if (fault.trigger != FaultTrigger::kCommand) {
    fault.count = first;
    return;
  }
  fault.number = first;
  if (!words.AtEnd()) fault.count = TakeNumber(words, "a number of bytes");
}

void ReadLength(Words& words, Fault& fault) {
  if (fault.command.front() != 'p' && fault.command != "P") {
    throw Complaint("only answers to p and P have a length field");
  }
  fault.number = TakeNumber(words, "a length");
  if (fault.number > 0xFFFFFF) throw Complaint("the length must be at most 16777215 (24 bits)");
}

void ReadReplug(Words& words, Fault& fault) {
  if (words.AtEnd()) return;
  const Word word = words.Take("replug");
  if (word.text != "replug") Expected("\"replug\" or the end of the rule", word.text);
  fault.replug = TakeMilliseconds(words);
}

void ReadScan(Words& words, Fault& fault) {
  fault.number = TakeNumber(words, "the symbology byte");
  if (fault.number > 0xFF) throw Complaint("the symbology byte must be from 0 to 255");
  fault.bytes = Unescape(words.Take("the barcode's data").text);
}

struct ActionRule {
  std::string_view name;
  FaultAction action;
  bool onCommand;  ///< allowed after "on"
  bool otherwise;  ///< allowed after the other triggers
  void (*read)(Words&, Fault&);
};

constexpr std::array kActionRules = std::to_array<ActionRule>({
    {"ignore", FaultAction::kIgnore, true, false, ReadNothing},
    {"silence", FaultAction::kSilence, true, false, ReadNothing},
    {"delay", FaultAction::kDelay, true, false, ReadMilliseconds},
    {"chunks", FaultAction::kChunks, true, false, ReadChunks},
    {"before", FaultAction::kInsert, true, false, ReadBytes},
    {"within", FaultAction::kInsert, true, false, ReadBytesWithin},
    {"after", FaultAction::kInsert, true, false, ReadBytesAtEnd},
    {"answer", FaultAction::kAnswer, true, false, ReadBytes},
    {"length", FaultAction::kLength, true, false, ReadLength},
    {"truncate", FaultAction::kLose, true, false, ReadTruncation},
    {"lose", FaultAction::kLose, true, true, ReadLoss},
    {"unplug", FaultAction::kUnplug, true, true, ReadReplug},
    {"plug", FaultAction::kPlug, false, true, ReadNothing},
    {"send", FaultAction::kSend, false, true, ReadBytes},
    {"pause", FaultAction::kPause, false, true, ReadMilliseconds},
    {"scan", FaultAction::kScan, false, true, ReadScan},
});

struct TriggerName {
  std::string_view name;
  FaultTrigger trigger;
};

constexpr std::array kTriggers = std::to_array<TriggerName>({
    {"on", FaultTrigger::kCommand},
    {"after-sent", FaultTrigger::kBytesSent},
    {"after-received", FaultTrigger::kBytesReceived},
    {"after-bytes", FaultTrigger::kBytesBothWays},
    {"at", FaultTrigger::kTime},
});

/// Returns true if the text names one complete command or a group of commands.
bool NamesCommand(const std::string& text) {
  if (text == "C" || text == "w" || text == "p" || text == "any") return true;
  CommandParser parser;
  CommandParser::Result result;
  for (const char letter : text) result = parser.Feed(static_cast<std::uint8_t>(letter));
  return result.command && result.command->text == text;
}

/// Reads the optional occurrence: "3", "3+" or "every". The default is "every".
void ReadOccurrence(Words& words, Fault& fault) {
  if (words.AtEnd()) return;
  std::string text = words.Peek().text;
  const bool every = text == "every";
  if (!every && (text.empty() || text.front() < '0' || text.front() > '9')) return;
  words.Take("N, N+ or \"every\"");
  if (every) return;
  fault.andLater = text.ends_with('+');
  if (fault.andLater) text.pop_back();
  fault.occurrence = ReadNumber(text).value_or(0);
  if (fault.occurrence == 0) {
    throw Complaint("the occurrence must be N, N+ or \"every\", not \"" + text + "\"");
  }
}

void ReadTrigger(Words& words, Fault& fault) {
  constexpr const char* kNames =
      "\"on\", \"after-sent\", \"after-received\", \"after-bytes\" or \"at\"";
  const std::string name = words.Take(kNames).text;
  const auto* found = FindByName(kTriggers, name);
  if (found == nullptr) Expected(kNames, name);
  fault.trigger = found->trigger;
  if (fault.trigger == FaultTrigger::kCommand) {
    fault.command = words.Take("a command").text;
    if (!NamesCommand(fault.command)) {
      throw Complaint("\"" + fault.command + "\" is not a scanner command");
    }
    ReadOccurrence(words, fault);
  } else if (fault.trigger == FaultTrigger::kTime) {
    fault.after = TakeMoment(words);
  } else {
    fault.afterBytes = TakeNumber(words, "a number of bytes");
    if (fault.afterBytes == 0) throw Complaint("the number of bytes must be at least 1");
  }
}

Fault ReadRule(Words& words) {
  Fault fault;
  ReadTrigger(words, fault);
  const std::string name = words.Take("an action").text;
  const auto* rule = FindByName(kActionRules, name);
  if (rule == nullptr) throw Complaint("unknown action \"" + name + "\"");
  const bool onCommand = fault.trigger == FaultTrigger::kCommand;
  if (onCommand ? !rule->onCommand : !rule->otherwise) {
    throw Complaint("\"" + name + "\" is " + (onCommand ? "not" : "only") +
                    " allowed after \"on\"");
  }
  fault.action = rule->action;
  rule->read(words, fault);
  if (!words.AtEnd()) {
    throw Complaint("unexpected \"" + words.Peek().text + "\" at the end of the rule");
  }
  return fault;
}

}  // namespace

Fault ParseFault(std::string_view rule) {
  Words words(rule);
  if (words.AtEnd()) throw Complaint("the rule is empty");
  return ReadRule(words);
}

std::vector<Fault> ParseFaults(std::string_view script) {
  std::vector<Fault> faults;
  ForEachLine(script, [&](std::string_view line) {
    Words words(line);
    if (!words.AtEnd()) faults.push_back(ReadRule(words));
  });
  return faults;
}

}  // namespace quillet::simulator
