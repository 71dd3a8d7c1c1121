#include "simulator/DecimalNumber.h"

#include <cmath>
#include <locale>
#include <sstream>
#include <string>

namespace quillet::simulator {

std::optional<double> ReadDecimalNumber(std::string_view text) {
  if (text.empty() || text.front() == '+') return std::nullopt;
  std::istringstream stream{std::string(text)};
  stream.imbue(std::locale::classic());
  double number = 0;
  stream >> std::noskipws >> number;
  if (stream.fail() || stream.peek() != std::istringstream::traits_type::eof()) return std::nullopt;
  if (!std::isfinite(number) || number < 0) return std::nullopt;
  return number;
}

}  // namespace quillet::simulator
