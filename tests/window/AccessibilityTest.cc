#include <gtest/gtest.h>

#include <QAccessible>
#include <QAccessibleInterface>
#include <QComboBox>
#include <QWidget>
#include <map>
#include <string>

#include "platform/qt/QtMainWindow.h"
#include "tests/window/MainLoop.h"

namespace quillet::window_tests {
namespace {

/// What assistive technology sees of a window: its controls by role and name.
class Accessibility : public testing::Test {
 protected:
  Accessibility() {
    window_.portList().AddItem("None");
    window_.Show();
    SpinUntilIdle();
  }

  QAccessibleInterface* Find(QAccessible::Role role, const QString& name) {
    return Find(QAccessible::queryAccessibleInterface(&window_.widget()), role, name);
  }

  static QAccessibleInterface* Find(QAccessibleInterface* in, QAccessible::Role role,
                                    const QString& name) {
    if (in->role() == role && in->text(QAccessible::Name) == name) return in;
    for (int i = 0; i < in->childCount(); ++i) {
      QAccessibleInterface* child = in->child(i);
      if (!child) continue;
      if (QAccessibleInterface* found = Find(child, role, name)) return found;
    }
    return nullptr;
  }

  platform::qt::QtMainWindow window_;
};

TEST_F(Accessibility, EveryButtonIsFoundUnderItsLabelAndCanBePressed) {
  std::map<std::string, int> pressed;
  window_.connectItem().OnPress([&] { ++pressed["Connect"]; });
  window_.synchronizeItem().OnPress([&] { ++pressed["Synchronize"]; });
  window_.settingsItem().OnPress([&] { ++pressed["Settings"]; });
  window_.clearItem().OnPress([&] { ++pressed["Clear"]; });
  for (const char* name : {"Connect", "Synchronize", "Settings", "Clear"}) {
    QAccessibleInterface* button = Find(QAccessible::Button, name);
    ASSERT_NE(button, nullptr) << name;
    EXPECT_TRUE(button->state().focusable) << name;
    button->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    SpinUntilIdle();
    EXPECT_EQ(pressed[name], 1) << name;
  }
}

TEST_F(Accessibility, NameFollowsTheLabel) {
  window_.connectItem().SetLabel("Disconnect");
  EXPECT_NE(Find(QAccessible::Button, "Disconnect"), nullptr);
  EXPECT_EQ(Find(QAccessible::Button, "Connect"), nullptr);
}

TEST_F(Accessibility, PortListIsFoundByItsNameWithItsSelection) {
  QAccessibleInterface* list = Find(QAccessible::ComboBox, "Port");
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(list->text(QAccessible::Value), "None");
  window_.portList().AddItem("usbmodem1421");
  window_.portList().SelectItem(1);
  EXPECT_EQ(list->text(QAccessible::Name), "Port");
  EXPECT_EQ(list->text(QAccessible::Value), "usbmodem1421");
}

TEST_F(Accessibility, ChosenPortIsTheSelectedItemOfTheList) {
  window_.portList().AddItem("usbmodem1421");
  window_.portList().SelectItem(1);
  QAccessibleInterface* items = Find(QAccessible::ComboBox, "Port")->child(0);
  EXPECT_FALSE(items->child(0)->state().selected);
  EXPECT_TRUE(items->child(1)->state().selected);
  window_.portList().RemoveItem(1);
  EXPECT_TRUE(items->child(0)->state().selected);
}

TEST_F(Accessibility, PortListOpensAndShowsItsItems) {
  window_.portList().AddItem("usbmodem1421");
  QAccessibleInterface* list = Find(QAccessible::ComboBox, "Port");
  ASSERT_NE(list, nullptr);
  ASSERT_EQ(list->childCount(), 1);
  QAccessibleInterface* items = list->child(0);
  ASSERT_NE(items, nullptr);
  EXPECT_EQ(list->indexOfChild(items), 0);
  EXPECT_EQ(items->childCount(), 2);
  list->actionInterface()->doAction(QAccessibleActionInterface::showMenuAction());
  EXPECT_FALSE(items->state().invisible);
  list->actionInterface()->doAction(QAccessibleActionInterface::showMenuAction());
  EXPECT_TRUE(items->state().invisible);
}

TEST_F(Accessibility, ProgressIsFoundAsTheTextThatIsShown) {
  window_.progress().Show("Received 45 of 130 records", 0.25);
  EXPECT_NE(Find(QAccessible::StaticText, "Received 45 of 130 records"), nullptr);
  window_.progress().Show("Received 46 of 130 records", 0.25);
  EXPECT_NE(Find(QAccessible::StaticText, "Received 46 of 130 records"), nullptr);
}

TEST_F(Accessibility, ViewIsFoundWithItsText) {
  window_.view().Append("first\nsecond\n");
  ASSERT_TRUE(SpinUntil([this] { return !window_.view().HasPending(); }));
  QAccessibleInterface* view = Find(QAccessible::EditableText, "Messages and records");
  ASSERT_NE(view, nullptr);
  EXPECT_TRUE(view->state().readOnly);
  QAccessibleTextInterface* text = view->textInterface();
  ASSERT_NE(text, nullptr);
  EXPECT_EQ(text->text(0, text->characterCount()), "first\nsecond\n");
}

}  // namespace
}  // namespace quillet::window_tests
