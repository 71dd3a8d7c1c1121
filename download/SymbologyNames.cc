#include "download/SymbologyNames.h"

#include <array>
#include <cstddef>

namespace quillet {
namespace {

constexpr std::size_t kOlderNames = 16;

// The tables of the older scanners and of the 300 series, concatenated. Older scanners' codes from
// 16 up intentionally continue into the second table.
constexpr std::array<std::string_view, kOlderNames + 45> kNames = {
    // Older scanners
    "EAN 13", "EAN 8", "UPCA", "UPCE",                // codes 0 to 3
    "Code 39", "ITF-14", "Code 128", "I2of5",         // codes 4 to 7
    "CodaBar", "UCC/EAN-128", "Code 93", "Code 35",   // codes 8 to 11
    "Unknown", "Unknown", "Bookland EAN", "Unknown",  // codes 12 to 15
    // 300 series
    "Code 32", "Trioptic", "Korea Post", "Aus. Post", "British Post",  // codes 0 to 4
    "Canada Post", "EAN-8", "UPC-E", "UCC/EAN-128", "Japan Post",      // codes 5 to 9
    "KIX Post", "Planet Code", "OCR", "Postnet", "China Post",         // codes 10 to 14
    "Micro PDF417", "TLC 39", "PosiCode", "Codabar", "Code 39",        // codes 15 to 19
    "UPC-A", "EAN-13", "I2of5", "IATA", "MSI",                         // codes 20 to 24
    "Code 11", "Code 93", "Code 128", "Code 49", "Matrix2of5",         // codes 25 to 29
    "Plessey", "Code 16K", "Codablock F", "PDF417", "QR/Micro QR",     // codes 30 to 34
    "Telepen", "VeriCode", "Data Matrix", "MaxiCode", "EAN/UCC",       // codes 35 to 39
    "RSS", "Aztec Code", "No Read", "HanXin Code", "Unknown",          // codes 40 to 44
};

}  // namespace

std::string_view SymbologyName(std::int32_t code, bool bTavo300) {
  const std::size_t index =
      static_cast<std::size_t>(static_cast<std::uint32_t>(code)) + (bTavo300 ? kOlderNames : 0);
  return index < kNames.size() ? kNames[index] : "Unknown";
}

std::int32_t RemapOlderCode(std::int32_t code) {
  return code == 20 || code == 21 ? code - 10 : code;
}

}  // namespace quillet
