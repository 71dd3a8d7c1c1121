#include "app/LineEnds.h"

namespace quillet {

std::string FoldLineEnds(std::string_view text) {
  std::string folded;
  folded.reserve(text.size());
  char previous = '\0';
  for (const char character : text) {
    const bool endsCrLf = character == '\n' && previous == '\r';
    if (!endsCrLf) folded.push_back(character == '\r' ? '\n' : character);
    previous = character;
  }
  return folded;
}

}  // namespace quillet
