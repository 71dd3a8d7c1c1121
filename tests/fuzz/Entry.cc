#include "tests/fuzz/Fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  quillet::fuzz::Input input(data, size);
  quillet::fuzz::Run(input);
  return 0;
}
