#include "simulator/Symbologies.h"

#include <cctype>
#include <span>
#include <string>

namespace quillet::simulator {
namespace {

// The names, indexed by code. A symbology with two codes is listed twice.
constexpr std::string_view kOlder[] = {"EAN-13",  "EAN-8",    "UPC-A", "UPC-E",   "Code 39",
                                       "ITF-14",  "Code 128", "I2of5", "Codabar", "UCC/EAN-128",
                                       "Code 93", "Code 35",  "",      "",        "Bookland EAN",
                                       "",        "",         "",      "",        "",
                                       "Code 93", "Code 35"};

constexpr std::string_view kSeries300[] = {
    "Code 32",  "Trioptic",    "Korea Post",  "Aus. Post",    "British Post", "Canada Post",
    "EAN-8",    "UPC-E",       "UCC/EAN-128", "Japan Post",   "KIX Post",     "Planet Code",
    "OCR",      "Postnet",     "China Post",  "Micro PDF417", "TLC 39",       "PosiCode",
    "Codabar",  "Code 39",     "UPC-A",       "EAN-13",       "I2of5",        "IATA",
    "MSI",      "Code 11",     "Code 93",     "Code 128",     "Code 49",      "Matrix2of5",
    "Plessey",  "Code 16K",    "Codablock F", "PDF417",       "QR/Micro QR",  "Telepen",
    "VeriCode", "Data Matrix", "MaxiCode",    "EAN/UCC",      "RSS",          "Aztec Code",
    "No Read",  "HanXin Code"};

std::span<const std::string_view> NamesOf(Model model) {
  if (model == Model::kOlder) return kOlder;
  return kSeries300;
}

/// Returns the letters and digits of a name, in lower case.
std::string Plain(std::string_view name) {
  std::string plain;
  for (const char letter : name) {
    const auto value = static_cast<unsigned char>(letter);
    if (std::isalnum(value)) plain += static_cast<char>(std::tolower(value));
  }
  return plain;
}

}  // namespace

std::optional<std::uint8_t> SymbologyCode(Model model, std::string_view name) {
  const std::string wanted = Plain(name);
  const auto names = NamesOf(model);
  for (std::size_t code = 0; code < names.size() && !wanted.empty(); ++code) {
    if (Plain(names[code]) == wanted) return static_cast<std::uint8_t>(code);
  }
  return std::nullopt;
}

std::string_view SymbologyName(Model model, std::uint8_t code) {
  const auto names = NamesOf(model);
  return code < names.size() ? names[code] : std::string_view{};
}

}  // namespace quillet::simulator
