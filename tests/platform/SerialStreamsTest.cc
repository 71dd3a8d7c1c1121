#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "platform/linux/SerialStreams.h"

namespace quillet::platform::linux_desktop {
namespace {

TEST(UsbModemName, EncodesTheBusThePortsAndTheInterface) {
  const std::pair<const char*, const char*> names[] = {
      {"3-1:1.0", "usbmodem310"},        {"3-1:2.0", "usbmodem310"},
      {"3-1.4:1.0", "usbmodem3140"},     {"1-8.7.6.5.4.3:1.2", "usbmodem18765432"},
      {"3-8:1.0", "usbmodem380"},        {"3-9:1.0", "usbmodem39090"},
      {"3-12:1.0", "usbmodem39120"},     {"12-98:1.0", "usbmodem9129980"},
      {"3-99:1.0", "usbmodem39990990"},  {"3-127:1.0", "usbmodem39991270"},
      {"3-998:1.0", "usbmodem39999980"},
  };
  for (const auto& [place, name] : names) EXPECT_EQ(UsbModemName(place), name);
}

TEST(UsbModemName, DiffersForEachInterface) {
  const std::vector<int> numbers{0, 1, 8, 9, 10, 12, 89, 90, 98, 99, 100, 127, 255};
  std::map<std::string, std::string> places;
  const auto add = [&](const std::string& place) {
    const auto name = UsbModemName(place);
    ASSERT_TRUE(name.has_value()) << place;
    ASSERT_EQ(name->find('-'), std::string::npos);
    const auto [known, isNew] = places.emplace(*name, place);
    EXPECT_EQ(known->second, place) << *name;
  };
  // All paths with one to three of these port numbers. The numbers have different encoded lengths.
  std::vector<std::string> paths;
  for (const int a : numbers) {
    paths.push_back(std::to_string(a));
    for (const int b : numbers) {
      const std::string two = std::to_string(a) + "." + std::to_string(b);
      paths.push_back(two);
      for (const int c : numbers) paths.push_back(two + "." + std::to_string(c));
    }
  }
  for (const int bus : numbers) {
    for (const std::string& path : paths) {
      for (const int interface : numbers) {
        add(std::to_string(bus) + "-" + path + ":1." + std::to_string(interface));
      }
    }
  }
  // Random paths of up to six ports, the maximum that USB allows.
  std::minstd_rand random(7);
  for (int i = 0; i < 50'000; ++i) {
    std::string place = std::to_string(random() % 128 + 1) + "-" + std::to_string(random() % 256);
    for (std::size_t depth = random() % 6; depth > 0; --depth) {
      place += "." + std::to_string(random() % 256);
    }
    add(place + ":1." + std::to_string(random() % 256));
  }
}

TEST(UsbModemName, RejectsMalformedNames) {
  for (const char* text : {"", "usb3", "3", "3-", "3-1", "3-1:", "3-1:1", "3-1:1.", "3-1:1.0x",
                           "3-1.:1.0", "3-.1:1.0", "-1:1.0", "3-1:1.0:1.0", "3--1:1.0", "a-1:1.0",
                           "3-999:1.0", "999-1:1.0", "3-1:1.999", "3-99999999999999999999:1.0"}) {
    EXPECT_EQ(UsbModemName(text), std::nullopt) << text;
  }
}

TEST(UsbSerialName, JoinsModelAndKernelName) {
  EXPECT_EQ(UsbSerialName("Tavo Cradle", "ttyUSB0"), "Tavo Cradle-ttyUSB0");
  EXPECT_EQ(UsbSerialName("", "ttyUSB0"), "ttyUSB0");
}

TEST(DecodeModel, DecodesEscapesAndTrimsBlanks) {
  const std::pair<const char*, const char*> models[] = {
      {"USB-Serial\\x20Controller", "USB-Serial Controller"},
      {"Tavo\\x2fA\\x2FB", "Tavo/A/B"},
      {"Caf\xC3\xA9", "Caf\xC3\xA9"},
      {"FT232R_USB_UART", "FT232R_USB_UART"},
      {"a\\x2", "a\\x2"},
      {"a\\xgg", "a\\xgg"},
      {"a\\", "a\\"},
      {"\\x20\\x20Tavo\\x20\\x20Cradle\\x20", "Tavo  Cradle"},
      {"\\x20\\x20", ""},
      {"", ""},
      {"a\\x1b[2Jb\\x00c\\x7fd\ne", "a [2Jb c d e"},
  };
  for (const auto& [encoded, model] : models) EXPECT_EQ(DecodeModel(encoded), model);
}

TEST(ComesBefore, ComparesNumbersByValue) {
  std::vector<std::string> names{"ttyUSB10", "ttyACM10", "ttyS0",   "ttyUSB9", "ttyACM2",
                                 "ttyACM0",  "ttyUSB1",  "ttyAMA0", "rfcomm0"};
  std::sort(names.begin(), names.end(), ComesBefore);
  EXPECT_EQ(names, (std::vector<std::string>{"rfcomm0", "ttyACM0", "ttyACM2", "ttyACM10", "ttyAMA0",
                                             "ttyS0", "ttyUSB1", "ttyUSB9", "ttyUSB10"}));
}

TEST(ComesBefore, IsAStrictTotalOrder) {
  const std::string large = "a9999999999999999999";
  const std::vector<std::string> names{"",    "a",    "a0",        "a00",      "a1", "a01",
                                       "a1b", "a1b2", "a2",        "a10",      "0",  "00",
                                       "9",   "b",    large + "9", large + "8"};
  for (const std::string& a : names) {
    EXPECT_FALSE(ComesBefore(a, a)) << a;
    for (const std::string& b : names) {
      EXPECT_EQ(ComesBefore(a, b) || ComesBefore(b, a), a != b) << a << " " << b;
      EXPECT_FALSE(ComesBefore(a, b) && ComesBefore(b, a)) << a << " " << b;
      for (const std::string& c : names) {
        const bool chain = ComesBefore(a, b) && ComesBefore(b, c);
        EXPECT_TRUE(!chain || ComesBefore(a, c)) << a << " " << b << " " << c;
      }
    }
  }
}

}  // namespace
}  // namespace quillet::platform::linux_desktop
