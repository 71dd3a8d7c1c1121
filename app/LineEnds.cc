#include "app/LineEnds.h"

namespace quillet {

std::string FoldLineEnds(std::string_view text) {
  std::string folded;
  folded.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\r') {
      folded.push_back(text[i]);
      continue;
    }
    folded.push_back('\n');
    if (i + 1 < text.size() && text[i + 1] == '\n') ++i;
  }
  return folded;
}

}  // namespace quillet
