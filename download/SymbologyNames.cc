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
    "EAN 13", "EAN 8", "UPCA", "UPCE",                //  0
    "Code 39", "ITF-14", "Code 128", "I2of5",         //  4
    "CodaBar", "UCC/EAN-128", "Code 93", "Code 35",   //  8
    "Unknown", "Unknown", "Bookland EAN", "Unknown",  // 12
    // 300 series
    "Code 32", "Trioptic", "Korea Post", "Aus. Post", "British Post",  //  0
    "Canada Post", "EAN-8", "UPC-E", "UCC/EAN-128", "Japan Post",      //  5
    "KIX Post", "Planet Code", "OCR", "Postnet", "China Post",         // 10
    "Micro PDF417", "TLC 39", "PosiCode", "Codabar", "Code 39",        // 15
    "UPC-A", "EAN-13", "I2of5", "IATA", "MSI",                         // 20
    "Code 11", "Code 93", "Code 128", "Code 49", "Matrix2of5",         // 25
    "Plessey", "Code 16K", "Codablock F", "PDF417", "QR/Micro QR",     // 30
    "Telepen", "VeriCode", "Data Matrix", "MaxiCode", "EAN/UCC",       // 35
    "RSS", "Aztec Code", "No Read", "HanXin Code", "Unknown",          // 40
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
