#pragma once

#include <cstdint>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace quillet::test {

/// A line of an example in docs/protocol.md. It consists of words or bytes, three or more spaces,
/// and an explanation.
struct ExampleLine {
  std::string example;
  std::string explanation;
};

/// Returns the lines of docs/protocol.md, without line ends.
inline std::vector<std::string> ProtocolDocument() {
  std::ifstream file(PROTOCOL_DOCUMENT);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

/// Returns the lines of an example: the block between "```name" and "```". Throws
/// std::runtime_error if the document has no such example.
inline std::vector<ExampleLine> ProtocolExample(std::string_view name) {
  std::vector<ExampleLine> example;
  bool inside = false;
  for (const std::string& line : ProtocolDocument()) {
    if (!inside) {
      inside = line == "```" + std::string(name);
    } else if (line == "```") {
      return example;
    } else {
      const std::size_t end = line.find("   ");
      const std::size_t next = line.find_first_not_of(' ', end);
      example.push_back(
          {line.substr(0, end), next == std::string::npos ? std::string() : line.substr(next)});
    }
  }
  throw std::runtime_error("docs/protocol.md has no example " + std::string(name));
}

/// Converts hexadecimal text such as "09 06 41" to bytes.
inline std::string BytesOf(std::string_view hexadecimal) {
  std::string bytes;
  for (std::size_t at = 0; at < hexadecimal.size(); at += 3) {
    bytes.push_back(
        static_cast<char>(std::stoi(std::string(hexadecimal.substr(at, 2)), nullptr, 16)));
  }
  return bytes;
}

}  // namespace quillet::test
