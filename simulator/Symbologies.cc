#include "simulator/Symbologies.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <span>
#include <stdexcept>
#include <string>

namespace quillet::simulator {
namespace {

struct Symbology {
  std::uint8_t code;
  std::string_view name;
};

/// Numbers 20 and 21 are second numbers of 10 and 11; the first of two is the one a name gives.
constexpr std::array kOlder = std::to_array<Symbology>({
    {0, "EAN-13"},
    {1, "EAN-8"},
    {2, "UPC-A"},
    {3, "UPC-E"},
    {4, "Code 39"},
    {5, "ITF-14"},
    {6, "Code 128"},
    {7, "I2of5"},
    {8, "Codabar"},
    {9, "UCC/EAN-128"},
    {10, "Code 93"},
    {11, "Code 35"},
    {14, "Bookland EAN"},
    {20, "Code 93"},
    {21, "Code 35"},
});

constexpr std::array kSeries300 = std::to_array<Symbology>({
    {0, "Code 32"},      {1, "Trioptic"},     {2, "Korea Post"},   {3, "Aus. Post"},
    {4, "British Post"}, {5, "Canada Post"},  {6, "EAN-8"},        {7, "UPC-E"},
    {8, "UCC/EAN-128"},  {9, "Japan Post"},   {10, "KIX Post"},    {11, "Planet Code"},
    {12, "OCR"},         {13, "Postnet"},     {14, "China Post"},  {15, "Micro PDF417"},
    {16, "TLC 39"},      {17, "PosiCode"},    {18, "Codabar"},     {19, "Code 39"},
    {20, "UPC-A"},       {21, "EAN-13"},      {22, "I2of5"},       {23, "IATA"},
    {24, "MSI"},         {25, "Code 11"},     {26, "Code 93"},     {27, "Code 128"},
    {28, "Code 49"},     {29, "Matrix2of5"},  {30, "Plessey"},     {31, "Code 16K"},
    {32, "Codablock F"}, {33, "PDF417"},      {34, "QR/Micro QR"}, {35, "Telepen"},
    {36, "VeriCode"},    {37, "Data Matrix"}, {38, "MaxiCode"},    {39, "EAN/UCC"},
    {40, "RSS"},         {41, "Aztec Code"},  {42, "No Read"},     {43, "HanXin Code"},
});

std::span<const Symbology> TableOf(Model model) {
  if (model == Model::kOlder) return kOlder;
  return kSeries300;
}

/// The letters and digits of a name, in lower case.
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
  if (wanted.empty()) return std::nullopt;
  const auto table = TableOf(model);
  const auto found = std::find_if(table.begin(), table.end(), [&](const Symbology& symbology) {
    return Plain(symbology.name) == wanted;
  });
  if (found == table.end()) return std::nullopt;
  return found->code;
}

std::uint8_t ParseSymbologyByte(Model model, std::string_view text) {
  if (const auto code = SymbologyCode(model, text)) return *code;
  const bool hexadecimal = text.starts_with("0x");
  const char* first = text.data() + (hexadecimal ? 2 : 0);
  const char* last = text.data() + text.size();
  unsigned value = 0;
  const auto [end, error] = std::from_chars(first, last, value, hexadecimal ? 16 : 10);
  if (error != std::errc{} || end != last || value > 0xFF) {
    throw std::invalid_argument("\"" + std::string(text) +
                                "\" is no symbology of this model and no number 0 to 255");
  }
  return static_cast<std::uint8_t>(value);
}

std::string_view SymbologyName(Model model, std::uint8_t code) {
  const auto table = TableOf(model);
  const auto found = std::find_if(table.begin(), table.end(), [&](const Symbology& symbology) {
    return symbology.code == code;
  });
  return found == table.end() ? std::string_view{} : found->name;
}

}  // namespace quillet::simulator
