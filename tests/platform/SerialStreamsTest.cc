#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "platform/linux/SerialStreams.h"

namespace quillet::platform::linux_desktop {
namespace {

TEST(UsbModemName, HoldsBusPortsAndInterface) {
  EXPECT_EQ(UsbModemName("3-1:1.0"), "usbmodem310");
  EXPECT_EQ(UsbModemName("3-1.4:1.0"), "usbmodem3140");
  EXPECT_EQ(UsbModemName("1-8.7.6.5.4.3:1.2"), "usbmodem18765432");
}

TEST(UsbModemName, LargerNumbersAreMarked) {
  EXPECT_EQ(UsbModemName("3-8:1.0"), "usbmodem380");
  EXPECT_EQ(UsbModemName("3-9:1.0"), "usbmodem39090");
  EXPECT_EQ(UsbModemName("3-12:1.0"), "usbmodem39120");
  EXPECT_EQ(UsbModemName("12-98:1.0"), "usbmodem9129980");
  EXPECT_EQ(UsbModemName("3-99:1.0"), "usbmodem39990990");
  EXPECT_EQ(UsbModemName("3-127:1.0"), "usbmodem39991270");
  EXPECT_EQ(UsbModemName("3-998:1.0"), "usbmodem39999980");
}

TEST(UsbModemName, TheConfigurationMakesNoDifference) {
  EXPECT_EQ(UsbModemName("3-1:2.0"), UsbModemName("3-1:1.0"));
}

TEST(UsbModemName, NoTwoPlacesShareAName) {
  // Every number that is written differently, on ways of up to three ports, and beyond that the
  // longest ways that USB allows, at random.
  const std::vector<int> numbers{0, 1, 8, 9, 10, 12, 89, 90, 98, 99, 100, 127, 255};
  std::map<std::string, std::string> places;
  const auto add = [&](const std::string& place) {
    const auto name = UsbModemName(place);
    ASSERT_TRUE(name.has_value()) << place;
    ASSERT_EQ(name->find('-'), std::string::npos);
    const auto [known, isNew] = places.emplace(*name, place);
    EXPECT_EQ(known->second, place) << *name;
  };
  std::vector<std::string> ways;
  for (const int a : numbers) {
    ways.push_back(std::to_string(a));
    for (const int b : numbers) {
      ways.push_back(std::to_string(a) + "." + std::to_string(b));
      for (const int c : numbers) {
        ways.push_back(std::to_string(a) + "." + std::to_string(b) + "." + std::to_string(c));
      }
    }
  }
  for (const int bus : numbers) {
    for (const std::string& way : ways) {
      for (const int interface : numbers) {
        add(std::to_string(bus) + "-" + way + ":1." + std::to_string(interface));
      }
    }
  }
  std::minstd_rand random(7);
  for (int i = 0; i < 50'000; ++i) {
    std::string place = std::to_string(random() % 128 + 1) + "-" + std::to_string(random() % 256);
    for (std::size_t depth = random() % 6; depth > 0; --depth) {
      place += "." + std::to_string(random() % 256);
    }
    add(place + ":1." + std::to_string(random() % 256));
  }
}

TEST(UsbModemName, OtherTextsAreNoPlaces) {
  for (const char* text : {"", "usb3", "3", "3-", "3-1", "3-1:", "3-1:1", "3-1:1.", "3-1:1.0x",
                           "3-1.:1.0", "3-.1:1.0", "-1:1.0", "3-1:1.0:1.0", "3--1:1.0", "a-1:1.0",
                           "3-999:1.0", "999-1:1.0", "3-1:1.999", "3-99999999999999999999:1.0"}) {
    EXPECT_EQ(UsbModemName(text), std::nullopt) << text;
  }
}

TEST(UsbSerialName, IsTheModelAndTheKernelsName) {
  EXPECT_EQ(UsbSerialName("Tavo Cradle", "ttyUSB0"), "Tavo Cradle-ttyUSB0");
  EXPECT_EQ(UsbSerialName("", "ttyUSB0"), "ttyUSB0");
}

TEST(DecodeModel, EscapedBytesAreDecoded) {
  EXPECT_EQ(DecodeModel("USB-Serial\\x20Controller"), "USB-Serial Controller");
  EXPECT_EQ(DecodeModel("Tavo\\x2fA\\x2FB"), "Tavo/A/B");
  EXPECT_EQ(DecodeModel("Caf\xC3\xA9"), "Caf\xC3\xA9");
  EXPECT_EQ(DecodeModel("FT232R_USB_UART"), "FT232R_USB_UART");
}

TEST(DecodeModel, BrokenEscapesStandForThemselves) {
  EXPECT_EQ(DecodeModel("a\\x2"), "a\\x2");
  EXPECT_EQ(DecodeModel("a\\xgg"), "a\\xgg");
  EXPECT_EQ(DecodeModel("a\\"), "a\\");
}

TEST(DecodeModel, BlanksAroundItAreTakenOff) {
  EXPECT_EQ(DecodeModel("\\x20\\x20Tavo\\x20\\x20Cradle\\x20"), "Tavo  Cradle");
  EXPECT_EQ(DecodeModel("\\x20\\x20"), "");
  EXPECT_EQ(DecodeModel(""), "");
}

TEST(DecodeModel, ControlCharactersBecomeBlanks) {
  EXPECT_EQ(DecodeModel("a\\x1b[2Jb\\x00c\\x7fd\ne"), "a [2Jb c d e");
}

TEST(ComesBefore, NumbersCountAsNumbers) {
  std::vector<std::string> names{"ttyUSB10", "ttyACM10", "ttyS0",   "ttyUSB9", "ttyACM2",
                                 "ttyACM0",  "ttyUSB1",  "ttyAMA0", "rfcomm0"};
  std::sort(names.begin(), names.end(), ComesBefore);
  EXPECT_EQ(names, (std::vector<std::string>{"rfcomm0", "ttyACM0", "ttyACM2", "ttyACM10", "ttyAMA0",
                                             "ttyS0", "ttyUSB1", "ttyUSB9", "ttyUSB10"}));
}

TEST(ComesBefore, IsAStrictOrder) {
  const std::vector<std::string> names{"",
                                       "a",
                                       "a0",
                                       "a00",
                                       "a1",
                                       "a01",
                                       "a1b",
                                       "a1b2",
                                       "a2",
                                       "a10",
                                       "0",
                                       "00",
                                       "9",
                                       "b",
                                       "a99999999999999999999",
                                       "a99999999999999999998"};
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
