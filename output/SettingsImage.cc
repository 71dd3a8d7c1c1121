#include "output/SettingsImage.h"

#include <algorithm>
#include <cstdint>

namespace quillet {
namespace {

constexpr char kFiller = '0';
constexpr char kNameEnd = '\r';
constexpr std::size_t kNameArea = 128;

using platform::SettingsValues;

// Describes one setting: its field in `Settings`, its position in the image and its control in the
// settings window. A flag has a check box, a number has a choice.
struct Setting {
  constexpr Setting(Word<std::uint8_t> Settings::*flagField, std::size_t place,
                    bool SettingsValues::*boxValue)
      : flag(flagField), position(place), box(boxValue) {}
  constexpr Setting(Word<std::int32_t> Settings::*numberField, std::size_t place,
                    std::int32_t SettingsValues::*choiceValue)
      : number(numberField), position(place), choice(choiceValue) {}

  Word<std::uint8_t> Settings::*flag = nullptr;
  Word<std::int32_t> Settings::*number = nullptr;
  std::size_t position;
  bool SettingsValues::*box = nullptr;
  std::int32_t SettingsValues::*choice = nullptr;
};

// Functions that write the fields write them in this order.
constexpr Setting kSettings[] = {
    {&Settings::bAttachSerial, 0, &SettingsValues::attachserial},
    {&Settings::bAttachTimestamp, 1, &SettingsValues::attachtimestamp},
    {&Settings::bAttachType, 2, &SettingsValues::attachtype},
    {&Settings::datadelimiter, 3, &SettingsValues::datadelimiter},
    {&Settings::recorddelimiter, 4, &SettingsValues::recorddelimiter},
    {&Settings::sn_position, 11, &SettingsValues::sn_position},
    {&Settings::dataorder, 12, &SettingsValues::dataorder},
    {&Settings::bSyncClock, 5, &SettingsValues::syncclock},
    {&Settings::bClearMemory, 6, &SettingsValues::clearmemory},
    {&Settings::bBurstSync, 8, &SettingsValues::burstsync},
    {&Settings::bAutoSync, 9, &SettingsValues::autosync},
    {&Settings::bAppendData, 10, &SettingsValues::appenddata},
    {&Settings::bNonEnglish, 13, &SettingsValues::nonenglish},
    {&Settings::destination, 7, &SettingsValues::destination},
};

}  // namespace

void WriteChoices(const Settings& settings, SettingsImage& image) {
  std::fill_n(image.begin(), kApplicationNamePosition, kFiller);
  for (const Setting& each : kSettings) {
    const std::int32_t number =
        each.flag ? std::int32_t{settings.*each.flag != 0} : std::int32_t{settings.*each.number};
    image[each.position] = static_cast<char>(kFiller + number);
  }
}

void ReadChoices(const SettingsImage& image, Settings& settings) {
  for (const Setting& each : kSettings) {
    const char character = image[each.position];
    if (each.flag) {
      settings.*each.flag = static_cast<std::uint8_t>(character == '1');
    } else {
      settings.*each.number = static_cast<signed char>(character) - kFiller;
    }
  }
}

SettingsValues ShownValues(const Settings& settings) {
  SettingsValues values;
  for (const Setting& each : kSettings) {
    if (each.flag) {
      values.*each.box = settings.*each.flag != 0;
    } else {
      values.*each.choice = settings.*each.number;
    }
  }
  return values;
}

void StoreValues(const SettingsValues& values, const Settings& stored, Settings& settings) {
  for (const Setting& each : kSettings) {
    if (each.flag) {
      settings.*each.flag = static_cast<std::uint8_t>(values.*each.box);
    } else {
      const std::int32_t selected = values.*each.choice;
      settings.*each.number = selected < 0 ? std::int32_t{stored.*each.number} : selected;
    }
  }
}

void WriteName(SettingsImage& image, std::size_t position, std::string_view name) {
  char* end = std::copy_n(name.data(), std::min(name.size(), kLongestName), &image[position]);
  *end = name.size() <= kLongestName ? kNameEnd : kFiller;
}

std::string ReadName(const SettingsImage& image, std::size_t position) {
  const std::string_view area(&image[position], kNameArea);
  const std::size_t length = area.find(kNameEnd);
  return length == area.npos ? std::string() : std::string(area.substr(0, length));
}

}  // namespace quillet
