#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "base/UniqueFd.h"

namespace quillet::simulator {

/// The scanner's end of a serial line. Used by one thread at a time. No function blocks.
class Endpoint {
 public:
  /// The result of Read() or Write().
  struct Transfer {
    std::size_t count = 0;  ///< number of bytes transferred
    bool hungUp = false;    ///< the line failed, or the computer has closed the port
  };

  virtual ~Endpoint() = default;

  /// Creates or opens the line, unless it is already open. Throws std::system_error on failure.
  virtual void Open() = 0;
  /// Closes the line. The computer sees a hang-up.
  virtual void Close() { line_.Close(); }
  /// The descriptor for poll(2), or -1 if the line is closed.
  int Descriptor() const { return line_.Get(); }
  /// The path of the computer's end; "" before the first Open().
  const std::string& Path() const { return path_; }
  /// Returns true if the computer has the port open. Device nodes cannot detect this; see
  /// MakeDeviceNode.
  virtual bool IsPortOpen() const = 0;
  /// Returns true if the computer has not yet read all written bytes.
  virtual bool HasUnreadOutput() = 0;
  /// Discards the bytes that the computer has not read.
  virtual void DiscardOutput() = 0;
  /// Reads the available bytes, up to the size of `buffer`.
  Transfer Read(std::span<std::uint8_t> buffer);
  /// Writes as many bytes as the line accepts.
  Transfer Write(std::span<const std::uint8_t> bytes);

 protected:
  UniqueFd line_;
  std::string path_;
};

/// The initial settings of a new pseudo-terminal.
enum class TerminalMode {
  kRaw,     ///< bytes pass unchanged
  kCooked,  ///< the system's default: line editing and echo
};

/// Returns an endpoint whose Open() creates a new pseudo-terminal each time.
std::unique_ptr<Endpoint> MakePseudoTerminal(TerminalMode mode);

/// Returns an endpoint for the existing terminal device `node`. Open() sets raw mode and the speed
/// (bit/s). If `bitsPerSecond` is 0 or not supported, the speed stays unchanged. IsPortOpen() is
/// true while the device is open.
std::unique_ptr<Endpoint> MakeDeviceNode(const std::string& node, std::uint64_t bitsPerSecond);

/// A symbolic link to the line, at a fixed path.
class PathLink {
 public:
  /// @param path  if "", the object does nothing
  explicit PathLink(std::string path) : path_(std::move(path)) {}
  ~PathLink() { Remove(); }
  PathLink(const PathLink&) = delete;
  PathLink& operator=(const PathLink&) = delete;

  /// Creates the link, or atomically replaces an existing one. Throws std::system_error on failure,
  /// or if the path exists but is not a link.
  void PointTo(const std::string& target);
  /// Removes the link, unless it has been changed since PointTo().
  void Remove();

 private:
  std::string path_;
  std::string target_;
};

}  // namespace quillet::simulator
