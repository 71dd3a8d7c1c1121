#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "base/UniqueFd.h"

namespace quillet::simulator {

/// The scanner's end of the line. Used by one thread at a time. Nothing here blocks.
class Endpoint {
 public:
  /// The result of a transfer.
  struct Transfer {
    std::size_t count = 0;  ///< bytes moved
    bool hungUp = false;    ///< the line is gone, or the computer has the port closed
  };

  virtual ~Endpoint() = default;

  /// Creates the line, or opens it. Does nothing if it is open. Throws std::system_error on
  /// failure.
  virtual void Open() = 0;

  /// Closes the line: the computer sees a hang-up. Does nothing if it is closed.
  virtual void Close() { line_.Close(); }

  /// The descriptor to wait on, -1 if closed.
  int Descriptor() const { return line_.Get(); }

  /// The path by which the computer finds the line; "" before the first Open().
  const std::string& Path() const { return path_; }

  /// Whether the computer has the port open, as far as this can be known.
  virtual bool IsPortOpen() const = 0;

  /// Whether the computer has not yet read everything that was written.
  virtual bool HasUnreadOutput() = 0;

  /// Discards what was written and not read.
  virtual void DiscardOutput() = 0;

  /// Reads the bytes that have arrived, up to the buffer's size.
  Transfer Read(std::span<std::uint8_t> buffer);

  /// Writes as many of the bytes as fit.
  Transfer Write(std::span<const std::uint8_t> bytes);

 protected:
  UniqueFd line_;
  std::string path_;
};

/// How the computer's end of a new pseudo-terminal is set.
enum class TerminalMode {
  kRaw,     ///< bytes pass unaltered from the start
  kCooked,  ///< as a fresh serial port of the system: line by line, with echo, until set otherwise
};

/// A pseudo-terminal; a new one at each Open().
std::unique_ptr<Endpoint> MakePseudoTerminal(TerminalMode mode);

/// An existing terminal device at `node`. It is set raw and, if the system knows it, to this speed
/// in bit/s (0: unchanged). Its port counts as open: whether it is cannot be known.
std::unique_ptr<Endpoint> MakeDeviceNode(const std::string& node, std::uint64_t bitsPerSecond);

/// A symbolic link at a fixed path that leads to the line.
class PathLink {
 public:
  /// @param path  "": there is no link, and nothing is ever done
  explicit PathLink(std::string path) : path_(std::move(path)) {}
  ~PathLink() { Remove(); }
  PathLink(const PathLink&) = delete;
  PathLink& operator=(const PathLink&) = delete;

  /// Points the link to `target`. Replaces another link there in a single step. Throws
  /// std::system_error if that fails, or if something other than a link is there.
  void PointTo(const std::string& target);

  /// Removes the link if it is still the one that PointTo() created.
  void Remove();

 private:
  std::string path_;
  std::string target_;
};

}  // namespace quillet::simulator
