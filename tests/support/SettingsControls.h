#pragma once

#include <cstddef>
#include <cstdint>

#include "device/Settings.h"
#include "tests/support/FakeSettingsForm.h"

namespace quillet::test {

using platform::SettingsValues;

/// A control of the settings window and its setting. A check box has two values, 0 and 1.
class SettingsControl {
 public:
  constexpr SettingsControl(const char* title, std::size_t place,
                            Word<std::uint8_t> Settings::*flag, bool SettingsValues::*box)
      : name(title), position(place), items(2), flag_(flag), box_(box) {}
  constexpr SettingsControl(const char* title, std::size_t place,
                            Word<std::int32_t> Settings::*number,
                            std::int32_t SettingsValues::*list, std::int32_t titles)
      : name(title), position(place), items(titles), number_(number), list_(list) {}

  bool IsList() const { return number_ != nullptr; }
  std::int32_t Stored(const Settings& settings) const {
    return flag_ ? std::int32_t{settings.*flag_} : std::int32_t{settings.*number_};
  }
  std::int32_t Shown(const SettingsValues& values) const {
    return flag_ ? std::int32_t{values.*box_} : values.*list_;
  }
  void Set(SettingsValues& values, std::int32_t value) const {
    if (flag_) {
      values.*box_ = value != 0;
    } else {
      values.*list_ = value;
    }
  }
  void Set(FakeSettingsForm& form, std::int32_t value) const {
    flag_ ? form.Set(box_, value != 0) : form.Set(list_, value);
  }
  void Store(Settings& settings, std::int32_t value) const {
    if (flag_) {
      settings.*flag_ = static_cast<std::uint8_t>(value);
    } else {
      settings.*number_ = value;
    }
  }

  const char* name;      ///< accessible name
  std::size_t position;  ///< byte offset of the setting in the settings file
  std::int32_t items;    ///< number of values that the control offers

 private:
  Word<std::uint8_t> Settings::*flag_ = nullptr;
  bool SettingsValues::*box_ = nullptr;
  Word<std::int32_t> Settings::*number_ = nullptr;
  std::int32_t SettingsValues::*list_ = nullptr;
};

/// All controls with a setting, in tab order.
inline constexpr SettingsControl kSettingsControls[] = {
    {"Symbology", 2, &Settings::bAttachType, &SettingsValues::attachtype},
    {"Time of the scan", 1, &Settings::bAttachTimestamp, &SettingsValues::attachtimestamp},
    {"Scanner's serial number", 0, &Settings::bAttachSerial, &SettingsValues::attachserial},
    {"Order", 12, &Settings::dataorder, &SettingsValues::dataorder, 6},
    {"Serial number position", 11, &Settings::sn_position, &SettingsValues::sn_position, 2},
    {"Between fields", 3, &Settings::datadelimiter, &SettingsValues::datadelimiter, 5},
    {"After each record", 4, &Settings::recorddelimiter, &SettingsValues::recorddelimiter, 5},
    {"Set the scanner's clock to the computer's time", 5, &Settings::bSyncClock,
     &SettingsValues::syncclock},
    {"Synchronize automatically", 9, &Settings::bAutoSync, &SettingsValues::autosync},
    {"Download all records in one transfer", 8, &Settings::bBurstSync, &SettingsValues::burstsync},
    {"Erase the scanner after each synchronization", 6, &Settings::bClearMemory,
     &SettingsValues::clearmemory},
    {"Deliver to", 7, &Settings::destination, &SettingsValues::destination, 4},
    {"Add to the file instead of replacing it", 10, &Settings::bAppendData,
     &SettingsValues::appenddata},
    {"Paste text instead of typing it", 13, &Settings::bNonEnglish, &SettingsValues::nonenglish},
};

}  // namespace quillet::test
