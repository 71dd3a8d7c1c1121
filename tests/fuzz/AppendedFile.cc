// Fuzzes appending records to a file with arbitrary contents.
//
// Input: one byte N, N bytes to append, the contents of the existing file.

#include "output/LumetFile.h"
#include "output/TextEncoding.h"
#include "tests/fuzz/Fuzz.h"
#include "tests/fuzz/MemoryFiles.h"
#include "tests/support/NoClock.h"

namespace quillet::fuzz {
namespace {

constexpr char kPath[] = "/records.txt";

std::string Text(std::span<const std::uint8_t> bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

}  // namespace

void Run(Input& input) {
  StrictLog log;
  test::NoClock clock;
  const std::string added = RepairUtf8(Text(input.Bytes(input.Byte())));
  const std::string before = Text(input.Rest());
  MemoryFiles files;
  files.Replace(kPath, before);
  LumetFile(log, clock, files).WriteDataToFile(kPath, added, false, true);
  const std::string after = files.Read(kPath, std::string::npos).value();
  Require(after.ends_with(added), "the file ends with the appended text");
  Require(RepairUtf8(after) == after, "the file is UTF-8");
  if (RepairUtf8(before) == before && !HasByteOrderMark(before)) {
    Require(after == before + added, "the existing contents are unchanged");
  }
}

}  // namespace quillet::fuzz
