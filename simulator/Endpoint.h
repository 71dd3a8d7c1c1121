#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

namespace quillet::simulator {

/// The scanner's end of the line: what it reads and writes, and what it can tell of the other end.
/// Used by one thread at a time.
class Endpoint {
 public:
  /// What a transfer came to.
  struct Transfer {
    std::size_t count = 0;  ///< bytes moved
    bool hung_up = false;   ///< the line is gone, or the computer has the port closed
  };

  virtual ~Endpoint() = default;

  /// Makes the line, or opens it. Throws std::system_error when that fails. Already open: does
  /// nothing.
  virtual void Open() = 0;

  /// Ends the line: the computer sees a hang-up. Already closed: does nothing.
  virtual void Close() = 0;

  /// The descriptor to wait on, or -1 when closed. Never blocks.
  virtual int descriptor() const = 0;

  /// The path by which the computer finds the line; "" before the first Open().
  virtual std::string path() const = 0;

  /// Whether the computer has the port open, as far as this can be known.
  virtual bool IsPortOpen() = 0;

  /// Whether the computer has not yet taken everything that was written.
  virtual bool HasUnreadOutput() = 0;

  /// Throws away what was written and not taken.
  virtual void DiscardOutput() = 0;

  /// Reads what is there, up to the buffer's size, without waiting.
  virtual Transfer Read(std::span<std::uint8_t> buffer) = 0;

  /// Writes what fits, without waiting.
  virtual Transfer Write(std::span<const std::uint8_t> bytes) = 0;
};

/// How the computer's end of a new pseudo-terminal is set.
enum class TerminalMode {
  kRaw,     ///< bytes pass unaltered from the start
  kCooked,  ///< as a fresh serial port of the system: line by line, with echo, until set otherwise
};

/// A pseudo-terminal whose computer's end stands under /dev/pts; a new one at each Open().
std::unique_ptr<Endpoint> MakePseudoTerminal(TerminalMode mode);

/// An existing terminal device at `node`, set raw and, where the system knows it, to this speed in
/// bit/s (0: left alone). Whether the computer has its port open cannot be known there: it is taken
/// to be open.
std::unique_ptr<Endpoint> MakeDeviceNode(std::string node, std::uint64_t bits_per_second);

}  // namespace quillet::simulator
